#include "host/messagelog.h"

#include <algorithm>
#include <cstring>

namespace torvo::host {

using namespace Steinberg;

namespace {
// Every attribute name the plug-in's messages carry, for messages the host cannot enumerate.
const char* const kKnownAttributes[] = {"data", "diodes", "arp", "stp1", "stp2", "l",   "r",
                                        "note", "vel",    "n",   "scl",  "Text", "text"};
constexpr int kKnownAttributeCount = sizeof(kKnownAttributes) / sizeof(kKnownAttributes[0]);
} // namespace

MessageLog::MessageLog(size_t capacity) : ring_(capacity ? capacity : 1) {
    for (auto& r : ring_) r.id.reserve(63);
}

void MessageLog::record(Direction direction, Vst::IMessage* message, const MessagePool* pool) {
    if (!message) return;
    const char* id = message->getMessageID();
    if (!id) id = "";
    std::lock_guard<std::mutex> lock(mutex_);
    RecordedMessage& slot = ring_[next_];
    next_ = (next_ + 1) % ring_.size();
    if (stored_ < ring_.size()) ++stored_;
    slot.direction = direction;
    slot.id.assign(id, std::min<size_t>(std::strlen(id), 63));
    slot.sequence = total_++;
    if (const PooledMessage* pooled = pool ? pool->find(message) : nullptr)
        slot.attributes.copyFrom(pooled->store());
    else
        slot.attributes.probe(message->getAttributes(), kKnownAttributes, kKnownAttributeCount);
    countMessage(direction, id);
}

void MessageLog::countMessage(Direction direction, const char* id) {
    for (int i = 0; i < counterCount_; ++i) {
        Counter& c = counters_[i];
        if (c.direction == direction && std::strncmp(c.id, id, sizeof(c.id) - 1) == 0) {
            ++c.count;
            return;
        }
    }
    if (counterCount_ == kMaxCounters) return;
    Counter& c = counters_[counterCount_++];
    const size_t length = std::min(std::strlen(id), sizeof(c.id) - 1);
    std::memcpy(c.id, id, length);
    c.id[length] = 0;
    c.direction = direction;
    c.count = 1;
}

size_t MessageLog::count(const std::string& id, Direction direction) const {
    std::lock_guard<std::mutex> lock(mutex_);
    for (int i = 0; i < counterCount_; ++i)
        if (counters_[i].direction == direction && id == counters_[i].id) return counters_[i].count;
    return 0;
}

size_t MessageLog::total() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return total_;
}

std::vector<RecordedMessage> MessageLog::recent() const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<RecordedMessage> out;
    out.reserve(stored_);
    const size_t first = (next_ + ring_.size() - stored_) % ring_.size();
    for (size_t i = 0; i < stored_; ++i) out.push_back(ring_[(first + i) % ring_.size()]);
    return out;
}

bool MessageLog::latest(const std::string& id, RecordedMessage& out, Direction direction) const {
    std::lock_guard<std::mutex> lock(mutex_);
    for (size_t i = 0; i < stored_; ++i) {
        const RecordedMessage& r = ring_[(next_ + ring_.size() - 1 - i) % ring_.size()];
        if (r.direction == direction && r.id == id) {
            out = r;
            return true;
        }
    }
    return false;
}

void MessageLog::clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    next_ = stored_ = 0;
    total_ = 0;
    counterCount_ = 0;
}

} // namespace torvo::host

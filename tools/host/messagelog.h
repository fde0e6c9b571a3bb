#pragma once
// A record of the messages the two halves of the plug-in exchange through the host's
// connection proxies: per message id a running count, and the most recent messages with
// their attributes. Recording a message with small attributes does not allocate, so the log
// may stay on while the audio thread sends display updates.

#include "host/attributestore.h"
#include "host/messagepool.h"

#include <mutex>
#include <string>
#include <vector>

namespace torvo::host {

enum class Direction : uint8_t {
    ToController, ///< sent by the audio component
    ToComponent,  ///< sent by the edit controller
};

struct RecordedMessage {
    Direction direction = Direction::ToController;
    std::string id;
    AttributeStore attributes;
    uint64_t sequence = 0;

    const Attribute* attribute(const char* name) const { return attributes.find(name); }
};

class MessageLog {
public:
    static constexpr size_t kDefaultCapacity = 256;

    explicit MessageLog(size_t capacity = kDefaultCapacity);

    /// Records `message`; attributes are copied from pooled messages, and probed by the known
    /// names for a message that the plug-in made itself.
    void record(Direction direction, Steinberg::Vst::IMessage* message,
                const MessagePool* pool = nullptr);

    /// Messages with `id` sent in `direction` since the last clear.
    size_t count(const std::string& id, Direction direction = Direction::ToController) const;
    size_t total() const;
    /// The retained messages, oldest first (at most the capacity).
    std::vector<RecordedMessage> recent() const;
    /// The newest retained message with `id` in `direction`, as a copy; false if none.
    bool latest(const std::string& id, RecordedMessage& out,
                Direction direction = Direction::ToController) const;
    void clear();

private:
    struct Counter {
        char id[64] = {};
        Direction direction = Direction::ToController;
        size_t count = 0;
    };
    static constexpr int kMaxCounters = 64;
    void countMessage(Direction direction, const char* id);

    mutable std::mutex mutex_;
    std::vector<RecordedMessage> ring_;
    size_t next_ = 0;
    size_t stored_ = 0;
    uint64_t total_ = 0;
    Counter counters_[kMaxCounters];
    int counterCount_ = 0;
};

} // namespace torvo::host

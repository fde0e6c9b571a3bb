#include "host/attributestore.h"

#include "host/util.h"

#include <cstring>

namespace torvo::host {

using namespace Steinberg;

std::string Attribute::textUtf8() const {
    return toUtf8(reinterpret_cast<const Vst::TChar*>(text.c_str()), text.size());
}

AttributeStore::AttributeStore() {
    for (auto& slot : slots_) slot.bytes.reserve(kReservedBytes);
}

const Attribute* AttributeStore::find(const char* id) const {
    if (!id) return nullptr;
    for (int i = 0; i < size_; ++i)
        if (std::strcmp(slots_[i].id, id) == 0) return &slots_[i];
    return nullptr;
}

Attribute* AttributeStore::slotFor(const char* id, AttributeType type) {
    if (!id || std::strlen(id) > Attribute::kMaxIdLength) return nullptr;
    Attribute* slot = const_cast<Attribute*>(find(id));
    if (!slot) {
        if (size_ == kCapacity) return nullptr;
        slot = &slots_[size_++];
        std::strcpy(slot->id, id);
        // A reused slot must not carry an earlier attribute's bytes into this message.
        slot->text.clear();
        slot->bytes.clear();
    }
    slot->type = type;
    return slot;
}

bool AttributeStore::setInt(const char* id, int64_t value) {
    Attribute* slot = slotFor(id, AttributeType::Int);
    if (slot) slot->intValue = value;
    return slot != nullptr;
}

bool AttributeStore::setFloat(const char* id, double value) {
    Attribute* slot = slotFor(id, AttributeType::Float);
    if (slot) slot->floatValue = value;
    return slot != nullptr;
}

bool AttributeStore::setString(const char* id, const Vst::TChar* text) {
    Attribute* slot = slotFor(id, AttributeType::String);
    if (!slot) return false;
    slot->text.clear();
    for (const Vst::TChar* p = text; p && *p; ++p) slot->text += static_cast<char16_t>(*p);
    return true;
}

bool AttributeStore::setBinary(const char* id, const void* data, uint32_t size) {
    Attribute* slot = slotFor(id, AttributeType::Binary);
    if (!slot) return false;
    const auto* bytes = static_cast<const uint8_t*>(data);
    slot->bytes.assign(bytes, bytes + (data ? size : 0));
    return true;
}

void AttributeStore::copyFrom(const AttributeStore& other) {
    size_ = 0;
    for (int i = 0; i < other.size_; ++i) {
        const Attribute& from = other.slots_[i];
        Attribute& to = slots_[size_++];
        std::memcpy(to.id, from.id, sizeof(to.id));
        to.type = from.type;
        to.intValue = from.intValue;
        to.floatValue = from.floatValue;
        to.text.assign(from.text);
        to.bytes.assign(from.bytes.begin(), from.bytes.end());
    }
}

void AttributeStore::probe(Vst::IAttributeList* list, const char* const* ids, int count) {
    clear();
    if (!list) return;
    for (int i = 0; i < count; ++i) {
        int64 intValue = 0;
        double floatValue = 0.0;
        const void* data = nullptr;
        uint32 size = 0;
        Vst::String128 text = {};
        if (list->getInt(ids[i], intValue) == kResultOk)
            setInt(ids[i], intValue);
        else if (list->getFloat(ids[i], floatValue) == kResultOk)
            setFloat(ids[i], floatValue);
        else if (list->getBinary(ids[i], data, size) == kResultOk)
            setBinary(ids[i], data, size);
        else if (list->getString(ids[i], text, sizeof(text)) == kResultOk)
            setString(ids[i], text);
    }
}

} // namespace torvo::host

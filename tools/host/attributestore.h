#pragma once
// Storage for the attributes of a message, in fixed slots whose buffers are reserved up front,
// so that filling it with the small attributes of the display messages never allocates on the
// audio thread. Larger binary or text values simply grow their slot.

#include "pluginterfaces/vst/ivstattributes.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace torvo::host {

enum class AttributeType : uint8_t { Int, Float, String, Binary };

struct Attribute {
    static constexpr int kMaxIdLength = 63;
    char id[kMaxIdLength + 1] = {};
    AttributeType type = AttributeType::Int;
    int64_t intValue = 0;
    double floatValue = 0.0;
    std::u16string text;
    std::vector<uint8_t> bytes;

    std::string textUtf8() const;
};

class AttributeStore {
public:
    static constexpr int kCapacity = 16;
    static constexpr size_t kReservedBytes = 128;

    AttributeStore();
    void clear() { size_ = 0; }
    int size() const { return size_; }
    const Attribute& at(int i) const { return slots_[i]; }
    const Attribute* find(const char* id) const;

    /// False when the id is too long or all slots are taken.
    bool setInt(const char* id, int64_t value);
    bool setFloat(const char* id, double value);
    bool setString(const char* id, const Steinberg::Vst::TChar* text);
    bool setBinary(const char* id, const void* data, uint32_t size);

    /// Copies every attribute of `other` into this store, reusing the slots' buffers.
    void copyFrom(const AttributeStore& other);
    /// Reads the named attributes of a foreign list, which cannot be enumerated.
    void probe(Steinberg::Vst::IAttributeList* list, const char* const* ids, int count);

private:
    Attribute* slotFor(const char* id, AttributeType type);

    std::array<Attribute, kCapacity> slots_;
    int size_ = 0;
};

} // namespace torvo::host

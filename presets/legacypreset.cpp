#include "presets/legacypreset.h"

#include "presets/bank.h"

#include <algorithm>
#include <cstring>

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "the legacy formats are copied as little-endian words");

namespace torvo {
namespace legacy {

void putFloat(uint8_t* out, float v) {
    std::memcpy(out, &v, 4);
}

float getFloat(const uint8_t* in) {
    float v;
    std::memcpy(&v, in, 4);
    return v;
}

void putInt(uint8_t* out, int32_t v) {
    std::memcpy(out, &v, 4);
}

int32_t getInt(const uint8_t* in) {
    int32_t v;
    std::memcpy(&v, in, 4);
    return v;
}

void writeRecord(const Preset& preset, int n, uint8_t* out) {
    n = std::clamp(n, 0, kParamCount);
    std::memcpy(out + kNameOffset, preset.name(), Preset::kNameBytes);
    std::memcpy(out + kNotesOffset, preset.legacyNotesField(), Preset::kLegacyNotesBytes);
    putInt(out + kWordOffset, preset.legacyWord());
    std::memcpy(out + kRecordHeadBytes, preset.params(), 4 * std::size_t(n));
}

void readRecordHead(const uint8_t* record, Preset& preset) {
    char name[Preset::kNameBytes];
    std::memcpy(name, record + kNameOffset, sizeof name);
    name[sizeof name - 1] = '\0';
    preset.setName(name);
    preset.setLegacyNotesField(reinterpret_cast<const char*>(record + kNotesOffset));
    preset.setLegacyWord(int32_t(int8_t(record[kWordOffset])));
}

} // namespace legacy

const uint8_t* Bank::currentToLegacyRecord(std::size_t& size, bool shortForm) {
    captureToCurrent();
    const int n = shortForm ? legacy::kShortCount : legacy::kFullCount;
    uint8_t* out = image.data() + kBankImageBytes;
    const Preset& live = workPresets[current];
    legacy::writeRecord(live, n, out);
    // The three values a 722-value record cannot hold ride inside the notes field, behind a
    // marker; a note longer than 8 characters loses these bytes in the file.
    out[legacy::kMarkerOffset] = 1;
    for (int k = 0; k < 3; ++k)
        legacy::putFloat(out + legacy::kSideFloatsOffset + 4 * k, live.params()[722 + k]);
    size = legacy::recordBytes(n);
    return out;
}

bool Bank::loadLegacyRecord(const uint8_t* bytes, std::size_t size) {
    if (bytes == nullptr || size <= legacy::kRecordHeadBytes) return false;
    const std::size_t valueBytes = size - legacy::kRecordHeadBytes;
    if (valueBytes >= legacy::kMaxValueBytes) return false;
    Preset& live = workPresets[current];
    legacy::readRecordHead(bytes, live);
    const int count = int(std::min<std::size_t>(valueBytes / 4, kParamCount));
    live.setParamCount(count);
    // Whatever the marker says, the values past the record's end come from the defaults: the
    // side channel carries nothing that lasts.
    live.setAllParams(defaultValues);
    float* target = live.params();
    for (int i = 0; i < count; ++i)
        target[i] = legacy::getFloat(bytes + legacy::kRecordHeadBytes + 4 * std::size_t(i));
    live.snapToTable(*this);
    applyCurrent();
    return true;
}

} // namespace torvo

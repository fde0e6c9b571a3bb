#pragma once
// The legacy preset record: the whole of a .tpf file, and the unit of the two bank-like binary
// forms (the .tbf bank and the legacy host state block). Little-endian, fixed NUL-terminated
// text fields:
//
//   0    25   name
//   25   248  notes; in a .tpf only, notes byte 9 (offset 34) is a marker, 1 when the three
//             floats behind it (offset 35: params 722, 723, 724) are present
//   273  4    the legacy word; readers take only its first byte, sign-extended
//   277  4n   the first n values
//
// The Bank operations on .tpf images live in legacypreset.cpp.

#include "presets/preset.h"

#include <cstddef>
#include <cstdint>

namespace torvo::legacy {

constexpr std::size_t kNameOffset = 0;
constexpr std::size_t kNotesOffset = 25;
constexpr std::size_t kMarkerOffset = 34;
constexpr std::size_t kSideFloatsOffset = 35;
constexpr std::size_t kWordOffset = 273;
constexpr std::size_t kRecordHeadBytes = 277;
/// Values per record of the full and the short form.
constexpr int kFullCount = 722;
constexpr int kShortCount = 714;
/// A .tpf of more value bytes than this is not one of ours.
constexpr std::size_t kMaxValueBytes = 5800;

constexpr std::size_t recordBytes(int n) {
    return kRecordHeadBytes + 4 * std::size_t(n);
}

/// Writes the plain record of `preset` with `n` values (n <= 725): name, the whole notes field,
/// the word, the values. No side channel.
void writeRecord(const Preset& preset, int n, uint8_t* out);
/// Takes name, the whole notes field and the word (first byte, sign-extended) of a record.
void readRecordHead(const uint8_t* record, Preset& preset);

void putFloat(uint8_t* out, float v);
float getFloat(const uint8_t* in);
void putInt(uint8_t* out, int32_t v);
int32_t getInt(const uint8_t* in);

} // namespace torvo::legacy

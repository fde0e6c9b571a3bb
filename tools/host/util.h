#pragma once
// Small conversions the host and its users need at the interface's edges.

#include "pluginterfaces/vst/vsttypes.h"

#include <cstdint>
#include <string>

namespace torvo::host {

/// Four characters read as one big-endian 32-bit value, as proxy parameter ids are written.
constexpr Steinberg::Vst::ParamID fourCharId(const char (&text)[5]) {
    return (static_cast<uint32_t>(static_cast<uint8_t>(text[0])) << 24) |
           (static_cast<uint32_t>(static_cast<uint8_t>(text[1])) << 16) |
           (static_cast<uint32_t>(static_cast<uint8_t>(text[2])) << 8) |
           static_cast<uint32_t>(static_cast<uint8_t>(text[3]));
}

/// UTF-8 of a zero-terminated UTF-16 string of the interface (String128 and the like).
inline std::string toUtf8(const Steinberg::Vst::TChar* text, size_t maxLength = 128) {
    std::string out;
    for (size_t i = 0; text && i < maxLength && text[i]; ++i) {
        const auto c = static_cast<uint16_t>(text[i]);
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

} // namespace torvo::host

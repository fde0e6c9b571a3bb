#pragma once
// Small readers shared by the two halves of the host state (current and legacy form).

#include "presets/jsonnumbers.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace torvo::chunkdetail {

constexpr int kBendWheel = 720;
constexpr std::size_t kMaxTags = 5;
constexpr std::size_t kWrapperBytes = 48;
constexpr std::size_t kMinWrappedBytes = 60;

/// Skips the host's wrapper: "VstW" in either byte order on a block longer than 60 bytes.
inline void skipHostWrapper(const uint8_t*& bytes, std::size_t& size) {
    if (size <= kMinWrappedBytes) return;
    if (std::memcmp(bytes, "VstW", 4) == 0 || std::memcmp(bytes, "WtsV", 4) == 0) {
        bytes += kWrapperBytes;
        size -= kWrapperBytes;
    }
}

inline const OrderedJson* member(const OrderedJson& object, const char* key) {
    if (!object.is_object()) return nullptr;
    const auto it = object.find(key);
    return it == object.end() ? nullptr : &*it;
}

inline bool integerMember(const OrderedJson& object, const char* key, long long& out) {
    const OrderedJson* v = member(object, key);
    return v != nullptr && readInteger(*v, out);
}

inline bool textMember(const OrderedJson& object, const char* key, std::string& out) {
    const OrderedJson* v = member(object, key);
    return v != nullptr && readText(*v, out);
}

/// Theme ids run 0..4; -1 defers to the configuration; anything above falls back to theme 0.
inline int themeFromState(long long v) {
    return v > 4 ? 0 : int(v);
}

/// File names are made from preset names: a separator in a name must not open a folder.
inline std::string fileSafe(std::string text) {
    for (char& c : text)
        if (c == '/' || c == '\\' || (unsigned char)c < 0x20) c = '_';
    return text;
}

} // namespace torvo::chunkdetail

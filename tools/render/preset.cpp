#include "render/preset.h"

#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>

namespace torvo::render {

namespace {

int32_t readI32(const std::vector<uint8_t>& b, size_t at) {
    return static_cast<int32_t>(uint32_t(b[at]) | uint32_t(b[at + 1]) << 8 |
                                uint32_t(b[at + 2]) << 16 | uint32_t(b[at + 3]) << 24);
}

float readF32(const std::vector<uint8_t>& b, size_t at) {
    const auto bits = static_cast<uint32_t>(readI32(b, at));
    float f;
    std::memcpy(&f, &bits, sizeof(f));
    return f;
}

void appendI32(std::vector<uint8_t>& b, int32_t v) {
    for (int shift = 0; shift < 32; shift += 8)
        b.push_back(static_cast<uint8_t>(static_cast<uint32_t>(v) >> shift));
}

/// Checks `count` floats from `at`: each must be a normalised value.
bool checkValues(const std::vector<uint8_t>& b, size_t at, int count, std::string& error) {
    for (int i = 0; i < count; ++i) {
        const float v = readF32(b, at + size_t(i) * 4);
        if (!std::isfinite(v) || v < 0.0f || v > 1.0f) {
            error = "value " + std::to_string(i) + " is " + std::to_string(v) +
                    ", outside 0..1: not a Torvo sound";
            return false;
        }
    }
    return true;
}

} // namespace

bool presetToState(const std::vector<uint8_t>& bytes, std::vector<uint8_t>& state,
                   std::string& error) {
    constexpr size_t kRawSize = kPresetParams * 4;
    if (bytes.size() == kRawSize) {
        if (!checkValues(bytes, 0, kPresetParams, error)) return false;
        state.clear();
        appendI32(state, kPresetParams);
        state.insert(state.end(), bytes.begin(), bytes.end());
        appendI32(state, kPresetExtras);
        state.resize(state.size() + kPresetExtras * 4, 0); // not bypassed, proxies at rest
        return true;
    }
    if (bytes.size() >= 8) {
        const int32_t n = readI32(bytes, 0);
        const size_t afterTable = 4 + size_t(n > 0 ? n : 0) * 4;
        if (n >= 1 && n <= kPresetParams && bytes.size() >= afterTable + 4) {
            const int32_t m = readI32(bytes, afterTable);
            if (m >= 0 && m <= kPresetExtras && bytes.size() == afterTable + 4 + size_t(m) * 4) {
                if (!checkValues(bytes, 4, n, error)) return false;
                state = bytes;
                return true;
            }
        }
    }
    error = "a preset must be 725 little-endian floats (2900 bytes) or a processor state block; "
            "this file has " +
            std::to_string(bytes.size()) + " bytes and is neither";
    return false;
}

bool loadPreset(const std::string& path, std::vector<uint8_t>& state, std::string& error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = "cannot open preset \"" + path + "\"";
        return false;
    }
    const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                     std::istreambuf_iterator<char>());
    if (!presetToState(bytes, state, error)) {
        error = "preset \"" + path + "\": " + error;
        return false;
    }
    return true;
}

} // namespace torvo::render

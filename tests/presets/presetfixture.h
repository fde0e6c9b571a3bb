#pragma once
// A bank as an instance starts it: rows from the parameter table, defaults captured, presets
// named init..init128. Banks are large: always on the heap.

#include "presets/bank.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace torvo::test {

inline std::unique_ptr<Bank> makeBank() {
    auto bank = std::make_unique<Bank>();
    bank->initAllPresets();
    return bank;
}

// Row ids used throughout the preset tests.
constexpr int kMode = 0;              // thousandth list of 6
constexpr int kVelocity = 8;          // continuous, smoothing 0
constexpr int kVolume = 9;            // continuous, smoothing 6
constexpr int kEnv1AttackCurve = 119; // spread list of 3
constexpr int kWarm = 711;
constexpr int kBoost = 712;
constexpr int kBendWheel = 720;
constexpr int kModWheel = 721;
constexpr int kAnticlick = 722;
constexpr int kOscAllPitch = 723;
constexpr int kLfoAllRate = 724;

/// Little-endian byte writers for hand-built fixtures.
inline void put32(std::vector<uint8_t>& b, std::size_t at, uint32_t v) {
    if (b.size() < at + 4) b.resize(at + 4);
    for (int i = 0; i < 4; ++i) b[at + i] = uint8_t(v >> (8 * i));
}
inline void putF(std::vector<uint8_t>& b, std::size_t at, float v) {
    uint32_t u;
    std::memcpy(&u, &v, 4);
    put32(b, at, u);
}
inline void putText(std::vector<uint8_t>& b, std::size_t at, const char* text) {
    const std::size_t n = std::strlen(text);
    if (b.size() < at + n + 1) b.resize(at + n + 1);
    std::memcpy(&b[at], text, n + 1);
}
inline uint32_t get32(const uint8_t* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}
inline float getF(const uint8_t* p) {
    const uint32_t u = get32(p);
    float v;
    std::memcpy(&v, &u, 4);
    return v;
}

/// A distinct, in-range, continuous-safe value per index (list rows land inside their range
/// for small values).
inline float patternValue(int i, int salt = 0) {
    return float((i * 37 + salt * 11) % 1000) / 1000.0f * 0.004f;
}

} // namespace torvo::test

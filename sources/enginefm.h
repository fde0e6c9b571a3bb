#pragma once
// "FM": a sine at the modulator pitch (0 to +48 semitones by ctrlB) moves the phase of the
// selected wave at the note's pitch by up to a full cycle (ctrlA); wtmix blends towards the
// plain wave at the modulator pitch. A retrigger on a sounding voice glides the depth instead
// of jumping, so legato notes do not click in brightness.

#include "sources/oscblock.h"
#include "sources/simdread.h"

#include <array>

namespace torvo {

/// Depth of phase modulation that glides after a retrigger of a sounding voice.
struct DepthGlide {
    /// Fills `out` with the depth per sample from the ctrlA stream; `step` is the glide rate.
    void fill(const float* ctrlA, const float* retrig, bool sounding, float step, float* out,
              int frames);
    float y = 0.0f;
    bool gliding = false;
};

/// Adds the phase offset once with the wrap of the FM carriers: the lower side deliberately
/// adds one point less than a cycle.
inline float wrapOnce(float p) {
    if (p > 4096.0f) return p - 4096.0f;
    if (p < 0.0f) return p + 4095.0f;
    return p;
}

/// wrapOnce() on four fixed-point phases of a steady block: the carrier's own phases `p` moved
/// by the modulation `m` in table points (clamped to one cycle either way).
inline __m128i wrapOnceFixed(__m128i p, __m128 m) {
    m = _mm_min_ps(_mm_max_ps(m, _mm_set1_ps(-4096.0f)), _mm_set1_ps(4095.99f));
    // (m + 4096) * 2^19 lies in [0, 2^32): read as unsigned and doubled it is m in fixed
    // point, give or take whole cycles.
    const __m128 x = _mm_mul_ps(_mm_add_ps(m, _mm_set1_ps(4096.0f)), _mm_set1_ps(524288.0f));
    const __m128i half = _mm_xor_si128(_mm_cvttps_epi32(_mm_sub_ps(x, _mm_set1_ps(2147483648.0f))),
                                       _mm_set1_epi32(static_cast<int>(0x80000000u)));
    const __m128i sum = _mm_add_epi32(p, _mm_add_epi32(half, half));
    const __m128 own =
        _mm_mul_ps(_mm_cvtepi32_ps(_mm_srli_epi32(p, 1)), _mm_set1_ps(1.0f / 524288.0f));
    const __m128 below = _mm_cmplt_ps(_mm_add_ps(own, m), _mm_setzero_ps());
    return _mm_sub_epi32(sum, _mm_and_si128(_mm_castps_si128(below), _mm_set1_epi32(1 << 20)));
}

class EngineFM {
public:
    void allocate(Pool& pool, int frames);
    void seedPhases(const float* phases);
    void render(const OscBlock& b);
    float* left() const { return buffers.sumL; }
    float* right() const { return buffers.sumR; }

    std::array<TableReader, kUnisonSlots> plain;
    std::array<TableReader, kUnisonSlots> modulator;
    std::array<TableReader, kUnisonSlots> carrier;
    EngineBuffers buffers;
    float smoothPitch = -1.0f;
    DepthGlide depth;

private:
    float* pitch = nullptr;
    float* modNote = nullptr;
    float* plainOut = nullptr;
    float* modOut = nullptr;
    float* depthBuf = nullptr;
};

} // namespace torvo

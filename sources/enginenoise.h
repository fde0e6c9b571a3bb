#pragma once
// "Noise": two pink noise generators, one per side, blended with the selected wave by wtmix
// and spread by the unison width, then both channels run through a state-variable filter
// (four passes per sample) whose cut-off is ctrlA, or the key an octave down when key tracking
// is on, and whose resonance is ctrlB. ctrlA above the middle switches the filter to high-pass.

#include "sources/oscblock.h"

#include <array>
#include <cstdint>

namespace torvo {

/// The noise source: a two-word generator into a three-pole pink filter.
struct PinkNoise {
    void seed(uint32_t aSeed, uint32_t bSeed);
    float next();

    uint32_t a = 1732584193u;
    uint32_t b = 0xefcdab89u;
    float b0 = 0.0f;
    float b1 = 0.0f;
    float b2 = 0.0f;
};

/// State of one channel of the noise filter.
struct NoiseSvf {
    float low = 0.0f;
    float band = 0.0f;
};

class EngineNoise {
public:
    EngineNoise();
    void allocate(Pool& pool, int frames) { buffers.allocate(pool, frames); }
    void seedPhases(const float* phases);
    /// Renders into `outL`/`outR`; `cut` and `res` are work buffers of the block length.
    void render(const OscBlock& b, float* outL, float* outR, float* cut, float* res);

    std::array<TableReader, kUnisonSlots> readers;
    EngineBuffers buffers;
    PinkNoise left;
    PinkNoise right;
    NoiseSvf filterL;
    NoiseSvf filterR;

private:
    void fillCutoff(const OscBlock& b, float* cut) const;
    template <bool kHighPass> static float filter(NoiseSvf& s, float in, float f, float q);
};

/// 1024 points of sin(pi i / 1023), rounded to three decimals.
const float* sinTable();

} // namespace torvo

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
    double low = 0.0;
    double band = 0.0;
};

/// The filter's four passes of one sample (h = in - q band; low += f band; high = h - low;
/// band += f high; the mean of the tap over the passes) folded into one step of its two
/// states: low' = a00 low + a01 band + b0 in, band' = a10 low + a11 band + b1 in, out =
/// c0 low + c1 band + d in. One step waits on one product and two sums where the passes wait
/// on twenty operations in a row. The coefficients and the states are kept in double, so the
/// output stays within the rounding of the passes run in float.
struct NoiseSvfStep {
    void set(float f, float q, bool highPass);
    double a00 = 1.0, a01 = 0.0, a10 = 0.0, a11 = 1.0;
    double b0 = 0.0, b1 = 0.0;
    double c0 = 0.0, c1 = 0.0, d = 0.0;
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
    void renderSlots(const OscBlock& b);
    void fillCutoff(const OscBlock& b, float* cut) const;
};

/// 1024 points of sin(pi i / 1023), rounded to three decimals.
const float* sinTable();

} // namespace torvo

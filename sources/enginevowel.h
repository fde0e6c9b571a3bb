#pragma once
// "Vowel": a saw (blended towards the selected wave by wtmix) through four parallel formant
// resonators. ctrlA walks through five vowels, ctrlB shifts and widens the formants. Each
// resonator is a feedback loop around an all-pass chain that reuses its two cells twice per
// sample, which is what gives the formants their particular bandwidth.

#include "sources/oscblock.h"

#include <array>

namespace torvo {

/// One formant resonator of one channel.
struct FormantStage {
    float process(float in, float a, float fb);
    float x = 0.0f;
    float s0 = 0.0f;
    float s1 = 0.0f;
};

/// The four parallel formant stages of both channels.
class FormantBank {
public:
    static constexpr int kFormants = 4;
    /// Filters `left` and `right` in place (groups of 4 may run into the padding); the
    /// coefficients follow ctrlA and ctrlB per sample.
    void process(float* left, float* right, const float* ctrlA, const float* ctrlB, int frames,
                 float sampleRate);

    std::array<FormantStage, kFormants> stagesL;
    std::array<FormantStage, kFormants> stagesR;
};

class EngineVowel {
public:
    static constexpr int kFormants = 4;
    static constexpr int kVowels = 5;

    void allocate(Pool& pool, int frames) { buffers.allocate(pool, frames); }
    void seedPhases(const float* phases);
    void render(const OscBlock& b);
    float* left() const { return buffers.sumL; }
    float* right() const { return buffers.sumR; }

    /// Centre of formant `k` in Hz at a vowel position (ctrlA, 0..1) before the shift.
    static float formantHz(int k, float position);
    /// The all-pass coefficient and the feedback of every formant for ctrlA and ctrlB.
    static void coefficients(float A, float B, float invRate, float* coef, float* feedback);

    std::array<TableReader, kUnisonSlots> readers;
    EngineBuffers buffers;
    FormantBank formants;

private:
    /// The slots' reads and the formants: fused when every slot holds a steady block.
    void renderSlots(const OscBlock& b);
    template <class VRead> void renderFused(const OscBlock& b, VRead vread);
};

} // namespace torvo

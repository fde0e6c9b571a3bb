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

    std::array<TableReader, kUnisonSlots> readers;
    EngineBuffers buffers;
    std::array<FormantStage, kFormants> stagesL;
    std::array<FormantStage, kFormants> stagesR;
};

} // namespace torvo

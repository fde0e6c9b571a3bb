#pragma once
// "HardFM": the selected wave modulates the phase of itself at harmonic ratios. ctrlB picks
// the modulator interval from eleven steps (with a slight slide inside each), wtmix morphs the
// modulator towards the next wave, ctrlA is the depth, tamed per wave and pitch by a depth
// table so that the side-bands of high notes stay below the band edge. The engine runs at
// twice the sample rate and averages each pair of sub-samples.

#include "sources/enginefm.h"
#include "sources/oscblock.h"

#include <array>

namespace torvo {

class EngineHardFM {
public:
    static constexpr int kIntervals = 11;
    static constexpr int kDepthColumns = 9;

    void allocate(Pool& pool, int frames);
    void seedPhases(const float* phases);
    void render(const OscBlock& b);
    float* left() const { return buffers.sumL; }
    float* right() const { return buffers.sumR; }

    /// Modulator interval in semitones above the carrier for a ctrlB value.
    static float intervalFor(float ctrlB);
    /// Depth factor of `wave` at a modulator note (0..127) from the wave's row of the table.
    static float depthRow(int wave, float modNote);

    std::array<TableReader, kUnisonSlots> modA;
    std::array<TableReader, kUnisonSlots> modB;
    std::array<TableReader, kUnisonSlots> carrier;
    EngineBuffers buffers;
    float smoothPitch = -1.0f;
    DepthGlide depth;

private:
    float* pitch2 = nullptr;
    float* a2 = nullptr;
    float* b2 = nullptr;
    float* w2 = nullptr;
    float* retrig2 = nullptr;
    float* carrierNote = nullptr;
    float* note1 = nullptr;
    float* note2 = nullptr;
    float* out1 = nullptr;
    float* out2 = nullptr;
    float* depth2 = nullptr;
    float* slot2 = nullptr;
    float* sumL2 = nullptr;
    float* sumR2 = nullptr;
};

} // namespace torvo

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
    /// What a slot whose three readers hold one note each needs for its steady loop.
    struct SteadySlot {
        const ReaderBlock* modBlock;
        const ReaderBlock* nextBlock;
        const ReaderBlock* carrierBlock;
        int wave;
        int nextWave;
        /// False when the depth is 0 throughout: the modulators then only keep time.
        bool readMod;
        /// False when the morph is 0 throughout (or the depth is): the next wave keeps time.
        bool readNext;
    };
    /// The notes of the modulators and the carrier for one pitch and ctrlB.
    static void notesFor(float pitch, float ctrlB, float det, float& mod1, float& mod2,
                         float& carrierAt);
    /// A slot of a steady block into the sub-sample sums, four sub-samples a step.
    void renderSteadySlot(int slot, float det, float levelL, float levelR, const SteadySlot& s,
                          int n2);
    /// The sample loop of a slot: any block, with per-sub-sample notes.
    void renderSlot(const OscBlock& b, int slot, float det, const ReaderBlock& rb,
                    const ReaderBlock& modBlock, const ReaderBlock& next);

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

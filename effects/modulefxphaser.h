#pragma once
// A stereo first-order all-pass phaser of 2 to 12 sections; its last three settings turn it
// into a vowel filter of four formant chains on a moving vowel table.

#include "effects/fxcontrols.h"
#include "engine/module.h"
#include "engine/paramsmoother.h"

namespace torvo {

class ModuleFxPhaser : public Module {
public:
    /// Index 0..5 are 2 * index + 2 sections; 6..8 the vowel modes.
    static constexpr int kLastStages = 8;
    static constexpr int kFirstVowel = 6;
    static constexpr int kMaxSections = 12;
    static constexpr int kFormants = 4;
    /// Control slots, in the order the controls are registered.
    enum Control { kFreq = 0, kFeedback, kSpread, kRate, kDepth, kWet };

    ModuleFxPhaser();
    void createVoices() override;
    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;
    void processFx(int frames, float* const* stereo) override;
    /// Zeroes the working buffers; the all-pass states are kept.
    void clear();

    /// All-pass sections of a stage setting below the vowel modes.
    static int sectionCount(int stageIndex) { return 2 * stageIndex + 2; }
    /// Sweep position in 0..1 for an LFO value c: it starts at freq and reaches up toward the
    /// top in proportion to depth.
    static float position(float c, float freq, float depth) {
        return c * (1.0f - freq) * depth + freq;
    }
    /// True when any all-pass state or feedback value is subnormal.
    bool holdsSubnormals() const;

    int stages = 3;
    ParamSmoother freq;
    ParamSmoother feedback;
    ParamSmoother spread;
    ParamSmoother rate;
    ParamSmoother depth;
    ParamSmoother wet;
    bool mute = false;

private:
    void stageModes(const float* const* in, int n);
    void vowelModes(const float* const* in, int n);

    FxControls controls;
    float phase = 0.0f;
    // Stage modes, per side: the feedback value and the section states.
    float stageFeedback[2] = {};
    float sections[2][kMaxSections] = {};
    // Vowel modes, per formant and side: the feedback value and the two all-pass states.
    float vowelFeedback[kFormants][2] = {};
    float vowelA[kFormants][2] = {};
    float vowelB[kFormants][2] = {};

    // Working buffers of a block: the two LFO curves, the rate and the two outputs.
    float* curveL = nullptr;
    float* curveR = nullptr;
    float* rateBuf = nullptr;
    float* outL = nullptr;
    float* outR = nullptr;
    int capacity = 0;
};

} // namespace torvo

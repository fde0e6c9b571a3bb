#pragma once
// The per-voice filter section: two slots, each any of six models, in series or in parallel,
// fed by the mixer's two buses and blended by the balance. All model states of both slots live
// in the voice, so a change of model leaves the others' states alone. Cut-off and resonance
// are smoothed per sample; slot one follows the key, and slot two may be linked to slot one.

#include "engine/module.h"
#include "engine/paramsmoother.h"

#include <array>
#include <cstddef>

namespace torvo {

class VoiceFilter : public Voice {
public:
    static constexpr int kDelayLineCount = 4;
    static constexpr std::size_t kDelayLineBytes = 153600;

    // Slot outputs; the section's result is written into slot one's pair.
    float* out1L = nullptr;
    float* out1R = nullptr;
    float* out2L = nullptr;
    float* out2R = nullptr;
    // Coefficient buffers that the models share.
    float* cutCoef = nullptr;
    float* damping = nullptr;
    float* resCoef = nullptr;
    float* gain = nullptr;
    /// Key-tracked cut-off of slot one.
    float* calcCut = nullptr;
    /// Slot two's linked cut-off.
    float* linkCut = nullptr;
    /// Gate word of the note stream per sample.
    float* gate = nullptr;
    /// Delay memory of the models that need it; allocated once per engine.
    std::array<float*, kDelayLineCount> delayLines{};
    int lastFrames = 0;
};

class ModuleFilter : public ModulePoly {
public:
    enum Routing { kSerial = 0, kParallel = 1 };
    enum Type { kOff = 0, kPerfecto, kAcido, kInfecto, kScorpio, kCombo, kShaper };

    void createVoices() override;
    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;
    /// Slot one's output pair of every voice (the section's result).
    const StereoPtr* getStereoOutputs(int index) override;

    /// Advances the five smoothers by one block.
    void updateSmoothers(int frames);
    /// Renders one voice from the mixer's bus pairs.
    void renderVoice(int voice, int frames, const StereoPtr& bus1, const StereoPtr& bus2);
    /// Zeroes the delay memory of all voices.
    void clearDelayLines();

    int routing = kSerial;
    bool link = false;
    int type1 = kOff;
    int mode1 = 0;
    ParamSmoother cut1;
    ParamSmoother res1;
    int type2 = kOff;
    int mode2 = 0;
    ParamSmoother cut2;
    ParamSmoother res2;
    /// -1.0667..1.0667, zero at the knob's centre.
    float keyTrack = 0.0f;
    ParamSmoother balance;

private:
    std::array<VoiceFilter, kVoiceCount> filterVoices;
    std::array<StereoPtr, kVoiceCount> outputTable{};
};

} // namespace torvo

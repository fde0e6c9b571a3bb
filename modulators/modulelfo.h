#pragma once
// A low-frequency oscillator per voice, free running in hertz or locked to a tempo division.
// Five shapes are calculated (sine, triangle, square, sample-and-hold, sample-and-glide); the
// others are read from the wave bank. With `mono` on only the mono voice runs and every voice
// reads its output.

#include "engine/module.h"
#include "engine/paramsmoother.h"
#include "modulators/timedivision.h"

#include <array>
#include <cstdint>

namespace torvo {

class VoiceLfo : public Voice {
public:
    /// Generator of the sample-and-hold values; output scale 2^-32.
    uint32_t randomA = 0x67452301u;
    uint32_t randomB = 0xEFCDAB89u;
    /// 0..1.
    double phase = 0.0;
    float driftOffset = 0.0f;
    float fadePosition = 1.0f;
    bool wrapFlag = false;
    float holdValue = 0.0f;
    float slewValue = 0.0f;
    float slewBase = 0.0f;
    float slewDelta = 0.0f;
    float lastRetrigTime = 0.0f;
    float* output = nullptr;
};

class ModuleLfo : public ModulePoly {
public:
    /// Forms 0..4 are calculated; from 5 on a form is a wave of the bank.
    enum Form { kFormSin = 0, kFormTri, kFormSqr, kFormSampleHold, kFormSampleGlide };
    static constexpr int kFormCount = 52;

    void createVoices() override;
    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;
    void process(int frames, int use) override;
    /// All 17 entries point at voice 16's buffer while `mono` is on.
    float* const* getOutputs(int index) override;

    /// Start phase from the `phase` knob: a quarter cycle at the knob's zero in the free range.
    static float phaseValueOf(float knob);

    float rate = 0.0f;
    int timeIndex = 0;
    ParamSmoother symmetry;
    bool sync = false;
    bool mono = false;
    ParamSmoother morph;
    float phase = 0.0f;
    float phaseValue = 0.0f;
    int form = kFormSin;
    float amp = 0.0f;
    float fadeIn = 0.0f;
    bool drift = false;

private:
    std::array<VoiceLfo, kVoiceCount> lfoVoices;
    std::array<float*, kVoiceCount> polyTable{};
    std::array<float*, kVoiceCount> monoTable{};
};

} // namespace torvo

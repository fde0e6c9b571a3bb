#pragma once
// A low-frequency oscillator per voice, free running in hertz or locked to a tempo division.
// Five shapes are calculated (sine, triangle, square, sample-and-hold, sample-and-glide); the
// others are read from the wave bank. With `mono` on, or in the synth's mono modes, only the
// mono voice runs and every voice reads its output.
//
// A retrigger comes from word 12 of a voice's note stream. A free-phase LFO keeps running
// across legato and quick notes and takes a new start phase only after a pause of more than a
// second, so that fast playing does not restart the movement on every note.

#include "engine/module.h"
#include "engine/paramsmoother.h"
#include "modulators/lfoshapes.h"
#include "modulators/timedivision.h"

#include <array>
#include <cstdint>

namespace torvo {

struct TriggerRecord;

class VoiceLfo : public Voice {
public:
    void reset() override;
    /// The next value of the sample-and-hold generator, 0..1 (scale 2^-32 around 0.5).
    float nextRandom();

    /// Generator of the sample-and-hold values.
    uint32_t randomA = 0x67452301u;
    uint32_t randomB = 0xEFCDAB89u;
    /// 0..1.
    double phase = 0.0;
    float driftOffset = 0.0f;
    /// 1 when no fade-in is running.
    float fadePosition = 1.0f;
    /// Set when the phase wrapped; the next sample takes a new random value.
    bool wrapFlag = false;
    float holdValue = 0.0f;
    float slewValue = 0.0f;
    float slewBase = 0.0f;
    float slewDelta = 0.0f;
    /// Seconds of the process clock at the last note start that reached this voice.
    double lastRetrigTime = 0.0;
    float* output = nullptr;
};

class ModuleLfo : public ModulePoly {
public:
    /// Forms 0..4 are calculated; from 5 on a form is a wave of the bank.
    enum Form { kFormSin = 0, kFormTri, kFormSqr, kFormSampleHold, kFormSampleGlide };
    static constexpr int kFormCount = 52;
    /// The target that moves the rate of all four LFOs together.
    static constexpr int kParamAllLfoRate = 724;

    void createVoices() override;
    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;
    void resetVoices() override;
    /// Renders one block: the active voices, and voice 16 too when `use` is 2; only voice 16
    /// while the LFO is mono.
    void process(int frames, int use) override;
    /// All 17 entries point at voice 16's buffer while the LFO is mono.
    float* const* getOutputs(int index) override;

    /// Division index of the synced rate: the all-LFO rate modulation moves it in whole steps
    /// of 1/20, the LFO's own rate modulation is added before the truncation; at most 1/64.
    static int syncedTimeIndex(int timeIndex, float allRateModulation, float ownRateModulation);
    /// Start phase from the `phase` knob: a quarter cycle at the knob's zero in the free range.
    static float phaseValueOf(float knob);

    /// Per-voice note streams (17 entries). Inside an engine they are taken from the note
    /// module each block; a module built on its own is given them here.
    void setTriggerSources(TriggerRecord* const* table) { triggers = table; }
    /// The process clock in seconds; tests put a clock of their own here.
    void setClock(double (*now)()) { clock = now; }
    VoiceLfo& voice(int i) { return lfoVoices[i]; }
    bool isMono() const;
    /// Frequency in hertz that voice `v` runs at in a block of `frames` (rate, sync, tempo,
    /// modulation and drift offset).
    double frequencyOf(int v, int frames) const;

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
    /// What one voice's block shares between its segments.
    struct Block {
        double increment = 0.0;
        const float* morph = nullptr;
        const float* sym = nullptr;
        float startPhase = 0.0f;
        float amp = 0.0f;
        /// Fade-in step per sample, 0 without a fade.
        float fadeStep = 0.0f;
        const float* waveA = nullptr;
        const float* waveB = nullptr;
        float morphStart = 0.0f;
    };

    float modulation(int paramIdValue, int frames, int v) const;
    float modulatedLocal(int localIndex, float base, int frames, int v) const;
    void renderVoice(int v, int frames);
    void renderShape(VoiceLfo& lv, const Block& b, int from, int to);
    void finishSegment(VoiceLfo& lv, const Block& b, int from, int to);
    void retrigger(int v, float startPhase);

    std::array<VoiceLfo, kVoiceCount> lfoVoices;
    std::array<float*, kVoiceCount> polyTable{};
    std::array<float*, kVoiceCount> monoTable{};
    TriggerRecord* const* triggers = nullptr;
    double (*clock)() = nullptr;
    LfoPhaseBag bag;
};

} // namespace torvo

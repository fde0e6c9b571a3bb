#pragma once
// An ADSR-type envelope with an extra slope stage between decay and sustain, per voice.
// Stages: 0 idle, 1 attack, 2 decay, 3 slope, 4 sustain, 5 release. env1 is the amplitude
// envelope: its stage decides when a voice is alive, and other modules read its voices'
// `freshStart` and `valueAtRetrig` to decide whether a retriggered voice keeps its state.
// Times and levels are read once per block from the (modulated) parameters; the gate comes
// per sample from the note stream of each voice.

#include "engine/module.h"

#include <array>

namespace torvo {

struct TriggerRecord;

enum EnvelopeStage {
    kStageIdle = 0,
    kStageAttack,
    kStageDecay,
    kStageSlope,
    kStageSustain,
    kStageRelease
};

/// The values of one block that every voice of a module shares or gets per voice.
struct EnvelopeBlock {
    float sustain = 0.0f;
    float slopeLevel = 0.0f;
    float attackRate = 1.0f;
    float decayRate = 1.0f;
    float slopeRate = 1.0f;
    float releaseRate = 1.0f;
    int attackCurve = 0;
    int decayCurve = 0;
    int slopeCurve = 0;
    int releaseCurve = 0;
    bool isAmp = false;
    /// A key is still held: a retrigger of env1 then attacks no faster than 0.032 per sample.
    bool heldNote = false;
    float sampleRate = 44100.0f;
};

class VoiceEnvelope : public Voice {
public:
    void reset() override { clearState(); }
    /// Back to idle with a zeroed output, as after a panic.
    void clearState();
    /// Renders `frames` samples of the gate stream (null: no events) into `output`.
    void render(const EnvelopeBlock& b, const TriggerRecord* gates, int frames, double (*clock)());

    int active = 0;
    /// The stage word. The voice allocator raises it to 1 as soon as it claims the voice, so
    /// that further notes of the same block do not take it; the envelope itself works from
    /// `lastStage`, its own stage at the end of the last block.
    int stage = kStageIdle;
    int lastStage = kStageIdle;
    /// 0..1 within the current stage.
    float position = 0.0f;
    float start = 0.0f;
    /// Target minus start of the current stage.
    float span = 0.0f;
    /// Seconds of the process clock at the last retrigger from release.
    float lastRetrigTime = 0.0f;
    float bouncePos = 0.0f;
    float bounceStep = 1.0f;
    float valueAtRetrig = 0.0f;
    /// The current output level.
    float value = 0.0f;
    bool clearPending = false;
    float* output = nullptr;
    /// Frames the output buffer holds.
    int capacity = 0;
    /// Set when the envelope last started from idle.
    bool freshStart = true;
    float attackRate = 1.0f;
    /// Gate word of the last gate event (1 start, 2 end), published to the other modules.
    int trigger = 0;
    /// Frames from the start of `output` that hold `heldLevel` from a sustain run, so that the
    /// next block of the same sustain need not write them again.
    int heldFrames = 0;
    float heldLevel = 0.0f;

private:
    void gateOn(const EnvelopeBlock& b, double (*clock)());
    void gateOff();
    float advance(const EnvelopeBlock& b);
    /// `n` samples of the sustain stage from sample `at`: the level, and the creep of the
    /// position that tells the voice allocator how long the note has been held.
    void holdSustain(float level, int at, int n);
};

/// The sustain stage's position after `n` samples from `x`: n additions of its creep (1e-5),
/// with the float rounding of each, answered without the chain where that is exact.
float sustainCreep(float x, int n);

class ModuleEnvelope : public ModulePoly {
public:
    // Curve indices: attack and slope "Lin Exp Pow", decay and release "Exp2 Pow Exp1".
    enum RiseCurve { kCurveLin = 0, kCurveExp, kCurvePow };
    enum FallCurve { kCurveExp2 = 0, kCurveFallPow, kCurveExp1 };

    void createVoices() override;
    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;
    /// Renders one block. env1 renders all 17 voices, so that releases end and voices are
    /// freed; the others render active voices, and voice 16 too when `use` is 2.
    void process(int frames, int use) override;
    float* const* getOutputs(int index) override;

    void setAmpEnvelope(bool on) { isAmpEnvelope = on; }
    /// Per-voice note streams (17 entries, 16-byte records). Inside an engine they are taken
    /// from the note module each block; a module built on its own is given them here.
    void setTriggerSources(TriggerRecord* const* table) { triggers = table; }
    /// Whether a key is held, for modules without an engine.
    void setHeldNote(bool held) { heldNote = held; }
    /// The process clock in seconds; tests put a clock of their own here.
    void setClock(double (*now)()) { clock = now; }
    /// Clears all 17 voices.
    void clearState();
    VoiceEnvelope& voice(int i) { return envVoices[i]; }

    bool isAmpEnvelope = false;
    // Stage time positions and levels, normalised 0..1 as the parameters give them.
    float attack = 0.0f;
    float decay = 0.0f;
    float sustain = 0.0f;
    float slopeTime = 0.0f;
    float slopeLevel = 0.0f;
    float release = 0.0f;
    int attackCurve = kCurveLin;
    int decayCurve = kCurveExp2;
    int slopeCurve = kCurveLin;
    int releaseCurve = kCurveExp2;

private:
    float modulatedLocal(int localIndex, float base, int frames, int voice) const;
    /// envelopeRate() of stage time k (attack, decay, slope, release), remembered: voices
    /// and blocks mostly ask again for the same time.
    float stageRate(int k, float x, float sr);
    /// `gates`: the voice's note stream, or null when it carries no gate this block.
    void renderVoice(int v, int frames, bool held, const TriggerRecord* gates);

    std::array<VoiceEnvelope, kVoiceCount> envVoices;
    std::array<float*, kVoiceCount> outputTable{};
    TriggerRecord* const* triggers = nullptr;
    bool heldNote = false;
    double (*clock)() = nullptr;
    struct RateMemo {
        float x = 0.0f;
        float sr = 0.0f;
        float rate = 0.0f;
        bool valid = false;
    };
    std::array<RateMemo, 4> rateMemo{};
};

} // namespace torvo

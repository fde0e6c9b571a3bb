#pragma once
// An ADSR-type envelope with an extra slope stage between decay and sustain, per voice.
// Stages: 0 idle, 1 attack, 2 decay, 3 slope, 4 sustain, 5 release. env1 is the amplitude
// envelope: its stage decides when a voice is alive, and other modules read its voices'
// `freshStart` and `valueAtRetrig` to decide whether a retriggered voice keeps its state.
// Times are read once per block from the (modulated) parameters.

#include "engine/module.h"

#include <array>

namespace torvo {

enum EnvelopeStage {
    kStageIdle = 0,
    kStageAttack,
    kStageDecay,
    kStageSlope,
    kStageSustain,
    kStageRelease
};

class VoiceEnvelope : public Voice {
public:
    void reset() override { clearState(); }
    /// Back to idle with a zeroed output, as after a panic.
    void clearState();

    int active = 0;
    int stage = kStageIdle;
    int lastStage = kStageIdle;
    /// 0..1 within the current stage.
    float position = 0.0f;
    float start = 0.0f;
    /// Target minus start of the current stage.
    float span = 0.0f;
    /// Seconds of the process clock at the last retrigger.
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
    /// Trigger word of the last gate event (1 start, 2 end), published to the other modules.
    int trigger = 0;
};

class ModuleEnvelope : public ModulePoly {
public:
    // Curve indices: attack and slope "Lin Exp Pow", decay and release "Exp2 Pow Exp1".
    enum RiseCurve { kCurveLin = 0, kCurveExp, kCurvePow };
    enum FallCurve { kCurveExp2 = 0, kCurveFallPow, kCurveExp1 };

    void createVoices() override;
    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;
    void process(int frames, int use) override;
    float* const* getOutputs(int index) override;

    void setAmpEnvelope(bool on) { isAmpEnvelope = on; }
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
    std::array<VoiceEnvelope, kVoiceCount> envVoices;
    std::array<float*, kVoiceCount> outputTable{};
};

} // namespace torvo

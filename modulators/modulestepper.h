#pragma once
// A 16-step modulation sequencer in which every step is a curve: its level moves from a start
// to an end value through one control point, optionally repeated within the step. Each step
// keeps a 64-point table built when one of its parameters is written; each voice has its own
// clock position (or only the mono voice runs, and every voice reads its output).

#include "engine/module.h"
#include "modulators/stepclock.h"

#include <array>

namespace torvo {

struct TriggerRecord;

constexpr int kStepCount = 16;

struct StepData {
    float startLevel = 0.0f;
    float crvX = 0.5f;
    float crvY = 0.5f;
    float endLevel = 0.0f;
    bool hold = false;
    /// 1..4: how often the curve plays within the step.
    int repeat = 1;
    std::array<float, 40> bezierX{};
    std::array<float, 40> bezierY{};
    std::array<float, 64> points{};

    /// Rebuilds `points` from the step's fields.
    void rebuild();
};

class ModuleStepper : public ModulePoly {
public:
    static constexpr int kLocalStepStart = 0;
    static constexpr int kLocalStepEnd = 16;
    static constexpr int kLocalCurveX = 32;
    static constexpr int kLocalCurveY = 48;
    static constexpr int kLocalRepeat = 64;
    static constexpr int kLocalHead = 80;
    static constexpr int kLocalHold = 90;
    static constexpr int kLocalCount = 106;

    void createVoices() override;
    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;
    void process(int frames, int use) override;
    /// All 17 entries point at voice 16's buffer while `mono` is on.
    float* const* getOutputs(int index) override;

    /// The step of the newest running voice, for the editor's display.
    int currentStep() const { return displayStep; }
    /// Whether the arpeggiator runs this block, and its step snapshot buffer (16384 bytes).
    /// While it runs, a sample whose snapshot word has bit 2 set (the arpeggiator writes 7 at
    /// its start) is a key press for every voice.
    void setArpState(bool run, const float* stepSnapshot);
    /// The host's song position in quarter notes, which the "spos" mode starts from.
    void setSongPosition(double quarters) { clock.songPosition = quarters; }
    /// Per-voice note streams (17 entries). Inside an engine they are taken from the note
    /// module each block; a module built on its own is given them here.
    void setTriggerSources(TriggerRecord* const* table) { triggers = table; }
    bool isMono() const;
    /// The output of a step at a position 0..1 within it.
    float valueAt(int step, float position) const;
    void resetVoices() override;

    std::array<StepData, kStepCount> steps;
    StepClock clock;
    /// Raw `time` value; the clock keeps the decoded index.
    float timeValue = 0.0f;
    /// Raw `arp_speed`, compared with the time index for swing.
    float arpSpeed = 0.0f;
    bool mono = false;
    bool arpRunning = false;
    const float* arpStepSnapshot = nullptr;
    int displayStep = 0;

private:
    void setHeadParameter(int localIndex, float value);
    void updateClock(int frames);
    void renderVoice(int v, int frames);

    TriggerRecord* const* triggers = nullptr;
    /// The voice that took the last key press: the editor shows its step.
    int newestVoice = 0;

    std::array<float*, kVoiceCount> outputs{};
    std::array<float*, kVoiceCount> polyTable{};
    std::array<float*, kVoiceCount> monoTable{};
};

} // namespace torvo

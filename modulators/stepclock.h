#pragma once
// The step clock that the step sequencers and the arpeggiator share: a free rate or a tempo
// division, a first and last step, loop and retrigger switches, swing between even and odd
// steps, and a running step index and position per voice (16 poly voices and the mono voice).
//
// Once per block updateRates() turns the settings into per-sample increments; then tick() runs
// once per sample and voice with that sample's note flags.

#include "engine/module.h"
#include "modulators/timedivision.h"

#include <array>

namespace torvo {

enum StepClockMode { kClockFree = 0, kClockSync, kClockSongPosition };

struct StepClock {
    /// Bit of a sample's note flags that marks a key press.
    static constexpr int kKeyPress = 4;

    /// Free rate position, 0..1.
    float rate = 0.0f;
    int timeIndex = 0;
    int mode = kClockFree;
    int startStep = 0;
    int stopStep = 15;
    bool loop = false;
    bool rtrg = false;
    float swing = 0.5f;
    /// Phase increments per sample for even and odd steps.
    float rateEven = 0.0f;
    float rateOdd = 0.0f;
    /// The host's song position in quarter notes, read by the "spos" mode at a key press.
    double songPosition = 0.0;

    std::array<int, kVoiceCount> running{};
    std::array<int, kVoiceCount> stepIndex{};
    std::array<float, kVoiceCount> position{};
    std::array<int, kVoiceCount> previousStep{};
    std::array<float, kVoiceCount> previousPosition{};
    std::array<bool, kVoiceCount> stepChanged{};

    /// Step rate of a free clock at a rate position (0..1), in steps per second.
    static float freeRateHz(float ratePosition);

    /// Per-sample increments for this block. `freeRate` is the (modulated) free rate position,
    /// `index` the (modulated) division index of the tempo modes, `swingIndex` the division
    /// at which swing applies (the arpeggiator's speed).
    void updateRates(float tempo, float sampleRate, float freeRate, int index, int swingIndex);
    /// One sample of voice `v` with its note flags. Answers whether the step changed.
    bool tick(int v, int flags);
    /// Every voice back to step 0, stopped.
    void resetVoices();

private:
    void startAtSongPosition(int v);
};

// Runs once per sample and voice: defined here so the render loops inline it.
inline bool StepClock::tick(int v, int flags) {
    stepChanged[v] = false;
    if (flags & kKeyPress) {
        running[v] = 1;
        if (rtrg) {
            position[v] = 0.0f;
            stepIndex[v] = loop ? 0 : startStep;
            stepChanged[v] = true;
        } else if (mode == kClockSongPosition) {
            startAtSongPosition(v);
        }
    }
    if (!running[v]) return stepChanged[v];
    previousStep[v] = stepIndex[v];
    previousPosition[v] = position[v];
    position[v] += (stepIndex[v] & 1) ? rateOdd : rateEven;
    if (position[v] < 1.0f) return stepChanged[v];
    position[v] -= 1.0f;
    ++stepIndex[v];
    stepChanged[v] = true;
    if (stepIndex[v] > stopStep) {
        if (rtrg && !loop) {
            // Played once: the voice stops at the end of its last step and holds it.
            running[v] = 0;
            stepIndex[v] = previousStep[v];
            position[v] = previousPosition[v];
            stepChanged[v] = false;
            return false;
        }
        stepIndex[v] = startStep;
    }
    return true;
}

} // namespace torvo

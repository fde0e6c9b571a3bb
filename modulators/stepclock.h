#pragma once
// The step clock that the step sequencers and the arpeggiator share: a free rate or a tempo
// division, a first and last step, loop and retrigger switches, swing between even and odd
// steps, and a running step index and position per voice (16 poly voices and the mono voice).

#include "engine/module.h"
#include "modulators/timedivision.h"

#include <array>

namespace torvo {

enum StepClockMode { kClockFree = 0, kClockSync, kClockSongPosition };

struct StepClock {
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

    std::array<int, kVoiceCount> running{};
    std::array<int, kVoiceCount> stepIndex{};
    std::array<float, kVoiceCount> position{};
    std::array<int, kVoiceCount> previousStep{};
    std::array<float, kVoiceCount> previousPosition{};
    std::array<bool, kVoiceCount> stepChanged{};
};

} // namespace torvo

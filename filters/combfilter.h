#pragma once
// "Combo": a feedback comb on the voice's own delay lines. The cut-off sets the delay (a high
// cut-off is a short delay, a high comb frequency), the resonance the feedback, and the mode
// the feedback's sign and a small stereo offset of the right channel's delay.

#include "filters/filterblock.h"

namespace torvo {

struct CombCoefCache {
    float cut = -1.0f;
    float res = -1.0f;
    float sampleRate = 0.0f;
    int mode = -1;
    float delayL = 0.0f, delayR = 0.0f, feedback = 0.0f;
};

struct ComboState {
    static constexpr int kLineLength = 38400;
    /// Left and right lines of kLineLength floats; owned by the voice.
    float* line[2] = {nullptr, nullptr};
    /// Shared by both lines: they always advance together.
    int writeIndex = 0;
    CombCoefCache cache;
    /// Zeroes both lines (a large clear: only at a note start without feedback left).
    void clearLines();
};

class CombFilter {
public:
    enum Mode { kMonoPlus = 0, kMonoMinus, kStereoPlus, kStereoMinus };

    /// Any mode; only 0..3 are reachable through the list.
    static void render(ComboState& state, int mode, const FilterBlock& b);
};

} // namespace torvo

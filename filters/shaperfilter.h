#pragma once
// "Shaper": a waveshaper in the filter slot. The input is driven, smoothed by a moving average
// over the last four samples at four sub-steps per sample, shaped at each sub-step, and the
// four shaped values summed; a tone control then sweeps a low-pass up to about 20 kHz over the
// lower half of the cut-off and a high-pass up over the upper half.

#include "filters/filterblock.h"

namespace torvo {

struct ToneState {
    float uL = 0.0f, vL = 0.0f, uR = 0.0f, vR = 0.0f;
};

struct ToneCoefCache {
    float cut = -1.0f;
    float sampleRate = 0.0f;
    float a = 0.0f, b = 0.0f;
};

struct ShaperState {
    /// The last four driven inputs per channel, newest first. The 16-tap average of 0.0625
    /// over sub-samples written four times each sees exactly these.
    float historyL[4] = {};
    float historyR[4] = {};
    ToneState tone;
    ToneCoefCache cache;
};

class ShaperFilter {
public:
    enum Mode { kSaturate = 0, kFoldback = 1 };

    /// Modes 0 and 1; any other mode silences the slot. No reset at note starts: the history
    /// runs on.
    static void render(ShaperState& state, int mode, const FilterBlock& b);
};

} // namespace torvo

#pragma once
// "Infecto": a two-pole state-variable filter run four times per sample, with low-, band-,
// high-pass and notch taps averaged over the four runs. Four runs let the frequency
// coefficient go up to its table's top without the filter turning unstable. The four runs
// are linear, so they are folded into one step per sample; high and notch of the last run are
// not kept (no tap reads them across samples).

#include "filters/filterblock.h"

namespace torvo {

struct SvfState {
    float low = 0.0f, band = 0.0f, high = 0.0f, notch = 0.0f;
};

/// The folded four-run coefficients of the last constant control.
struct SvfCoefCache {
    float cut = -1.0f;
    float res = -1.0f;
    float ratio = 0.0f;
    int mode = -1;
    float set[9] = {};
};

struct InfectoState {
    SvfState channel[2];
    SvfCoefCache cache;
    void clear();
};

class StateVariableFilter {
public:
    enum Mode { kLp2 = 0, kBp2 = 1, kHp2 = 2, kNotch = 3 };

    /// Modes 0..3; the caller bypasses higher ones.
    static void render(InfectoState& state, int mode, const FilterBlock& b);
};

} // namespace torvo

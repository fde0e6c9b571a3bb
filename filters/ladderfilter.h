#pragma once
// "Perfecto" and "Acido": a four-pole ladder with a feedback path around all four poles and a
// cubic soft clipper on the last pole, which bounds the state even in self-oscillation.
// "Perfecto" builds low-, band-, high-pass and peak responses from one or two ladder stages;
// "Acido" taps the single stage after one to four poles.

#include "filters/filterblock.h"

namespace torvo {

struct LadderState {
    float y1 = 0.0f, y2 = 0.0f, y3 = 0.0f, y4 = 0.0f;
    /// The previous inputs of the four poles.
    float x1 = 0.0f, x2 = 0.0f, x3 = 0.0f, x4 = 0.0f;
};

/// Coefficients of the last constant control, kept so a settled knob costs no table reads.
struct LadderCoefCache {
    float cut = -1.0f;
    float res = -1.0f;
    float ratio = 0.0f;
    int mode = -1;
    float p = 0.0f, k = 0.0f, feedback = 0.0f, gain = 0.0f;
};

struct PerfectoState {
    /// Stages 0 and 1 for the left channel, 2 and 3 for the right.
    LadderState stage[4];
    LadderCoefCache cache;
    void clear();
};

struct AcidoState {
    /// Stage 0 left, stage 1 right.
    LadderState stage[2];
    LadderCoefCache cache;
    void clear();
};

class LadderFilter {
public:
    enum PerfectoMode { kLp4 = 0, kBp4 = 1, kHp4 = 2, kPeak = 3 };

    /// Modes 0..3; the caller bypasses higher ones.
    static void renderPerfecto(PerfectoState& state, int mode, const FilterBlock& b);
    static void renderAcido(AcidoState& state, int mode, const FilterBlock& b);
    /// Two voices' blocks in one pass, each exactly as the single call gives it: the ladder's
    /// samples wait on each other, so the second voice fills vector lanes that would idle.
    /// Blocks that restart at a note start go one by one.
    static void renderPerfectoPair(PerfectoState& first, const FilterBlock& a,
                                   PerfectoState& second, const FilterBlock& b, int mode);
    /// Any number of voices' blocks, each exactly as the single call gives it: up to eight
    /// voices run side by side through one loop.
    static void renderPerfectoGroup(PerfectoState* const* states, const FilterBlock* const* blocks,
                                    int count, int mode);
    static void renderAcidoPair(AcidoState& first, const FilterBlock& a, AcidoState& second,
                                const FilterBlock& b, int mode);
    /// Builds the models' tables off the audio path.
    static void warm();
};

} // namespace torvo

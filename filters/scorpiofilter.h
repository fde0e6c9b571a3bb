#pragma once
// "Scorpio": two- and four-pole filters with a nonlinear feedback around the second pole.
// The Red flavour soft-clips its feedback and shapes its output through a curve; the Black
// flavour limits its feedback on the negative side only. Each sample runs four iterations.

#include "filters/filterblock.h"

namespace torvo {

struct ScorpioChannel {
    float s1 = 0.0f, s2 = 0.0f, s3 = 0.0f, s4 = 0.0f;
    /// Second four-pole of "BlackBP4".
    float t1 = 0.0f, t2 = 0.0f, t3 = 0.0f, t4 = 0.0f;
};

struct ScorpioCoefCache {
    float cut = -1.0f;
    float res = -1.0f;
    float ratio = 0.0f;
    int mode = -1;
    float g = 0.0f, k = 0.0f, k2 = 0.0f, drive = 0.0f;
};

struct ScorpioState {
    /// The mode the cells were last run in; a new mode starts from zero.
    int mode = -1;
    ScorpioChannel channel[2];
    ScorpioCoefCache cache;
    void clear();
};

class ScorpioFilter {
public:
    enum Mode { kRedLp2 = 0, kRedLp4, kBlackLp2, kBlackLp4, kBlackHp4, kBlackBp4 };

    /// Modes 0..5.
    static void render(ScorpioState& state, int mode, const FilterBlock& b);
    /// Two voices in one pass, each exactly as render() would give it: the filter's samples
    /// wait on each other, so a second voice in the free lanes costs little. Blocks that
    /// restart a model at a note start go one by one.
    static void renderPair(ScorpioState& first, const FilterBlock& a, ScorpioState& second,
                           const FilterBlock& b, int mode);
    /// Any number of voices in one mode, each exactly as render() would give it. The filter's
    /// samples wait on each other, so voices go through one loop side by side, up to eight
    /// at a time: the processor works on one voice while another waits. Blocks that restart
    /// a model at a note start go one by one.
    static void renderGroup(ScorpioState* const* states, const FilterBlock* const* blocks,
                            int count, int mode);
    /// Builds the model's tables and picks its vector width, off the audio path.
    static void warm();
    /// True when a block runs without a restart, as a group needs.
    static bool pairable(const FilterBlock& b);
};

} // namespace torvo

// The mixer: level with its dead zone, the shared pan and split law, mute, and which voices
// it mixes.

#include "sources/modulemixer.h"

#include "support/standalonemodule.h"

#include <gtest/gtest.h>

#include <vector>

namespace torvo {
namespace {

constexpr int kFrames = 64;

struct MixRig {
    MixRig() {
        for (auto& b : in) b.assign(kFrames + 4, 0.0f);
        for (int o = 0; o < 4; ++o) {
            std::fill(in[2 * o].begin(), in[2 * o].end(), 1.0f);         // left
            std::fill(in[2 * o + 1].begin(), in[2 * o + 1].end(), 2.0f); // right
            osc[o] = {in[2 * o].data(), in[2 * o + 1].data()};
        }
        mix.shared.active[0] = 1;
        for (int o = 0; o < 4; ++o) {
            setNow(o, 0.5f, 0.5f, 0.0f);
            mix.m.setParameter(12 + o, 0.0f);
        }
        setLevel(0, 0.53f);
        for (int o = 1; o < 4; ++o) setLevel(o, 0.0f);
    }
    void setLevel(int o, float v) {
        mix.m.setParameter(4 + o, v);
        mix.m.levelSmoother[o].reset(mix.m.levelSmoother[o].targetValue());
    }
    void setNow(int o, float level, float pan, float to) {
        mix.m.setParameter(o, pan);
        mix.m.pan[o].reset(pan);
        mix.m.setParameter(8 + o, to);
        mix.m.mixTo[o].reset(to);
        setLevel(o, level);
    }
    void run(int voice = 0) {
        mix.m.wireVoice(voice, osc);
        mix.m.process(kFrames, 1);
    }
    float bus(int b, bool right, int voice = 0) {
        const StereoPtr p = mix.m.getStereoOutputs(b)[voice];
        return (right ? p.right : p.left)[kFrames - 1];
    }
    test::Standalone<ModuleMixer> mix{kFrames};
    std::vector<float> in[8];
    StereoPtr osc[4];
};

TEST(MixerSum, CentreFeedsBothSidesAndBothFiltersAtFullLevel) {
    MixRig rig;
    rig.setNow(0, 0.53f, 0.5f, 0.5f);
    rig.run();
    // Level 0.53 is 0.5 past the dead zone; pan and split at the centre take nothing away.
    EXPECT_FLOAT_EQ(rig.bus(0, false), 0.5f);
    EXPECT_FLOAT_EQ(rig.bus(0, true), 1.0f);
    EXPECT_FLOAT_EQ(rig.bus(1, false), 0.5f);
    EXPECT_FLOAT_EQ(rig.bus(1, true), 1.0f);
}

TEST(MixerSum, PanAndSplitFallLinearlyOnTheFarSide) {
    MixRig rig;
    struct Case {
        float pan, to, b1L, b1R, b2L, b2R;
    };
    const Case cases[] = {
        {0.0f, 0.0f, 0.5f, 0.0f, 0.0f, 0.0f},   {1.0f, 1.0f, 0.0f, 0.0f, 0.0f, 1.0f},
        {0.25f, 0.0f, 0.5f, 0.5f, 0.0f, 0.0f},  {0.75f, 0.25f, 0.25f, 1.0f, 0.125f, 0.5f},
        {0.5f, 0.75f, 0.25f, 0.5f, 0.5f, 1.0f},
    };
    for (const Case& c : cases) {
        rig.setNow(0, 0.53f, c.pan, c.to);
        rig.run();
        EXPECT_FLOAT_EQ(rig.bus(0, false), c.b1L) << c.pan << " " << c.to;
        EXPECT_FLOAT_EQ(rig.bus(0, true), c.b1R) << c.pan << " " << c.to;
        EXPECT_FLOAT_EQ(rig.bus(1, false), c.b2L) << c.pan << " " << c.to;
        EXPECT_FLOAT_EQ(rig.bus(1, true), c.b2R) << c.pan << " " << c.to;
    }
}

TEST(MixerSum, DeadZoneMuteAndMissingOutputs) {
    MixRig rig;
    rig.setNow(1, 1.0f, 0.5f, 0.0f);
    rig.run();
    EXPECT_FLOAT_EQ(rig.bus(0, false), 0.5f + 0.97f);
    // Below 0.03 the level is a true zero.
    rig.setLevel(1, 0.02f);
    rig.run();
    EXPECT_FLOAT_EQ(rig.bus(0, false), 0.5f);
    // A muted oscillator takes no part.
    rig.setLevel(1, 1.0f);
    rig.mix.m.setParameter(13, 1.0f);
    rig.run();
    EXPECT_FLOAT_EQ(rig.bus(0, false), 0.5f);
    rig.mix.m.setParameter(13, 0.0f);
    // The sum stops at the first oscillator without outputs.
    rig.osc[0] = {};
    rig.run();
    EXPECT_FLOAT_EQ(rig.bus(0, false), 0.0f);
}

TEST(MixerSum, LevelJumpsTakeTheFastPathAndSmallMovesGlide) {
    // From silence: a jump of half the range or more glides at 240 Hz, a smaller one at 24 Hz.
    auto fractionAfterOneBlock = [](float level) {
        MixRig rig;
        rig.setLevel(0, 0.0f);
        rig.mix.m.setParameter(4, level);
        rig.run();
        return rig.bus(0, false) / (level - 0.03f);
    };
    const float fast = fractionAfterOneBlock(1.0f);
    const float slow = fractionAfterOneBlock(0.43f);
    EXPECT_GT(fast, 3.0f * slow);
    EXPECT_GT(slow, 0.0f);
    EXPECT_LT(fast, 1.0f);
}

TEST(MixerSum, OnlyActiveVoicesAndTheMonoVoiceInMonoModes) {
    MixRig rig;
    rig.mix.shared.active[0] = 0;
    rig.mix.shared.active[3] = 1;
    rig.mix.m.wireVoice(3, rig.osc);
    rig.run(0);
    EXPECT_EQ(rig.bus(0, false, 0), 0.0f);
    EXPECT_FLOAT_EQ(rig.bus(0, false, 3), 0.5f);
    rig.mix.shared.monoMode = true;
    rig.mix.shared.active[kMonoVoice] = 1;
    rig.mix.m.wireVoice(kMonoVoice, rig.osc);
    rig.mix.m.wireVoice(5, rig.osc);
    rig.mix.shared.active[5] = 1;
    rig.mix.m.process(kFrames, 1);
    EXPECT_FLOAT_EQ(rig.bus(0, false, kMonoVoice), 0.5f);
    EXPECT_EQ(rig.bus(0, false, 5), 0.0f);
}

} // namespace
} // namespace torvo

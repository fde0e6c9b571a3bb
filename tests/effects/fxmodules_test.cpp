// Parameter decoding of the effect modules and, until their processing exists, that the chain
// leaves audio untouched (the shaper at wet 0, the equaliser with its stages off).

#include "effects/modulefxchorus.h"
#include "effects/modulefxcompressor.h"
#include "effects/modulefxdelay.h"
#include "effects/modulefxequalizer.h"
#include "effects/modulefxphaser.h"
#include "effects/modulefxrever.h"
#include "effects/modulefxshaper.h"
#include "engine/engineshared.h"
#include "engine/pool.h"
#include "shell/paramtable.h"

#include "support/standalonemodule.h"

#include <gtest/gtest.h>

#include <vector>

namespace torvo {
namespace {

constexpr int kFrames = 256;

using test::Standalone;

TEST(FxDecoding, ThousandthListsLandOnTheirIndexAndClampAtOne) {
    Standalone<ModuleFxShaper> shaper;
    shaper.m.setParameter(0, 9 * kThousandth);
    EXPECT_EQ(shaper.m.mode, ModuleFxShaper::kFilterDecimate);
    shaper.m.setParameter(0, 1.0f);
    EXPECT_EQ(shaper.m.mode, ModuleFxShaper::kDecimate);

    Standalone<ModuleFxRever> reverb;
    reverb.m.setParameter(0, 5 * kThousandth);
    EXPECT_EQ(reverb.m.mode, ModuleFxRever::kDmension);
    reverb.m.setParameter(2, 7 * kThousandth);
    EXPECT_EQ(reverb.m.preTimeSync, 7);

    Standalone<ModuleFxDelay> delay;
    delay.m.setParameter(4, 20 * kThousandth);
    delay.m.setParameter(5, 1.0f);
    EXPECT_EQ(delay.m.syncTimeL, 20);
    EXPECT_EQ(delay.m.syncTimeR, ModuleFxDelay::kLastNoteTime);

    Standalone<ModuleFxPhaser> phaser;
    phaser.m.setParameter(0, 8 * kThousandth);
    EXPECT_EQ(phaser.m.stages, 8);
    Standalone<ModuleFxChorus> chorus;
    chorus.m.setParameter(0, 6 * kThousandth);
    EXPECT_EQ(chorus.m.mode, ModuleFxChorus::kEnsemble);
}

TEST(FxDecoding, OnOffIsOnFromJustAboveHalf) {
    Standalone<ModuleFxDelay> delay;
    delay.m.setParameter(12, 0.5f);
    EXPECT_FALSE(delay.m.mute);
    delay.m.setParameter(12, 0.51f);
    EXPECT_TRUE(delay.m.mute);
    Standalone<ModuleFxEqualizer> eq;
    eq.m.setParameter(3, 1.0f);
    eq.m.setParameter(0, 0.0f);
    EXPECT_TRUE(eq.m.boost);
    EXPECT_FALSE(eq.m.power);
}

TEST(FxDecoding, ContinuousRowsReachTheirSmoother) {
    Standalone<ModuleFxEqualizer> eq;
    eq.m.setParameter(12, 0.7f); // eq_hi_lev, the last band value
    eq.m.setParameter(13, 0.3f); // volume
    EXPECT_EQ(eq.m.bands[8].targetValue(), 0.7f);
    EXPECT_EQ(eq.m.volume.targetValue(), 0.3f);
    Standalone<ModuleFxCompressor> comp;
    comp.m.setParameter(0, 0.4f);
    EXPECT_EQ(comp.m.amount.targetValue(), 0.4f);
}

TEST(FxDecoding, ShaperAndEqualizerTakeTheirDefaultRows) {
    Standalone<ModuleFxShaper> shaper;
    Standalone<ModuleFxEqualizer> eq;
    for (int id = 0; id < kParamCount; ++id) {
        const float v = defaultParamValues()[id];
        const int shaperLocal[] = {241, 242, 249, 243, 244, 245, 246, 247, 248, 706};
        for (int local = 0; local < 10; ++local)
            if (shaperLocal[local] == id) shaper.m.setParameter(local, v);
        const int eqLocal[] = {11, 711, 713, 712, 12, 13, 14, 15, 16, 17, 18, 19, 20, 9};
        for (int local = 0; local < 14; ++local)
            if (eqLocal[local] == id) eq.m.setParameter(local, v);
    }
    EXPECT_EQ(shaper.m.mode, ModuleFxShaper::kWarm);
    EXPECT_FALSE(shaper.m.band);
    EXPECT_TRUE(shaper.m.hq);
    EXPECT_FALSE(shaper.m.mute);
    EXPECT_EQ(shaper.m.bits.targetValue(), 1.0f);
    EXPECT_EQ(shaper.m.wet.targetValue(), 0.0f);
    EXPECT_FALSE(eq.m.power);
    EXPECT_TRUE(eq.m.warm);
    EXPECT_FALSE(eq.m.soft);
    EXPECT_TRUE(eq.m.boost);
    EXPECT_FLOAT_EQ(eq.m.bands[0].targetValue(), 0.2f);
    EXPECT_FLOAT_EQ(eq.m.bands[7].targetValue(), 0.4f);
    EXPECT_FLOAT_EQ(eq.m.volume.targetValue(), 0.5f);
}

TEST(FxDecoding, PhaserChorusDelayAndCompressorTakeTheirDefaultRows) {
    Standalone<ModuleFxPhaser> phaser;
    Standalone<ModuleFxChorus> chorus;
    Standalone<ModuleFxDelay> delay;
    Standalone<ModuleFxCompressor> comp;
    const int phaserIds[] = {250, 251, 252, 253, 254, 255, 256, 707};
    const int chorusIds[] = {259, 258, 260, 261, 262, 263, 264, 265, 266, 708};
    const int delayIds[] = {271, 272, 267, 268, 269, 270, 274, 273, 276, 275, 277, 278, 709};
    const float* v = defaultParamValues();
    for (int local = 0; local < 8; ++local) phaser.m.setParameter(local, v[phaserIds[local]]);
    for (int local = 0; local < 10; ++local) chorus.m.setParameter(local, v[chorusIds[local]]);
    for (int local = 0; local < 13; ++local) delay.m.setParameter(local, v[delayIds[local]]);
    comp.m.setParameter(0, v[7]);

    EXPECT_EQ(phaser.m.stages, 3);
    EXPECT_FLOAT_EQ(phaser.m.feedback.targetValue(), 0.55f);
    EXPECT_FLOAT_EQ(phaser.m.depth.targetValue(), 0.9f);
    EXPECT_EQ(phaser.m.wet.targetValue(), 0.0f);
    EXPECT_FALSE(phaser.m.mute);
    EXPECT_EQ(chorus.m.mode, ModuleFxChorus::kEnsemble);
    EXPECT_FLOAT_EQ(chorus.m.feedback.targetValue(), 0.4f);
    EXPECT_FLOAT_EQ(chorus.m.lowCut.targetValue(), 0.35f);
    EXPECT_EQ(chorus.m.wet.targetValue(), 0.0f);
    EXPECT_TRUE(delay.m.pingPong);
    EXPECT_TRUE(delay.m.sync);
    EXPECT_EQ(delay.m.syncTimeL, 7); // 1/8
    EXPECT_EQ(delay.m.syncTimeR, 1); // 1/32
    EXPECT_FLOAT_EQ(delay.m.timeL.targetValue(), 0.4f);
    EXPECT_FLOAT_EQ(delay.m.modulate.targetValue(), 0.05f);
    EXPECT_EQ(delay.m.wet.targetValue(), 0.0f);
    EXPECT_EQ(comp.m.amount.targetValue(), 0.0f);
}

TEST(FxChain, EffectsPassAudioUnchangedForNow) {
    std::vector<float> left(kFrames), right(kFrames);
    for (int i = 0; i < kFrames; ++i) {
        left[i] = 0.5f * float(i % 7) - 1.0f;
        right[i] = -left[i];
    }
    const std::vector<float> l0 = left, r0 = right;
    float* stereo[2] = {left.data(), right.data()};

    Standalone<ModuleFxShaper> shaper;
    Standalone<ModuleFxPhaser> phaser;
    Standalone<ModuleFxChorus> chorus;
    Standalone<ModuleFxDelay> delay;
    Standalone<ModuleFxRever> reverb;
    Standalone<ModuleFxCompressor> comp;
    Standalone<ModuleFxEqualizer> eq;
    for (Module* m : {static_cast<Module*>(&shaper.m), static_cast<Module*>(&phaser.m),
                      static_cast<Module*>(&chorus.m), static_cast<Module*>(&delay.m),
                      static_cast<Module*>(&reverb.m), static_cast<Module*>(&comp.m)})
        m->processFx(kFrames, stereo);
    // The equaliser with its band and colour stages off; the output stage always shapes the
    // level and is measured in the equaliser's own tests.
    eq.m.setParameter(1, 0.0f); // warm
    eq.m.eqStage(kFrames, stereo);
    eq.m.toneStage(kFrames, stereo);
    EXPECT_EQ(left, l0);
    EXPECT_EQ(right, r0);
}

} // namespace
} // namespace torvo

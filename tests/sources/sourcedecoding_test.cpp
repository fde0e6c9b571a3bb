// Parameter decoding of the oscillator slots and the mixer, and their output tables.

#include "engine/engineshared.h"
#include "engine/pool.h"
#include "shell/paramtable.h"
#include "sources/modulemixer.h"
#include "sources/moduleoscillator.h"

#include "support/standalonemodule.h"

#include <gtest/gtest.h>

namespace torvo {
namespace {

constexpr int kFrames = 256;

using test::Standalone;

TEST(OscillatorDecoding, PitchOffsetSumsOctaveNoteAndFineCurve) {
    Standalone<ModuleOscillator> osc;
    osc.m.setParameter(1, 1.0f); // "4"
    osc.m.setParameter(2, 0.0f); // "-11"
    osc.m.setParameter(3, 0.5f); // centre of the fine curve
    EXPECT_EQ(osc.m.octave, 4);
    EXPECT_EQ(osc.m.note, -11);
    EXPECT_NEAR(osc.m.pitchOffset, 37.0f, 1e-6f);
    // Every spread-encoded octave index decodes to itself.
    for (int i = 0; i < 9; ++i) {
        osc.m.setParameter(1, i / 8.0f);
        EXPECT_EQ(osc.m.octave, i - 4);
    }
}

TEST(OscillatorDecoding, FineCurveEndsAtLessThanASemitone) {
    EXPECT_FLOAT_EQ(ModuleOscillator::fineCurve(0.0f), -0.99f);
    EXPECT_FLOAT_EQ(ModuleOscillator::fineCurve(1.0f), 0.99f);
    EXPECT_NEAR(ModuleOscillator::fineCurve(0.5f), 0.0f, 1e-6f);
}

TEST(OscillatorDecoding, TypeIsAThousandthListAndMarksTheVoicesForReset) {
    Standalone<ModuleOscillator> osc;
    osc.m.setParameter(0, 6 * kThousandth);
    EXPECT_EQ(osc.m.type, ModuleOscillator::kVowel);
    EXPECT_TRUE(osc.m.dirty);
    osc.m.setParameter(11, 8 * kThousandth);
    EXPECT_EQ(osc.m.unisonCount, 8);
}

TEST(OscillatorDecoding, PhaseKnobChoosesTheStartMode) {
    Standalone<ModuleOscillator> osc;
    osc.m.setParameter(14, 1.0f); // analog on
    osc.m.setParameter(6, 0.0f);
    EXPECT_EQ(osc.m.phaseMode, ModuleOscillator::kPhaseAnalog);
    osc.m.setParameter(14, 0.0f);
    EXPECT_EQ(osc.m.phaseMode, ModuleOscillator::kPhaseFree);
    osc.m.setParameter(6, 0.04f);
    EXPECT_EQ(osc.m.phaseMode, ModuleOscillator::kPhaseFixed);
    EXPECT_FLOAT_EQ(osc.m.phaseValue, 0.0001f);
    osc.m.setParameter(6, 0.5f);
    EXPECT_NEAR(osc.m.phaseValue, 0.5f * 1.137f - 0.06f, 1e-6f);
}

TEST(OscillatorOutputs, EachVoiceHasItsOwnStereoPair) {
    Standalone<ModuleOscillator> osc;
    const StereoPtr* stereo = osc.m.getStereoOutputs(0);
    float* const* mono = osc.m.getOutputs(0);
    ASSERT_NE(stereo, nullptr);
    for (int v = 0; v < kVoiceCount; ++v) {
        EXPECT_NE(stereo[v].left, stereo[v].right);
        EXPECT_EQ(mono[v], stereo[v].left);
        EXPECT_EQ(stereo[v].left[kFrames - 1], 0.0f);
    }
    EXPECT_NE(stereo[0].left, stereo[1].left);
}

TEST(MixerDecoding, LevelHasATrueOffAndADeadZone) {
    Standalone<ModuleMixer> mix;
    mix.m.setParameter(4, 0.02f);
    EXPECT_EQ(mix.m.level(0), 0.02f);
    EXPECT_EQ(mix.m.levelSmoother[0].targetValue(), 0.0f);
    EXPECT_TRUE(mix.m.sounding[0]);
    mix.m.setParameter(5, 0.0f);
    EXPECT_FALSE(mix.m.sounding[1]);
    mix.m.setParameter(6, 0.53f);
    EXPECT_NEAR(mix.m.levelSmoother[2].targetValue(), 0.5f, 1e-6f);
}

TEST(MixerDecoding, MuteRowsSilenceOnlyWhenOn) {
    Standalone<ModuleMixer> mix;
    mix.m.setParameter(12, 1.0f);
    mix.m.setParameter(13, 0.0f);
    EXPECT_TRUE(mix.m.muted(0));
    EXPECT_FALSE(mix.m.muted(1));
}

TEST(MixerOutputs, TwoBusesPerVoice) {
    Standalone<ModuleMixer> mix;
    const StereoPtr* one = mix.m.getStereoOutputs(0);
    const StereoPtr* two = mix.m.getStereoOutputs(1);
    ASSERT_NE(one, nullptr);
    ASSERT_NE(two, nullptr);
    EXPECT_EQ(mix.m.getStereoOutputs(2), nullptr);
    EXPECT_NE(one[kMonoVoice].left, two[kMonoVoice].left);
    mix.m.process(kFrames, 1);
    EXPECT_EQ(one[kMonoVoice].left[0], 0.0f);
}

} // namespace
} // namespace torvo

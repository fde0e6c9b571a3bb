// Parameter decoding of the envelopes, LFOs, step sequencers and the arpeggiator, the step
// curve tables, and the arpeggiator's note queue.

#include "engine/engineshared.h"
#include "engine/pool.h"
#include "modulators/modulearp.h"
#include "modulators/moduleenvelope.h"
#include "modulators/modulelfo.h"
#include "modulators/modulestepper.h"
#include "shell/paramtable.h"

#include "support/standalonemodule.h"

#include <gtest/gtest.h>

namespace torvo {
namespace {

constexpr int kFrames = 256;

using test::Standalone;

TEST(EnvelopeDecoding, CurvesAreSpreadListsOfThree) {
    Standalone<ModuleEnvelope> env;
    env.m.setParameter(6, 0.0f);
    env.m.setParameter(7, 0.5f);
    env.m.setParameter(8, 1.0f);
    EXPECT_EQ(env.m.attackCurve, ModuleEnvelope::kCurveLin);
    EXPECT_EQ(env.m.decayCurve, ModuleEnvelope::kCurveFallPow);
    EXPECT_EQ(env.m.slopeCurve, ModuleEnvelope::kCurvePow);
    env.m.setParameter(4, 0.3f);
    EXPECT_EQ(env.m.slopeLevel, 0.3f);
}

TEST(EnvelopeState, ClearStateReturnsEveryVoiceToIdleWithSilentOutput) {
    Standalone<ModuleEnvelope> env;
    VoiceEnvelope& v = env.m.voice(3);
    v.stage = kStageRelease;
    v.value = v.valueAtRetrig = 0.7f;
    v.freshStart = false;
    v.output[kFrames - 1] = 0.7f;
    env.m.clearState();
    EXPECT_EQ(v.stage, kStageIdle);
    EXPECT_EQ(v.value, 0.0f);
    EXPECT_EQ(v.valueAtRetrig, 0.0f);
    EXPECT_TRUE(v.freshStart);
    EXPECT_EQ(v.output[kFrames - 1], 0.0f);
    EXPECT_EQ(env.m.getOutputs(0)[3], v.output);
}

TEST(LfoDecoding, OutOfRangeTimeAndFormFallBackToZero) {
    Standalone<ModuleLfo> lfo;
    lfo.m.setParameter(1, 20 * kThousandth);
    EXPECT_EQ(lfo.m.timeIndex, 20);
    lfo.m.setParameter(1, 21 * kThousandth);
    EXPECT_EQ(lfo.m.timeIndex, 0);
    lfo.m.setParameter(7, 51 * kThousandth);
    EXPECT_EQ(lfo.m.form, 51);
    lfo.m.setParameter(7, 1.0f);
    EXPECT_EQ(lfo.m.form, ModuleLfo::kFormSin);
}

TEST(LfoDecoding, PhaseKnobStartsAQuarterCycleInAtItsZero) {
    EXPECT_EQ(ModuleLfo::phaseValueOf(0.0f), 0.0f);
    EXPECT_EQ(ModuleLfo::phaseValueOf(0.03f), 0.25f);
    EXPECT_NEAR(ModuleLfo::phaseValueOf(0.06f), 0.243895f, 1e-6f);
    EXPECT_NEAR(ModuleLfo::phaseValueOf(0.5f), 0.44f * 1.137f + 0.243895f, 1e-6f);
    EXPECT_NEAR(ModuleLfo::phaseValueOf(0.75f), 0.69f * 1.137f + 0.243895f - 1.0f, 1e-6f);
    EXPECT_NEAR(ModuleLfo::phaseValueOf(1.0f), 0.193895f, 1e-6f);
}

TEST(LfoOutputs, MonoSharesTheMonoVoiceBuffer) {
    Standalone<ModuleLfo> lfo;
    float* const* poly = lfo.m.getOutputs(0);
    EXPECT_NE(poly[0], poly[kMonoVoice]);
    lfo.m.setParameter(4, 1.0f);
    float* const* mono = lfo.m.getOutputs(0);
    for (int v = 0; v < kVoiceCount; ++v) EXPECT_EQ(mono[v], poly[kMonoVoice]);
}

TEST(StepperDecoding, HeadAndStepRowsLandInTheirFields) {
    Standalone<ModuleStepper> stp;
    stp.m.setParameter(ModuleStepper::kLocalRepeat + 2, 1.0f);
    EXPECT_EQ(stp.m.steps[2].repeat, 4);
    stp.m.setParameter(ModuleStepper::kLocalRepeat + 2, 0.0f);
    EXPECT_EQ(stp.m.steps[2].repeat, 1);
    stp.m.setParameter(84, 15 * kThousandth);
    stp.m.setParameter(83, 2 * kThousandth);
    stp.m.setParameter(81, 13 * kThousandth);
    EXPECT_EQ(stp.m.clock.startStep, 15);
    EXPECT_EQ(stp.m.clock.mode, kClockSongPosition);
    EXPECT_EQ(stp.m.clock.timeIndex, 13);
    stp.m.setParameter(ModuleStepper::kLocalHold + 15, 1.0f);
    EXPECT_TRUE(stp.m.steps[15].hold);
}

TEST(LfoDecoding, SwitchesTakeTheUpperHalfAndRawRowsStayRaw) {
    Standalone<ModuleLfo> lfo;
    lfo.m.setParameter(3, 0.5f);
    lfo.m.setParameter(4, 0.49f);
    lfo.m.setParameter(10, 1.0f);
    EXPECT_FALSE(lfo.m.sync); // 0.5 * 1.99 truncates to 0
    EXPECT_FALSE(lfo.m.mono);
    EXPECT_TRUE(lfo.m.drift);
    lfo.m.setParameter(3, 0.51f);
    EXPECT_TRUE(lfo.m.sync);
    lfo.m.setParameter(8, 0.37f);
    lfo.m.setParameter(9, 0.61f);
    lfo.m.setParameter(0, 0.29f);
    EXPECT_EQ(lfo.m.amp, 0.37f);
    EXPECT_EQ(lfo.m.fadeIn, 0.61f);
    EXPECT_EQ(lfo.m.rate, 0.29f);
    // Symmetry and morph glide towards their writes.
    lfo.m.setParameter(5, 0.8f);
    lfo.m.setParameter(2, 0.2f);
    EXPECT_EQ(lfo.m.morph.targetValue(), 0.8f);
    EXPECT_EQ(lfo.m.symmetry.targetValue(), 0.2f);
}

TEST(StepperDecoding, ListsClampAndRepeatsSplitTheRangeInFour) {
    Standalone<ModuleStepper> stp;
    stp.m.setParameter(83, 7 * kThousandth); // beyond "spos"
    EXPECT_EQ(stp.m.clock.mode, kClockSongPosition);
    stp.m.setParameter(85, 1.0f);
    EXPECT_EQ(stp.m.clock.stopStep, 15);
    stp.m.setParameter(81, 1.0f);
    EXPECT_EQ(stp.m.clock.timeIndex, 20);
    const struct {
        float v;
        int repeat;
    } reps[] = {{0.25f, 1}, {0.26f, 2}, {0.5f, 2}, {0.51f, 3}, {0.76f, 4}};
    for (const auto& r : reps) {
        stp.m.setParameter(ModuleStepper::kLocalRepeat + 7, r.v);
        EXPECT_EQ(stp.m.steps[7].repeat, r.repeat) << r.v;
    }
    stp.m.dirty = false;
    stp.m.setParameter(87, 1.0f);
    stp.m.setParameter(88, 1.0f);
    stp.m.setParameter(86, 1.0f);
    stp.m.setParameter(89, 0.8f);
    stp.m.setParameter(82, 13 * kThousandth);
    EXPECT_TRUE(stp.m.dirty);
    EXPECT_TRUE(stp.m.clock.rtrg);
    EXPECT_TRUE(stp.m.clock.loop);
    EXPECT_TRUE(stp.m.mono);
    EXPECT_EQ(stp.m.clock.swing, 0.8f);
    EXPECT_EQ(stp.m.arpSpeed, 13 * kThousandth);
    // A step row rebuilds its table at once.
    stp.m.setParameter(ModuleStepper::kLocalStepStart + 4, 0.6f);
    stp.m.setParameter(ModuleStepper::kLocalStepEnd + 4, 0.6f);
    stp.m.setParameter(ModuleStepper::kLocalCurveY + 4, 0.6f);
    for (float p : stp.m.steps[4].points) EXPECT_EQ(p, 0.6f);
}

TEST(StepperCurve, HeldStepSwitchesLevelAtTheCurveX) {
    StepData s;
    s.startLevel = 0.2f;
    s.endLevel = 0.9f;
    s.crvX = 0.5f;
    s.hold = true;
    s.rebuild();
    EXPECT_EQ(s.points[31], 0.2f);
    EXPECT_EQ(s.points[32], 0.9f);
    s.crvX = 0.0f; // limited to 0.01 of the step
    s.rebuild();
    EXPECT_EQ(s.points[0], 0.2f);
    EXPECT_EQ(s.points[1], 0.9f);
}

TEST(StepperCurve, ControlPointOnTheDiagonalGivesAStraightRamp) {
    StepData s;
    s.startLevel = 0.0f;
    s.endLevel = 1.0f;
    s.crvX = s.crvY = 0.4f;
    s.rebuild();
    for (int i = 0; i < 64; ++i) EXPECT_NEAR(s.points[i], i / 63.0f, 1e-5f) << i;
}

TEST(ArpDecoding, StepCellsAndListsDecode) {
    Standalone<ModuleArp> arp;
    const ArpSettings& s = arp.m.engine.settings;
    arp.m.setParameter(0, 0.0f);
    arp.m.setParameter(1, 24.0f / 48.0f);
    arp.m.setParameter(2, 1.0f);
    EXPECT_EQ(s.stepNotes[0], -24);
    EXPECT_EQ(s.stepNotes[1], 0);
    EXPECT_EQ(s.stepNotes[2], 24);
    arp.m.setParameter(32, 0.78f);
    EXPECT_EQ(s.stepVelocities[0], 99);
    EXPECT_FLOAT_EQ(arp.m.stepVelocityLevels[0], 0.78f);
    arp.m.setParameter(16 + 5, 1.0f);
    EXPECT_TRUE(s.stepHolds[5]);
    arp.m.setParameter(55, 16 * kThousandth); // "no" wrap
    EXPECT_EQ(s.wrap, 15);
    arp.m.setParameter(52, 9 * kThousandth);
    EXPECT_EQ(s.mode, kArpChord);
    arp.m.setParameter(53, 4 * kThousandth);
    EXPECT_EQ(s.velocityMode, kArpVelStepHold);
    arp.m.setParameter(54, 3 * kThousandth);
    EXPECT_EQ(s.octaves, 3);
    arp.m.setParameter(50, 16 * kThousandth);
    EXPECT_EQ(arp.m.speedIndex, 16);
    arp.m.setParameter(48, 1.0f);
    EXPECT_TRUE(arp.m.isOn());
}

TEST(ArpQueue, WithTheArpOffTheQueueIsOnlyDrained) {
    Standalone<ModuleArp> arp;
    arp.m.queueNoteOn(5, 60, 100);
    arp.m.queueNoteOff(9, 60);
    EXPECT_EQ(arp.m.queuedCount(), 2);
    arp.m.process(kFrames, 0);
    EXPECT_EQ(arp.m.eventCount(), 0);
    EXPECT_EQ(arp.m.queuedCount(), 0);
    EXPECT_EQ(arp.m.engine.keyCount(), 0);
    // The held list keeps the key for the switch to on.
    EXPECT_EQ(arp.m.heldNoteCount(), 1);
}

TEST(ArpQueue, FullQueueOverwritesItsLastEntry) {
    Standalone<ModuleArp> arp;
    arp.m.setParameter(48, 1.0f);
    arp.m.process(kFrames, 0);
    for (int i = 0; i < ModuleArp::kQueueSize - 1; ++i) arp.m.queueNoteOn(0, 60, 100);
    arp.m.queueNoteOn(0, 61, 100);
    arp.m.queueNoteOn(0, 62, 100); // takes the place of 61
    EXPECT_EQ(arp.m.queuedCount(), ModuleArp::kQueueSize);
    arp.m.process(kFrames, 0);
    const ArpPattern& p = arp.m.engine.currentPattern();
    ASSERT_EQ(p.size(), 2);
    EXPECT_EQ(p[0].note, 60);
    EXPECT_EQ(p[1].note, 62);
}

TEST(ArpOutputs, AllVoicesReadTheOneStepBuffer) {
    Standalone<ModuleArp> arp;
    float* const* out = arp.m.getOutputs(0);
    ASSERT_NE(out[0], nullptr);
    for (int v = 1; v < kVoiceCount; ++v) EXPECT_EQ(out[v], out[0]);
    ASSERT_NE(arp.m.stepSnapshot(), nullptr);
    arp.m.stepSnapshot()[4095] = 1.0f;
    arp.m.clearStepSnapshot();
    EXPECT_EQ(arp.m.stepSnapshot()[4095], 0.0f);
}

} // namespace
} // namespace torvo

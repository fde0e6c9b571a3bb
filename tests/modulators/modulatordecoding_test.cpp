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
    arp.m.setParameter(0, 0.0f);
    arp.m.setParameter(1, 24.0f / 48.0f);
    arp.m.setParameter(2, 1.0f);
    EXPECT_EQ(arp.m.stepNotes[0], -24);
    EXPECT_EQ(arp.m.stepNotes[1], 0);
    EXPECT_EQ(arp.m.stepNotes[2], 24);
    arp.m.setParameter(32, 0.78f);
    EXPECT_EQ(arp.m.stepVelocities[0], 99);
    arp.m.setParameter(55, 16 * kThousandth); // "no" wrap
    EXPECT_EQ(arp.m.wrap, 15);
    arp.m.setParameter(52, 9 * kThousandth);
    EXPECT_EQ(arp.m.mode, ModuleArp::kChord);
    arp.m.setParameter(48, 1.0f);
    EXPECT_TRUE(arp.m.isOn());
}

TEST(ArpQueue, WithTheArpOffHostNotesBecomeOutputEventsInOrder) {
    Standalone<ModuleArp> arp;
    arp.m.queueNoteOn(5, 60, 100);
    arp.m.queueNoteOff(9, 60);
    arp.m.process(kFrames, 0);
    ASSERT_EQ(arp.m.eventCount(), 2);
    EXPECT_EQ(arp.m.event(0).type, ArpEvent::kNoteOn);
    EXPECT_EQ(arp.m.event(0).pitch, 60);
    EXPECT_EQ(arp.m.event(0).velocity, 100);
    EXPECT_EQ(arp.m.event(0).offset, 5);
    EXPECT_EQ(arp.m.event(1).type, ArpEvent::kNoteOff);
    EXPECT_EQ(arp.m.event(1).offset, 9);
    arp.m.clearEvents();
    EXPECT_EQ(arp.m.eventCount(), 0);
    arp.m.process(kFrames, 0);
    EXPECT_EQ(arp.m.eventCount(), 0);
    EXPECT_EQ(arp.m.heldNoteCount(), 1);
}

TEST(ArpQueue, FullQueueOverwritesItsLastEntry) {
    Standalone<ModuleArp> arp;
    for (int i = 0; i <= ModuleArp::kQueueSize; ++i) arp.m.queueNoteOn(0, i % 128, 1 + i % 127);
    arp.m.process(kFrames, 0);
    ASSERT_EQ(arp.m.eventCount(), ModuleArp::kQueueSize);
    EXPECT_EQ(arp.m.event(ModuleArp::kQueueSize - 1).pitch, ModuleArp::kQueueSize % 128);
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

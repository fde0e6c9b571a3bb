// The envelope driven on its own with gate streams of the test's making: stage times and levels
// against the time law and curve tables at 44.1 and 48 kHz, retriggers, release from every
// stage, the amp envelope freeing its voice, clearState and the real-time rule.

#include "engine/engineshared.h"
#include "engine/notevoice.h"
#include "modulators/envelopecurves.h"
#include "modulators/moduleenvelope.h"

#include "engine/aplugin.h"
#include "engine/routetable.h"
#include "shell/paramtable.h"
#include "support/alloccounter.h"
#include "support/standalonemodule.h"
#include "support/testengine.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <map>
#include <vector>

namespace torvo {
namespace {

constexpr int kBlock = 256;

// Parameter positions that land exactly on a point of the time table.
constexpr float at(int point) {
    return point / 31.0f;
}

double fakeNow = 0.0;
double fakeClock() {
    return fakeNow;
}

/// One envelope module with gate streams for all 17 voices and a trace of one voice.
struct Rig {
    explicit Rig(float rate = 44100.0f, bool amp = false) {
        env.m.setSampleRate(rate);
        env.m.setAmpEnvelope(amp);
        env.m.setClock(fakeClock);
        for (int v = 0; v < kVoiceCount; ++v) {
            gates[v].assign(kBlock, TriggerRecord{0.0f, 0, 0, 0});
            table[v] = gates[v].data();
        }
        env.m.setTriggerSources(table.data());
        for (int v = 0; v < kVoiceCount; ++v) env.shared.active[v] = 1;
        fakeNow = 0.0;
    }

    void set(int local, float value) { env.m.setParameter(local, value); }
    VoiceEnvelope& voice() { return env.m.voice(watched); }

    /// Renders `samples` samples; `events` maps a sample number from now to a gate word. The
    /// amp envelope's voice is claimed at a note-on's block, as the allocator does.
    void run(int samples, const std::map<int, int>& events = {}) {
        int done = 0;
        while (done < samples) {
            const int n = std::min(kBlock, samples - done);
            for (auto& r : gates[watched]) r.trigger2 = 0;
            for (const auto& [when, word] : events)
                if (when >= done && when < done + n) {
                    gates[watched][when - done].trigger2 = word;
                    if (word == 1 && env.m.isAmpEnvelope) voice().stage = kStageAttack;
                }
            env.m.process(n, 1);
            const float* out = env.m.getOutputs(0)[watched];
            trace.insert(trace.end(), out, out + n);
            stages.push_back(voice().stage);
            actives.push_back(voice().active);
            done += n;
        }
    }

    test::Standalone<ModuleEnvelope> env{kBlock, "env"};
    std::array<std::vector<TriggerRecord>, kVoiceCount> gates;
    std::array<TriggerRecord*, kVoiceCount> table{};
    std::vector<float> trace;
    std::vector<int> stages;
    std::vector<int> actives;
    int watched = 0;
};

/// Samples a stage of rate r lasts: position gains r per sample and the stage ends at 1.
int stageSamples(float x, float rate) {
    return static_cast<int>(
        std::ceil(rate * 44.0 * readEnvCurve(EnvelopeCurves::envTime, x) + 1.0));
}

int firstIndexAtOrBelow(const std::vector<float>& t, int from, float level) {
    for (int i = from; i < static_cast<int>(t.size()); ++i)
        if (t[i] <= level) return i;
    return -1;
}

TEST(EnvelopeTimeLaw, RatesFollowTheTimeTableAtBothRates) {
    for (float sr : {44100.0f, 48000.0f}) {
        SCOPED_TRACE(sr);
        EXPECT_FLOAT_EQ(envelopeRate(0.0f, sr), 1.0f);
        EXPECT_FLOAT_EQ(envelopeRate(1.0f, sr), 1.0f / (sr * 44.0f + 1.0f));
        EXPECT_FLOAT_EQ(envelopeRate(at(12), sr), 1.0f / (sr * 44.0f * 0.01f + 1.0f));
        // Between points the table is interpolated: half way from 0.01 to 0.0135.
        EXPECT_NEAR(envelopeRate(12.5f / 31.0f, sr), 1.0f / (sr * 44.0f * 0.01175f + 1.0f), 1e-9);
        EXPECT_FLOAT_EQ(envelopeRate(std::nanf(""), sr), 1.0f);
        EXPECT_FLOAT_EQ(envelopeRate(INFINITY, sr), 1.0f);
        EXPECT_FLOAT_EQ(envelopeRate(-3.0f, sr), 1.0f);
        EXPECT_FLOAT_EQ(envelopeRate(7.0f, sr), envelopeRate(1.0f, sr));
    }
}

TEST(EnvelopeStages, LinearAttackTakesItsTimeAndReachesFullScale) {
    for (float sr : {44100.0f, 48000.0f}) {
        SCOPED_TRACE(sr);
        Rig rig(sr);
        rig.set(0, at(12)); // 0.44 s
        rig.set(1, at(12));
        rig.set(2, 0.5f);
        const int n = stageSamples(at(12), sr);
        EXPECT_EQ(n, static_cast<int>(std::ceil(sr * 0.44 + 1.0)));
        rig.run(n + 10, {{0, 1}});
        const float r = envelopeRate(at(12), sr);
        // Position grows by the rate before each sample is taken.
        EXPECT_NEAR(rig.trace[0], r, 1e-6);
        EXPECT_NEAR(rig.trace[n / 2], (n / 2 + 1) * r, 1e-3);
        EXPECT_LT(rig.trace[n - 2], 1.0f);
        // The peak sits at the end of the attack time (the position sums 19,000 float steps,
        // so a few samples of rounding); afterwards the decay falls.
        const auto peak = std::max_element(rig.trace.begin(), rig.trace.end());
        EXPECT_NEAR(std::distance(rig.trace.begin(), peak), n - 1, n / 2000 + 1);
        EXPECT_GT(*peak, 0.999f);
        EXPECT_LT(rig.trace[n + 5], *peak);
    }
}

TEST(EnvelopeStages, CurvedAttacksFollowTheirTables) {
    Rig rig;
    rig.set(0, at(12));
    rig.set(1, at(12));
    rig.set(2, 0.5f);
    rig.set(6, 0.5f); // "Exp"
    const float r = envelopeRate(at(12), 44100.0f);
    const int half = static_cast<int>(0.5f / r) - 1; // position (half + 1) * r, just below 0.5
    rig.run(half + 1, {{0, 1}});
    const float pos = (half + 1) * r;
    EXPECT_NEAR(rig.trace[half], readEnvCurve(EnvelopeCurves::attackExp, pos), 1e-3);
    EXPECT_NEAR(rig.trace[half], 0.3686f, 2e-3); // between points 15 and 16 of "Exp"

    Rig pow;
    pow.set(0, at(12));
    pow.set(1, at(12));
    pow.set(6, 1.0f); // "Pow"
    pow.run(half + 1, {{0, 1}});
    EXPECT_NEAR(pow.trace[half], 0.7405f, 2e-3); // between 0.7287 and 0.7523
}

TEST(EnvelopeStages, DecaySlopeAndSustainReachTheirLevelsInTime) {
    for (float sr : {44100.0f, 48000.0f}) {
        SCOPED_TRACE(sr);
        Rig rig(sr);
        rig.set(0, 0.0f);   // one sample
        rig.set(1, at(10)); // 0.1716 s, "Exp2"
        rig.set(2, 0.6f);   // decay target
        rig.set(3, at(10)); // slope time
        rig.set(4, 0.2f);   // held level
        rig.set(8, 0.0f);   // slope "Lin"
        const int nd = stageSamples(at(10), sr);
        rig.run(3 * nd, {{0, 1}});
        const float rd = envelopeRate(at(10), sr);
        // Attack in one sample falls into decay at once: decay position rd at sample 0.
        EXPECT_NEAR(rig.trace[0], 1.0f - 0.4f * readEnvCurve(EnvelopeCurves::decayExp2, rd), 1e-5);
        // Half way through the decay: 1 + (S - 1) * Exp2(0.5).
        const int mid = static_cast<int>(0.5f / rd) - 1;
        EXPECT_NEAR(rig.trace[mid], 1.0f - 0.4f * ((0.7367f + 0.763f) / 2), 3e-3);
        // The decay ends on S; the linear slope then runs from S to L in its own time.
        EXPECT_NEAR(rig.trace[nd - 1], 0.6f, 2e-3);
        EXPECT_NEAR(rig.trace[nd - 1 + nd / 2], 0.4f, 2e-3);
        EXPECT_NEAR(rig.trace[2 * nd + 5], 0.2f, 1e-6);
        EXPECT_EQ(rig.voice().stage, kStageSustain);
        EXPECT_FLOAT_EQ(rig.trace.back(), 0.2f);
    }
}

TEST(EnvelopeStages, WithoutDecayTheAttackEndsOnTheSustainLevel) {
    Rig rig;
    rig.set(0, at(12));
    rig.set(1, 0.0f);
    rig.set(2, 0.3f);
    rig.set(3, 0.0f);
    rig.set(4, 0.9f);
    const int n = stageSamples(at(12), 44100.0f);
    rig.run(n + 50, {{0, 1}});
    const float top = *std::max_element(rig.trace.begin(), rig.trace.end());
    EXPECT_NEAR(top, 0.3f, 1e-4);
    // Without slope time the held level is the sustain level, not the slope level.
    EXPECT_FLOAT_EQ(rig.trace.back(), 0.3f);
    EXPECT_EQ(rig.voice().stage, kStageSustain);
}

TEST(EnvelopeStages, Exp1DecayOvershootsForElevenMillisecondsAtAnyRate) {
    for (float sr : {44100.0f, 48000.0f}) {
        SCOPED_TRACE(sr);
        Rig rig(sr);
        rig.set(0, 0.0f);
        rig.set(1, at(20)); // long decay, so the bounce stands out
        rig.set(2, 0.2f);
        rig.set(7, 1.0f); // "Exp1"
        rig.run(2000, {{0, 1}});
        // Above full scale at first: start 1, span -0.8, bounce 0.2 * 0.8 on top.
        EXPECT_GT(rig.trace[0], 1.1f);
        EXPECT_NEAR(rig.trace[0], 1.16f, 5e-3);
        VoiceEnvelope& v = rig.voice();
        EXPECT_NEAR(v.bounceStep, 86.13281f / sr, 1e-9);
        // The bounce runs out after 512 / 44100 s.
        const int bounceSamples = static_cast<int>(std::ceil(sr * 512.0 / 44100.0));
        EXPECT_GT(v.bouncePos, 1.0f);
        const float r = envelopeRate(at(20), sr);
        const int after = bounceSamples + 2;
        EXPECT_NEAR(rig.trace[after],
                    1.0f - 0.8f * readEnvCurve(EnvelopeCurves::decayExp1, (after + 1) * r), 1e-4);
    }
}

TEST(EnvelopeRelease, ReleaseFromEveryStageShapesTheCurrentValueDownToZero) {
    // Stages of 3881 samples each (0.002 * 44 s); a note-off inside each of them.
    const std::array<std::pair<int, int>, 4> cases = {
        {{100, kStageAttack}, {4500, kStageDecay}, {8500, kStageSlope}, {13000, kStageSustain}}};
    for (const auto& [offAt, stage] : cases) {
        SCOPED_TRACE(stage);
        Rig rig;
        rig.set(0, at(7));
        rig.set(1, at(7));
        rig.set(2, 0.7f);
        rig.set(3, at(7));
        rig.set(4, 0.4f);
        rig.set(5, at(9)); // 0.0039 * 44 s
        rig.run(offAt, {{0, 1}});
        ASSERT_EQ(rig.voice().stage, stage);
        const float before = rig.trace.back();
        ASSERT_GT(before, 0.02f);
        rig.run(9000, {{0, 2}});
        const float r = envelopeRate(at(9), 44100.0f);
        EXPECT_NEAR(rig.trace[offAt],
                    before * (1.0f - readEnvCurve(EnvelopeCurves::releaseExp2, r)), 1e-5);
        const int n = stageSamples(at(9), 44100.0f);
        EXPECT_NEAR(firstIndexAtOrBelow(rig.trace, offAt, 0.0f), offAt + n - 1, n / 2000 + 1);
        EXPECT_EQ(rig.trace.back(), 0.0f);
        EXPECT_EQ(rig.voice().stage, kStageIdle);
    }
}

TEST(EnvelopeRelease, PowAndExp1ReleasesFollowTheirTables) {
    for (float crv : {0.5f, 1.0f}) {
        Rig rig;
        rig.set(0, 0.0f);
        rig.set(1, 0.0f);
        rig.set(2, 1.0f);
        rig.set(5, at(12));
        rig.set(9, crv);
        rig.run(10, {{0, 1}});
        rig.run(30000, {{0, 2}});
        const float r = envelopeRate(at(12), 44100.0f);
        const int mid = static_cast<int>(0.5f / r);
        const float* table = crv < 0.9f ? EnvelopeCurves::releasePow : EnvelopeCurves::releaseExp1;
        EXPECT_NEAR(rig.trace[10 + mid], 1.0f - readEnvCurve(table, (mid + 1) * r), 1e-4);
    }
}

TEST(EnvelopeRetrigger, RetriggerFromSustainStartsAtTheCurrentValue) {
    Rig rig;
    rig.set(0, at(7));
    rig.set(1, at(7));
    rig.set(2, 0.5f);
    rig.run(9000, {{0, 1}});
    VoiceEnvelope& v = rig.voice();
    EXPECT_TRUE(v.freshStart);
    EXPECT_EQ(v.stage, kStageSustain);
    rig.run(10, {{0, 1}});
    EXPECT_FALSE(v.freshStart);
    EXPECT_FLOAT_EQ(v.valueAtRetrig, 0.5f);
    EXPECT_EQ(v.stage, kStageAttack);
    // Attack from 0.5 to 1: no jump down to 0.
    EXPECT_GT(rig.trace[9000], 0.5f);
    EXPECT_LT(rig.trace[9000], 0.51f);
}

TEST(EnvelopeRetrigger, ModulationEnvelopeRestartsFromZeroAfterAQuarterSecond) {
    for (double gap : {0.1, 0.3}) {
        SCOPED_TRACE(gap);
        Rig rig;
        rig.set(0, 0.0f);
        rig.set(1, 0.0f);
        rig.set(2, 1.0f);
        rig.set(5, at(20)); // long release
        rig.run(1000, {{0, 1}});
        rig.run(100, {{0, 2}});
        const float inRelease = rig.trace.back();
        ASSERT_GT(inRelease, 0.9f);
        rig.set(0, at(12)); // a slow attack shows where the retrigger starts
        fakeNow = gap;      // seconds after the last retrigger (at 0)
        rig.run(10, {{0, 1}});
        EXPECT_FLOAT_EQ(rig.voice().valueAtRetrig, rig.trace[1099]);
        if (gap < 0.25)
            EXPECT_GT(rig.trace[1100], 0.9f);
        else
            EXPECT_LT(rig.trace[1100], 0.01f);
        EXPECT_FLOAT_EQ(rig.voice().lastRetrigTime, static_cast<float>(gap));
    }
}

TEST(EnvelopeRetrigger, AmpEnvelopeAlwaysContinuesFromItsValue) {
    Rig rig(44100.0f, true);
    rig.set(0, 0.0f);
    rig.set(1, 0.0f);
    rig.set(2, 1.0f);
    rig.set(5, at(20));
    rig.run(1000, {{0, 1}});
    rig.run(100, {{0, 2}});
    rig.set(0, at(12));
    fakeNow = 5.0;
    rig.run(10, {{0, 1}});
    EXPECT_GT(rig.trace[1100], 0.9f);
    EXPECT_FALSE(rig.voice().freshStart);
}

TEST(EnvelopeRetrigger, AmpRetriggerWithAHeldKeyAttacksNoFasterThanThirtyTwoSamples) {
    for (bool held : {false, true}) {
        Rig rig(44100.0f, true);
        rig.env.m.setHeldNote(held);
        rig.set(0, 0.0f); // instant attack
        rig.set(1, 0.0f);
        rig.set(2, 0.4f);
        rig.run(100, {{0, 1}});
        rig.run(100, {{0, 1}});
        // From 0.4 towards 0.4 the attack is flat; watch the attack rate instead.
        EXPECT_FLOAT_EQ(rig.voice().attackRate, held ? 0.032f : 1.0f);
    }
    // The very first start is never slowed.
    Rig fresh(44100.0f, true);
    fresh.env.m.setHeldNote(true);
    fresh.run(4, {{0, 1}});
    EXPECT_FLOAT_EQ(fresh.voice().attackRate, 1.0f);
}

TEST(EnvelopeAmp, VoiceIsFreedExactlyWhenEnv1ReachesIdle) {
    Rig rig(44100.0f, true);
    rig.set(0, 0.0f);
    rig.set(1, 0.0f);
    rig.set(2, 0.8f);
    rig.set(5, at(1)); // 0.0003 * 44 s: 583.12 samples, so zero at the 584th
    VoiceEnvelope& v = rig.voice();
    // Unclaimed, the amp envelope does nothing and the voice stays inactive.
    rig.run(kBlock);
    EXPECT_EQ(rig.actives.back(), 0);
    rig.run(kBlock, {{0, 1}});
    EXPECT_EQ(rig.actives.back(), 1);
    // The release starts at sample 100 of block 2 and ends in block 4.
    rig.run(4 * kBlock, {{100, 2}});
    const int base = 2 * kBlock + 100;
    const int n = stageSamples(at(1), 44100.0f);
    ASSERT_EQ(n, 584);
    const int end = base + n - 1;
    ASSERT_EQ(end / kBlock, 4);
    EXPECT_GT(rig.trace[end - 1], 0.0f);
    EXPECT_EQ(rig.trace[end], 0.0f);
    // The block of the end still played the voice and leaves the stage word idle, so that the
    // allocator finds the voice free; the next block marks it inactive and stays silent.
    EXPECT_EQ(rig.actives[4], 1);
    EXPECT_EQ(rig.stages[4], kStageIdle);
    EXPECT_EQ(rig.stages[3], kStageRelease);
    EXPECT_EQ(rig.actives[5], 0);
    EXPECT_EQ(v.valueAtRetrig, 0.0f);
    for (int i = end; i < 6 * kBlock; ++i) ASSERT_EQ(rig.trace[i], 0.0f);
}

TEST(EnvelopeAmp, ClaimedVoiceStartsFreshFromIdle) {
    Rig rig(44100.0f, true);
    rig.set(0, at(7));
    rig.set(2, 1.0f);
    rig.run(kBlock, {{10, 1}});
    VoiceEnvelope& v = rig.voice();
    EXPECT_TRUE(v.freshStart);
    EXPECT_EQ(rig.trace[9], 0.0f);
    EXPECT_GT(rig.trace[10], 0.0f);
    EXPECT_EQ(v.trigger, 1);
}

TEST(EnvelopeModule, OtherEnvelopesRenderOnlyActiveVoices) {
    Rig rig;
    rig.env.shared.active[0] = 0;
    rig.set(0, 0.0f);
    rig.set(2, 1.0f);
    rig.run(kBlock, {{0, 1}});
    EXPECT_EQ(rig.voice().stage, kStageIdle);
    rig.env.shared.active[0] = 1;
    rig.run(kBlock, {{0, 1}});
    EXPECT_EQ(rig.voice().stage, kStageSustain);
}

TEST(EnvelopeModule, ClearStateSilencesARunningVoice) {
    Rig rig(44100.0f, true);
    rig.set(2, 0.7f);
    rig.run(kBlock, {{0, 1}});
    VoiceEnvelope& v = rig.voice();
    ASSERT_EQ(v.stage, kStageSustain);
    rig.env.m.clearState();
    EXPECT_EQ(v.stage, kStageIdle);
    EXPECT_EQ(v.lastStage, kStageIdle);
    EXPECT_EQ(v.value, 0.0f);
    EXPECT_EQ(v.bounceStep, 1.0f);
    EXPECT_EQ(v.attackRate, 1.0f);
    EXPECT_TRUE(v.freshStart);
    EXPECT_EQ(v.output[kBlock - 1], 0.0f);
    rig.run(kBlock);
    EXPECT_EQ(v.active, 0);
    EXPECT_EQ(rig.trace.back(), 0.0f);
}

TEST(EnvelopeModule, HeldSustainFillsEveryFrameOfEveryBlock) {
    // A sustain that spans whole blocks is written once and then kept in the buffer: each
    // block must still read the level over all its frames, through level changes, longer
    // blocks after shorter ones, gates inside a block and a clear.
    Rig rig;
    rig.set(2, 0.7f);
    VoiceEnvelope& v = rig.voice();
    auto block = [&](int frames, float level, const char* what) {
        rig.env.m.process(frames, 1);
        const float* out = rig.env.m.getOutputs(0)[rig.watched];
        for (int i = 0; i < frames; ++i) ASSERT_EQ(out[i], level) << what << " at " << i;
    };
    rig.gates[0][0].trigger2 = 1;
    rig.env.m.process(kBlock, 1);
    rig.gates[0][0].trigger2 = 0;
    ASSERT_EQ(v.stage, kStageSustain);
    block(kBlock, 0.7f, "held");
    block(kBlock, 0.7f, "held again");
    rig.set(2, 0.4f);
    block(kBlock, 0.4f, "new level");
    block(100, 0.4f, "short block");
    block(kBlock, 0.4f, "long block after a short one");
    // A release and a new start inside one block, then the sustain again.
    rig.gates[0][50].trigger2 = 2;
    rig.gates[0][120].trigger2 = 1;
    rig.env.m.process(kBlock, 1);
    rig.gates[0][50].trigger2 = rig.gates[0][120].trigger2 = 0;
    EXPECT_EQ(rig.env.m.getOutputs(0)[0][49], 0.4f);
    EXPECT_NE(rig.env.m.getOutputs(0)[0][60], 0.4f);
    block(kBlock, 0.4f, "after the retrigger");
    rig.env.m.clearState();
    rig.gates[0][0].trigger2 = 1;
    rig.env.m.process(kBlock, 1);
    rig.gates[0][0].trigger2 = 0;
    block(kBlock, 0.4f, "after a clear");
}

TEST(EnvelopeModule, RenderingAllocatesNothing) {
    Rig rig(44100.0f, true);
    rig.set(5, at(10));
    rig.trace.reserve(8 * kBlock);
    rig.stages.reserve(8);
    rig.actives.reserve(8);
    std::map<int, int> on{{0, 1}}, off{{3, 2}};
    test::ScopedAllocCount count;
    rig.run(kBlock, on);
    rig.run(kBlock, off);
    rig.run(kBlock);
    EXPECT_EQ(count.count(), 0u);
}

TEST(EnvelopeInEngine, NoteMakesAVoiceActiveAndItsReleaseFreesIt) {
    auto engine = test::makeTestEngine(44100.0f, kBlock);
    engine->setParameter(findParamId("env1_att"), 0.0f, 0);
    engine->setParameter(findParamId("env1_rel"), at(3), 0); // 0.0007 * 44 s: 1359 samples
    auto* env1 = static_cast<ModuleEnvelope*>(engine->module(kKeyEnv1));
    ASSERT_NE(env1, nullptr);
    test::StereoBlock out(kBlock);
    // Poly voices only: the mono voice 16 follows every note as well, for global targets.
    auto sounding = [&] {
        int n = 0;
        for (int v = 0; v < kMonoVoice; ++v) n += env1->voice(v).stage != kStageIdle;
        return n;
    };
    engine->render(out.pointers(), kBlock);
    EXPECT_EQ(sounding(), 0);
    engine->noteOn(10, 60, 100);
    engine->render(out.pointers(), kBlock);
    ASSERT_EQ(sounding(), 1);
    int v = 0;
    while (env1->voice(v).stage == kStageIdle) ++v;
    EXPECT_TRUE(env1->voice(v).freshStart);
    EXPECT_EQ(env1->getOutputs(0)[v][9], 0.0f);
    EXPECT_GT(env1->getOutputs(0)[v][10], 0.0f);
    engine->noteOff(0, 60);
    engine->render(out.pointers(), kBlock);
    EXPECT_EQ(env1->voice(v).stage, kStageRelease);
    // 1359 samples of release: idle within the sixth block after the note-off.
    for (int b = 0; b < 5; ++b) engine->render(out.pointers(), kBlock);
    EXPECT_EQ(env1->voice(v).stage, kStageIdle);
    engine->render(out.pointers(), kBlock);
    EXPECT_EQ(env1->voice(v).active, 0);
    EXPECT_EQ(sounding(), 0);
    EXPECT_EQ(env1->voice(kMonoVoice).stage, kStageIdle);
}

} // namespace
} // namespace torvo

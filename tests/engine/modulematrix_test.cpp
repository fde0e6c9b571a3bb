// The modulation matrix on its own, with hand-made source buffers: amount curves, routes from
// every kind of source as block values and per sample, routes adding up, depth targets, the
// velocity factors, decoding of the slot rows, the use of each source, and no allocation.

#include "engine/matrixtargets.h"
#include "engine/modulematrix.h"
#include "shell/paramtable.h"
#include "support/alloccounter.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace torvo {
namespace {

constexpr int kFrames = 64;

int param(const char* name) {
    const int id = findParamId(name);
    EXPECT_GE(id, 0) << name;
    return id;
}

float listValue(int index) {
    return float(index) * kThousandth;
}

/// 17 per-voice buffers of one source, filled by a function of voice and sample.
struct FakeSource {
    explicit FakeSource(const std::function<float(int, int)>& f) {
        for (int v = 0; v < kVoiceCount; ++v) {
            data[v].resize(kFrames + 8);
            for (int i = 0; i < kFrames; ++i) data[v][i] = f(v, i);
            table[v] = data[v].data();
        }
    }
    float mean(int voice) const { return 0.5f * (data[voice][kFrames - 1] + data[voice][0]); }
    std::array<std::vector<float>, kVoiceCount> data;
    std::array<float*, kVoiceCount> table{};
};

struct MatrixTest : testing::Test {
    MatrixTest() {
        matrix = std::make_unique<ModuleMatrix>();
        matrix->setVelocityTables(velocity.table.data(), inverseVelocity.table.data());
    }

    /// User slot s (0-based): sources by id, target k by id, raw amount 0..1.
    void userSlot(int s, int source1, int source2) {
        matrix->setUserSlotItem(s, 0, listValue(source1));
        matrix->setUserSlotItem(s, 1, listValue(source2));
    }
    void userTarget(int s, int k, int target, float amount) {
        matrix->setUserSlotItem(s, 3 + 2 * k, listValue(target));
        matrix->setUserSlotItem(s, 2 + 2 * k, amount);
    }
    void attach(int sourceId, FakeSource& src) { matrix->setSource(sourceId, src.table.data()); }

    std::unique_ptr<ModuleMatrix> matrix;
    // A ramp per voice, so that first, last and second-to-last samples all differ.
    FakeSource velocity{[](int v, int i) { return 0.3f + 0.02f * v + 0.004f * i; }};
    FakeSource inverseVelocity{[](int v, int i) { return 0.7f - 0.02f * v - 0.004f * i; }};
    FakeSource ramp{[](int v, int i) { return 0.1f + 0.01f * v + 0.001f * i; }};
    FakeSource wheel{[](int, int) { return 0.8f; }};
    FakeSource macro{[](int v, int) { return 0.6f - 0.01f * v; }};
    FakeSource half{[](int, int) { return 0.5f; }};
    FakeSource lfo{[](int v, int i) { return -0.5f + 0.01f * v + 0.01f * i; }};
};

// --- curves -------------------------------------------------------------------------------

TEST(MatrixCurves, PointsOfTheThreeTablesAndTheirMirror) {
    // Amount a lands on point k when (a + 1) * 15.5 = k.
    auto at = [](int k) { return float(k) / 15.5f - 1.0f; };
    EXPECT_NEAR(ModuleMatrix::curve(0, at(1)), -0.7295f, 1e-5f);
    EXPECT_NEAR(ModuleMatrix::curve(0, at(12)), -0.0787f, 1e-5f);
    EXPECT_NEAR(ModuleMatrix::curve(1, at(4)), -0.3663f, 1e-5f);
    EXPECT_NEAR(ModuleMatrix::curve(1, at(14)), -0.001f, 1e-5f);
    EXPECT_NEAR(ModuleMatrix::curve(2, at(9)), -0.2919f, 1e-5f);
    // Point 31 - k is minus point k.
    EXPECT_NEAR(ModuleMatrix::curve(0, at(30)), 0.7295f, 1e-5f);
    EXPECT_NEAR(ModuleMatrix::curve(1, at(27)), 0.3663f, 1e-5f);
    EXPECT_NEAR(ModuleMatrix::curve(2, at(22)), 0.2919f, 1e-5f);
    for (int c = 0; c < 3; ++c) {
        EXPECT_FLOAT_EQ(ModuleMatrix::curve(c, -1.0f), -1.0f);
        EXPECT_FLOAT_EQ(ModuleMatrix::curve(c, 1.0f), 1.0f); // the wrap to point 0 weighs 0
    }
}

TEST(MatrixCurves, CentreInterpolatesToZeroAndHalfwayValues) {
    // 15.5 lies between -0.0108 and 0.0108.
    EXPECT_NEAR(ModuleMatrix::curve(0, 0.0f), 0.0f, 1e-7f);
    EXPECT_NEAR(ModuleMatrix::curve(1, 0.0f), 0.0f, 1e-7f);
    EXPECT_NEAR(ModuleMatrix::curve(2, 0.0f), 0.0f, 1e-7f);
    // 0.5 reads 23.25, between points 23 and 24.
    EXPECT_NEAR(ModuleMatrix::curve(0, 0.5f), 0.20585f, 1e-5f);
    EXPECT_NEAR(ModuleMatrix::curve(0, -0.5f), -0.20585f, 1e-5f);
    EXPECT_NEAR(ModuleMatrix::curve(1, 0.5f), 0.040875f, 1e-5f);
    EXPECT_NEAR(ModuleMatrix::curve(2, 0.5f), 0.364375f, 1e-5f);
    EXPECT_FLOAT_EQ(ModuleMatrix::curve(3, 0.5f), 0.5f);
    EXPECT_FLOAT_EQ(ModuleMatrix::curve(4, 0.5f), 1.0f);
    EXPECT_FLOAT_EQ(ModuleMatrix::curve(5, -0.5f), -2.0f);
}

// --- routes from each kind of source --------------------------------------------------------

TEST_F(MatrixTest, VoiceSourceOnCutoffFollowsTheCutoffCurve) {
    attach(kSrcVelocity, velocity);
    userSlot(0, kSrcVelocity, 0);
    userTarget(0, 0, 45, 0.75f); // Cutoff_1, bipolar +0.5
    matrix->refresh();
    const int cut = param("flt1_cut");
    const float a = 0.364375f;
    for (int v : {0, 3, 16})
        EXPECT_NEAR(matrix->modulated(cut, 0.3f, kFrames, v), 0.3f + a * velocity.mean(v), 1e-5f);
    std::vector<float> base(kFrames + 8, 0.3f);
    const float* out = matrix->modulatedBuffer(cut, base.data(), kFrames, 5);
    ASSERT_NE(out, base.data());
    for (int i = 0; i < kFrames; ++i)
        EXPECT_NEAR(out[i], 0.3f + a * velocity.data[5][i], 1e-5f) << i;
}

TEST_F(MatrixTest, GlobalControllerWithNegativeAmountPullsDown) {
    attach(kSrcModWheel, wheel);
    userSlot(0, kSrcModWheel, 0);
    userTarget(0, 2, 145, 0.25f); // Main_Volume, bipolar -0.5
    matrix->refresh();
    const int volume = param("volume");
    EXPECT_NEAR(matrix->modulated(volume, 0.5f, kFrames, kMonoVoice), 0.5f - 0.20585f * 0.8f,
                1e-5f);
    std::vector<float> base(kFrames + 8, 0.5f);
    const float* out = matrix->modulatedBuffer(volume, base.data(), kFrames, kMonoVoice);
    EXPECT_NEAR(out[0], 0.5f - 0.20585f * 0.8f, 1e-5f);
    EXPECT_NEAR(out[kFrames - 1], 0.5f - 0.20585f * 0.8f, 1e-5f);
}

TEST_F(MatrixTest, MacroOnPitchFollowsThePitchCurve) {
    attach(kSrcMod1, macro);
    userSlot(3, kSrcMod1, 0);
    userTarget(3, 1, 5, 0.75f); // Osc1_Pitch: class 1
    matrix->refresh();
    const int note = param("osc1_note");
    EXPECT_NEAR(matrix->modulated(note, 0.5f, kFrames, 2), 0.5f + 0.040875f * 0.58f, 1e-5f);
    std::vector<float> base(kFrames + 8, 0.5f);
    const float* out = matrix->modulatedBuffer(note, base.data(), kFrames, 2);
    EXPECT_NEAR(out[0], 0.5f + 0.040875f * 0.58f, 1e-5f);
    EXPECT_NEAR(out[kFrames - 1], 0.5f + 0.040875f * 0.58f, 1e-5f);
    // Voice 12 reads its own macro buffer.
    out = matrix->modulatedBuffer(note, base.data(), kFrames, 12);
    EXPECT_NEAR(out[30], 0.5f + 0.040875f * 0.48f, 1e-5f);
    // The wide dead zone: a small amount does next to nothing on pitch.
    userTarget(3, 1, 5, 0.55f); // bipolar 0.1: x = 17.05
    matrix->refresh();
    const float small = 0.001f + 0.05f * (0.0019f - 0.001f); // between points 17 and 18
    EXPECT_NEAR(matrix->modulated(note, 0.5f, kFrames, 0), 0.5f + small * 0.6f, 1e-6f);
}

TEST_F(MatrixTest, ConstantSourceOnWaveMixDoublesTheAmount) {
    attach(kSrcConstant50, half);
    userSlot(14, kSrcConstant50, 0);
    userTarget(14, 3, 9, 0.75f); // Osc1_WTMix: class 4, 2 * 0.5
    matrix->refresh();
    EXPECT_NEAR(matrix->modulated(param("osc1_wtmix"), 0.1f, kFrames, 7), 0.6f, 1e-6f);
    std::vector<float> base(kFrames + 8);
    for (int i = 0; i < kFrames; ++i) base[i] = 0.001f * float(i);
    const float* out = matrix->modulatedBuffer(param("osc1_wtmix"), base.data(), kFrames, 7);
    for (int i = 0; i < kFrames; ++i) EXPECT_NEAR(out[i], 0.5f + 0.001f * float(i), 1e-6f);
    userTarget(14, 3, 7, 0.25f); // Osc1_CtrlB: class 3, the amount itself
    matrix->refresh();
    EXPECT_NEAR(matrix->modulated(param("osc1_ctrlB"), 0.6f, kFrames, 7), 0.35f, 1e-6f);
    // The old target is free again.
    EXPECT_FLOAT_EQ(matrix->modulated(param("osc1_wtmix"), 0.1f, kFrames, 7), 0.1f);
}

TEST_F(MatrixTest, BlockValueTakesTheMeanOfFirstAndLastSample) {
    attach(kSrcLfo1, lfo);
    userSlot(0, kSrcLfo1, 0);
    userTarget(0, 0, 46, 1.0f); // Reso_1, full positive
    matrix->refresh();
    // First -0.5, last 0.13: the block sees their mean, not the mean of the block.
    EXPECT_NEAR(matrix->modulated(param("flt1_res"), 0.5f, kFrames, 0), 0.5f + (-0.5f + 0.13f) / 2,
                1e-5f);
}

// --- sums, clamps and the quiet cases -------------------------------------------------------

TEST_F(MatrixTest, TwoSourcesOfOneSlotAndTwoSlotsOnOneTargetAddUp) {
    attach(kSrcModWheel, wheel);
    attach(kSrcVelocity, velocity);
    userSlot(0, kSrcModWheel, kSrcVelocity);
    userTarget(0, 0, 46, 0.75f);
    matrix->refresh();
    const int res = param("flt1_res");
    EXPECT_EQ(matrix->targetRecord(46).routeCount, 2);
    const float a = 0.20585f;
    EXPECT_NEAR(matrix->modulated(res, 0.1f, kFrames, 4), 0.1f + a * (0.8f + velocity.mean(4)),
                1e-5f);
    // A second slot on the same target adds its own route.
    attach(kSrcConstant50, half);
    userSlot(6, kSrcConstant50, 0);
    userTarget(6, 2, 46, 0.25f);
    matrix->refresh();
    EXPECT_EQ(matrix->targetRecord(46).routeCount, 3);
    const float expected = 0.1f + a * (0.8f + velocity.mean(4)) - a * 0.5f;
    EXPECT_NEAR(matrix->modulated(res, 0.1f, kFrames, 4), expected, 1e-5f);
    std::vector<float> base(kFrames + 8, 0.1f);
    const float* out = matrix->modulatedBuffer(res, base.data(), kFrames, 4);
    for (int i = 0; i < kFrames; ++i)
        EXPECT_NEAR(out[i], 0.1f + a * (0.8f + velocity.data[4][i]) - a * 0.5f, 1e-5f);
}

TEST_F(MatrixTest, ClampingHappensOnceAtTheEndNotPerRoute) {
    attach(kSrcConstant50, half);
    attach(kSrcModWheel, wheel);
    userSlot(0, kSrcConstant50, 0);
    userTarget(0, 0, 49, 1.0f); // +0.5
    userSlot(1, kSrcModWheel, 0);
    userTarget(1, 0, 49, 0.0f); // -0.8
    matrix->refresh();
    const int balance = param("flt_balance");
    // 0.9 + 0.5 would clamp to 1 on its own; taken together it is 0.6.
    EXPECT_NEAR(matrix->modulated(balance, 0.9f, kFrames, 0), 0.6f, 1e-5f);
    std::vector<float> base(kFrames + 8, 0.9f);
    EXPECT_NEAR(matrix->modulatedBuffer(balance, base.data(), kFrames, 0)[10], 0.6f, 1e-5f);
    // Past the ends the result is clamped.
    EXPECT_FLOAT_EQ(matrix->modulated(balance, 0.1f, kFrames, 0), 0.0f);
    userTarget(1, 0, 0, 0.0f);
    matrix->refresh();
    EXPECT_FLOAT_EQ(matrix->modulated(balance, 0.9f, kFrames, 0), 1.0f);
}

TEST_F(MatrixTest, QuietCasesAnswerTheBaseValue) {
    attach(kSrcModWheel, wheel);
    userSlot(0, kSrcModWheel, 0);
    userTarget(0, 0, 1, 0.5f); // Osc1_Amp at bipolar 0
    matrix->refresh();
    const int amp = param("mix_osc1");
    EXPECT_TRUE(matrix->targetRecord(1).active);
    EXPECT_NEAR(matrix->modulated(amp, 0.4f, kFrames, 0), 0.4f, 1e-7f);
    userTarget(0, 0, 1, 1.0f);
    matrix->refresh();
    // A one-sample block has no second-to-last sample: the base value answers.
    EXPECT_FLOAT_EQ(matrix->modulated(amp, 0.4f, 1, 0), 0.4f);
    std::vector<float> base(kFrames + 8, 0.4f);
    EXPECT_EQ(matrix->modulatedBuffer(amp, base.data(), 1, 0), base.data());
    // A parameter nobody targets is handed back untouched, even with Osc1_Amp busy.
    const int fine = param("osc1_fine");
    EXPECT_FLOAT_EQ(matrix->modulated(fine, 0.4f, kFrames, 0), 0.4f);
    EXPECT_EQ(matrix->modulatedBuffer(fine, base.data(), kFrames, 0), base.data());
    EXPECT_FLOAT_EQ(matrix->modulated(kParamCount, 0.4f, kFrames, 0), 0.4f);
    // A source without a table this block: the base value.
    matrix->setSource(kSrcModWheel, nullptr);
    EXPECT_FLOAT_EQ(matrix->modulated(amp, 0.4f, kFrames, 0), 0.4f);
    EXPECT_EQ(matrix->modulatedBuffer(amp, base.data(), kFrames, 0), base.data());
    // A voice without a buffer skips the route.
    std::array<float*, kVoiceCount> partial = wheel.table;
    partial[3] = nullptr;
    matrix->setSource(kSrcModWheel, partial.data());
    EXPECT_FLOAT_EQ(matrix->modulated(amp, 0.4f, kFrames, 3), 0.4f);
    EXPECT_NEAR(matrix->modulated(amp, 0.1f, kFrames, 2), 0.9f, 1e-6f);
}

// --- depth targets and velocity -------------------------------------------------------------

TEST_F(MatrixTest, SlotAmountTargetScalesAnotherRoute) {
    attach(kSrcModWheel, wheel);
    attach(kSrcLfo1, lfo);
    userSlot(0, kSrcModWheel, 0);
    userTarget(0, 0, 46, 1.0f); // Reso_1 at +1
    userSlot(1, kSrcLfo1, 0);
    userTarget(1, 2, 155, 0.75f); // Slot1_Amount1 at +0.5: c = 0.20585
    matrix->refresh();
    const MatrixRoute& r = matrix->targetRecord(46).routes[0];
    ASSERT_EQ(r.depthCount, 1);
    EXPECT_TRUE(r.hasDepth);
    const int res = param("flt1_res");
    const float c = 0.20585f;
    // Block value: the depth source at the second-to-last sample.
    const float a = 1.0f + c * lfo.data[6][kFrames - 2];
    EXPECT_NEAR(matrix->modulated(res, 0.1f, kFrames, 6), 0.1f + a * 0.8f, 1e-5f);
    std::vector<float> base(kFrames + 8, 0.1f);
    const float* out = matrix->modulatedBuffer(res, base.data(), kFrames, 6);
    for (int i = 0; i < kFrames; ++i)
        EXPECT_NEAR(out[i], 0.1f + (1.0f + c * lfo.data[6][i]) * 0.8f, 1e-5f) << i;
}

TEST_F(MatrixTest, DepthOnAnEmptySlotItemAddsNothing) {
    attach(kSrcModWheel, wheel);
    attach(kSrcLfo1, lfo);
    userSlot(2, kSrcModWheel, 0);
    userTarget(2, 0, 46, 1.0f);
    userSlot(4, kSrcLfo1, 0);
    userTarget(4, 0, 164, 1.0f); // Slot3_Amount2, while slot 3 has no second target
    matrix->refresh();
    EXPECT_EQ(matrix->targetRecord(46).routes[0].depthCount, 0);
    EXPECT_NEAR(matrix->modulated(param("flt1_res"), 0.1f, kFrames, 0), 0.9f, 1e-6f);
    EXPECT_EQ(matrix->useOfSource(kSrcLfo1), 1); // the source still runs
}

TEST_F(MatrixTest, LfoOnEnvelopeAmountScalesEveryEnv1RouteOfItsFirstTarget) {
    FakeSource env{[](int v, int i) { return 0.5f + 0.01f * v - 0.002f * i; }};
    attach(kSrcEnv1, env);
    attach(kSrcLfo1, lfo);
    attach(kSrcModWheel, wheel);
    matrix->setSlotValue(kEnvSlotBase, 0, listValue(47)); // env1 target1: Cutoff_2
    matrix->setSlotValue(kEnvSlotBase, 1, 1.0f);
    matrix->setSlotValue(kEnvSlotBase, 2, 0.5f); // no velocity
    // A user slot from Env1 on the same target gets the depth as well; the wheel's does not.
    userSlot(0, kSrcEnv1, kSrcModWheel);
    userTarget(0, 0, 47, 0.0f);                           // -1 for both of its routes
    matrix->setSlotValue(kLfoSlotBase, 0, listValue(56)); // lfo1 target1: Env1_Amt1
    matrix->setSlotValue(kLfoSlotBase, 1, 0.0f);          // -1: c = -1
    matrix->setSlotValue(kLfoSlotBase, 2, 0.5f);
    matrix->refresh();
    const MatrixTargetRecord& t = matrix->targetRecord(47);
    ASSERT_EQ(t.routeCount, 3);
    int withDepth = 0;
    for (int r = 0; r < t.routeCount; ++r) {
        if (t.routes[r].source == kSrcEnv1 - 1) {
            EXPECT_EQ(t.routes[r].depthCount, 1);
            EXPECT_EQ(t.routes[r].depths[0].source1, kSrcLfo1 - 1);
            ++withDepth;
        } else {
            EXPECT_EQ(t.routes[r].depthCount, 0);
        }
    }
    EXPECT_EQ(withDepth, 2);
    const float envMean = env.mean(0);
    const float lfoAt = lfo.data[0][kFrames - 2];
    // env1's own route at +1 and the user slot's Env1 route at -1, each minus the LFO; the
    // wheel's route at -1 as it is.
    const float expected = 1.0f + (1.0f - lfoAt) * envMean + (-1.0f - lfoAt) * envMean - 0.8f;
    ASSERT_GT(expected, 0.0f);
    EXPECT_NEAR(matrix->modulated(param("flt2_cut"), 1.0f, kFrames, 0), expected, 1e-5f);
    // An LFO amount as a target makes the modulating LFO run voice 16 as well.
    matrix->setSlotValue(kLfoSlotBase + 1, 0, listValue(87)); // lfo2 -> LFO1_Amt1
    matrix->refresh();
    EXPECT_EQ(matrix->useOfSource(kSrcLfo1 + 1), 2);
}

TEST_F(MatrixTest, VelocityAmountOfAModuleRowScalesByVelocityOrItsInverse) {
    FakeSource env{[](int, int) { return 0.5f; }};
    attach(kSrcEnv1 + 1, env);                                // env2
    matrix->setSlotValue(kEnvSlotBase + 1, 3, listValue(46)); // env2 target2: Reso_1
    matrix->setSlotValue(kEnvSlotBase + 1, 4, 1.0f);
    matrix->setSlotValue(kEnvSlotBase + 1, 5, 1.0f); // velocity +1
    matrix->refresh();
    const int res = param("flt1_res");
    const int v = 2;
    const float vel = velocity.data[v][kFrames - 2];
    const float inv = inverseVelocity.data[v][kFrames - 2];
    EXPECT_NEAR(matrix->modulated(res, 0.0f, kFrames, v), 0.5f * vel, 1e-5f);
    std::vector<float> base(kFrames + 8, 0.0f);
    const float* out = matrix->modulatedBuffer(res, base.data(), kFrames, v);
    EXPECT_NEAR(out[5], 0.5f * velocity.data[v][5], 1e-5f);

    matrix->setSlotValue(kEnvSlotBase + 1, 5, 0.0f); // velocity -1: by the inverse
    matrix->refresh();
    EXPECT_NEAR(matrix->modulated(res, 0.0f, kFrames, v), 0.5f * inv, 1e-5f);
    matrix->setSlotValue(kEnvSlotBase + 1, 5, 0.75f); // +0.5: half fixed, half by velocity
    matrix->refresh();
    EXPECT_NEAR(matrix->modulated(res, 0.0f, kFrames, v), 0.5f * (0.5f * vel + 0.5f), 1e-5f);
    matrix->setSlotValue(kEnvSlotBase + 1, 5, 0.25f); // -0.5
    matrix->refresh();
    EXPECT_NEAR(matrix->modulated(res, 0.0f, kFrames, v), 0.5f * (0.5f + 0.5f * inv), 1e-5f);
    out = matrix->modulatedBuffer(res, base.data(), kFrames, v);
    EXPECT_NEAR(out[20], 0.5f * (0.5f + 0.5f * inverseVelocity.data[v][20]), 1e-5f);
}

// --- decoding and use -----------------------------------------------------------------------

TEST_F(MatrixTest, SlotRowsDecodeIdsAndDropWhatIsOutOfRange) {
    userSlot(0, kSrcRandomUnipolar, kSrcConstant50);
    EXPECT_EQ(matrix->slot(0).source1, kSrcRandomUnipolar - 1);
    EXPECT_EQ(matrix->slot(0).source2, kSrcConstant50 - 1);
    matrix->setUserSlotItem(0, 0, listValue(33));
    EXPECT_EQ(matrix->slot(0).source1, -1);
    matrix->setUserSlotItem(0, 1, 1.0f); // index 999
    EXPECT_EQ(matrix->slot(0).source2, -1);
    userTarget(0, 3, 229, 0.3f);
    EXPECT_EQ(matrix->slot(0).target[3], 229u);
    EXPECT_FLOAT_EQ(matrix->slot(0).amount[3], 0.3f);
    matrix->setUserSlotItem(0, 9, listValue(230));
    EXPECT_EQ(matrix->slot(0).target[3], 0u);
    // The envelopes' and LFOs' slots keep their fixed sources; their velocity rows are bipolar.
    EXPECT_EQ(matrix->slot(kEnvSlotBase + 2).source1, kSrcEnv1 + 2 - 1);
    EXPECT_EQ(matrix->slot(kLfoSlotBase + 3).source1, kSrcLfo1 + 3 - 1);
    matrix->setSlotValue(kLfoSlotBase, 5, 0.25f);
    EXPECT_FLOAT_EQ(matrix->slot(kLfoSlotBase).velocity[1], -0.5f);
    EXPECT_FLOAT_EQ(matrix->slot(0).velocity[0], 0.0f);
}

TEST_F(MatrixTest, UseOfSourcesFollowsTheirTargets) {
    matrix->refresh();
    for (int s = 1; s <= kSourceCount; ++s) EXPECT_EQ(matrix->useOfSource(s), 0) << s;
    // A slot with sources and no target uses nothing.
    userSlot(0, kSrcLfo1, kSrcStepper1);
    matrix->refresh();
    EXPECT_EQ(matrix->useOfSource(kSrcLfo1), 0);
    // A voice target: active voices only.
    userTarget(0, 0, 45, 0.7f);
    matrix->refresh();
    EXPECT_EQ(matrix->useOfSource(kSrcLfo1), 1);
    EXPECT_EQ(matrix->useOfSource(kSrcStepper1), 1);
    // A global target (an effect) also needs voice 16.
    userTarget(0, 1, 142, 0.7f); // Rev_Wide
    matrix->refresh();
    EXPECT_EQ(matrix->useOfSource(kSrcLfo1), 2);
    // Where the two classes split: 82..154 and 215..223 are read with voice 16.
    struct Case {
        int target;
        int use;
    } cases[] = {{81, 0},  {82, 2},  {154, 2}, {49, 1},  {215, 2}, {221, 2},
                 {223, 2}, {224, 1}, {228, 1}, {229, 1}, {1, 1}};
    for (const Case& c : cases) {
        userSlot(5, kSrcEnv1 + 3, 0);
        userTarget(5, 0, c.target, 0.7f);
        matrix->refresh();
        // 81 is a depth target on an empty env4 item: it still runs its source, for voices.
        const int expected = c.target == 81 ? 1 : c.use;
        EXPECT_EQ(matrix->useOfSource(kSrcEnv1 + 3), expected) << c.target;
    }
}

TEST_F(MatrixTest, RoutesBeyondThirtyOneOnOneTargetAreDropped) {
    for (int s = 0; s < kUserSlots; ++s) {
        userSlot(s, kSrcModWheel, kSrcVelocity);
        for (int k = 0; k < 4; ++k) userTarget(s, k, 46, 0.6f);
    }
    matrix->refresh();
    EXPECT_EQ(matrix->targetRecord(46).routeCount, kRoutesInUse);
}

TEST_F(MatrixTest, RefreshAndQueriesDoNotAllocate) {
    attach(kSrcModWheel, wheel);
    attach(kSrcVelocity, velocity);
    attach(kSrcLfo1, lfo);
    for (int s = 0; s < kUserSlots; ++s) {
        userSlot(s, kSrcModWheel, kSrcLfo1);
        for (int k = 0; k < 4; ++k) userTarget(s, k, 1 + (s * 4 + k) % 150, 0.7f);
    }
    userTarget(14, 3, 155, 0.9f);
    std::vector<float> base(kFrames + 8, 0.5f);
    float sink = 0.0f;
    test::ScopedAllocCount allocations;
    matrix->refresh();
    for (int id = 0; id < kParamCount; ++id) {
        sink += matrix->modulated(id, 0.5f, kFrames, id % kVoiceCount);
        sink += matrix->modulatedBuffer(id, base.data(), kFrames, id % kVoiceCount)[3];
    }
    EXPECT_EQ(allocations.count(), 0u);
    EXPECT_TRUE(sink == sink);
}

// --- the target table and the menus ---------------------------------------------------------

TEST_F(MatrixTest, PerSampleAnswerIsThePlainSumOfItsRoutesBitForBit) {
    // One route after another, each added per sample in route order, then the base, then one
    // clamp: the single pass over the routes must give exactly that.
    FakeSource env{[](int v, int i) { return 0.9f - 0.01f * v - 0.007f * i; }};
    attach(kSrcModWheel, wheel);
    attach(kSrcLfo1, lfo);
    attach(kSrcKeyFollow, ramp);
    attach(kSrcEnv1, env);
    const int res = param("flt1_res");
    const int curveClass = curveOfParam(res);
    std::vector<float> base(kFrames + 8);
    for (int i = 0; i < kFrames; ++i) base[i] = 0.05f + 0.012f * float(i);
    struct Route {
        const float* src;
        float amount;   ///< raw 0..1
        float velocity; ///< bipolar, env slot only
    };
    std::vector<Route> routes;
    auto check = [&](const char* what) {
        matrix->refresh();
        std::vector<float> want(kFrames);
        for (int i = 0; i < kFrames; ++i) {
            float acc = 0.0f;
            for (std::size_t k = 0; k < routes.size(); ++k) {
                const Route& r = routes[k];
                float f = ModuleMatrix::curve(curveClass, 2.0f * (r.amount - 0.5f));
                if (r.velocity > 0.0f) f *= r.velocity * velocity.data[5][i] + (1.0f - r.velocity);
                acc = k == 0 ? f * r.src[i] : acc + f * r.src[i];
            }
            const float sum = acc + base[i];
            want[i] = sum < 0.0f ? 0.0f : (sum > 1.0f ? 1.0f : sum);
        }
        const float* got = matrix->modulatedBuffer(res, base.data(), kFrames, 5);
        ASSERT_NE(got, base.data()) << what;
        EXPECT_EQ(std::memcmp(got, want.data(), sizeof(float) * kFrames), 0) << what;
        for (int i = kFrames; i < kFrames + 8; ++i) EXPECT_EQ(got[i], 0.0f) << what;
    };
    userSlot(0, kSrcModWheel, 0);
    userTarget(0, 0, 46, 0.9f);
    routes.push_back({wheel.table[5], 0.9f, 0.0f});
    check("one route");
    userSlot(1, kSrcLfo1, kSrcKeyFollow);
    userTarget(1, 0, 46, 0.2f);
    routes.push_back({lfo.table[5], 0.2f, 0.0f});
    routes.push_back({ramp.table[5], 0.2f, 0.0f});
    check("three routes");
    // env1's own slot with a velocity amount: its factor is built per sample.
    matrix->setSlotValue(kEnvSlotBase, 0, listValue(46));
    matrix->setSlotValue(kEnvSlotBase, 1, 0.7f);
    matrix->setSlotValue(kEnvSlotBase, 2, 0.8f); // +0.6
    matrix->refresh();
    // The envelope slots come after the user slots.
    routes.push_back({env.table[5], 0.7f, 2.0f * 0.8f - 1.0f});
    check("four routes, the last with velocity");
}

TEST_F(MatrixTest, MovesAnswersForTheParametersARouteReaches) {
    attach(kSrcModWheel, wheel);
    userSlot(0, kSrcModWheel, 0);
    userTarget(0, 0, 46, 0.9f);
    EXPECT_FALSE(matrix->moves(param("flt1_res"))); // not before the refresh
    matrix->refresh();
    EXPECT_TRUE(matrix->moves(param("flt1_res")));
    EXPECT_FALSE(matrix->moves(param("flt1_cut")));
    EXPECT_FALSE(matrix->moves(-1));
    EXPECT_FALSE(matrix->moves(kParamCount));
    userTarget(0, 0, 0, 0.9f);
    matrix->refresh();
    EXPECT_FALSE(matrix->moves(param("flt1_res")));
}

TEST(MatrixTargets, EveryPlainTargetMovesItsOwnParameterWithItsClass) {
    int plain = 0;
    std::vector<int> seen(kParamCount, 0);
    for (int t = 1; t <= kTargetCount; ++t) {
        const MatrixTargetInfo* info = matrixTarget(t);
        ASSERT_NE(info, nullptr);
        if (isDepthTarget(t)) {
            EXPECT_EQ(info->paramName, nullptr) << t;
            EXPECT_EQ(paramOfTarget(t), -1);
            continue;
        }
        ++plain;
        const int id = paramOfTarget(t);
        ASSERT_GE(id, 0) << info->menuName;
        EXPECT_EQ(++seen[id], 1) << info->paramName;
        EXPECT_EQ(targetOfParam(id), t);
        EXPECT_EQ(curveOfParam(id), info->curveClass);
    }
    EXPECT_EQ(plain, kTargetCount - 60 - 16);
    EXPECT_EQ(matrixTarget(0), nullptr);
    EXPECT_EQ(matrixTarget(230), nullptr);
    const struct {
        int target;
        const char* param;
        int curve;
    } spots[] = {{1, "mix_osc1", 0},      {5, "osc1_note", 1},    {7, "osc1_ctrlB", 3},
                 {9, "osc1_wtmix", 4},    {44, "osc4_mixto", 0},  {45, "flt1_cut", 2},
                 {47, "flt2_cut", 2},     {55, "env1_rel", 0},    {85, "lfo1_morph", 0},
                 {107, "lfo4_amp", 0},    {112, "shp_sr", 0},     {130, "del_timeL", 0},
                 {138, "rev_pretime", 0}, {144, "x-comp", 0},     {145, "volume", 0},
                 {147, "eq_low_Q", 0},    {154, "eq_hi_lev", 0},  {215, "arp_length", 0},
                 {217, "macro1", 0},      {221, "glide", 0},      {223, "stp2_rate", 0},
                 {227, "osc4_wave", 0},   {228, "osc_all_pt", 0}, {229, "lfo_all_rt", 0}};
    for (const auto& s : spots) {
        EXPECT_EQ(paramOfTarget(s.target), findParamId(s.param)) << s.target;
        EXPECT_EQ(curveOfParam(findParamId(s.param)), s.curve) << s.param;
    }
    EXPECT_EQ(targetOfParam(findParamId("osc1_fine")), 0);
}

TEST(MatrixTargets, DepthTargetsAddressSlotItems) {
    int slot = -1, item = -1;
    ASSERT_TRUE(depthTargetAddress(155, slot, item));
    EXPECT_EQ(slot, 0);
    EXPECT_EQ(item, 0);
    ASSERT_TRUE(depthTargetAddress(164, slot, item)); // Slot3_Amount2
    EXPECT_EQ(slot, 2);
    EXPECT_EQ(item, 1);
    ASSERT_TRUE(depthTargetAddress(214, slot, item));
    EXPECT_EQ(slot, 14);
    EXPECT_EQ(item, 3);
    const int pairs[8][2] = {{56, 57}, {64, 65}, {72, 73},   {80, 81},
                             {87, 88}, {94, 95}, {101, 102}, {108, 109}};
    for (int m = 0; m < 8; ++m) {
        for (int j = 0; j < 2; ++j) {
            ASSERT_TRUE(depthTargetAddress(pairs[m][j], slot, item));
            EXPECT_EQ(slot, kEnvSlotBase + m);
            EXPECT_EQ(item, j);
        }
    }
    EXPECT_FALSE(depthTargetAddress(55, slot, item));
    EXPECT_FALSE(depthTargetAddress(215, slot, item));
}

TEST(MatrixMenus, MenuPositionAndStoredIdDiffer) {
    // Random_Unipolar is stored as 30 but stands fourth in its group, at position 16.
    EXPECT_EQ(sourceMenuPosition(kSrcRandomUnipolar), 16);
    EXPECT_EQ(sourceMenuPosition(kSrcPitchWheel), 17);
    EXPECT_EQ(sourceMenuPosition(kSrcModWheel), 18);
    EXPECT_EQ(sourceMenuPosition(kSrcMod1), 27);
    EXPECT_EQ(sourceMenuPosition(kSrcConstant50), 32);
    // All_Osc_Pitch (228) follows the mixer group; Osc1_Wave (224) stands after Osc1_Phase.
    EXPECT_EQ(targetMenuPosition(228), 5);
    EXPECT_EQ(targetMenuPosition(5), 6);
    EXPECT_EQ(targetMenuPosition(224), 10);
    EXPECT_EQ(targetMenuPosition(229), 87);
    EXPECT_EQ(targetMenuPosition(221), 229);
}

TEST(MatrixMenus, MapsShowTheNameOfTheStoredId) {
    // Through the maps a row's text is the name of what the engine routes.
    char text[32];
    auto shown = [&](const char* row, int id, const int* map) {
        ParamRecord r = defaultParamRecord(findParamId(row));
        r.setValue(listValue(id));
        std::snprintf(text, sizeof text, "%s", r.displayText(map));
        return std::string(text);
    };
    EXPECT_EQ(shown("slot1_Src1", kSrcModWheel, sourceMenuMap()), "ModWheel");
    EXPECT_EQ(shown("slot1_Src1", kSrcRandomUnipolar, sourceMenuMap()), "Random_Unipolar");
    EXPECT_EQ(shown("slot4_Src2", kSrcMod1 + 3, sourceMenuMap()), "Mod4");
    EXPECT_EQ(shown("slot4_Src2", 35, sourceMenuMap()), "off");
    for (int t = 1; t <= kTargetCount; ++t) {
        // The flat tokens spell a few names differently; compare the numbered menu's own form.
        const std::string flat = shown("slot2_Trg3", t, targetMenuMap());
        const std::string name = matrixTarget(t)->menuName;
        if (flat != name) {
            const bool known = flat.find("Send2FL") != std::string::npos ||
                               flat.find("_Amt") != std::string::npos ||
                               flat.rfind("All", 0) == 0 || flat.rfind("Stepp", 0) == 0;
            EXPECT_TRUE(known) << t << ": " << flat << " vs " << name;
        }
    }
    EXPECT_EQ(shown("slot2_Trg3", 5, targetMenuMap()), "Osc1_Pitch");
    EXPECT_EQ(shown("slot2_Trg3", 228, targetMenuMap()), "AllOsc_Pitch");
    EXPECT_EQ(shown("slot2_Trg3", 14, targetMenuMap()), "Osc1_Send2FL");
    EXPECT_EQ(shown("lfo3_target2", 164, targetMenuMap()), "Slot3_Amt2");
}

} // namespace
} // namespace torvo

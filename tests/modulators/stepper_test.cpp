// The step sequencer driven on its own with note streams of the test's making: the curve
// tables against the curve's definition, repeats and holds, the output read point by point,
// the step order for every retrigger and loop setting and for a start above the stop, the
// tempo and song-position clocks with swing, mono sharing, the display step and the real-time
// rule.

#include "engine/aplugin.h"
#include "engine/engineshared.h"
#include "engine/notevoice.h"
#include "engine/routetable.h"
#include "modulators/moduleenvelope.h"
#include "modulators/modulestepper.h"
#include "modulators/stepclock.h"
#include "shell/paramtable.h"
#include "support/alloccounter.h"
#include "support/standalonemodule.h"
#include "support/testengine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace torvo {
namespace {

constexpr int kBlock = 256;
constexpr float kRate = 44100.0f;
constexpr int kWatched = 2;

enum { kRateL = 80, kTimeL, kArpSpeedL, kModeL, kStartL, kStopL, kMonoL, kRtrgL, kLoopL, kSwingL };

/// A stepper whose step s is flat at level s / 16 unless a test shapes it, so that the output
/// tells the step; free rate 10 Hz (4410 samples a step).
struct Rig {
    Rig() {
        stp.m.setSampleRate(kRate);
        for (int v = 0; v < kVoiceCount; ++v) {
            notes[v].assign(kBlock, TriggerRecord{0.0f, 0, 0, 0});
            table[v] = notes[v].data();
            stp.shared.active[v] = 1;
        }
        stp.m.setTriggerSources(table.data());
        for (int s = 0; s < kStepCount; ++s) flat(s, s / 16.0f);
        set(kRateL, 9.0f / 11);
    }
    void set(int local, float value) { stp.m.setParameter(local, value); }
    void flat(int s, float level) {
        set(ModuleStepper::kLocalStepStart + s, level);
        set(ModuleStepper::kLocalStepEnd + s, level);
        set(ModuleStepper::kLocalCurveY + s, level);
    }
    const float* out(int v = kWatched) { return stp.m.getOutputs(0)[v]; }

    /// One block with a key press of voice `v` at `at` (-1: none).
    void block(int at = -1, int v = kWatched) {
        for (auto& n : notes) std::fill(n.begin(), n.end(), TriggerRecord{0.0f, 0, 0, 0});
        if (at >= 0) notes[v][at].trigger3 = 1;
        stp.m.process(kBlock, 1);
    }
    std::vector<float> trace(int samples, int pressAt = -1, int v = kWatched) {
        std::vector<float> t;
        bool first = true;
        while (static_cast<int>(t.size()) < samples) {
            block(first ? pressAt : -1, v);
            first = false;
            t.insert(t.end(), out(v), out(v) + kBlock);
        }
        t.resize(samples);
        return t;
    }
    /// The steps the output walks through, one entry per change of level.
    std::vector<int> stepsOf(const std::vector<float>& t) {
        std::vector<int> s{static_cast<int>(std::lround(t[0] * 16))};
        for (size_t i = 1; i < t.size(); ++i)
            if (t[i] != t[i - 1]) s.push_back(static_cast<int>(std::lround(t[i] * 16)));
        return s;
    }
    /// Sample positions at which the level changes.
    std::vector<int> changesOf(const std::vector<float>& t) {
        std::vector<int> c;
        for (size_t i = 1; i < t.size(); ++i)
            if (t[i] != t[i - 1]) c.push_back(static_cast<int>(i));
        return c;
    }

    test::Standalone<ModuleStepper> stp{kBlock, "stepper1"};
    std::array<std::vector<TriggerRecord>, kVoiceCount> notes;
    std::array<TriggerRecord*, kVoiceCount> table{};
};

/// The curve's y at x, from the cubic with both middle points at (cx, cy), found by bisection.
double curveAt(double x, double start, double cx, double cy, double end) {
    double lo = 0.0, hi = 1.0;
    for (int k = 0; k < 60; ++k) {
        const double t = 0.5 * (lo + hi);
        const double xt = 3 * t * (1 - t) * cx + t * t * t;
        (xt < x ? lo : hi) = t;
    }
    const double t = 0.5 * (lo + hi);
    return (1 - t) * (1 - t) * (1 - t) * start + 3 * t * (1 - t) * cy + t * t * t * end;
}

StepData shaped(float start, float cx, float cy, float end, int repeat = 1) {
    StepData s;
    s.startLevel = start;
    s.crvX = cx;
    s.crvY = cy;
    s.endLevel = end;
    s.repeat = repeat;
    s.rebuild();
    return s;
}

TEST(StepperCurve, TableFollowsTheCubicThroughTheControlPoint) {
    for (const auto& c : {std::array<float, 4>{0.1f, 0.7f, 0.2f, 0.9f},
                          std::array<float, 4>{0.8f, 0.2f, 0.95f, 0.0f},
                          std::array<float, 4>{0.5f, 0.5f, 1.0f, 0.5f}}) {
        const StepData s = shaped(c[0], c[1], c[2], c[3]);
        EXPECT_FLOAT_EQ(s.points[0], c[0]);
        EXPECT_FLOAT_EQ(s.points[63], c[3]);
        for (int i = 0; i < 64; ++i) {
            // 40 points on the curve joined by straight lines: close to the curve itself.
            EXPECT_NEAR(s.points[i], curveAt(i / 63.0, c[0], c[1], c[2], c[3]), 4e-3) << i;
        }
    }
    // All three levels equal: a constant.
    const StepData flat = shaped(0.3f, 0.9f, 0.3f, 0.3f);
    for (float p : flat.points) EXPECT_EQ(p, 0.3f);
}

TEST(StepperCurve, RepeatsWalkTheTableInStridesAndInsertTheLastPointOnce) {
    const StepData once = shaped(0.0f, 0.3f, 0.8f, 1.0f);
    for (int r = 2; r <= 4; ++r) {
        const StepData s = shaped(0.0f, 0.3f, 0.8f, 1.0f, r);
        int index = 0;
        for (int k = 0; k < 64; ++k) {
            if (index > 62) {
                EXPECT_EQ(s.points[k], once.points[63]) << r << " " << k;
                index = 0;
            } else {
                EXPECT_EQ(s.points[k], once.points[index]) << r << " " << k;
                index += r;
            }
        }
    }
    // Four repeats: 16 points a pass, the last point once, then the walk starts over.
    const StepData four = shaped(0.0f, 0.3f, 0.8f, 1.0f, 4);
    EXPECT_EQ(four.points[15], once.points[60]);
    EXPECT_EQ(four.points[16], once.points[63]);
    EXPECT_EQ(four.points[17], once.points[0]);
    EXPECT_EQ(four.points[33], once.points[63]);
    EXPECT_EQ(four.points[34], once.points[0]);
}

TEST(StepperOutput, RendersTheTablePointByPointWithInterpolation) {
    Rig r;
    // Step 0 shaped, step 1 flat.
    r.set(ModuleStepper::kLocalStepStart, 0.1f);
    r.set(ModuleStepper::kLocalStepEnd, 0.9f);
    r.set(ModuleStepper::kLocalCurveX, 0.7f);
    r.set(ModuleStepper::kLocalCurveY, 0.2f);
    r.set(kRtrgL, 1.0f);
    const StepData& s = r.stp.m.steps[0];
    const std::vector<float> t = r.trace(4410, 0);
    // The position advances 10 / 44100 a sample, the first advance on the key's sample.
    const double inc = static_cast<double>(10.0f / kRate);
    for (int n : {0, 100, 700, 2205, 3000, 4400}) {
        const double at = (n + 1) * inc * 63.0;
        const int i = static_cast<int>(at);
        const double g = at - i;
        EXPECT_NEAR(t[n], s.points[i] * (1 - g) + s.points[i + 1] * g, 2e-4) << n;
    }
    // Where the position lands on a point the output is the point.
    const int n = static_cast<int>(std::lround(32.0 / 63.0 / inc)) - 1;
    EXPECT_NEAR(t[n], s.points[32], 2e-3);
}

TEST(StepperOutput, HeldAndFlatStepsReadWithoutInterpolation) {
    Rig r;
    r.set(kRtrgL, 1.0f);
    r.set(ModuleStepper::kLocalStepStart, 0.2f);
    r.set(ModuleStepper::kLocalStepEnd, 0.6f);
    r.set(ModuleStepper::kLocalCurveX, 0.5f);
    r.set(ModuleStepper::kLocalHold, 1.0f);
    const std::vector<float> t = r.trace(4400, 0);
    // A hold: the start level until half the step, then the end level, with no ramp between.
    for (float x : t) EXPECT_TRUE(x == 0.2f || x == 0.6f) << x;
    EXPECT_EQ(t[2100], 0.2f);
    EXPECT_EQ(t[2300], 0.6f);
    EXPECT_EQ(r.stp.m.valueAt(0, 0.5f), r.stp.m.steps[0].points[31]);
    // Equal start and end with a bump in the middle read the table by whole points.
    r.set(ModuleStepper::kLocalHold + 3, 0.0f);
    r.set(ModuleStepper::kLocalStepStart + 3, 0.2f);
    r.set(ModuleStepper::kLocalStepEnd + 3, 0.2f);
    r.set(ModuleStepper::kLocalCurveY + 3, 0.9f);
    const StepData& s = r.stp.m.steps[3];
    EXPECT_EQ(r.stp.m.valueAt(3, 20.5f / 63.0f), s.points[20]);
}

TEST(StepperOrder, RetriggerOffRunsOnFromWhereverItIs) {
    Rig r;
    r.set(kStartL, 2 * kThousandth);
    r.set(kStopL, 5 * kThousandth);
    // Nothing moves before the first key.
    EXPECT_EQ(r.stepsOf(r.trace(9000)), (std::vector<int>{0}));
    const std::vector<int> steps = r.stepsOf(r.trace(4410 * 10, 0));
    EXPECT_EQ(steps, (std::vector<int>{0, 1, 2, 3, 4, 5, 2, 3, 4, 5}));
    // A second key changes nothing: the sequence runs on.
    const int before = r.stp.m.clock.stepIndex[kWatched];
    const float pos = r.stp.m.clock.position[kWatched];
    r.block(0);
    EXPECT_EQ(r.stp.m.clock.stepIndex[kWatched], before);
    EXPECT_NEAR(r.stp.m.clock.position[kWatched], pos + kBlock * 10.0f / kRate, 1e-4f);
}

TEST(StepperOrder, RetriggerWithoutLoopPlaysOnceAndHolds) {
    Rig r;
    r.set(kRtrgL, 1.0f);
    r.set(kStartL, 3 * kThousandth);
    r.set(kStopL, 6 * kThousandth);
    const std::vector<float> t = r.trace(4410 * 8, 0);
    EXPECT_EQ(r.stepsOf(t), (std::vector<int>{3, 4, 5, 6}));
    EXPECT_EQ(t.back(), 6.0f / 16);
    EXPECT_EQ(r.stp.m.clock.running[kWatched], 0);
    // Every key plays it again from the start step.
    EXPECT_EQ(r.stepsOf(r.trace(4410 * 6, 10)), (std::vector<int>{6, 3, 4, 5, 6}));
}

TEST(StepperOrder, RetriggerWithLoopStartsAtStepZeroAndLoopsStartToStop) {
    Rig r;
    r.set(kRtrgL, 1.0f);
    r.set(kLoopL, 1.0f);
    r.set(kStartL, 2 * kThousandth);
    r.set(kStopL, 4 * kThousandth);
    EXPECT_EQ(r.stepsOf(r.trace(4410 * 10 - 100, 0)),
              (std::vector<int>{0, 1, 2, 3, 4, 2, 3, 4, 2, 3}));
}

TEST(StepperOrder, StartAboveStopRepeatsTheStartStep) {
    {
        Rig r;
        r.set(kStartL, 9 * kThousandth);
        r.set(kStopL, 4 * kThousandth);
        const std::vector<float> t = r.trace(4410 * 9, 0);
        // From step 0 up to the stop, then every step end jumps back to the start.
        EXPECT_EQ(r.stepsOf(t), (std::vector<int>{0, 1, 2, 3, 4, 9}));
        EXPECT_EQ(r.changesOf(t).size(), 5u);
        EXPECT_EQ(r.stp.m.clock.stepIndex[kWatched], 9);
    }
    {
        Rig r;
        r.set(kRtrgL, 1.0f);
        r.set(kStartL, 9 * kThousandth);
        r.set(kStopL, 4 * kThousandth);
        EXPECT_EQ(r.stepsOf(r.trace(4410 * 4, 0)), (std::vector<int>{9}));
        EXPECT_EQ(r.stp.m.clock.running[kWatched], 0);
    }
}

TEST(StepperClock, SyncedStepsLastTheDivisionAtTwoTempos) {
    for (float bpm : {120.0f, 90.0f}) {
        Rig r;
        r.stp.shared.tempo = bpm;
        r.set(kModeL, 1 * kThousandth);
        r.set(kTimeL, 13 * kThousandth); // 1/8
        r.set(kArpSpeedL, 10 * kThousandth);
        r.set(kRtrgL, 1.0f);
        r.set(kLoopL, 1.0f);
        const double length = kRate * 30.0 / bpm;
        const std::vector<int> c = r.changesOf(r.trace(static_cast<int>(length * 6.5), 0));
        ASSERT_EQ(c.size(), 6u) << bpm;
        // The position is a float sum: a step may come a few samples late.
        for (size_t k = 1; k < c.size(); ++k)
            EXPECT_NEAR(c[k] - c[k - 1], length, length * 3e-4) << bpm;
    }
}

TEST(StepperClock, SwingAppliesWhenTheDivisionIsTheArpSpeed) {
    Rig r;
    r.set(kModeL, 1 * kThousandth);
    r.set(kTimeL, 13 * kThousandth);
    r.set(kArpSpeedL, 13 * kThousandth);
    r.set(kSwingL, 1.0f); // w = 0.3
    r.set(kRtrgL, 1.0f);
    r.set(kLoopL, 1.0f);
    const double length = kRate * 30.0 / 120.0;
    const std::vector<int> c = r.changesOf(r.trace(static_cast<int>(length * 6.5), 0));
    ASSERT_GE(c.size(), 5u);
    // Step 1 (odd) is short, step 2 (even) long.
    EXPECT_NEAR(c[1] - c[0], length * 0.7, length * 3e-4);
    EXPECT_NEAR(c[2] - c[1], length * 1.3, length * 3e-4);
    EXPECT_NEAR(c[0], length * 1.3, length * 3e-4); // step 0 from the key
    // Swing at 0.5 is straight.
    StepClock k;
    k.mode = kClockSync;
    k.swing = 0.5f;
    k.updateRates(120.0f, kRate, 0.0f, 0, 0);
    EXPECT_EQ(k.rateEven, k.rateOdd);
}

TEST(StepperClock, SongPositionModePlacesTheStepFromTheHostPosition) {
    Rig r;
    r.set(kModeL, 2 * kThousandth);
    r.set(kTimeL, 10 * kThousandth); // divisor 60
    r.set(kStartL, 1 * kThousandth);
    r.set(kStopL, 4 * kThousandth);
    r.set(kSwingL, 0.5f);
    const double q = 100.3;
    r.stp.m.setSongPosition(q);
    r.block(0);
    const int rounded = static_cast<int>(static_cast<float>(256.0 * q + 1.28) * 2.0f + 0.5f) >> 1;
    const float steps = rounded * 0.59999996f / 60.0f;
    const int step = static_cast<int>(steps) % 4 + 1;
    const float fraction = steps - static_cast<int>(steps);
    const float swing = step % 2 == 0 ? 1.15f : 0.85f;
    EXPECT_EQ(r.stp.m.clock.stepIndex[kWatched], step);
    const float r0 = 120.0f / 60.0f / kRate;
    EXPECT_NEAR(r.stp.m.clock.position[kWatched], fraction / swing + kBlock * r0, 1e-4f);
}

TEST(StepperVoices, MonoRunsVoiceSixteenForAll) {
    Rig r;
    r.set(kMonoL, 1.0f);
    r.set(kRtrgL, 1.0f);
    r.block(0, kWatched); // a poly voice's key is not read
    EXPECT_EQ(r.stp.m.clock.running[kMonoVoice], 0);
    r.block(0, kMonoVoice);
    EXPECT_EQ(r.stp.m.clock.running[kMonoVoice], 1);
    EXPECT_EQ(r.stp.m.clock.running[kWatched], 0);
    float* const* outs = r.stp.m.getOutputs(0);
    for (int v = 0; v < kVoiceCount; ++v) EXPECT_EQ(outs[v], outs[kMonoVoice]);
}

TEST(StepperVoices, DisplayShowsTheNewestVoicesStep) {
    Rig r;
    r.set(kRtrgL, 1.0f);
    r.set(kLoopL, 1.0f);
    r.trace(4410 * 3 + 100, 0, 4); // voice 4 reaches step 3
    EXPECT_EQ(r.stp.m.currentStep(), 3);
    r.block(0, 7); // a newer voice starts at step 0
    EXPECT_EQ(r.stp.m.currentStep(), 0);
    EXPECT_EQ(r.stp.m.clock.stepIndex[4], 3);
}

TEST(StepperVoices, ArpStartIsAKeyPressForEveryVoiceWhileTheArpRuns) {
    Rig r;
    r.set(kRtrgL, 1.0f);
    std::vector<float> snapshot(4096, 0.0f);
    snapshot[50] = 7.0f;
    r.stp.m.setArpState(false, snapshot.data());
    r.block();
    EXPECT_EQ(r.stp.m.clock.running[kWatched], 0);
    r.stp.m.setArpState(true, snapshot.data());
    r.block();
    EXPECT_EQ(r.stp.m.clock.running[kWatched], 1);
    EXPECT_NEAR(r.stp.m.clock.position[kWatched], (kBlock - 50) * 10.0f / kRate, 1e-5f);
}

TEST(StepperRealtime, RenderingNeverAllocates) {
    Rig r;
    r.set(kModeL, 1 * kThousandth);
    r.set(kRtrgL, 1.0f);
    r.block(0);
    test::ScopedAllocCount count;
    for (int b = 0; b < 40; ++b) r.block(b * 13 % kBlock, b % kVoiceCount);
    EXPECT_EQ(count.count(), 0u);
}

TEST(StepperEngine, RoutedStepperGatesTheOscillatorStepByStep) {
    std::unique_ptr<APlugin> engine = test::makeTestEngine(kRate, 512);
    auto set = [&](const std::string& name, float value) {
        const int id = findParamId(name);
        ASSERT_GE(id, 0) << name;
        engine->setParameter(id, value, 1);
    };
    // Odd steps at 1, even steps at 0, sent to oscillator 1's level at a full negative amount:
    // the odd steps silence it.
    for (int n = 1; n <= 16; ++n) {
        const float level = n % 2 == 0 ? 1.0f : 0.0f;
        for (const char* row : {"stp1_start", "stp1_end", "stp1_crvY"})
            set(row + std::to_string(n), level);
    }
    set("stp1_mode", 1 * kThousandth);  // sync
    set("stp1_time", 16 * kThousandth); // 1/16: 8 steps a second at 120 BPM
    set("slot1_Src1", kSrcStepper1 * kThousandth);
    set("slot1_Trg1", 1 * kThousandth); // Osc1_Amp
    set("slot1_Amt1", 0.0f);
    engine->refreshMatrix();
    engine->noteOn(0, 60, 100);
    test::StereoBlock block(512);
    std::vector<float> left;
    std::vector<int> shown;
    while (left.size() < static_cast<size_t>(kRate)) {
        engine->render(block.pointers(), 512);
        left.insert(left.end(), block.left.begin(), block.left.end());
        shown.push_back(engine->stepperStep(0));
    }
    // Loudness in the middle of each step (5512.5 samples) alternates loud and nearly silent
    // (the effect tails of the loud steps remain).
    double quietMax = 0.0, loudMin = 1.0;
    for (int step = 1; step < 7; ++step) {
        const size_t mid = static_cast<size_t>((step + 0.5) * 5512.5);
        double sum = 0.0;
        for (size_t i = mid - 1000; i < mid + 1000; ++i) sum += double(left[i]) * left[i];
        const double rms = std::sqrt(sum / 2000.0);
        if (step % 2 == 0)
            loudMin = std::min(loudMin, rms);
        else
            quietMax = std::max(quietMax, rms);
    }
    EXPECT_GT(loudMin, 0.01);
    EXPECT_LT(quietMax, loudMin * 0.05);
    // The display follows the played step: about 43 blocks for 8 steps.
    EXPECT_EQ(shown[0], 0);
    EXPECT_EQ(shown[static_cast<size_t>(3.5 * 5512.5 / 512)], 3);
    EXPECT_EQ(shown[static_cast<size_t>(7.5 * 5512.5 / 512)], 7);
}

TEST(StepperEngine, RateModulationMovesTheDivisionUpToTheLast) {
    const auto stepLength = [](bool modulated) {
        std::unique_ptr<APlugin> engine = test::makeTestEngine(kRate, 512);
        auto set = [&](const std::string& name, float value) {
            const int id = findParamId(name);
            ASSERT_GE(id, 0) << name;
            engine->setParameter(id, value, 1);
        };
        for (int n = 1; n <= 16; ++n) {
            for (const char* row : {"stp1_start", "stp1_end", "stp1_crvY"})
                set(row + std::to_string(n), n / 16.0f);
        }
        set("stp1_mode", 1 * kThousandth);
        set("stp1_time", 13 * kThousandth); // 1/8: 11025 samples a step at 120 BPM
        set("slot2_Src1", kSrcStepper1 * kThousandth);
        set("slot2_Trg1", 1 * kThousandth);
        set("slot2_Amt1", 0.5f); // runs the stepper without moving anything
        if (modulated) {
            set("slot3_Src1", kSrcConstant50 * kThousandth);
            set("slot3_Trg1", 222 * kThousandth); // Stepper1_Rate
            set("slot3_Amt1", 1.0f);
        }
        engine->refreshMatrix();
        engine->noteOn(0, 60, 100);
        test::StereoBlock block(512);
        std::vector<float> trace;
        int voice = -1;
        for (int b = 0; b < 60; ++b) {
            engine->render(block.pointers(), 512);
            for (int v = 0; v < kMonoVoice && voice < 0; ++v)
                if (static_cast<VoiceEnvelope*>(engine->module(kKeyEnv1)->getVoice(v))->stage)
                    voice = v;
            if (voice < 0) continue;
            const float* out = engine->module(kKeyStepper1)->getOutputs(0)[voice];
            trace.insert(trace.end(), out, out + 512);
        }
        std::vector<int> changes;
        for (size_t i = 1; i < trace.size(); ++i)
            if (trace[i] != trace[i - 1]) changes.push_back(static_cast<int>(i));
        return changes.size() < 2
                   ? 0.0
                   : double(changes.back() - changes.front()) / double(changes.size() - 1);
    };
    EXPECT_NEAR(stepLength(false), 11025.0, 5.0);
    EXPECT_NEAR(stepLength(true), 1378.125, 1.0); // 1/64
}

} // namespace
} // namespace torvo

// The delay measured from outside: its times from impulse responses, free and locked to the
// tempo, the number and size of its echoes, ping-pong and width routing, the opposite sine
// modulation read from a train of impulses and from the spectrum of a tone, the colour band,
// the wet law, the mute that stops the lines, and its behaviour at full feedback.

#include "effects/modulefxdelay.h"
#include "engine/engineshared.h"
#include "shell/paramtable.h"

#include "fxmeasure.h"
#include "support/alloccounter.h"
#include "support/standalonemodule.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

namespace torvo {
namespace {

constexpr int kBlock = 256;
constexpr float kRate = 44100.0f;

using test::noise;
using test::run;
using test::Stereo;
using Rig = test::Standalone<ModuleFxDelay>;

/// A free-running delay with straight sides, no feedback, no modulation, open colour, wet
/// only.
std::unique_ptr<Rig> makeDelay(float rate = kRate) {
    auto rig = test::makeStandaloneFx<ModuleFxDelay>("ModuleFxDelay::fx_delay", rate);
    ModuleFxDelay& m = rig->m;
    m.setParameter(0, 0.0f); // ping-pong off
    m.setParameter(1, 0.0f); // free times
    m.timeL.reset(0.25f);
    m.timeR.reset(0.5f);
    m.feedback.reset(0.0f);
    m.rate.reset(0.2f);
    m.modulate.reset(0.0f);
    m.wide.reset(1.0f);
    m.color.reset(0.5f);
    m.wet.reset(1.0f);
    return rig;
}

/// Where the largest |x| in [from, to) lies, and its value.
struct Peak {
    int at = -1;
    float value = 0.0f;
};
Peak peakIn(const std::vector<float>& x, int from, int to) {
    Peak p;
    for (int i = std::max(0, from); i < std::min(to, int(x.size())); ++i)
        if (std::fabs(x[i]) > std::fabs(p.value)) p = {i, x[i]};
    return p;
}

/// Sum of x around a position: the area of an echo that the interpolation split in two.
double area(const std::vector<float>& x, int centre, int half = 4) {
    double sum = 0.0;
    for (int i = std::max(0, centre - half); i <= std::min(int(x.size()) - 1, centre + half); ++i)
        sum += x[i];
    return sum;
}

TEST(DelayTimes, FreeTimesFromImpulseResponsesAtTwoRates) {
    for (float rate : {44100.0f, 96000.0f}) {
        SCOPED_TRACE(rate);
        auto rig = makeDelay(rate);
        const int n = static_cast<int>(0.6f * rate);
        Stereo s(n);
        s.l[0] = s.r[0] = 1.0f;
        run(rig->m, s);
        // The free time has a floor of 10 ms on top of the control.
        EXPECT_NEAR(peakIn(s.l, 1, n).at, 0.26 * rate, 1.0);
        EXPECT_NEAR(peakIn(s.r, 1, n).at, 0.51 * rate, 1.0);
        // At wet 1 the dry signal is gone: (0.3 − 0.3) × 3.3333.
        EXPECT_EQ(s.l[0], 0.0f);
        // The band filter's 20 Hz high-pass takes a little of the echo's area.
        EXPECT_NEAR(area(s.l, peakIn(s.l, 1, n).at, 16), 1.0, 0.03);
    }
}

TEST(DelayTimes, LockedTimesFollowTheTempo) {
    auto rig = makeDelay();
    ModuleFxDelay& m = rig->m;
    rig->shared.tempo = 120.0f;
    m.setParameter(1, 1.0f);
    m.setParameter(4, 7 * kThousandth); // 1/8
    m.setParameter(5, 1 * kThousandth); // 1/32
    Stereo s(static_cast<int>(0.5 * kRate));
    s.l[0] = s.r[0] = 1.0f;
    run(m, s);
    // 30 / 120 = 0.25 s and 7.5 / 120 = 0.0625 s.
    EXPECT_EQ(peakIn(s.l, 1, int(s.l.size())).at, 11025);
    EXPECT_NEAR(peakIn(s.r, 1, int(s.r.size())).at, 0.0625 * kRate, 1.0);

    auto slow = makeDelay();
    slow->shared.tempo = 90.0f;
    slow->m.setParameter(1, 1.0f);
    slow->m.setParameter(4, 10 * kThousandth); // 1/4: 60 / 90 s
    Stereo t(static_cast<int>(0.8 * kRate));
    t.l[0] = 1.0f;
    run(slow->m, t);
    EXPECT_NEAR(peakIn(t.l, 1, int(t.l.size())).at, 60.0 / 90.0 * kRate, 1.0);
}

TEST(DelayEchoes, FeedbackZeroGivesOneEchoAndHalfHalvesEachRound) {
    const int d = static_cast<int>(std::lround(0.26 * kRate));
    for (float fb : {0.0f, 0.5f}) {
        SCOPED_TRACE(fb);
        auto rig = makeDelay();
        rig->m.feedback.reset(fb);
        Stereo s(4 * d + 64);
        s.l[0] = 1.0f;
        run(rig->m, s);
        const double e1 = area(s.l, d), e2 = area(s.l, 2 * d), e3 = area(s.l, 3 * d);
        EXPECT_NEAR(e1, 1.0, 0.01);
        if (fb == 0.0f) {
            EXPECT_LT(std::fabs(e2), 1e-4);
            EXPECT_LT(std::fabs(e3), 1e-4);
        } else {
            EXPECT_NEAR(e2 / e1, 0.5, 0.01);
            EXPECT_NEAR(e3 / e2, 0.5, 0.01);
        }
    }
}

TEST(DelayRouting, PingPongAndWidthMoveTheEchoesBetweenTheSides) {
    const int dl = static_cast<int>(std::lround(0.26 * kRate));
    const int dr = static_cast<int>(std::lround(0.51 * kRate));
    const int n = dl + dr + dl + 64;
    {
        // Width 0 without ping-pong exchanges the sides; 0.5 is mono.
        auto rig = makeDelay();
        rig->m.wide.reset(0.0f);
        Stereo s(n);
        s.l[0] = 1.0f;
        run(rig->m, s);
        EXPECT_NEAR(area(s.r, dl), 1.0, 0.01);
        EXPECT_NEAR(area(s.l, dl), 0.0, 1e-4);
        auto mono = makeDelay();
        mono->m.wide.reset(0.5f);
        Stereo t(n);
        t.l[0] = 1.0f;
        run(mono->m, t);
        EXPECT_NEAR(area(t.l, dl), 0.5, 0.01);
        EXPECT_NEAR(area(t.r, dl), 0.5, 0.01);
    }
    {
        // Ping-pong below width 0.5: each echo comes back on the other side.
        auto rig = makeDelay();
        rig->m.setParameter(0, 1.0f);
        rig->m.wide.reset(0.0f); // folds to full width with ping-pong
        rig->m.feedback.reset(0.5f);
        Stereo s(n);
        s.l[0] = 1.0f;
        run(rig->m, s);
        EXPECT_NEAR(area(s.l, dl), 1.0, 0.01);
        EXPECT_NEAR(area(s.r, dl + dr), 0.5, 0.01);
        EXPECT_NEAR(area(s.l, dl + dr + dl), 0.25, 0.01);
        EXPECT_NEAR(area(s.r, dl), 0.0, 1e-4);
    }
    {
        // From width 0.5: both inputs enter on the left alone.
        auto rig = makeDelay();
        rig->m.setParameter(0, 1.0f);
        rig->m.wide.reset(1.0f);
        rig->m.feedback.reset(0.5f);
        Stereo s(n);
        s.r[0] = 1.0f;
        run(rig->m, s);
        EXPECT_NEAR(area(s.l, dl), 1.0, 0.01);
        EXPECT_NEAR(area(s.r, dr), 0.0, 1e-4);
        EXPECT_NEAR(area(s.r, dl + dr), 0.5, 0.01);
    }
}

TEST(DelayWet, DryStaysFullBelowPointSevenAndFallsAbove) {
    const int d = static_cast<int>(std::lround(0.26 * kRate));
    for (float v : {0.5f, 0.85f}) {
        SCOPED_TRACE(v);
        auto rig = makeDelay();
        rig->m.wet.reset(v);
        Stereo s(d + 64);
        s.l[0] = 1.0f;
        run(rig->m, s);
        const double dry = v < 0.7f ? 1.0 : (0.3 - (v - 0.7)) * 3.3333;
        const double echo = v < 0.7f ? v * 1.43 : 1.0;
        EXPECT_NEAR(s.l[0], dry, 1e-5);
        EXPECT_NEAR(area(s.l, d), echo, 0.01);
    }
}

/// Echo delays of a train of impulses (one every `period` samples) on one side.
std::vector<double> echoTrack(const std::vector<float>& x, int period, int count) {
    std::vector<double> d;
    for (int k = 0; k < count; ++k) {
        const Peak p = peakIn(x, k * period + 1, (k + 1) * period);
        // The linear read splits an echo over two samples: take their weighted position.
        const double a = std::fabs(x[p.at - 1]), b = std::fabs(x[p.at]), c = std::fabs(x[p.at + 1]);
        const double pos =
            a > c ? (p.at * b + (p.at - 1) * a) / (a + b) : (p.at * b + (p.at + 1) * c) / (b + c);
        d.push_back(pos - k * period);
    }
    return d;
}

TEST(DelayModulation, ReadPositionsSwingInOppositeDirectionsAtTheRateLaw) {
    // Rate 5/11 of the law: 1.25 Hz. Full modulation swings each time by ±10 ms.
    auto rig = makeDelay();
    ModuleFxDelay& m = rig->m;
    m.timeL.reset(0.05f);
    m.timeR.reset(0.05f);
    m.rate.reset(5.0f / 11.0f);
    m.modulate.reset(1.0f);
    const int period = 4410;
    const int count = 90;
    Stereo s(period * count);
    for (int k = 0; k < count; ++k) s.l[k * period] = s.r[k * period] = 1.0f;
    run(m, s);
    const std::vector<double> dl = echoTrack(s.l, period, count);
    const std::vector<double> dr = echoTrack(s.r, period, count);
    // The read position moves while the echo is on its way: echo k leaves where
    // t − d(t) = k × period, with d(t) = (0.06 ± m(t)) × rate and
    // m(t) = (c(p) − 0.5) × 0.02 s, + on the left and − on the right, with p the phase of
    // 1.25 Hz and c the 256-point raised cosine read at p × 255: 0.5 − 0.5 cos(2π p 255/256).
    auto expected = [&](int k, double sign) {
        double t = k * period + 0.06 * kRate;
        for (int it = 0; it < 20; ++it) {
            double p = 1.25 * (t + 1.0) / kRate;
            p -= std::floor(p);
            const double swing = -0.5 * std::cos(test::kTwoPi * p * 255.0 / 256.0) * 0.02;
            t = k * period + (0.06 + sign * swing) * kRate;
        }
        return t - k * period;
    };
    for (int k = 1; k < count; ++k) {
        EXPECT_NEAR(dl[k], expected(k, 1.0), 1.0) << k;
        EXPECT_NEAR(dr[k], expected(k, -1.0), 1.0) << k;
    }
    // One period of 1.25 Hz is 8 impulses: the track repeats.
    for (int k = 2; k + 8 < count; ++k) EXPECT_NEAR(dl[k + 8], dl[k], 1.0) << k;

    // The same rate as sidebands of a steady tone, at 10 Hz (rate 9/11) and a small swing.
    auto tone = makeDelay();
    tone->m.rate.reset(9.0f / 11.0f);
    tone->m.modulate.reset(0.01f);
    const int n = static_cast<int>(1.5 * kRate);
    Stereo t(n);
    t.l = test::sine(1000.0, kRate, n, 0.5f);
    t.r = t.l;
    run(tone->m, t);
    const int from = static_cast<int>(0.4 * kRate), len = static_cast<int>(kRate);
    const double carrier = test::amplitudeAt(t.l, 1000.0, kRate, from, len);
    EXPECT_GT(test::amplitudeAt(t.l, 1010.0, kRate, from, len), 0.2 * carrier);
    EXPECT_GT(test::amplitudeAt(t.l, 990.0, kRate, from, len), 0.2 * carrier);
    EXPECT_LT(test::amplitudeAt(t.l, 1005.0, kRate, from, len), 0.01 * carrier);
}

/// Steady echo gain of a tone through the colour band (feedback 0, wet 1).
double echoGain(float color, double hz) {
    auto rig = makeDelay();
    rig->m.timeL.reset(0.0f);
    rig->m.color.reset(color);
    const int n = static_cast<int>(0.5 * kRate);
    Stereo s(n);
    s.l = test::sine(hz, kRate, n, 0.5f);
    run(rig->m, s);
    const int from = static_cast<int>(0.3 * kRate), len = static_cast<int>(0.2 * kRate);
    return test::amplitudeAt(s.l, hz, kRate, from, len) / 0.5;
}

TEST(DelayColour, BandSitsLowAtZeroHighAtOneAndOpensInTheMiddle) {
    EXPECT_GT(test::toDb(echoGain(0.0f, 250.0) / echoGain(0.0f, 4000.0)), 20.0);
    EXPECT_GT(test::toDb(echoGain(1.0f, 2000.0) / echoGain(1.0f, 150.0)), 12.0);
    EXPECT_GT(test::toDb(echoGain(1.0f, 2000.0) / echoGain(0.0f, 2000.0)), 20.0);
    for (double hz : {100.0, 1000.0, 8000.0}) EXPECT_NEAR(test::toDb(echoGain(0.5f, hz)), 0.0, 0.5);
}

TEST(DelayMute, StopsWritingSoOldEchoesWaitInTheLine) {
    auto rig = makeDelay();
    ModuleFxDelay& m = rig->m;
    const int d = static_cast<int>(std::lround(0.26 * kRate));
    const int muted = 10 * kBlock;
    Stereo first(kBlock);
    first.l[0] = 1.0f;
    run(m, first);
    m.setParameter(12, 1.0f);
    Stereo during(muted);
    run(m, during);
    EXPECT_TRUE(std::all_of(during.l.begin(), during.l.end(), [](float x) { return x == 0.0f; }));
    m.setParameter(12, 0.0f);
    Stereo after(d + kBlock);
    run(m, after);
    // The echo arrives late by exactly the muted stretch.
    EXPECT_NEAR(area(after.l, d - kBlock), 1.0, 0.01);
}

TEST(DelayEdges, ZeroTimeWithModulationStaysNonNegativeAndFinite) {
    auto rig = makeDelay();
    ModuleFxDelay& m = rig->m;
    m.timeL.reset(0.0f);
    m.timeR.reset(0.0f);
    m.modulate.reset(1.0f);
    m.rate.reset(1.0f);
    m.feedback.reset(0.9f);
    Stereo s = noise(static_cast<int>(0.5 * kRate), 0.5f, 5u);
    run(m, s);
    EXPECT_TRUE(test::allClean(s.l.data(), int(s.l.size())));
    EXPECT_TRUE(test::allClean(s.r.data(), int(s.r.size())));
}

TEST(DelayStability, FullFeedbackStaysBoundedInEveryRoutingAndTheTailDies) {
    struct Routing {
        bool pingPong;
        float wide;
    };
    for (Routing r : {Routing{false, 1.0f}, Routing{true, 0.0f}, Routing{true, 1.0f}}) {
        SCOPED_TRACE(testing::Message() << "ping-pong " << r.pingPong << " wide " << r.wide);
        auto rig = makeDelay();
        ModuleFxDelay& m = rig->m;
        m.setParameter(0, r.pingPong ? 1.0f : 0.0f);
        m.wide.reset(r.wide);
        m.timeL.reset(0.05f);
        m.timeR.reset(0.08f);
        m.feedback.reset(1.0f);
        m.modulate.reset(0.5f);
        Stereo s = noise(static_cast<int>(3 * kRate), 0.5f, 5u);
        run(m, s);
        const float peak = test::peakOf(s, 0, int(s.l.size()));
        EXPECT_TRUE(test::allClean(s.l.data(), int(s.l.size())));
        EXPECT_LT(peak, 40.0f);

        // At 0.5 the echoes die: silence for two seconds leaves nothing, and nothing
        // subnormal, in the lines or the band filter.
        m.feedback.reset(0.5f);
        Stereo quiet(static_cast<int>(2 * kRate));
        run(m, quiet);
        const float tail = test::peakOf(quiet, int(quiet.l.size()) - kBlock, int(quiet.l.size()));
        EXPECT_LT(tail, 1e-5f);
        EXPECT_FALSE(m.holdsSubnormals());
    }
}

TEST(DelayLifecycle, LinesSizedForTheRateClearEmptiesThemAndNothingAllocates) {
    auto rig = makeDelay(48000.0f);
    ModuleFxDelay& m = rig->m;
    Stereo s = noise(kBlock, 0.5f, 5u);
    run(m, s);
    EXPECT_EQ(m.lineLength(), 12 * 48000);
    m.setSampleRate(384000.0f);
    run(m, s);
    EXPECT_EQ(m.lineLength(), 12 * 192000);
    m.setSampleRate(kRate);

    // After clear only what the band filter still holds comes round.
    m.feedback.reset(0.9f);
    m.timeL.reset(0.0f);
    auto energyAfter = [&](bool clear) {
        Stereo loud = noise(4096, 0.5f, 5u);
        run(m, loud);
        if (clear) m.clear();
        Stereo quiet(8192);
        run(m, quiet);
        double e = 0.0;
        for (float x : quiet.l) e += double(x) * x;
        return e;
    };
    const double kept = energyAfter(false);
    EXPECT_LT(energyAfter(true), 1e-3 * kept);

    Stereo block = noise(kBlock, 0.5f, 9u);
    float* ptrs[2] = {block.l.data(), block.r.data()};
    m.setParameter(1, 1.0f);
    m.setParameter(0, 1.0f);
    m.processFx(kBlock, ptrs);
    test::ScopedAllocCount count;
    m.processFx(kBlock, ptrs);
    EXPECT_EQ(count.count(), 0u);
}

} // namespace
} // namespace torvo

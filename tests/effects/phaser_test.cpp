// The phaser measured from outside: notch positions of 2 and 4 all-pass sections against the
// first-order all-pass law, the top of the sweep, no feedback at the middle of the control,
// the spread as an eighth of a cycle between the sides, the vowel table and its positions,
// and its behaviour at full feedback, after the input stops and in bypass.

#include "effects/modulefxphaser.h"
#include "effects/phaservowels.h"
#include "shell/paramtable.h"

#include "fxmeasure.h"
#include "support/alloccounter.h"
#include "support/standalonemodule.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <memory>
#include <vector>

namespace torvo {
namespace {

constexpr int kBlock = 256;
constexpr float kRate = 44100.0f;
constexpr double kPi = 3.141592653589793;

using test::impulseResponse;
using test::noise;
using test::run;
using test::Stereo;
using Rig = test::Standalone<ModuleFxPhaser>;

/// A phaser standing still at a position: depth 0, no feedback, half wet.
std::unique_ptr<Rig> makePhaser(int stages, float freq) {
    auto rig = test::makeStandaloneFx<ModuleFxPhaser>("ModuleFxPhaser::fx_phaser", kRate);
    ModuleFxPhaser& m = rig->m;
    m.setParameter(0, static_cast<float>(stages) * kThousandth);
    m.freq.reset(freq);
    m.feedback.reset(0.5f);
    m.spread.reset(0.0f);
    m.rate.reset(0.5f);
    m.depth.reset(0.0f);
    m.wet.reset(0.5f);
    return rig;
}

/// |H(f)| of a measured impulse response.
double magnitude(const std::vector<float>& h, double hz) {
    std::complex<double> sum = 0.0, turn = 1.0;
    const std::complex<double> step = std::polar(1.0, -test::kTwoPi * hz / kRate);
    for (float x : h) {
        sum += double(x) * turn;
        turn *= step;
    }
    return std::abs(sum);
}

/// The deepest point of |H| between lo and hi Hz: a 2 % grid, then a golden-section search
/// around the deepest grid point.
double notchBetween(const std::vector<float>& h, double lo, double hi) {
    double best = lo, depth = 1e9;
    for (double f = lo; f <= hi; f *= 1.02) {
        const double m = magnitude(h, f);
        if (m < depth) {
            depth = m;
            best = f;
        }
    }
    double a = best / 1.02, b = best * 1.02;
    const double g = 0.6180339887498949;
    while (b - a > 1e-4 * best) {
        const double c = b - g * (b - a), d = a + g * (b - a);
        if (magnitude(h, c) < magnitude(h, d))
            b = d;
        else
            a = c;
    }
    return 0.5 * (a + b);
}

/// The sweep's frequency law: 20.602 Hz × 2^(119 x / 12).
double toneHz(double x) {
    return 20.602 * std::pow(2.0, 119.0 * x / 12.0);
}

TEST(PhaserNotches, SitWhereTheSectionsTurnTheSignalByOddHalfTurns) {
    // N sections of (z⁻¹ − a) / (1 − a z⁻¹), a = (1 − w) / (1 + w), w = Hz / rate, each turn
    // the phase by 2 atan(tan(ω/2) / w): mixed half and half with the dry signal they cancel
    // where tan(ω/2) = w tan((2k + 1) π / 2N).
    for (float freq : {0.35f, 0.5f, 0.65f}) {
        SCOPED_TRACE(freq);
        const double w = toneHz(freq) / kRate;
        auto two = makePhaser(0, freq);
        const Stereo h2 = impulseResponse(two->m, 4096);
        const double n2 = kRate / kPi * std::atan(w);
        EXPECT_NEAR(notchBetween(h2.l, n2 / 2, n2 * 2) / n2, 1.0, 0.005);
        EXPECT_LT(magnitude(h2.l, n2), 0.02);
        EXPECT_GT(magnitude(h2.l, n2 * 4), 0.5);

        auto four = makePhaser(1, freq);
        const Stereo h4 = impulseResponse(four->m, 4096);
        for (int k = 0; k < 2; ++k) {
            const double nk = kRate / kPi * std::atan(w * std::tan((2 * k + 1) * kPi / 8));
            EXPECT_NEAR(notchBetween(h4.l, nk / 1.5, nk * 1.5) / nk, 1.0, 0.005) << k;
            EXPECT_NEAR(notchBetween(h4.r, nk / 1.5, nk * 1.5) / nk, 1.0, 0.005) << k;
        }
    }
}

TEST(PhaserSweep, FreqAtOneHoldsTheTopAndDepthZeroStopsTheLfo) {
    // Position 1 whatever the LFO does: the notch of two sections stays at the top of the
    // law, 19912 Hz turned into rate / π × atan(19912 / rate).
    auto rig = makePhaser(0, 1.0f);
    rig->m.depth.reset(1.0f);
    rig->m.rate.reset(1.0f);
    const double notch = kRate / kPi * std::atan(19912.127 / kRate);
    const int n = static_cast<int>(0.5 * kRate);
    Stereo s(n);
    s.l = test::sine(notch, kRate, n, 0.5f);
    s.r = s.l;
    run(rig->m, s);
    float peak = 0.0f;
    for (int i = n / 2; i < n; ++i) peak = std::max(peak, std::fabs(s.l[i]));
    EXPECT_LT(peak, 0.5f * 0.01f);

    // Depth 0: two very different rates give the very same output.
    auto slow = makePhaser(2, 0.4f);
    auto fast = makePhaser(2, 0.4f);
    slow->m.rate.reset(0.1f);
    fast->m.rate.reset(1.0f);
    Stereo a = noise(8192, 0.5f, 17u), b = noise(8192, 0.5f, 17u);
    run(slow->m, a);
    run(fast->m, b);
    EXPECT_EQ(a.l, b.l);
    EXPECT_EQ(a.r, b.r);
}

TEST(PhaserFeedback, MiddleOfTheControlLeavesAPureAllPass) {
    // Wet alone and f = 0.5 × 1.9 − 0.95 = 0: every frequency passes at unit gain.
    auto rig = makePhaser(5, 0.5f);
    rig->m.wet.reset(1.0f);
    const Stereo h = impulseResponse(rig->m, 8192);
    for (double hz : {50.0, 300.0, 1000.0, 5000.0, 15000.0})
        EXPECT_NEAR(magnitude(h.l, hz), 1.0, 1e-3) << hz;
    // At the ends of the control ±0.95 comes round: peaks of up to 1 / (1 − 0.95).
    auto loud = makePhaser(5, 0.5f);
    loud->m.wet.reset(1.0f);
    loud->m.feedback.reset(1.0f);
    const Stereo g = impulseResponse(loud->m, 8192);
    double top = 0.0;
    for (double hz = 20.0; hz < 20000.0; hz *= 1.005) top = std::max(top, magnitude(g.l, hz));
    EXPECT_GT(top, 10.0);
    EXPECT_LT(top, 20.5);
}

/// Level of x in windows of `window` samples.
std::vector<double> envelope(const std::vector<float>& x, int from, int window) {
    std::vector<double> e;
    for (int i = from; i + window <= int(x.size()); i += window) {
        double sum = 0.0;
        for (int k = 0; k < window; ++k) sum += double(x[i + k]) * x[i + k];
        e.push_back(std::sqrt(sum / window));
    }
    return e;
}

TEST(PhaserSpread, RightSideRunsAnEighthOfACycleAheadAtFullSpread) {
    // 2 Hz (rate 6/11), full depth from 0: the notch sweeps the whole law and passes a
    // 204 Hz tone twice a cycle. Spread 1 moves the right LFO 1/8 cycle on: 62.5 ms.
    const int n = static_cast<int>(1.5 * kRate);
    const int window = 441;
    for (float spread : {1.0f, 0.0f}) {
        SCOPED_TRACE(spread);
        auto rig = makePhaser(0, 0.0f);
        ModuleFxPhaser& m = rig->m;
        m.depth.reset(1.0f);
        m.rate.reset(6.0f / 11.0f);
        m.spread.reset(spread);
        Stereo s(n);
        s.l = test::sine(204.0, kRate, n, 0.5f);
        s.r = s.l;
        run(m, s);
        if (spread == 0.0f) {
            EXPECT_EQ(s.l, s.r);
            continue;
        }
        const std::vector<double> el = envelope(s.l, 4410, window);
        const std::vector<double> er = envelope(s.r, 4410, window);
        int bestLag = 0;
        double best = -1e9;
        for (int lag = -8; lag <= 8; ++lag) {
            double c = 0.0;
            for (int k = 10; k + 10 < int(er.size()); ++k) c += er[k] * el[k + lag];
            if (c > best) {
                best = c;
                bestLag = lag;
            }
        }
        EXPECT_NEAR(bestLag * window / kRate, 0.0625, 0.006);
        // The rate law gives 2 Hz at 6/11: the level pattern repeats every 50 windows.
        double diff = 0.0, level = 0.0;
        for (int k = 0; k + 50 < int(el.size()); ++k) {
            diff += std::fabs(el[k + 50] - el[k]);
            level += el[k];
        }
        EXPECT_LT(diff, 0.02 * level);
    }
}

TEST(PhaserVowels, TableAndSettingsPlaceTheFormants) {
    // Position 0 (depth 0, freq 0), first formant 805 Hz in the three settings.
    EXPECT_FLOAT_EQ(phaservowels::formantHz(0, 0, 0.0f), 805.0f * 1.2f - 100.0f);
    EXPECT_FLOAT_EQ(phaservowels::formantHz(1, 0, 0.0f), 805.0f * 1.5f);
    EXPECT_FLOAT_EQ(phaservowels::formantHz(2, 0, 0.0f), 805.0f * 1.5f + 500.0f);
    // The five positions lie a quarter of the range apart, read linearly between them.
    EXPECT_FLOAT_EQ(phaservowels::formantHz(1, 1, 0.5f), 2300.0f * 1.5f);
    EXPECT_FLOAT_EQ(phaservowels::formantHz(1, 3, 1.0f), 3400.0f * 1.5f);
    EXPECT_FLOAT_EQ(phaservowels::formantHz(1, 2, 0.125f), (2900.0f + 2660.0f) * 0.5f * 1.5f);
    EXPECT_EQ(ModuleFxPhaser::position(0.7f, 0.0f, 0.0f), 0.0f);
    EXPECT_EQ(ModuleFxPhaser::position(0.7f, 1.0f, 1.0f), 1.0f);
    EXPECT_EQ(ModuleFxPhaser::sectionCount(5), 12);

    // Depth 0 and freq 0 stand at position 0: the LFO rate makes no difference.
    for (int mode = 6; mode <= 8; ++mode) {
        auto a = makePhaser(mode, 0.0f);
        auto b = makePhaser(mode, 0.0f);
        a->m.rate.reset(0.0f);
        b->m.rate.reset(1.0f);
        Stereo x = noise(4096, 0.5f, 17u), y = noise(4096, 0.5f, 17u);
        run(a->m, x);
        run(b->m, y);
        EXPECT_EQ(x.l, y.l) << mode;
    }

    // "vowelHi" with spread 1: only the right side moves up (200 Hz).
    auto plain = makePhaser(8, 0.0f);
    auto spread = makePhaser(8, 0.0f);
    spread->m.spread.reset(1.0f);
    const Stereo hp = impulseResponse(plain->m, 8192);
    const Stereo hs = impulseResponse(spread->m, 8192);
    EXPECT_EQ(hp.l, hs.l);
    EXPECT_EQ(hp.l, hp.r);
    EXPECT_NE(hs.l, hs.r);
}

TEST(PhaserStability, FullFeedbackStaysBoundedAndTheTailDiesInEverySetting) {
    for (int mode = 0; mode <= ModuleFxPhaser::kLastStages; ++mode) {
        for (float fb : {0.0f, 1.0f}) {
            SCOPED_TRACE(testing::Message() << "mode " << mode << " feedback " << fb);
            auto rig = makePhaser(mode, 0.2f);
            ModuleFxPhaser& m = rig->m;
            m.feedback.reset(fb);
            m.depth.reset(1.0f);
            m.rate.reset(0.7f);
            m.spread.reset(1.0f);
            m.wet.reset(1.0f);
            Stereo s = noise(static_cast<int>(1.5 * kRate), 0.5f, 17u);
            run(m, s);
            const float peak = test::peakOf(s, 0, int(s.l.size()));
            EXPECT_TRUE(test::allClean(s.l.data(), int(s.l.size())));
            EXPECT_LT(peak, 20.0f);
            Stereo quiet(static_cast<int>(1.5 * kRate));
            run(m, quiet);
            const float tail =
                test::peakOf(quiet, int(quiet.l.size()) - kBlock, int(quiet.l.size()));
            EXPECT_LT(tail, 1e-5f);
            EXPECT_FALSE(m.holdsSubnormals());
        }
    }
}

TEST(PhaserLifecycle, BypassLeavesAudioAloneAndNothingAllocates) {
    auto rig = makePhaser(3, 0.3f);
    ModuleFxPhaser& m = rig->m;
    Stereo s = noise(kBlock, 0.5f, 17u);
    const Stereo dry = s;
    m.setParameter(7, 1.0f);
    run(m, s);
    EXPECT_EQ(s.l, dry.l);
    m.setParameter(7, 0.0f);
    m.wet.reset(0.0f);
    run(m, s);
    EXPECT_EQ(s.l, dry.l);
    m.wet.reset(0.7f);
    float* ptrs[2] = {s.l.data(), s.r.data()};
    for (int mode : {0, 5, 6, 8}) {
        m.setParameter(0, static_cast<float>(mode) * kThousandth);
        m.processFx(kBlock, ptrs);
        test::ScopedAllocCount count;
        m.processFx(kBlock, ptrs);
        EXPECT_EQ(count.count(), 0u) << mode;
    }
    m.clear();
    m.processFx(kBlock, ptrs);
    EXPECT_TRUE(test::allClean(s.l.data(), kBlock));
}

} // namespace
} // namespace torvo

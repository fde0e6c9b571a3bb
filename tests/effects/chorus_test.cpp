// The chorus measured from outside: where its taps sit in each mode, how the bipolar feedback
// acts (none at all at the middle of the control), the LFO rate read from the spectrum and the
// width as a phase offset read from the moving taps, the ensemble's floor and wet law, and its
// behaviour at full feedback, after the input stops, in bypass and on clear.

#include "effects/chorusdata.h"
#include "effects/modulefxchorus.h"
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

using test::impulseResponse;
using test::noise;
using test::run;
using test::Stereo;
using Rig = test::Standalone<ModuleFxChorus>;

/// A chorus in a mode with its controls standing still: no modulation, no feedback, open
/// filters, wet only.
std::unique_ptr<Rig> makeChorus(int mode, float rate = kRate) {
    auto rig = test::makeStandaloneFx<ModuleFxChorus>("ModuleFxChorus::fx_chorus", rate);
    ModuleFxChorus& m = rig->m;
    m.setParameter(0, static_cast<float>(mode) * kThousandth);
    m.delay.reset(0.5f);
    m.feedback.reset(0.5f);
    m.rate.reset(0.5f);
    m.depth.reset(0.0f);
    m.wide.reset(0.0f);
    m.hiCut.reset(1.0f);
    m.lowCut.reset(0.0f);
    m.wet.reset(1.0f);
    return rig;
}

/// Largest step between neighbouring samples in [centre − 8, centre + 8]: an echo is a
/// sharp spike, the slow tail of the tone filters is not.
double spike(const std::vector<float>& x, double centre) {
    const int c = static_cast<int>(std::lround(centre));
    double best = 0.0;
    for (int i = std::max(1, c - 8); i <= std::min(int(x.size()) - 1, c + 8); ++i)
        best = std::max(best, double(std::fabs(x[i] - x[i - 1])));
    return best;
}

/// Sum of x over [centre − half, centre + half]: the area of an echo, 1 for a whole impulse
/// however the interpolation spreads it.
double lobe(const std::vector<float>& x, double centre, int half = 3) {
    const int c = static_cast<int>(std::lround(centre));
    double sum = 0.0;
    for (int i = std::max(0, c - half); i <= std::min(int(x.size()) - 1, c + half); ++i)
        sum += x[i];
    return sum;
}

/// First moment of x over [from, to): where an interpolated echo sits.
double centroid(const std::vector<float>& x, int from, int to) {
    double sum = 0.0, moment = 0.0;
    for (int i = from; i < to; ++i) {
        sum += x[i];
        moment += double(i) * x[i];
    }
    return moment / sum;
}

/// Position of the largest |x| in [centre − 6, centre + 6], refined by a parabola.
double peakNear(const std::vector<float>& x, double centre) {
    const int c = static_cast<int>(std::lround(centre));
    int best = c;
    for (int i = std::max(1, c - 6); i <= std::min(int(x.size()) - 2, c + 6); ++i)
        if (std::fabs(x[i]) > std::fabs(x[best])) best = i;
    const double a = std::fabs(x[best - 1]), b = std::fabs(x[best]), d = std::fabs(x[best + 1]);
    const double den = a - 2.0 * b + d;
    return best + (den != 0.0 ? 0.5 * (a - d) / den : 0.0);
}

TEST(ChorusFeedback, MiddleOfTheControlIsExactlyNoFeedbackAndTheEndsAreBipolar) {
    // Mode "01": one voice at 0.04 of (0.5 + 0.01) s.
    const double d = 0.51 * kRate * 0.04;
    const int n = static_cast<int>(4 * d) + 64;
    auto off = makeChorus(0);
    const Stereo none = impulseResponse(off->m, n);
    EXPECT_NEAR(peakNear(none.l, d), d, 1.5);
    EXPECT_NEAR(lobe(none.l, d), 1.0, 0.05);
    const double first = spike(none.l, d);
    ASSERT_GT(first, 0.3);
    // 0.5 × 1.9 − 0.95 is exactly 0: nothing comes round again.
    EXPECT_LT(spike(none.l, 2 * d), 1e-5 * first);
    EXPECT_LT(spike(none.l, 3 * d), 1e-5 * first);

    auto up = makeChorus(0);
    up->m.feedback.reset(1.0f);
    const Stereo pos = impulseResponse(up->m, n);
    auto down = makeChorus(0);
    down->m.feedback.reset(0.0f);
    const Stereo neg = impulseResponse(down->m, n);
    // ±0.95 at the ends: the second echo has 0.95 of the first, with the sign of the control.
    const int second = static_cast<int>(std::lround(peakNear(pos.l, 2 * d)));
    const int firstAt = static_cast<int>(std::lround(peakNear(pos.l, d)));
    EXPECT_NEAR(pos.l[second] / pos.l[firstAt], 0.95, 0.05);
    EXPECT_NEAR(neg.l[second] / neg.l[firstAt], -0.95, 0.05);
}

TEST(ChorusTaps, EveryModePutsItsVoicesAtTheirShareOfTheTime) {
    const double t = 0.51 * kRate;
    const int voiceCount[] = {1, 2, 3, 4, 3, 4};
    const int row[] = {0, 1, 2, 3, 2, 3};
    for (int mode = 0; mode < ModuleFxChorus::kEnsemble; ++mode) {
        SCOPED_TRACE(mode);
        auto rig = makeChorus(mode);
        const Stereo ir = impulseResponse(rig->m, 4096);
        const double scale = mode == 5 ? 2.0 : 1.0; // "06" doubles every tap
        for (int v = 0; v < voiceCount[mode]; ++v) {
            const double d = t * chorusdata::kTapFactors[row[mode]][v] * scale;
            EXPECT_NEAR(peakNear(ir.l, d), d, 1.5) << "voice " << v;
            EXPECT_NEAR(peakNear(ir.r, d), d, 1.5) << "voice " << v;
            // Each voice carries the whole impulse once: no feedback at the middle setting.
            EXPECT_NEAR(lobe(ir.l, d), 1.0, 0.05) << "voice " << v;
        }
    }
    // The listed factors themselves.
    EXPECT_FLOAT_EQ(chorusdata::kTapFactors[3][3], 0.042f);
    EXPECT_FLOAT_EQ(chorusdata::kFeedbackScale[3], 0.7f);
}

TEST(ChorusModulation, RateLawReadFromTheSidebandsOfASteadyTone) {
    // "01" at rate 8/11 of the rate law: 5 Hz. A small depth keeps the phase swing near one
    // radian, so the first sidebands stand well above the noise floor.
    auto rig = makeChorus(0);
    ModuleFxChorus& m = rig->m;
    m.rate.reset(8.0f / 11.0f);
    m.depth.reset(4.0f / 31.0f);
    m.delay.reset(0.1f);
    const int n = static_cast<int>(1.2 * kRate);
    Stereo s(n);
    s.l = test::sine(1000.0, kRate, n, 0.5f);
    s.r = s.l;
    run(m, s);
    const int from = static_cast<int>(0.2 * kRate);
    const int count = static_cast<int>(kRate);
    const double carrier = test::amplitudeAt(s.l, 1000.0, kRate, from, count);
    const double up = test::amplitudeAt(s.l, 1005.0, kRate, from, count);
    const double low = test::amplitudeAt(s.l, 995.0, kRate, from, count);
    const double between = test::amplitudeAt(s.l, 1003.0, kRate, from, count);
    EXPECT_GT(up, 0.3 * carrier);
    EXPECT_GT(low, 0.3 * carrier);
    EXPECT_LT(between, 0.05 * up);

    // The ensemble runs at 2 × chr_rate Hz with a triangle: 1 Hz at 0.5.
    auto j8 = makeChorus(ModuleFxChorus::kEnsemble);
    j8->m.rate.reset(0.5f);
    j8->m.depth.reset(0.3f);
    j8->m.delay.reset(0.3f);
    const int n2 = static_cast<int>(2.5 * kRate);
    Stereo t(n2);
    t.l = test::sine(1000.0, kRate, n2, 0.5f);
    t.r = t.l;
    run(j8->m, t);
    const int count2 = static_cast<int>(2 * kRate);
    const double side = test::amplitudeAt(t.l, 1001.0, kRate, from, count2);
    const double half = test::amplitudeAt(t.l, 1000.5, kRate, from, count2);
    EXPECT_GT(side, 10.0 * half);
}

/// Echo positions of a train of impulses (every `period` samples) on one side.
std::vector<double> tapTrack(const std::vector<float>& x, int period, double guess, int count) {
    std::vector<double> d;
    for (int k = 0; k < count; ++k) {
        // Search the whole period for the echo of impulse k.
        const int start = k * period;
        int best = start + 1;
        for (int i = start + 1; i < start + period && i < int(x.size()); ++i)
            if (std::fabs(x[i]) > std::fabs(x[best])) best = i;
        d.push_back(peakNear(x, best) - start);
    }
    (void)guess;
    return d;
}

TEST(ChorusWidth, WidthIsAQuarterCycleBetweenTheSidesAndNoneAtZero) {
    // "01" at 5 Hz (period 8820 samples), an impulse every 441 samples: the echo delay follows
    // the raised cosine; a quarter cycle is five impulses.
    const int period = 441;
    const int count = 60;
    auto makeTrain = [&] {
        Stereo s(period * count);
        for (int k = 0; k < count; ++k) s.l[k * period] = s.r[k * period] = 1.0f;
        return s;
    };
    for (float wide : {1.0f, 0.0f}) {
        SCOPED_TRACE(wide);
        auto rig = makeChorus(0);
        ModuleFxChorus& m = rig->m;
        m.rate.reset(8.0f / 11.0f);
        m.depth.reset(16.0f / 31.0f); // depth law 0.2515 at its knot
        m.delay.reset(0.1f);
        m.wide.reset(wide);
        Stereo s = makeTrain();
        run(m, s);
        const std::vector<double> dl = tapTrack(s.l, period, 0, count);
        const std::vector<double> dr = tapTrack(s.r, period, 0, count);
        // Swing of the tap: depth law × 0.24 of a second, times the voice's 0.04.
        const auto [lo, hi] = std::minmax_element(dl.begin() + 20, dl.end());
        EXPECT_NEAR(*hi - *lo, 0.2515 * 0.24 * kRate * 0.04, 3.0);
        EXPECT_NEAR(*lo, 0.11 * kRate * 0.04, 2.0);
        const int shift = wide > 0.0f ? 5 : 0; // the right side runs a quarter cycle ahead
        for (int k = 20; k + shift < count; ++k) EXPECT_NEAR(dr[k], dl[k + shift], 1.0) << k;
    }
}

TEST(ChorusEnsemble, DelayFloorSubtractedSecondLineAndWetAlone) {
    auto rig = makeChorus(ModuleFxChorus::kEnsemble);
    ModuleFxChorus& m = rig->m;
    m.delay.reset(0.0f); // span at its floor: 0.002 × 0.06 s
    const Stereo ir = impulseResponse(m, 64);
    const double span = 0.002 * kRate * 0.06;
    // At wet 1 nothing of the dry impulse is left.
    EXPECT_EQ(ir.l[0], 0.0f);
    EXPECT_EQ(ir.r[0], 0.0f);
    // First line at half the span, second at the full span, subtracted.
    // The two interpolated lobes overlap a little at this short span.
    const int split = static_cast<int>(0.75 * span) + 1;
    EXPECT_NEAR(centroid(ir.l, 0, split), 0.5 * span, 0.15);
    EXPECT_NEAR(centroid(ir.l, split, 10), span, 0.15);
    EXPECT_NEAR(lobe(ir.l, 1.5, 2), 1.0, 0.1);
    EXPECT_NEAR(lobe(ir.l, 6.5, 2), -1.0, 0.1);

    // Width moves the right side's lines later by 0.05 of the span unit.
    auto wide = makeChorus(ModuleFxChorus::kEnsemble);
    wide->m.delay.reset(1.0f);
    wide->m.wide.reset(1.0f);
    const Stereo w = impulseResponse(wide->m, 4096);
    const double unit = kRate * 0.06;
    const int l0 = static_cast<int>(0.5 * unit), r0 = static_cast<int>(0.55 * unit);
    EXPECT_NEAR(centroid(w.l, l0 - 8, l0 + 8), 0.5 * unit, 0.2);
    EXPECT_NEAR(centroid(w.r, r0 - 8, r0 + 8), 0.55 * unit, 0.2);
}

TEST(ChorusStability, FullFeedbackStaysBoundedAndTheTailDiesInEveryMode) {
    for (int mode = 0; mode <= ModuleFxChorus::kEnsemble; ++mode) {
        for (float fb : {0.0f, 1.0f, 0.8f}) {
            SCOPED_TRACE(testing::Message() << "mode " << mode << " feedback " << fb);
            auto rig = makeChorus(mode);
            ModuleFxChorus& m = rig->m;
            m.feedback.reset(fb);
            m.depth.reset(1.0f);
            m.wide.reset(1.0f);
            m.rate.reset(0.6f);
            Stereo s = noise(static_cast<int>(1.5 * kRate), 0.5f, 99u);
            run(m, s);
            EXPECT_TRUE(test::allClean(s.l.data(), int(s.l.size())));
            EXPECT_TRUE(test::allClean(s.r.data(), int(s.r.size())));
            EXPECT_LT(test::peakOf(s, 0, int(s.l.size())), 20.0);
            // Silence: the echoes fall (at ±0.95 slowly, at 0.8 × 1.9 − 0.95 to nothing) and
            // the lines hold no subnormal numbers.
            Stereo quiet(static_cast<int>(1.5 * kRate));
            run(m, quiet);
            const int last = int(quiet.l.size()) - kBlock;
            const double tail = test::peakOf(quiet, last, last + kBlock);
            if (fb == 0.8f)
                EXPECT_LT(tail, 1e-5);
            else
                EXPECT_LT(tail, 0.5 * test::peakOf(quiet, 0, kBlock));
            EXPECT_FALSE(m.holdsSubnormals());
        }
    }
}

TEST(ChorusLifecycle, BypassKeepsTheLinesClearEmptiesThemAndNothingAllocates) {
    auto rig = makeChorus(2);
    ModuleFxChorus& m = rig->m;
    m.feedback.reset(0.8f);
    Stereo s = noise(8192, 0.5f, 99u);
    run(m, s);

    // Muted, and at wet 0, the audio passes untouched.
    m.setParameter(9, 1.0f);
    Stereo quiet(kBlock);
    run(m, quiet);
    EXPECT_TRUE(std::all_of(quiet.l.begin(), quiet.l.end(), [](float x) { return x == 0.0f; }));
    m.setParameter(9, 0.0f);
    m.wet.reset(0.0f);
    Stereo loud = noise(kBlock, 0.5f, 7u);
    const Stereo before = loud;
    run(m, loud);
    EXPECT_EQ(loud.l, before.l);
    EXPECT_EQ(loud.r, before.r);

    // Back on: the old contents sound.
    m.wet.reset(1.0f);
    Stereo back(kBlock);
    run(m, back);
    double energy = 0.0;
    for (float x : back.l) energy += double(x) * x;
    EXPECT_GT(energy, 1e-3);

    // After clear only what the tone filters still ring out reaches the lines.
    m.clear();
    Stereo after(kBlock);
    run(m, after);
    double cleared = 0.0;
    for (float x : after.l) cleared += double(x) * x;
    EXPECT_LT(cleared, 1e-3 * energy);

    // Every mode, a settled block: no allocation.
    Stereo block = noise(kBlock, 0.5f, 3u);
    float* ptrs[2] = {block.l.data(), block.r.data()};
    for (int mode = 0; mode <= ModuleFxChorus::kEnsemble; ++mode) {
        m.setParameter(0, static_cast<float>(mode) * kThousandth);
        m.processFx(kBlock, ptrs);
        test::ScopedAllocCount count;
        m.processFx(kBlock, ptrs);
        EXPECT_EQ(count.count(), 0u) << "mode " << mode;
    }
}

TEST(ChorusLines, SizedForTheRateUpTo192kHz) {
    auto rig = makeChorus(0, 96000.0f);
    Stereo s(kBlock);
    run(rig->m, s);
    EXPECT_EQ(rig->m.lineLength(), 9600);
    rig->m.setSampleRate(384000.0f);
    run(rig->m, s);
    EXPECT_EQ(rig->m.lineLength(), 19200);
}

} // namespace
} // namespace torvo

// The shaper: the transfer curve of every mode at several drives, the reducer's steps, the
// oversampled path's lower aliasing, the dry/wet rule and clean output in every setting.

#include "effects/decimator.h"
#include "effects/modulefxshaper.h"
#include "effects/shapercurves.h"
#include "engine/modulematrix.h"
#include "shell/paramtable.h"

#include "effects/fxmeasure.h"
#include "support/alloccounter.h"
#include "support/standalonemodule.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace torvo {
namespace {

using test::Standalone;

constexpr float kRate = 44100.0f;
constexpr int kBlock = 256;

struct Shaper {
    explicit Shaper(int mode, bool hq = false, bool band = true) {
        s.m.setSampleRate(kRate);
        s.m.mode = mode;
        s.m.hq = hq;
        s.m.band = band;
        s.m.drive.reset(0.0f);
        s.m.bits.reset(1.0f);
        s.m.rate.reset(1.0f);
        s.m.hiCut.reset(1.0f);
        s.m.lowCut.reset(0.0f);
        s.m.wet.reset(1.0f);
    }
    /// Runs a long signal through in blocks; both channels get the same input.
    std::vector<float> run(const std::vector<float>& in, std::vector<float>* right = nullptr) {
        std::vector<float> l = in, r = in;
        for (std::size_t at = 0; at < in.size(); at += kBlock) {
            const int n = int(std::min<std::size_t>(kBlock, in.size() - at));
            float* st[2] = {l.data() + at, r.data() + at};
            s.m.processFx(n, st);
        }
        if (right) *right = r;
        return l;
    }
    Standalone<ModuleFxShaper> s{kBlock};
};

// Drive curve points at the drives used below: 0, 0.5 (between points 15 and 16), 1.
constexpr float kDrives[] = {0.0f, 0.5f, 1.0f};
constexpr float kDriveGain[] = {0.0f, 0.1465f, 1.4f};

struct CurveCase {
    int mode;
    float a, b, outGain;
    // Points of the curve: position u in 0..1 and the value there.
    std::vector<std::pair<float, float>> points;
};

float knot(int k) {
    return k == 16 ? 1.0f : 64.0f * k / 1023.0f;
}

TEST(ShaperCurves, EveryTableModeFollowsItsCurveAtSeveralDrives) {
    const std::vector<CurveCase> cases = {
        {ModuleFxShaper::kSoft,
         60,
         1,
         0.4f,
         {{knot(0), -1.0f}, {knot(4), -0.7875f}, {knot(10), 0.468f}, {knot(16), 1.0f}}},
        {ModuleFxShaper::kWarm,
         150,
         1,
         0.4f,
         {{knot(0), -0.8f}, {knot(3), -0.9722f}, {knot(13), 0.9724f}, {knot(16), 0.8f}}},
        {ModuleFxShaper::kHard,
         150,
         1,
         0.4f,
         {{knot(1), -0.9964f}, {knot(7), -0.5876f}, {knot(9), 0.5915f}, {knot(16), 1.0f}}},
        {ModuleFxShaper::kClip,
         500,
         1,
         0.42f,
         {{0.0f, -0.9f}, {0.25f, -0.45f}, {0.75f, 0.45f}, {1.0f, 0.9f}}},
        {ModuleFxShaper::kTube1,
         200,
         1,
         0.4f,
         {{knot(0), -1.0f}, {knot(11), 0.44f}, {knot(13), 0.3381f}, {knot(16), 0.008f}}},
        {ModuleFxShaper::kTube2,
         60,
         1,
         0.4f,
         {{0.0f, -1.0f}, {14.0f / 31, -0.6226f}, {17.0f / 31, 0.6226f}, {21.0f / 31, 0.2758f}}},
        {ModuleFxShaper::kFbTri,
         62.38f,
         0.74f,
         0.4f,
         {{0.25f, -1.0f}, {0.75f, 1.0f}, {0.625f, 0.5f}, {1.25f, -1.0f}, {-0.25f, 1.0f}}},
        {ModuleFxShaper::kFbSin,
         79.6178f,
         0.1592f,
         0.4f,
         {{0.25f, -1.0f}, {0.75f, 1.0f}, {1.25f, -1.0f}, {-0.25f, 1.0f}}},
    };
    for (const CurveCase& c : cases) {
        for (int d = 0; d < 3; ++d) {
            const float g = kDriveGain[d];
            EXPECT_NEAR(ModuleFxShaper::driveGain(kDrives[d]), g, 1e-6f);
            for (const auto& [u, value] : c.points) {
                // The input that lands on u: u = x × (g × A + B) + 0.5.
                float x = (u - 0.5f) / (g * c.a + c.b);
                const float drive = kDrives[d], gain = g;
                ModuleFxShaper::shape(c.mode, &x, &drive, &gain, false, 1);
                EXPECT_NEAR(x, value * c.outGain / (1.0f + drive), 2e-3f)
                    << "mode " << c.mode << " drive " << drive << " u " << u;
            }
        }
    }
}

TEST(ShaperCurves, FoldedCurvesKeepTheirShape) {
    // warm folds back at both ends, tube1's positive half falls back towards zero, tube2 dips.
    const float* warm = shapercurves::warm();
    float peak = -1.0f;
    int at = 0;
    for (int i = 0; i < 1024; ++i)
        if (warm[i] > peak) peak = warm[i], at = i;
    EXPECT_NEAR(peak, 0.9773f, 0.003f);
    EXPECT_NEAR(at, 853, 8);
    EXPECT_NEAR(warm[1023], 0.8f, 1e-6f);
    const float* tube1 = shapercurves::tube1();
    peak = -1.0f;
    for (int i = 0; i < 1024; ++i)
        if (tube1[i] > peak) peak = tube1[i], at = i;
    EXPECT_NEAR(peak, 0.4412f, 0.002f);
    EXPECT_NEAR(at, 697, 8);
    const float* fold = shapercurves::foldNeg();
    float low = 0.0f;
    for (int i = 0; i < 1024; ++i)
        if (fold[i] < low) low = fold[i], at = i;
    EXPECT_NEAR(low, -1.2444f, 0.002f);
    EXPECT_NEAR(at, 404, 8);
    // soft and hard rise monotonically from -1 to 1.
    for (const float* t : {shapercurves::soft(), shapercurves::hard()}) {
        EXPECT_FLOAT_EQ(t[0], -1.0f);
        EXPECT_FLOAT_EQ(t[1023], 1.0f);
        for (int i = 1; i < 1024; ++i) ASSERT_GE(t[i], t[i - 1]);
    }
}

TEST(ShaperCurves, Tube3ShapesThePolaritiesApart) {
    for (int d = 0; d < 3; ++d) {
        const float drive = kDrives[d], g = kDriveGain[d];
        const float k = g * 180.0f + 1.0f;
        // Positive half: the clip line at x × k + 0.5; the negative curve sits at its 0 end.
        float x = 0.2f / k;
        ModuleFxShaper::shape(ModuleFxShaper::kTube3, &x, &drive, &g, false, 1);
        EXPECT_NEAR(x, (-0.9f + 1.8f * 0.7f) * 0.42f / (1.0f + drive), 1e-3f);
        // Negative half: the fold curve at x × k × 0.25 + 1, here its lowest region.
        x = -(1.0f - 448.0f / 1023.0f) / (k * 0.25f);
        ModuleFxShaper::shape(ModuleFxShaper::kTube3, &x, &drive, &g, false, 1);
        EXPECT_NEAR(x, -1.2418f * 0.42f / (1.0f + drive), 2e-3f);
        // Large inputs are held at ±10 before the curves.
        x = 1000.0f;
        ModuleFxShaper::shape(ModuleFxShaper::kTube3, &x, &drive, &g, false, 1);
        EXPECT_NEAR(x, 0.9f * 0.42f / (1.0f + drive), 1e-4f);
    }
}

TEST(ShaperReducer, BitAndRateLawsGiveTheDocumentedSteps) {
    EXPECT_EQ(Decimator::holdLength(1.0f, 1, 44100.0f), 1);
    EXPECT_EQ(Decimator::holdLength(0.0f, 1, 44100.0f), 221);
    EXPECT_EQ(Decimator::holdLength(0.0f, 8, 44100.0f), 1761);
    // Shorter at a higher rate: 44100 / rate, kept on purpose.
    EXPECT_EQ(Decimator::holdLength(0.0f, 1, 88200.0f), 111);
    EXPECT_FLOAT_EQ(Decimator::levels(1.0f), 65535.0f);
    EXPECT_FLOAT_EQ(Decimator::levels(0.0f), 4.0f);
    // Truncate, then shift: rounding is lopsided below zero.
    EXPECT_FLOAT_EQ(Decimator::quantise(0.3f, 4.0f), 0.25f);
    EXPECT_FLOAT_EQ(Decimator::quantise(-0.3f, 4.0f), -0.25f);
    EXPECT_FLOAT_EQ(Decimator::quantise(-0.1f, 4.0f), 0.0f);
    EXPECT_FLOAT_EQ(Decimator::quantise(-0.2f, 4.0f), -0.25f);
    EXPECT_FLOAT_EQ(Decimator::quantise(0.2f, 4.0f), 0.25f);
}

TEST(ShaperReducer, DecimateModeHoldsAndQuantises) {
    const std::vector<float> in = test::sine(101.0, kRate, 4096, 0.8f);
    {
        Shaper sh(ModuleFxShaper::kDecimate);
        sh.s.m.bits.reset(0.0f); // 4 levels
        const std::vector<float> out = sh.run(in);
        for (float y : out) ASSERT_FLOAT_EQ(y * 4.0f, std::round(y * 4.0f));
        float hi = 0.0f;
        for (float y : out) hi = std::max(hi, y);
        EXPECT_FLOAT_EQ(hi, 0.75f);
    }
    {
        Shaper sh(ModuleFxShaper::kDecimate);
        sh.s.m.rate.reset(0.0f); // hold 221 samples
        const std::vector<float> out = sh.run(in);
        // Taken at samples 220, 441, 662 ... and held in between.
        for (int i = 221; i < 4000; ++i) {
            if ((i + 1) % 221 == 0) {
                ASSERT_NEAR(out[i], in[i], 1.0f / 65535.0f);
            } else {
                ASSERT_EQ(out[i], out[i - 1]) << i;
            }
        }
    }
    {
        // Both laws at 1: transparent within the 16-bit step.
        Shaper sh(ModuleFxShaper::kDecimate);
        const std::vector<float> out = sh.run(in);
        for (std::size_t i = 0; i < in.size(); ++i) ASSERT_NEAR(out[i], in[i], 2.0f / 65535.0f);
    }
    {
        // Oversampled: the hold is 1761 samples at eight times the rate, 220.125 base
        // samples; the image filter rounds the step edges, so find the steps by their size.
        Shaper sh(ModuleFxShaper::kDecimate, true);
        sh.s.m.rate.reset(0.0f);
        const std::vector<float> out = sh.run(in);
        int last = -1, steps = 0;
        for (int i = 300; i < 4000; ++i) {
            // The first samples after a step ring from the restoring peak filter.
            if (std::fabs(out[i] - out[i - 1]) < 0.05f || (last >= 0 && i - last < 60)) continue;
            if (last >= 0) {
                const double spacing = i - last;
                const double holds = std::round(spacing / 220.125);
                ASSERT_GE(holds, 1.0);
                ASSERT_NEAR(spacing, holds * 220.125, 2.0);
            }
            last = i;
            ++steps;
        }
        EXPECT_GE(steps, 12);
    }
}

TEST(ShaperReducer, FilterAndDecimateOrderFollowsTheBandSwitch) {
    // Band off reduces first and filters after, so the 4-level steps are smoothed; band on
    // filters first and reduces last, so the output keeps the quarter steps.
    const std::vector<float> in = test::sine(201.0, kRate, 2048, 0.8f);
    for (int band = 0; band < 2; ++band) {
        Shaper sh(ModuleFxShaper::kFilterDecimate, false, band == 1);
        sh.s.m.bits.reset(0.0f);
        sh.s.m.hiCut.reset(0.45f);
        const std::vector<float> out = sh.run(in);
        int onSteps = 0;
        for (int i = 1024; i < 2048; ++i)
            onSteps += std::fabs(out[i] * 4.0f - std::round(out[i] * 4.0f)) < 1e-5f;
        if (band == 1)
            EXPECT_EQ(onSteps, 1024);
        else
            EXPECT_LT(onSteps, 200);
    }
}

/// Energy that lies off the harmonics of a sine at bin k0 of an n-point window, relative to
/// the fundamental, in dB: the aliases of the driven tone.
double aliasDb(const std::vector<float>& y, int from, int n, int k0) {
    double total = 0.0, mean = 0.0;
    for (int i = 0; i < n; ++i) total += double(y[from + i]) * y[from + i], mean += y[from + i];
    mean /= n;
    double harmonic = mean * mean * n;
    double fundamental = 0.0;
    for (int h = 1; h * k0 < n / 2; ++h) {
        const double a = test::amplitudeAt(y, double(h * k0) * kRate / n, kRate, from, n);
        harmonic += a * a / 2.0 * n;
        if (h == 1) fundamental = a * a / 2.0 * n;
    }
    return 10.0 * std::log10(std::max(total - harmonic, 1e-20) / fundamental);
}

TEST(ShaperOversampling, LowersTheAliasesOfADrivenHighSine) {
    constexpr int kWindow = 4096;
    constexpr int kBin = 331; // 3564 Hz; its upper harmonics fold onto other bins
    const double hz = double(kBin) * kRate / kWindow;
    const std::vector<float> in = test::sine(hz, kRate, 3 * kWindow, 0.5f);
    auto measure = [&](int mode, float drive, bool band, bool hq) {
        Shaper sh(mode, hq, band);
        sh.s.m.drive.reset(drive);
        return aliasDb(sh.run(in), 2 * kWindow, kWindow, kBin);
    };
    // Measured, hard at full drive: -20.5 dB at the base rate, -34.9 dB oversampled with the
    // band off; with the band on the restoring peak lifts the top again: -10.9 to -16.1 dB.
    for (int mode : {ModuleFxShaper::kSoft, ModuleFxShaper::kHard, ModuleFxShaper::kClip}) {
        for (float drive : {0.3f, 0.6f, 1.0f}) {
            const double base = measure(mode, drive, false, false);
            const double over = measure(mode, drive, false, true);
            EXPECT_LT(over, base - 7.0) << mode << " " << drive;
            EXPECT_LT(measure(mode, drive, true, true), measure(mode, drive, true, false) - 2.5);
        }
    }
    EXPECT_LT(measure(ModuleFxShaper::kHard, 1.0f, false, true),
              measure(ModuleFxShaper::kHard, 1.0f, false, false) - 12.0);
}

TEST(ShaperMix, WetZeroOrMuteLeaveAudioUntouchedAndWetRunsWithModulationOnly) {
    std::vector<float> in = test::sine(440.0, kRate, kBlock, 0.9f);
    for (int mode = 0; mode <= ModuleFxShaper::kDecimate; ++mode) {
        Shaper sh(mode, true, false);
        sh.s.m.drive.reset(1.0f);
        sh.s.m.wet.reset(0.0f);
        EXPECT_EQ(sh.run(in), in);
        sh.s.m.wet.reset(1.0f);
        sh.s.m.mute = true;
        EXPECT_EQ(sh.run(in), in);
    }
    // Half wet is the linear mean of dry and fully wet.
    Shaper full(ModuleFxShaper::kClip), half(ModuleFxShaper::kClip);
    half.s.m.wet.reset(0.5f);
    const std::vector<float> w = full.run(in), h = half.run(in);
    for (int i = 0; i < kBlock; ++i) ASSERT_NEAR(h[i], 0.5f * (in[i] + w[i]), 1e-6f);
}

TEST(ShaperMix, WetAtZeroStillRunsWhenTheMatrixModulatesIt) {
    // A user slot routes a steady source at full amount to shp_wet (target 115).
    ModuleMatrix matrix;
    matrix.setUserSlotItem(0, 0, kSrcLfo1 * kThousandth);
    matrix.setUserSlotItem(0, 2, 1.0f);
    matrix.setUserSlotItem(0, 3, 115 * kThousandth);
    matrix.refresh();
    std::vector<float> lfo(kBlock + 4, 0.5f);
    float* table[kVoiceCount];
    for (float*& p : table) p = lfo.data();
    matrix.setSource(kSrcLfo1, table);

    Shaper sh(ModuleFxShaper::kClip);
    sh.s.m.matrix = &matrix;
    sh.s.m.bindParameter(8, findParamId("shp_wet"));
    sh.s.m.drive.reset(1.0f);
    sh.s.m.wet.reset(0.0f);
    const std::vector<float> in = test::sine(441.0, kRate, kBlock, 0.9f);
    const std::vector<float> out = sh.run(in);
    double diff = 0.0;
    for (int i = 0; i < kBlock; ++i) diff += std::fabs(out[i] - in[i]);
    EXPECT_GT(diff / kBlock, 0.05);

    // Without the route the same settings leave the audio alone.
    matrix.setUserSlotItem(0, 0, 0.0f);
    matrix.refresh();
    EXPECT_EQ(sh.run(in), in);
}

TEST(ShaperMix, BandOffPutsTheFilteredRestBackRaisedWithTheDrive) {
    // With the tone filters wide open nothing is taken away, so band on and off agree.
    const std::vector<float> in = test::sine(441.0, kRate, 2048, 0.3f);
    Shaper on(ModuleFxShaper::kSoft, false, true), off(ModuleFxShaper::kSoft, false, false);
    const std::vector<float> a = on.run(in), b = off.run(in);
    for (int i = 1024; i < 2048; ++i) ASSERT_NEAR(a[i], b[i], 0.01f);
    // A hi-cut low down takes the top away: band on loses it, band off returns it.
    Shaper onCut(ModuleFxShaper::kSoft, false, true), offCut(ModuleFxShaper::kSoft, false, false);
    onCut.s.m.hiCut.reset(0.2f);
    offCut.s.m.hiCut.reset(0.2f);
    const std::vector<float> high = test::sine(8820.0, kRate, 2048, 0.3f);
    const double lost = test::amplitudeAt(onCut.run(high), 8820.0, kRate, 1024, 1000);
    const double kept = test::amplitudeAt(offCut.run(high), 8820.0, kRate, 1024, 1000);
    EXPECT_LT(lost, 0.02);
    EXPECT_GT(kept, 0.25);
}

TEST(ShaperSilence, SoftGivesExactZerosAndEverySettingStaysClean) {
    const std::vector<float> silence(1024, 0.0f);
    for (int hq = 0; hq < 2; ++hq) {
        Shaper sh(ModuleFxShaper::kSoft, hq == 1, hq == 1);
        for (float y : sh.run(silence)) ASSERT_EQ(y, 0.0f);
    }
    std::vector<float> loud = test::sine(3000.0, kRate, 1024, 30.0f);
    loud[5] = 1e30f;
    loud[6] = -1e30f;
    for (int mode = 0; mode <= ModuleFxShaper::kDecimate; ++mode) {
        for (int config = 0; config < 4; ++config) {
            Shaper sh(mode, config & 1, config & 2);
            sh.s.m.drive.reset(1.0f);
            sh.s.m.bits.reset(0.3f);
            sh.s.m.rate.reset(0.6f);
            sh.s.m.hiCut.reset(0.7f);
            sh.s.m.lowCut.reset(0.4f);
            std::vector<float> right;
            std::vector<float> out = sh.run(loud, &right);
            ASSERT_TRUE(test::allClean(out.data(), int(out.size()))) << mode << " " << config;
            for (int block = 0; block < 40; ++block) out = sh.run(silence, &right);
            ASSERT_TRUE(test::allClean(out.data(), int(out.size()))) << mode << " " << config;
            ASSERT_TRUE(test::allClean(right.data(), int(right.size())));
        }
    }
}

TEST(ShaperRealtime, ProcessingDoesNotAllocate) {
    Shaper sh(ModuleFxShaper::kWarm, true, false);
    sh.s.m.drive.set(0.7f);
    std::vector<float> l = test::sine(440.0, kRate, kBlock), r = l;
    float* st[2] = {l.data(), r.data()};
    sh.s.m.processFx(kBlock, st);
    test::ScopedAllocCount count;
    for (int mode = 0; mode <= ModuleFxShaper::kDecimate; ++mode) {
        sh.s.m.mode = mode;
        sh.s.m.hq = mode % 2 == 0;
        sh.s.m.processFx(kBlock, st);
    }
    EXPECT_EQ(count.count(), 0u);
}

} // namespace
} // namespace torvo

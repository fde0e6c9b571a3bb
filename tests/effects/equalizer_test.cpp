// The equaliser module: measured band responses, the colour filters, and the output stage's
// level and limiter.

#include "effects/modulefxequalizer.h"

#include "effects/fxmeasure.h"
#include "support/alloccounter.h"
#include "support/standalonemodule.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

namespace torvo {
namespace {

using test::Standalone;

constexpr float kRate = 44100.0f;
constexpr int kBlock = 512;

/// Control value that places a band at `hz` on the semitone curve from 20.602 Hz.
float freqControl(double hz) {
    return float(12.0 * std::log2(hz / 20.602) / 119.0);
}

struct Eq {
    Eq() {
        s.m.setSampleRate(kRate);
        s.m.power = true;
        s.m.warm = false;
        s.m.boost = false;
        const float defaults[9] = {0.2f, 0.54f, 0.5f, 0.5f, 0.45f, 0.5f, 0.53f, 0.4f, 0.5f};
        for (int b = 0; b < 9; ++b) s.m.bands[b].reset(defaults[b]);
        s.m.volume.reset(0.5f);
    }
    enum Stage { kEq, kTone, kOutput };
    std::vector<float> run(std::vector<float> x, Stage stage) {
        std::vector<float> r = x;
        for (std::size_t at = 0; at < x.size(); at += kBlock) {
            const int n = int(std::min<std::size_t>(kBlock, x.size() - at));
            float* st[2] = {x.data() + at, r.data() + at};
            if (stage == kEq) s.m.eqStage(n, st);
            if (stage == kTone) s.m.toneStage(n, st);
            if (stage == kOutput) s.m.outputStage(n, st);
        }
        return x;
    }
    /// Gain in dB of the stage at one frequency, measured with a steady sine.
    double gainDb(double hz, Stage stage) {
        const int n = 32768;
        const std::vector<float> y = run(test::sine(hz, kRate, n, 0.1f), stage);
        // A whole number of periods in the window, so that the correlation does not leak.
        const double period = kRate / hz;
        const int count = int(std::round(std::floor((n / 2) / period) * period));
        return test::toDb(test::amplitudeAt(y, hz, kRate, n - count, count) / 0.1);
    }
    Standalone<ModuleFxEqualizer> s{kBlock};
};

TEST(EqualizerCurves, BandLawsHitTheirEnds) {
    EXPECT_EQ(ModuleFxEqualizer::bandGainDb(0.5f), 0.0f);
    EXPECT_FLOAT_EQ(ModuleFxEqualizer::bandGainDb(0.0f), -20.0f);
    EXPECT_FLOAT_EQ(ModuleFxEqualizer::bandGainDb(1.0f), 20.0f);
    EXPECT_NEAR(ModuleFxEqualizer::bandGainDb(0.75f), 12.2802f, 1e-3f);
    EXPECT_NEAR(ModuleFxEqualizer::bandFrequency(0.0f), 20.602f, 1e-3f);
    EXPECT_NEAR(ModuleFxEqualizer::bandFrequency(1.0f), 19912.127f, 0.5f);
    EXPECT_NEAR(ModuleFxEqualizer::bandFrequency(freqControl(1000.0)), 1000.0f, 0.5f);
    EXPECT_NEAR(ModuleFxEqualizer::bandQ(0.0f), 0.083f, 1e-6f);
    EXPECT_NEAR(ModuleFxEqualizer::bandQ(96.0f / 127.0f), 0.866f, 1e-4f);
    EXPECT_NEAR(ModuleFxEqualizer::bandQ(1.0f), 4.0f, 1e-6f);
}

TEST(EqualizerBands, MeasuredResponsesFollowTheirSettings) {
    struct Case {
        int band;
        double hz;
        float level;
        double probeHz;
        double expectDb;
        double tolerance;
    };
    const Case cases[] = {
        // Low shelf at 200 Hz: the full gain well below the corner, none far above.
        {0, 200.0, 1.0f, 25.0, 20.0, 0.8},
        {0, 200.0, 1.0f, 10000.0, 0.0, 0.3},
        {0, 200.0, 0.0f, 25.0, -20.0, 0.8},
        {0, 200.0, 0.75f, 25.0, 12.28, 0.6},
        // Peak at 1 kHz: the gain on the centre, nothing far away.
        {1, 1000.0, 0.0f, 1000.0, -20.0, 0.2},
        {1, 1000.0, 1.0f, 1000.0, 20.0, 0.2},
        {1, 1000.0, 0.25f, 1000.0, -12.28, 0.2},
        {1, 1000.0, 1.0f, 40.0, 0.0, 1.5},
        // High shelf at 2 kHz.
        {2, 2000.0, 1.0f, 16000.0, 20.0, 0.8},
        {2, 2000.0, 0.0f, 16000.0, -20.0, 0.8},
        {2, 2000.0, 1.0f, 60.0, 0.0, 0.3},
    };
    for (const Case& c : cases) {
        Eq eq;
        // Narrow bands, so a band reaches its full gain inside the audible range.
        eq.s.m.bands[3 * c.band].reset(freqControl(c.hz));
        eq.s.m.bands[3 * c.band + 1].reset(c.band == 1 ? 0.5f : 0.7f);
        eq.s.m.bands[3 * c.band + 2].reset(c.level);
        const double db = eq.gainDb(c.probeHz, Eq::kEq);
        EXPECT_NEAR(db, c.expectDb, c.tolerance) << "band " << c.band << " at " << c.probeHz;
        // The filter ran its own design: the measurement agrees with its magnitude.
        const double design = test::toDb(eq.s.m.bandFilters[c.band].magnitudeAt(c.probeHz, kRate));
        EXPECT_NEAR(db, design, 0.05);
    }
}

TEST(EqualizerBands, LevelHalfIsTransparentAndPowerOffUntouched) {
    std::vector<float> in(4096);
    for (int i = 0; i < 4096; ++i) in[i] = 0.8f * std::sin(0.37f * i) * std::cos(0.011f * i);
    Eq eq;
    const std::vector<float> out = eq.run(in, Eq::kEq);
    // Exactly unity in the design; the float recursion leaves rounding 80 dB down.
    for (int i = 0; i < 4096; ++i) ASSERT_NEAR(out[i], in[i], 1e-4f);
    for (int b = 0; b < 3; ++b)
        for (double hz : {30.0, 1000.0, 15000.0})
            EXPECT_NEAR(eq.s.m.bandFilters[b].magnitudeAt(hz, kRate), 1.0, 1e-6);
    Eq off;
    off.s.m.power = false;
    off.s.m.bands[2].reset(1.0f);
    EXPECT_EQ(off.run(in, Eq::kEq), in);
}

TEST(EqualizerBands, AGlidingControlEndsOnTheSettledResponse) {
    // While a control glides every sample has its own design; once it stands the whole block
    // shares one. Both must give the same filter.
    const std::vector<float> in = test::sine(900.0, kRate, 88200, 0.3f);
    Eq gliding, fixed;
    gliding.s.m.bands[5].set(0.9f); // mid level glides from 0.5
    fixed.s.m.bands[5].reset(0.9f);
    const std::vector<float> a = gliding.run(in, Eq::kEq), b = fixed.run(in, Eq::kEq);
    EXPECT_GT(std::fabs(a[2000] - b[2000]), 1e-3f); // still on its way early on
    for (int i = 88200 - 2000; i < 88200; ++i) ASSERT_NEAR(a[i], b[i], 1e-4f);
}

TEST(EqualizerColour, WarmLiftsTheLowEndAndSoftRoundsTheTop) {
    Eq warm;
    warm.s.m.warm = true;
    // A broad hump: the shelf is half way up at its corner, the 5 Hz high-pass takes the
    // rest of the lift away further down. Measured: 2.3 dB at 20 Hz, 3.5 dB at 68 Hz,
    // 0.27 dB at 1 kHz, 0 at 10 kHz.
    const double at20 = warm.gainDb(20.0, Eq::kTone);
    const double at68 = warm.gainDb(68.1522, Eq::kTone);
    const double at1k = warm.gainDb(1000.0, Eq::kTone);
    const double at10k = warm.gainDb(10000.0, Eq::kTone);
    EXPECT_NEAR(test::toDb(warm.s.m.warmShelf.magnitudeAt(68.1522, kRate)), 7.75416 / 2, 1e-3);
    EXPECT_GT(at68, 3.0);
    EXPECT_LT(at68, 7.75416 / 2);
    EXPECT_GT(at68, at20);
    EXPECT_GT(at1k, 0.1);
    EXPECT_GT(at1k, at10k);
    EXPECT_NEAR(at10k, 0.0, 0.05);
    const double design20 = test::toDb(warm.s.m.warmHighPass.magnitudeAt(20.0, kRate) *
                                       warm.s.m.warmShelf.magnitudeAt(20.0, kRate));
    EXPECT_NEAR(at20, design20, 0.05);
    // The 5 Hz high-pass takes DC away.
    const std::vector<float> dc = warm.run(std::vector<float>(88200, 0.5f), Eq::kTone);
    EXPECT_LT(std::fabs(dc.back()), 0.01f);

    Eq soft;
    soft.s.m.soft = true;
    const double s1k = soft.gainDb(1000.0, Eq::kTone);
    const double s16k = soft.gainDb(15657.91, Eq::kTone);
    const double s20k = soft.gainDb(20000.0, Eq::kTone);
    // Measured: 0 dB at 1 kHz, -1.5 dB at 10 kHz, -16.4 dB at 20 kHz.
    EXPECT_NEAR(s1k, 0.0, 0.1);
    EXPECT_LT(s20k, s1k - 10.0);
    const double design16k = test::toDb(soft.s.m.softPeak.magnitudeAt(15657.91, kRate) *
                                        soft.s.m.softLowPass.magnitudeAt(15657.91, kRate));
    EXPECT_NEAR(s16k, design16k, 0.05);
    EXPECT_NEAR(test::toDb(soft.s.m.softPeak.magnitudeAt(15657.91, kRate)), 1.17119, 1e-3);

    Eq neither;
    const std::vector<float> in = test::sine(440.0, kRate, 1024);
    EXPECT_EQ(neither.run(in, Eq::kTone), in);
}

TEST(EqualizerOutput, VolumeThroughTheLimiterCurveDoubledByBoost) {
    // Volume 0: silence whatever comes in.
    Eq zero;
    zero.s.m.volume.reset(0.0f);
    for (float y : zero.run(test::sine(440.0, kRate, 1024, 5.0f), Eq::kOutput)) ASSERT_EQ(y, 0.0f);
    // Silence stays exactly 0 at any volume.
    Eq quiet;
    for (float y : quiet.run(std::vector<float>(1024, 0.0f), Eq::kOutput)) ASSERT_EQ(y, 0.0f);

    // The straight middle: at volume 0.5 an input of 0.5 reads the curve at 0.55, that is
    // at 10.45 of its 19 steps.
    Eq mid;
    const std::vector<float> small = mid.run(std::vector<float>(64, 0.5f), Eq::kOutput);
    EXPECT_NEAR(small.back(), 0.0714f + 0.45f * (0.2143f - 0.0714f), 1e-5f);
    // ±2.5 / v reaches the ends of the curve.
    Eq ends;
    ends.s.m.volume.reset(0.25f);
    EXPECT_FLOAT_EQ(ends.run(std::vector<float>(8, 10.0f), Eq::kOutput).back(), 1.0f);
    EXPECT_FLOAT_EQ(ends.run(std::vector<float>(8, -10.0f), Eq::kOutput).back(), -1.0f);
    EXPECT_NEAR(ModuleFxEqualizer::limit((13.0f / 19.0f - 0.5f) / 0.2f, 1.0f), 0.5f, 1e-6f);

    for (bool boost : {false, true}) {
        for (float v : {0.1f, 0.5f, 1.0f}) {
            Eq eq;
            eq.s.m.boost = boost;
            eq.s.m.volume.reset(v);
            std::vector<float> wild = test::sine(97.0, kRate, 4096, 1000.0f);
            wild[3] = std::numeric_limits<float>::infinity();
            wild[4] = -std::numeric_limits<float>::infinity();
            wild[5] = std::numeric_limits<float>::quiet_NaN();
            const float bound = boost ? 2.0f : 1.0f;
            float peak = 0.0f;
            for (float y : eq.run(wild, Eq::kOutput)) {
                ASSERT_TRUE(std::isfinite(y));
                ASSERT_LE(std::fabs(y), bound);
                peak = std::max(peak, std::fabs(y));
            }
            EXPECT_FLOAT_EQ(peak, bound);
        }
    }
}

TEST(EqualizerOutput, BlockFormIsTheSampleFormBitForBit) {
    // The output stage runs four samples at a time: every sample must be limit(x, v) times the
    // boost exactly, for any block length, a gliding volume and wild inputs.
    Eq eq;
    eq.s.m.boost = true;
    eq.s.m.volume.reset(0.2f);
    std::vector<float> x(kBlock), y(kBlock);
    unsigned seed = 7u;
    for (int n : {kBlock, 1, 2, 3, 5, 7, 13, 64, 127}) {
        eq.s.m.setParameter(13, n % 2 ? 0.9f : 0.3f); // the volume glides towards it
        for (int i = 0; i < n; ++i) {
            seed = seed * 1664525u + 1013904223u;
            x[i] = (float(seed >> 8) / float(1u << 23) - 1.0f) * 12.0f;
        }
        x[0] = std::numeric_limits<float>::quiet_NaN();
        if (n > 2) x[2] = -std::numeric_limits<float>::infinity();
        y = x;
        std::vector<float> right = x;
        float* st[2] = {y.data(), right.data()};
        eq.s.m.outputStage(n, st);
        const float* v = eq.s.m.volume.data();
        for (int i = 0; i < n; ++i) {
            const float want = ModuleFxEqualizer::limit(x[i], v[i]) * 2.0f;
            ASSERT_EQ(std::memcmp(&y[i], &want, sizeof want), 0) << n << " at " << i;
            ASSERT_EQ(std::memcmp(&right[i], &want, sizeof want), 0) << n << " at " << i;
        }
    }
}

TEST(EqualizerClean, LoudThenSilentStaysNormalAndFinite) {
    Eq eq;
    eq.s.m.warm = true;
    eq.s.m.soft = true;
    eq.s.m.boost = true;
    for (int b = 0; b < 9; ++b) eq.s.m.bands[b].reset(b % 3 == 2 ? 1.0f : 0.9f);
    std::vector<float> loud = test::sine(55.0, kRate, 8192, 50.0f);
    auto all = [&](std::vector<float> x) {
        x = eq.run(x, Eq::kEq);
        x = eq.run(x, Eq::kTone);
        return eq.run(x, Eq::kOutput);
    };
    std::vector<float> out = all(loud);
    ASSERT_TRUE(test::allClean(out.data(), int(out.size())));
    for (int i = 0; i < 20; ++i) out = all(std::vector<float>(8192, 0.0f));
    ASSERT_TRUE(test::allClean(out.data(), int(out.size())));
    EXPECT_LT(std::fabs(out.back()), 1e-3f);
}

TEST(EqualizerRealtime, StagesDoNotAllocate) {
    Eq eq;
    eq.s.m.warm = eq.s.m.soft = eq.s.m.boost = true;
    std::vector<float> l = test::sine(440.0, kRate, kBlock), r = l;
    float* st[2] = {l.data(), r.data()};
    test::ScopedAllocCount count;
    for (int i = 0; i < 4; ++i) {
        eq.s.m.bands[1].set(0.1f * i); // gliding controls redesign per sample
        eq.s.m.eqStage(kBlock, st);
        eq.s.m.toneStage(kBlock, st);
        eq.s.m.outputStage(kBlock, st);
    }
    EXPECT_EQ(count.count(), 0u);
}

} // namespace
} // namespace torvo

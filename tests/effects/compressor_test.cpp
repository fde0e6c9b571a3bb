// The one-knob compressor measured from outside: off and free at 0, the level jump of its
// fixed band gains just above 0, the gain it gives quiet and loud tones in each band at full
// amount, silence in and out, and a bounded output for loud noise.

#include "effects/compressorstages.h"
#include "effects/modulefxcompressor.h"
#include "effects/signaltools.h"

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

using test::noise;
using test::run;
using test::Stereo;
using Rig = test::Standalone<ModuleFxCompressor>;

std::unique_ptr<Rig> makeCompressor(float amount) {
    auto rig =
        test::makeStandaloneFx<ModuleFxCompressor>("ModuleFxCompressor::fx_compressor", kRate);
    rig->m.amount.reset(amount);
    return rig;
}

// Fixed gain of each band with its stages at rest: input scale × output gain.
const double kBandGain[3] = {2.455761 * 6.821032, 2.455761 * 2.927525, 2.819701 * 3.06538};

/// Complex response of one designed split filter at hz.
std::complex<double> response(const CookbookBiquad& f, double hz) {
    const std::complex<double> z1 = std::polar(1.0, -test::kTwoPi * hz / kRate);
    const std::complex<double> z2 = z1 * z1;
    return (double(f.b0) + double(f.b1) * z1 + double(f.b2) * z2) /
           (1.0 + double(f.a1) * z1 + double(f.a2) * z2);
}

/// |Σ band gain × band path| at hz: what the three bands add up to with unit stage gains.
double bandSum(const ModuleFxCompressor& m, double hz, double upGain = 1.0) {
    std::complex<double> path[3] = {1.0, 1.0, 1.0};
    for (int i = 0; i < 8; ++i) {
        const int band = i < 2 ? 0 : (i < 6 ? 1 : 2);
        path[band] *= response(m.splitFilter(i), hz);
    }
    std::complex<double> sum = 0.0;
    for (int b = 0; b < 3; ++b) sum += kBandGain[b] * upGain * path[b];
    return std::abs(sum);
}

/// Steady output amplitude for a tone of the given amplitude at hz, in both channels.
double toneOut(ModuleFxCompressor& m, double hz, float amplitude, double seconds = 0.4) {
    const int n = static_cast<int>(seconds * kRate);
    Stereo s(n);
    s.l = test::sine(hz, kRate, n, amplitude);
    s.r = s.l;
    run(m, s);
    const int len = static_cast<int>(0.1 * kRate);
    return test::amplitudeAt(s.l, hz, kRate, n - len, len);
}

TEST(CompressorOff, AtZeroTheAudioAndTheStateStandStill) {
    auto rig = makeCompressor(0.6f);
    ModuleFxCompressor& m = rig->m;
    Stereo warm = noise(4096, 0.3f, 23u);
    run(m, warm);
    const float peak = m.stage(1).peak, smooth = m.stage(3).smooth, det = m.stage(5).detector;
    ASSERT_GT(peak, 0.0f);

    m.setParameter(0, 0.0f);
    Stereo s = noise(4096, 0.3f, 4u);
    const Stereo dry = s;
    {
        test::ScopedAllocCount count;
        run(m, s);
        EXPECT_EQ(count.count(), 0u);
    }
    EXPECT_EQ(s.l, dry.l);
    EXPECT_EQ(s.r, dry.r);
    EXPECT_EQ(m.stage(1).peak, peak);
    EXPECT_EQ(m.stage(3).smooth, smooth);
    EXPECT_EQ(m.stage(5).detector, det);
}

TEST(CompressorOn, JustAboveZeroTheBandsFixedGainsJumpTheLevel) {
    // a = A(0.001) is tiny: every stage gain is 1 and the sum takes (a / 2 + 0.25).
    const float control = 0.001f;
    const double a =
        TableValue(compressorstages::amountCurve(), compressorstages::kAmountSize, control);
    ASSERT_LT(a, 1e-3);
    for (double hz : {40.0, 300.0, 700.0, 2500.0, 8000.0}) {
        SCOPED_TRACE(hz);
        auto rig = makeCompressor(control);
        const double out = toneOut(rig->m, hz, 0.01f) / 0.01;
        EXPECT_NEAR(out / (bandSum(rig->m, hz) * (a * 0.5 + 0.25)), 1.0, 0.01);
    }
    // In the middle band alone that is about 2.46 × 2.93 × 0.25: a jump of about +5 dB.
    auto rig = makeCompressor(control);
    EXPECT_NEAR(test::toDb(toneOut(rig->m, 700.0, 0.01f) / 0.01), 5.0, 0.5);
}

TEST(CompressorOn, SilenceInGivesSilenceOut) {
    auto rig = makeCompressor(1.0f);
    Stereo s(8192);
    run(rig->m, s);
    EXPECT_TRUE(std::all_of(s.l.begin(), s.l.end(), [](float x) { return x == 0.0f; }));
    EXPECT_TRUE(std::all_of(s.r.begin(), s.r.end(), [](float x) { return x == 0.0f; }));
}

TEST(CompressorGain, QuietTonesRiseToTheUpBoundAndLoudTonesLevelOffInEachBand) {
    struct Band {
        double hz;
        int down; // the band's down stage
    };
    const Band bands[] = {{40.0, 1}, {700.0, 3}, {8000.0, 5}};
    const double upBound = 1.0 / (1.0 - 0.760192); // 4.17: the up gain at level 0
    for (const Band& b : bands) {
        SCOPED_TRACE(b.hz);
        std::vector<double> gain;
        std::vector<double> out;
        for (double db = -100.0; db <= 0.0; db += 10.0) {
            auto rig = makeCompressor(1.0f);
            const float amplitude = static_cast<float>(std::pow(10.0, db / 20.0));
            const double o = toneOut(rig->m, b.hz, amplitude);
            out.push_back(o);
            gain.push_back(o / amplitude);
            if (db == -100.0) {
                // Every band's up stage stands near its bound; a = 1 sums with 0.75.
                EXPECT_NEAR(gain.back() / (bandSum(rig->m, b.hz, upBound) * 0.75), 1.0, 0.03);
            }
        }
        // The more level, the less gain: near-linear at the bottom (the up stages at their
        // bound), strongly held at the top.
        for (size_t i = 1; i < gain.size(); ++i) EXPECT_LT(gain[i], gain[i - 1]) << i;
        EXPECT_NEAR(test::toDb(out[2] / out[0]), 20.0, 1.5);
        EXPECT_LT(test::toDb(out[10] / out[6]), 8.0);
        // Loud (-20 dBFS): the down stage holds the output near T × gain / (m × detected
        // level), whatever the input. The detector sees 0.97 × both channels, rectified and
        // averaged: 2 / π of the peak, more in the slow low band; the other bands leak in a
        // little, unheld.
        const CompressorStageSettings& st = compressorstages::kStageTable[b.down];
        const double held = st.threshold * st.outputGain * 0.75 / (st.amountFactor * 0.97 * 2.0);
        EXPECT_GT(out[8], 0.7 * held);
        EXPECT_LT(out[8], 2.5 * held);
    }
}

TEST(CompressorOn, LoudNoiseStaysBoundedWithoutAllocation) {
    auto rig = makeCompressor(1.0f);
    ModuleFxCompressor& m = rig->m;
    Stereo s = noise(static_cast<int>(2 * kRate), 2.0f, 23u);
    run(m, s);
    const float peak = test::peakOf(s, int(s.l.size()) / 2, int(s.l.size()));
    EXPECT_TRUE(test::allClean(s.l.data(), int(s.l.size())));
    EXPECT_LT(peak, 2.0f);
    Stereo block = noise(kBlock, 0.5f, 8u);
    float* ptrs[2] = {block.l.data(), block.r.data()};
    test::ScopedAllocCount count;
    m.processFx(kBlock, ptrs);
    EXPECT_EQ(count.count(), 0u);
}

} // namespace
} // namespace torvo

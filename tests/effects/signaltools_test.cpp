// The signal tools shared by the effects: the chain's silence test, the point-table read, the
// state-variable filter and the cookbook biquad.

#include "effects/cookbookbiquad.h"
#include "effects/signaltools.h"
#include "effects/stereosvf.h"

#include "effects/fxmeasure.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace torvo {
namespace {

TEST(SilenceCheck, ThresholdIsOneHundredthOfSummedMagnitude) {
    const std::vector<float> quiet(9, 0.001f);
    EXPECT_TRUE(SilenceCheck(quiet.data(), int(quiet.size())));
    const std::vector<float> loud(11, 0.001f);
    EXPECT_FALSE(SilenceCheck(loud.data(), int(loud.size())));
    // Magnitudes count: a signal that sums to zero is still sound.
    const float alternating[4] = {0.003f, -0.003f, 0.003f, -0.003f};
    EXPECT_FALSE(SilenceCheck(alternating, 4));
    EXPECT_TRUE(SilenceCheck(alternating, 0));
}

TEST(TableRead, InterpolatesAndTakesTheElementBehindTheLastWithWeightZero) {
    // Three points and one readable element behind them that must never show.
    const float table[4] = {0.0f, 1.0f, 4.0f, 99.0f};
    float x[6] = {0.0f, 0.25f, 0.75f, 1.0f, -3.0f, 7.0f};
    TableRead(x, table, 3, 6);
    EXPECT_FLOAT_EQ(x[0], 0.0f);
    EXPECT_FLOAT_EQ(x[1], 0.5f);
    EXPECT_FLOAT_EQ(x[2], 2.5f);
    EXPECT_FLOAT_EQ(x[3], 4.0f);
    EXPECT_FLOAT_EQ(x[4], 0.0f);
    EXPECT_FLOAT_EQ(x[5], 4.0f);
}

TEST(TableRead, NanReadsTheFirstPoint) {
    const float table[3] = {0.25f, 0.5f, 0.0f};
    float x = std::numeric_limits<float>::quiet_NaN();
    TableRead(&x, table, 2, 1);
    EXPECT_FLOAT_EQ(x, 0.25f);
}

TEST(TableRead, TableValueReadsLikeTheBufferForm) {
    const float table[4] = {0.0f, 1.0f, 4.0f, 99.0f};
    for (float x : {-1.0f, 0.0f, 0.1f, 0.5f, 0.77f, 1.0f, 3.0f}) {
        float b = x;
        TableRead(&b, table, 3, 1);
        EXPECT_EQ(TableValue(table, 3, x), b);
    }
}

TEST(StereoSvf, CutoffCurveHitsItsOctavePoints) {
    const float* c = StereoSvf::cutoffCurve();
    const float anchors[][2] = {{0, 0.000777f},  {12, 0.001647f},  {24, 0.003294f}, {36, 0.00659f},
                                {48, 0.013178f}, {60, 0.026358f},  {72, 0.052706f}, {84, 0.10538f},
                                {96, 0.21043f},  {108, 0.418317f}, {119, 0.738f}};
    for (const auto& a : anchors) EXPECT_NEAR(c[int(a[0])], a[1], a[1] * 1e-5f);
    // One semitone a step in the middle, and the point behind the last repeats it.
    EXPECT_NEAR(c[61] / c[60], std::pow(2.0, 1.0 / 12.0), 1e-3);
    EXPECT_EQ(c[120], c[119]);
    for (int i = 1; i < 120; ++i) ASSERT_GT(c[i], c[i - 1]);
}

/// Gain of one tap at `hz`, control `cutoff`, at `rate`, measured with a steady sine.
double svfGain(double hz, float cutoff, float damping, int tap, float rate) {
    StereoSvf f;
    f.setSampleRate(rate);
    const int n = int(rate); // one second
    std::vector<float> l = test::sine(hz, rate, n, 0.5f), r = l;
    const std::vector<float> ctl(n, cutoff);
    f.process(l.data(), r.data(), ctl.data(), damping, tap, n);
    EXPECT_EQ(l, r);
    const double period = rate / hz;
    const int count = int(std::round(std::floor(n / 2 / period) * period));
    return test::amplitudeAt(l, hz, rate, n - count, count) / 0.5;
}

TEST(StereoSvf, TapsSplitTheSpectrumAtTheSameCutoffAtEveryRate) {
    // Control 0.5 reads the curve between points 59 and 60: f = 0.0256. Two passes per sample
    // place the corner near f × rate / pi, about 360 Hz at 44.1 kHz.
    for (float rate : {44100.0f, 88200.0f}) {
        EXPECT_NEAR(svfGain(40.0, 0.5f, 1.2f, StereoSvf::kLow, rate), 1.0, 0.03);
        EXPECT_LT(svfGain(5000.0, 0.5f, 1.2f, StereoSvf::kLow, rate), 0.01);
        EXPECT_NEAR(svfGain(5000.0, 0.5f, 2.0f, StereoSvf::kHigh, rate), 1.0, 0.03);
        EXPECT_LT(svfGain(40.0, 0.5f, 2.0f, StereoSvf::kHigh, rate), 0.02);
        const double atCorner = svfGain(360.0, 0.5f, 1.2f, StereoSvf::kLow, rate);
        EXPECT_GT(atCorner, 0.55);
        EXPECT_LT(atCorner, 1.0);
        // The notch takes the corner itself away; the band tap peaks there.
        EXPECT_LT(svfGain(360.0, 0.5f, 1.2f, StereoSvf::kNotch, rate), 0.1);
        EXPECT_GT(svfGain(360.0, 0.5f, 1.2f, StereoSvf::kBand, rate), 0.6);
    }
}

TEST(StereoSvf, StaysStableAndCleanAtTheTopOfItsCurve) {
    StereoSvf f;
    f.setSampleRate(44100.0f);
    std::vector<float> l = test::sine(15000.0, 44100.0, 8192, 10.0f), r = l;
    const std::vector<float> ctl(8192, 1.0f);
    f.process(l.data(), r.data(), ctl.data(), 1.2f, StereoSvf::kLow, 8192);
    for (float x : l) ASSERT_LT(std::fabs(x), 100.0f);
}

TEST(CookbookBiquad, DesignsHaveTheirTextbookResponses) {
    const double rate = 48000.0;
    CookbookBiquad f;
    // Low- and high-pass: unity in the pass band, Q at the corner.
    f.design(float(rate), CookbookBiquad::kLowPass, 1000.0f, 2.0f, 0.0f);
    EXPECT_NEAR(f.magnitudeAt(10.0, rate), 1.0, 1e-3);
    EXPECT_NEAR(f.magnitudeAt(1000.0, rate), 2.0, 1e-3);
    EXPECT_LT(f.magnitudeAt(20000.0, rate), 0.01);
    f.design(float(rate), CookbookBiquad::kHighPass, 1000.0f, 0.7071f, 0.0f);
    EXPECT_NEAR(f.magnitudeAt(1000.0, rate), 0.7071, 1e-3);
    EXPECT_NEAR(f.magnitudeAt(20000.0, rate), 1.0, 1e-2);
    // Band-passes: skirt gain Q at the centre, peak gain 1.
    f.design(float(rate), CookbookBiquad::kBandPassSkirt, 2000.0f, 3.0f, 0.0f);
    EXPECT_NEAR(f.magnitudeAt(2000.0, rate), 3.0, 1e-3);
    f.design(float(rate), CookbookBiquad::kBandPassPeak, 2000.0f, 3.0f, 0.0f);
    EXPECT_NEAR(f.magnitudeAt(2000.0, rate), 1.0, 1e-4);
    f.design(float(rate), CookbookBiquad::kNotch, 2000.0f, 3.0f, 0.0f);
    EXPECT_LT(f.magnitudeAt(2000.0, rate), 1e-3);
    f.design(float(rate), CookbookBiquad::kAllPass, 2000.0f, 3.0f, 0.0f);
    for (double hz : {50.0, 2000.0, 15000.0}) EXPECT_NEAR(f.magnitudeAt(hz, rate), 1.0, 1e-4);
    // Peak: the gain at the centre. Shelves: the full gain far away, half of it (in dB) at
    // the corner.
    f.design(float(rate), CookbookBiquad::kPeaking, 3000.0f, 1.0f, -9.0f);
    EXPECT_NEAR(test::toDb(f.magnitudeAt(3000.0, rate)), -9.0, 1e-3);
    f.design(float(rate), CookbookBiquad::kLowShelf, 300.0f, 0.7071f, 12.0f);
    EXPECT_NEAR(test::toDb(f.magnitudeAt(5.0, rate)), 12.0, 0.05);
    EXPECT_NEAR(test::toDb(f.magnitudeAt(300.0, rate)), 6.0, 1e-3);
    f.design(float(rate), CookbookBiquad::kHighShelf, 3000.0f, 0.7071f, -6.0f);
    EXPECT_NEAR(test::toDb(f.magnitudeAt(23000.0, rate)), -6.0, 0.05);
    EXPECT_NEAR(test::toDb(f.magnitudeAt(3000.0, rate)), -3.0, 1e-3);
    // Bandwidth form: a one-octave peak has its half-gain (in dB) points half an octave
    // either side of the centre.
    f.design(float(rate), CookbookBiquad::kPeaking, 1000.0f, 1.0f, 12.0f, true);
    EXPECT_NEAR(test::toDb(f.magnitudeAt(1000.0, rate)), 12.0, 1e-3);
    EXPECT_NEAR(test::toDb(f.magnitudeAt(1000.0 / std::sqrt(2.0), rate)), 6.0, 0.3);
    EXPECT_NEAR(test::toDb(f.magnitudeAt(1000.0 * std::sqrt(2.0), rate)), 6.0, 0.3);
}

TEST(CookbookBiquad, ProcessingMatchesTheDesignAndANewDesignKeepsTheState) {
    const double rate = 44100.0;
    CookbookBiquad f;
    f.design(float(rate), CookbookBiquad::kPeaking, 1000.0f, 2.0f, 8.0f);
    const int n = 44100;
    std::vector<float> l = test::sine(1000.0, rate, n, 0.25f), r = test::sine(300.0, rate, n);
    f.process(l.data(), r.data(), n);
    EXPECT_NEAR(test::toDb(test::amplitudeAt(l, 1000.0, rate, n / 2, 22050) / 0.25), 8.0, 0.02);
    EXPECT_NEAR(test::amplitudeAt(r, 300.0, rate, n / 2, 22050), f.magnitudeAt(300.0, rate), 1e-3);
    // Same inputs: nothing changes. New inputs: new coefficients over the kept state, so the
    // next output is not that of a fresh filter.
    const float b0 = f.b0;
    f.design(float(rate), CookbookBiquad::kPeaking, 1000.0f, 2.0f, 8.0f);
    EXPECT_EQ(f.b0, b0);
    f.design(float(rate), CookbookBiquad::kPeaking, 1000.0f, 2.0f, 2.0f);
    EXPECT_NE(f.b0, b0);
    CookbookBiquad fresh;
    fresh.design(float(rate), CookbookBiquad::kPeaking, 1000.0f, 2.0f, 2.0f);
    EXPECT_NE(f.processSample(0, 0.0f), fresh.processSample(0, 0.0f));
}

} // namespace
} // namespace torvo

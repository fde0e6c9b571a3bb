// "Scorpio": four iterations per sample of one-pole sections with a nonlinear feedback.
// Without resonance the feedback is zero and the poles are plain: their response at four
// times the sample rate is the reference.

#include "filterharness.h"

#include <complex>
#include <gtest/gtest.h>

namespace torvo::test {
namespace {

enum { kRedLp2 = 0, kRedLp4, kBlackLp2, kBlackLp4, kBlackHp4, kBlackBp4 };

constexpr double kCut = 59.5 / 119.0;

/// The coefficient at the cut-off: halfway between notes 53 and 54 of the table.
double gAt() {
    const double a = 2.0 * std::sin(kPi * 440.0 * std::pow(2.0, (53.0 - 69.0) / 12.0) / 44100.0);
    const double b = 2.0 * std::sin(kPi * 440.0 * std::pow(2.0, (54.0 - 69.0) / 12.0) / 44100.0);
    return 0.5 * (a + b);
}

/// n one-poles y += (x - y) g run at four times the rate; g is scaled by 44100 / rate.
double polesDb(double hz, int n, double rate = 44100.0) {
    const double g = gAt() * 44100.0 / rate;
    const std::complex<double> z = std::polar(1.0, -2.0 * kPi * hz / (4.0 * rate));
    return toDb(std::pow(std::abs(g / (1.0 - (1.0 - g) * z)), n));
}

TEST(ScorpioFilter, WithoutResonanceThePolesArePlain) {
    FilterHarness h;
    h.slot1(ModuleFilter::kScorpio, kBlackLp2, float(kCut), 0.0f);
    for (double hz : {100.0, 400.0, 1600.0, 3200.0})
        EXPECT_NEAR(h.gainDb(hz), polesDb(hz, 2), 0.5) << "BlackLP2 " << hz;
    EXPECT_NEAR(h.gainDb(3200.0) - h.gainDb(6400.0), 12.0, 1.0);
    // Four poles, input times 1.2, sum of four times 0.21.
    h.slot1(ModuleFilter::kScorpio, kBlackLp4, float(kCut), 0.0f);
    for (double hz : {100.0, 400.0, 1600.0})
        EXPECT_NEAR(h.gainDb(hz), polesDb(hz, 4) + toDb(1.2 * 0.21 * 4.0), 0.5) << hz;
    EXPECT_NEAR(h.gainDb(3200.0) - h.gainDb(6400.0), 24.0, 1.5);
}

TEST(ScorpioFilter, CutoffStaysInHertzAtOtherRates) {
    for (float rate : {96000.0f, 192000.0f}) {
        FilterHarness h(rate);
        h.slot1(ModuleFilter::kScorpio, kBlackLp2, float(kCut), 0.0f);
        for (double hz : {100.0, 700.0, 3200.0}) {
            EXPECT_NEAR(h.gainDb(hz), polesDb(hz, 2, rate), 0.5) << rate << " " << hz;
            EXPECT_NEAR(polesDb(hz, 2, rate), polesDb(hz, 2), 0.3) << rate << " " << hz;
        }
    }
}

TEST(ScorpioFilter, RedFlavourIsALowPassThroughItsOutputCurve) {
    FilterHarness h;
    h.slot1(ModuleFilter::kScorpio, kRedLp2, float(kCut), 0.0f);
    // The curve's slope at 0 times 1.2, 0.095 and four iterations: close to unity.
    EXPECT_NEAR(h.gainDb(50.0), toDb(0.1428 * 15.2 * 1.2 * 0.095 * 4.0), 0.3);
    EXPECT_NEAR(h.gainDb(3200.0) - h.gainDb(6400.0), 12.0, 1.0);
    h.slot1(ModuleFilter::kScorpio, kRedLp4, float(kCut), 0.0f);
    EXPECT_NEAR(h.gainDb(3200.0) - h.gainDb(6400.0), 24.0, 1.5);
}

TEST(ScorpioFilter, RedOutputNeverExceedsFourTimesTheCurvesLimit) {
    for (int mode : {kRedLp2, kRedLp4}) {
        for (float r : {0.0f, 0.6f, 1.0f}) {
            FilterHarness h;
            h.slot1(ModuleFilter::kScorpio, mode, 0.3f, r);
            std::vector<float> y;
            h.run(noise(8192, 8.0f), y);
            float peak = 0.0f;
            for (float v : y) peak = std::max(peak, std::fabs(v));
            EXPECT_LE(peak, 0.38f + 1e-5f) << mode << " r " << r;
            EXPECT_GT(peak, 0.2f);
        }
    }
}

TEST(ScorpioFilter, HighAndBandPassShapes) {
    FilterHarness h;
    h.slot1(ModuleFilter::kScorpio, kBlackHp4, float(kCut), 0.0f);
    // High-pass: in - 0.83 s4 with s4 -> 1.2 in at DC nearly cancels; below the cut-off the
    // difference rises 6 dB per octave.
    EXPECT_NEAR(h.gainDb(12000.0), toDb(0.23 * 4.0), 0.5);
    EXPECT_LT(h.gainDb(25.0), h.gainDb(12000.0) - 12.0);
    EXPECT_NEAR(h.gainDb(100.0) - h.gainDb(50.0), 6.0, 1.0);
    h.slot1(ModuleFilter::kScorpio, kBlackBp4, float(kCut), 0.0f);
    double centre = -100.0;
    for (double hz = 200.0; hz < 1000.0; hz *= 1.2) centre = std::max(centre, h.gainDb(hz));
    EXPECT_GT(centre - h.gainDb(25.0), 15.0);
    EXPECT_GT(centre - h.gainDb(6400.0), 40.0);
}

TEST(ScorpioFilter, FullyOpenHighPassForcesItsResonance) {
    // At the top of the range the high edge pulls the resonance to 0.62 whatever the knob.
    const std::vector<float> x = noise(4096, 0.5f);
    std::vector<float> a, b;
    FilterHarness h1, h2;
    h1.slot1(ModuleFilter::kScorpio, kBlackHp4, 1.0f, 0.0f);
    h2.slot1(ModuleFilter::kScorpio, kBlackHp4, 1.0f, 1.0f);
    h1.run(x, a);
    h2.run(x, b);
    EXPECT_EQ(a, b);
    // Below the edge the knob acts.
    h1.slot1(ModuleFilter::kScorpio, kBlackHp4, 0.5f, 0.0f);
    h2.slot1(ModuleFilter::kScorpio, kBlackHp4, 0.5f, 1.0f);
    h1.run(x, a);
    h2.run(x, b);
    EXPECT_NE(a, b);
}

TEST(ScorpioFilter, ModeChangeStartsFromZero) {
    FilterHarness h;
    h.slot1(ModuleFilter::kScorpio, kBlackLp2, 0.3f, 1.0f);
    std::vector<float> x(4096, 0.0f), y;
    x[5] = 1.0f;
    h.run(x, y);
    EXPECT_NE(y.back(), 0.0f); // still ringing
    h.slot1(ModuleFilter::kScorpio, kBlackLp4, 0.3f, 1.0f);
    std::fill(x.begin(), x.end(), 0.0f);
    h.run(x, y);
    for (float v : y) ASSERT_EQ(v, 0.0f);
}

} // namespace
} // namespace torvo::test

// "Combo" (a comb on the voice's delay lines) and "Shaper" (driven waveshaping with a tone
// control): impulse and tone measurements.

#include "filterharness.h"

#include <gtest/gtest.h>

namespace torvo::test {
namespace {

enum { kMonoPlus = 0, kMonoMinus, kStereoPlus, kStereoMinus };

/// Comb delay in samples at cut-off c: the state-variable coefficient of 1 - c times sr / 8.
/// c = 0.5 sits halfway between the table's notes 53 and 54.
double combDelayHalf(double rate) {
    const double a = 2.0 * std::sin(kPi * 440.0 * std::pow(2.0, (53.0 - 69.0) / 12.0) / 44100.0);
    const double b = 2.0 * std::sin(kPi * 440.0 * std::pow(2.0, (54.0 - 69.0) / 12.0) / 44100.0);
    return 0.5 * (a + b) * rate * 0.125;
}

void checkOneEcho(float rate) {
    SCOPED_TRACE(rate);
    FilterHarness h(rate);
    h.slot1(ModuleFilter::kCombo, kMonoPlus, 0.5f, 0.0f);
    std::vector<float> x(1024, 0.0f), y;
    x[0] = 1.0f;
    h.run(x, y);
    EXPECT_FLOAT_EQ(y[0], 0.38f);
    // The delay in samples grows with the rate: the same time in seconds.
    const double d = combDelayHalf(rate);
    const int i = int(d);
    // The echo of 0.62 is split between the two samples around the delay.
    // (The read position is a float beside indices near 38400: a few thousandths of a sample.)
    const double echo = double(y[i]) + y[i + 1];
    EXPECT_NEAR(echo, 0.62, 2e-3);
    EXPECT_NEAR((i * y[i] + (i + 1) * y[i + 1]) / echo, d, 0.02);
    float rest = 0.0f;
    for (int k = 1; k < 1024; ++k)
        if (k != i && k != i + 1) rest += std::fabs(y[k]);
    EXPECT_EQ(rest, 0.0f);
}

TEST(CombFilter, WithoutFeedbackMixesInputAndOneEcho) {
    for (float rate : {44100.0f, 192000.0f}) {
        checkOneEcho(rate);
    }
}

TEST(CombFilter, FeedbackSignMovesThePeaksByHalfTheSpacing) {
    const double spacing = 44100.0 / combDelayHalf(44100.0);
    for (int mode : {kMonoPlus, kMonoMinus}) {
        FilterHarness h;
        h.slot1(ModuleFilter::kCombo, mode, 0.5f, 1.0f);
        // The comb rings for about a third of a second: settle for two.
        const double atMultiple = toDb(h.gain(2.0 * spacing, 0.05f, false, 2.0));
        const double between = toDb(h.gain(2.5 * spacing, 0.05f, false, 2.0));
        if (mode == kMonoPlus) {
            EXPECT_GT(atMultiple, 20.0);
            EXPECT_LT(between, -10.0);
        } else {
            // The delayed copy arrives in phase with the dry part here: no deep trough.
            EXPECT_GT(between, 20.0);
            EXPECT_NEAR(atMultiple, toDb(0.38 + 0.62 / 1.99), 0.5);
        }
    }
}

TEST(CombFilter, StereoModesOffsetTheRightDelay) {
    FilterHarness h;
    h.slot1(ModuleFilter::kCombo, kStereoPlus, 0.9f, 0.0f);
    std::vector<float> x(512, 0.0f), l, r;
    x[0] = 1.0f;
    h.run(x, l, nullptr, &r);
    auto echoAt = [](const std::vector<float>& y) {
        double w = 0.0, m = 0.0;
        for (int k = 1; k < int(y.size()); ++k) {
            w += y[k];
            m += k * y[k];
        }
        return m / w;
    };
    // e = 0.1 and 0.105: 0.6 of a table step further for the right channel, a longer delay.
    EXPECT_GT(echoAt(r), echoAt(l) + 0.1);
    FilterHarness mono;
    mono.slot1(ModuleFilter::kCombo, kMonoPlus, 0.9f, 0.0f);
    mono.run(x, l, nullptr, &r);
    EXPECT_EQ(l, r);
}

TEST(CombFilter, NoteStartWithLittleFeedbackClearsTheLines) {
    for (float r : {0.1f, 0.5f}) {
        FilterHarness h;
        h.slot1(ModuleFilter::kCombo, kMonoPlus, 0.2f, r); // a long delay
        std::vector<float> x(2048, 0.0f), y;
        x[0] = 1.0f;
        h.run(x, y, nullptr, nullptr, nullptr, {300});
        float late = 0.0f;
        for (int k = 300; k < 2048; ++k) late += std::fabs(y[k]);
        if (r < 0.2f)
            EXPECT_EQ(late, 0.0f);
        else
            EXPECT_GT(late, 0.1f);
    }
}

TEST(ShaperFilter, SilenceInSilenceOut) {
    for (int mode : {0, 1}) {
        FilterHarness h;
        h.slot1(ModuleFilter::kShaper, mode, 0.5f, 1.0f);
        std::vector<float> y;
        h.run(std::vector<float>(2048, 0.0f), y);
        for (float v : y) ASSERT_EQ(v, 0.0f);
    }
    // Modes past the list silence the slot.
    FilterHarness h;
    h.slot1(ModuleFilter::kShaper, 2, 0.5f, 0.0f);
    EXPECT_LT(h.gainDb(440.0), -200.0);
}

TEST(ShaperFilter, SmallSignalGainAndBoundedShapes) {
    FilterHarness h;
    // Drive 5, slope 1.5 of the saturator, four sub-steps, 0.0425.
    h.slot1(ModuleFilter::kShaper, 0, 0.5f, 0.0f);
    EXPECT_NEAR(h.gainDb(200.0, 0.002f), toDb(5.0 * 1.5 * 4.0 * 0.0425), 0.3);
    // Full drive: four times 1.0 at most, times 0.0425, through a near-flat tone filter.
    for (int mode : {0, 1}) {
        FilterHarness loud;
        loud.slot1(ModuleFilter::kShaper, mode, 0.5f, 1.0f);
        std::vector<float> y;
        loud.run(noise(8192, 4.0f), y);
        float peak = 0.0f;
        for (float v : y) peak = std::max(peak, std::fabs(v));
        // The tone filter's high-pass may swing up to twice the shaped range.
        EXPECT_LT(peak, 2.0f * 4.0f * 0.0425f) << mode;
        EXPECT_GT(peak, 0.05f) << mode;
    }
}

TEST(ShaperFilter, FoldbackFoldsOnlyThePositiveHalf) {
    // A step from +a to -0.1 at drive 25 (Foldback) and 45 (Saturate): the tone filter's
    // high-pass lets the jump through whole. Foldback: sin(3.846 * 25 a) to the limit -1;
    // Saturate: +1 to -1; each times four sub-steps and 0.0425.
    for (int mode : {0, 1}) {
        for (float a : {0.1f, 0.5f, 2.0f}) {
            FilterHarness h;
            h.slot1(ModuleFilter::kShaper, mode, 0.5f, 1.0f);
            std::vector<float> x(2048, 0.0f), y;
            for (int i = 0; i < 2048; ++i) x[i] = i < 1024 ? a : -0.1f;
            h.run(x, y);
            const float high = mode == 1 ? float(std::sin(3.846 * 25.0 * a)) : 1.0f;
            const float jump = (-1.0f - high) * 4.0f * 0.0425f;
            EXPECT_NEAR(y[1034] - y[1023], jump, 0.005f) << mode << " " << a;
        }
    }
}

TEST(ShaperFilter, ToneOpensALowPassThenRaisesAHighPass) {
    FilterHarness h;
    h.slot1(ModuleFilter::kShaper, 0, 0.5f, 0.0f);
    // At 0.5 the spectrum is nearly flat.
    EXPECT_NEAR(h.gainDb(200.0, 0.002f), h.gainDb(1500.0, 0.002f), 1.0);
    h.slot1(ModuleFilter::kShaper, 0, 0.1f, 0.0f);
    EXPECT_LT(h.gainDb(3000.0, 0.002f), h.gainDb(50.0, 0.002f) - 20.0);
    h.slot1(ModuleFilter::kShaper, 0, 0.9f, 0.0f);
    EXPECT_LT(h.gainDb(200.0, 0.002f), h.gainDb(6000.0, 0.002f) - 15.0);
}

} // namespace
} // namespace torvo::test

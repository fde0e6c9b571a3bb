// "Infecto": the state-variable filter run four times per sample. Its coefficient at table
// point i is 2 sin(pi f / 44100) of note i - 6, so with four runs per sample the cut-off is
// four times that note's frequency; the damping comes from its own table.

#include "filterharness.h"

#include <gtest/gtest.h>

namespace torvo::test {
namespace {

constexpr double kPoint = 45.0; // note 39 (77.78 Hz) in the coefficient table
const double kCut = kPoint / 119.0;

double noteHz(double note) {
    return 440.0 * std::pow(2.0, (note - 69.0) / 12.0);
}

constexpr double kDamping[32] = {0.008,  0.0146, 0.0211, 0.0274, 0.0335, 0.0395, 0.0454, 0.0513,
                                 0.0571, 0.063,  0.0689, 0.0749, 0.0812, 0.0878, 0.0948, 0.1024,
                                 0.1106, 0.1197, 0.1298, 0.1413, 0.1545, 0.1699, 0.1882, 0.2098,
                                 0.236,  0.2681, 0.3086, 0.3603, 0.4285, 0.5233, 0.6655, 0.918};

/// Damping term q at cut-off c and resonance r.
double qAt(double r, double c = kCut) {
    const double pos = c * 31.0;
    const int i = int(pos);
    const double d = (kDamping[i] + (kDamping[i + 1] - kDamping[i]) * (pos - i)) * (1.0 - r) + r;
    return 1.85 - 1.8469 * d;
}

TEST(StateVariableFilter, CutoffIsFourTimesTheTableNote) {
    // Points 30 and 74 at 44.1 kHz.
    for (double point : {30.0, 74.0}) {
        const double c = point / 119.0;
        const double hz = 4.0 * noteHz(point - 6.0);
        FilterHarness h;
        h.slot1(ModuleFilter::kInfecto, 0, float(c), 0.0f);
        EXPECT_NEAR(h.gainDb(hz), toDb(1.0 / qAt(0.0, c)), 0.3) << point;
        h.slot1(ModuleFilter::kInfecto, 0, float(c), 0.8f);
        EXPECT_NEAR(h.gainDb(hz), toDb((1.0 - 0.75 * 0.8) / qAt(0.8, c)), 0.3) << point;
    }
    const double fc = 4.0 * noteHz(kPoint - 6.0);
    for (float rate : {44100.0f, 88200.0f}) {
        FilterHarness h(rate);
        h.slot1(ModuleFilter::kInfecto, 0, float(kCut), 0.0f);
        // At the cut-off the low-pass answers 1 / q; below it, unity.
        EXPECT_NEAR(h.gainDb(fc), toDb(1.0 / qAt(0.0)), 0.3) << rate;
        EXPECT_NEAR(h.gainDb(fc / 16.0), 0.0, 0.2) << rate;
        // The band-pass peaks at the cut-off, also at 1 / q.
        h.slot1(ModuleFilter::kInfecto, 1, float(kCut), 0.0f);
        EXPECT_NEAR(h.gainDb(fc), toDb(1.0 / qAt(0.0)), 0.3) << rate;
        EXPECT_GT(h.gainDb(fc), h.gainDb(fc * 1.2));
        EXPECT_GT(h.gainDb(fc), h.gainDb(fc / 1.2));
    }
}

TEST(StateVariableFilter, TwelveDbPerOctaveSlopes) {
    const double fc = 4.0 * noteHz(kPoint - 6.0);
    FilterHarness h;
    h.slot1(ModuleFilter::kInfecto, 0, float(kCut), 0.0f);
    EXPECT_NEAR(h.gainDb(4.0 * fc) - h.gainDb(8.0 * fc), 12.0, 1.0);
    h.slot1(ModuleFilter::kInfecto, 2, float(kCut), 0.0f);
    EXPECT_NEAR(h.gainDb(fc / 4.0) - h.gainDb(fc / 8.0), 12.0, 1.0);
    EXPECT_NEAR(h.gainDb(16.0 * fc), 0.0, 0.3);
    h.slot1(ModuleFilter::kInfecto, 1, float(kCut), 0.0f);
    EXPECT_NEAR(h.gainDb(4.0 * fc) - h.gainDb(8.0 * fc), 6.0, 1.0);
    EXPECT_NEAR(h.gainDb(fc / 4.0) - h.gainDb(fc / 8.0), 6.0, 1.0);
}

TEST(StateVariableFilter, NotchCutsTheCutoffAndPassesTheRest) {
    const double fc = 4.0 * noteHz(kPoint - 6.0);
    FilterHarness h;
    h.slot1(ModuleFilter::kInfecto, 3, float(kCut), 0.0f);
    EXPECT_LT(h.gainDb(fc), -25.0);
    EXPECT_NEAR(h.gainDb(fc / 16.0), 0.0, 0.3);
    EXPECT_NEAR(h.gainDb(fc * 16.0), 0.0, 0.3);
}

TEST(StateVariableFilter, ResonanceSharpensThePeakAndScalesTheOutput) {
    const double fc = 4.0 * noteHz(kPoint - 6.0);
    const double r = 0.6;
    FilterHarness h;
    h.slot1(ModuleFilter::kInfecto, 0, float(kCut), float(r));
    // 1 / q at the cut-off, times the output gain 1 - 0.75 r.
    EXPECT_NEAR(h.gainDb(fc), toDb((1.0 - 0.75 * r) / qAt(r)), 0.3);
    EXPECT_NEAR(h.gainDb(fc / 16.0), toDb(1.0 - 0.75 * r), 0.3);
}

} // namespace
} // namespace torvo::test

// "Perfecto" and "Acido": responses measured with sine tones against the bilinear four-pole
// the ladder is, slopes per mode, sample-rate correction and the clipped self-oscillation.

#include "filterharness.h"

#include <gtest/gtest.h>

namespace torvo::test {
namespace {

/// The ladder's frequency coefficient at cut-off c (below the bend at point 103): 0.000851
/// at point 0 rising evenly to 0.40653 at point 103, then p (1.8 - 0.8 p).
double ladderP(double c, double rate) {
    const double point = c * 119.0;
    double p = 0.000851 * std::pow(0.40653 / 0.000851, point / 103.0) * 44100.0 / rate;
    return p * (1.8 - 0.8 * p);
}

/// Magnitude of n bilinear one-poles with coefficient p at hz.
double poles(double p, double hz, double rate, int n) {
    const double g = p / (1.0 - p);
    const double t = std::tan(kPi * hz / rate);
    return std::pow(g / std::sqrt(g * g + t * t), n);
}

double cutoffHz(double p, double rate) {
    return rate / kPi * std::atan(p / (1.0 - p));
}

TEST(LadderFilter, PerfectoLp4MatchesTheFourPoleAtSeveralCutoffs) {
    for (double c : {0.3, 0.45, 0.6}) {
        FilterHarness h;
        h.slot1(ModuleFilter::kPerfecto, 0, float(c), 0.0f);
        const double p = ladderP(c, 44100.0);
        const double fc = cutoffHz(p, 44100.0);
        for (double ratio : {0.25, 1.0, 2.0, 4.0}) {
            const double hz = fc * ratio;
            EXPECT_NEAR(h.gainDb(hz), toDb(poles(p, hz, 44100.0, 4)), 0.3)
                << "c " << c << " at " << hz << " Hz";
        }
        // Four poles at -3 dB each, and 24 dB per octave above (where the bilinear map does
        // not yet steepen the slope towards Nyquist).
        EXPECT_NEAR(h.gainDb(fc), -12.04, 0.3);
        if (8.0 * fc < 3000.0) {
            EXPECT_NEAR(h.gainDb(4.0 * fc) - h.gainDb(8.0 * fc), 24.0, 1.5);
        }
    }
}

TEST(LadderFilter, CutoffStaysInHertzAtDoubleRate) {
    // At 88.2 kHz the table's coefficient is halved; the -12 dB point stays near its place.
    const double c = 0.5;
    FilterHarness a(44100.0f), b(88200.0f);
    a.slot1(ModuleFilter::kPerfecto, 0, float(c), 0.0f);
    b.slot1(ModuleFilter::kPerfecto, 0, float(c), 0.0f);
    const double fcA = cutoffHz(ladderP(c, 44100.0), 44100.0);
    const double fcB = cutoffHz(ladderP(c, 88200.0), 88200.0);
    EXPECT_NEAR(fcB / fcA, 1.0, 0.05);
    EXPECT_NEAR(b.gainDb(fcB), -12.04, 0.3);
    EXPECT_NEAR(a.gainDb(fcA), b.gainDb(fcA), 0.7);
}

TEST(LadderFilter, PerfectoModesHaveTheirShapes) {
    const double c = 0.5;
    const double fc = cutoffHz(ladderP(c, 44100.0), 44100.0);
    FilterHarness h;
    // Band-pass: a peak near the cut-off, falling on both sides.
    h.slot1(ModuleFilter::kPerfecto, 1, float(c), 0.0f);
    const double bpCentre = h.gainDb(fc);
    EXPECT_GT(bpCentre - h.gainDb(fc / 16.0), 25.0);
    EXPECT_GT(bpCentre - h.gainDb(fc * 16.0), 25.0);
    EXPECT_GT(bpCentre - h.gainDb(fc / 4.0), 4.0);
    // High-pass: the top passes with the stage gains 0.6 * 4.3 * 0.5; below the cut-off each
    // stage's input-minus-low-pass tap falls 6 dB per octave, 12 for the two.
    h.slot1(ModuleFilter::kPerfecto, 2, float(c), 0.0f);
    EXPECT_NEAR(h.gainDb(12000.0), toDb(0.6 * 4.3 * 0.5), 0.5);
    EXPECT_LT(h.gainDb(fc / 16.0), h.gainDb(12000.0) - 20.0);
    EXPECT_NEAR(h.gainDb(fc / 8.0) - h.gainDb(fc / 16.0), 12.0, 1.5);
    // Peak: the doubled input plus the band-pass: flat far away, a notch-like dip near fc
    // without resonance and a peak with it.
    h.slot1(ModuleFilter::kPerfecto, 3, float(c), 0.0f);
    EXPECT_NEAR(h.gainDb(fc / 16.0), 0.0, 0.5);
    EXPECT_NEAR(h.gainDb(12000.0), 0.0, 0.5);
    h.slot1(ModuleFilter::kPerfecto, 3, float(c), 0.7f);
    const double flat = h.gainDb(fc / 16.0);
    EXPECT_NEAR(flat, toDb(1.0 - 0.75 * 0.7), 0.5);
}

TEST(LadderFilter, ResonanceRaisesAPeakAndLowersThePassband) {
    const double c = 0.5;
    const double fc = cutoffHz(ladderP(c, 44100.0), 44100.0);
    FilterHarness h;
    h.slot1(ModuleFilter::kPerfecto, 0, float(c), 0.7f);
    double peak = -100.0;
    for (double ratio = 0.7; ratio <= 1.5; ratio *= 1.06)
        peak = std::max(peak, h.gainDb(fc * ratio));
    const double pass = h.gainDb(fc / 16.0);
    EXPECT_GT(peak - pass, 6.0);
    // Pass-band gain (1 - r + r lpGain(0.85 c)) (1 - 0.75 r) against the feedback's loss.
    EXPECT_LT(pass, 0.0);
}

void checkAcidoPoles(double c) {
    SCOPED_TRACE(c);
    const double p = ladderP(c, 44100.0);
    const double fc = cutoffHz(p, 44100.0);
    for (int mode = 0; mode < 4; ++mode) {
        FilterHarness h;
        h.slot1(ModuleFilter::kAcido, mode, float(c), 0.0f);
        const int n = mode + 1;
        for (double ratio : {0.5, 1.0, 4.0})
            EXPECT_NEAR(h.gainDb(fc * ratio), toDb(poles(p, fc * ratio, 44100.0, n)), 0.3)
                << "LP" << n;
        const double slope = h.gainDb(4.0 * fc) - h.gainDb(8.0 * fc);
        EXPECT_NEAR(slope, 6.0 * n, 1.0 + 0.3 * n) << "LP" << n;
    }
}

TEST(LadderFilter, AcidoPolesGiveSixDbPerOctaveEach) {
    for (double c : {0.3, 0.4}) {
        checkAcidoPoles(c);
    }
}

TEST(LadderFilter, AcidoGainFallsWithResonance) {
    FilterHarness h;
    h.slot1(ModuleFilter::kAcido, 3, 0.5f, 0.5f);
    // Far below the cut-off: the feedback's loss 1 / (1 + R) and the output gain 1 - 0.3 r.
    const double lowDb = h.gainDb(30.0);
    EXPECT_LT(lowDb, toDb(1.0 - 0.3 * 0.5));
    EXPECT_GT(lowDb, -15.0);
}

TEST(LadderFilter, SelfOscillationIsHeldByTheClipper) {
    // "Perfecto" at full resonance rings on after one impulse; the clipper bounds the last
    // pole to 0.943, so LP4 stays within 0.943 * 0.5 * 6 * 0.25.
    for (float c : {0.1f, 0.3f, 0.5f}) {
        FilterHarness h;
        h.slot1(ModuleFilter::kPerfecto, 0, c, 1.0f);
        std::vector<float> x(44100, 0.0f), y;
        x[10] = 0.5f;
        h.run(x, y);
        float late = 0.0f, peak = 0.0f;
        for (int i = 0; i < 44100; ++i) peak = std::max(peak, std::fabs(y[i]));
        for (int i = 33000; i < 44100; ++i) late = std::max(late, std::fabs(y[i]));
        EXPECT_GT(late, 0.05f) << c;
        EXPECT_LE(peak, 0.943f * 0.5f * 6.0f * 0.25f + 1e-3f) << c;
    }
    // "Acido" at full resonance and a low cut-off rings long; the last pole is clipped too.
    FilterHarness a;
    a.slot1(ModuleFilter::kAcido, 3, 0.1f, 1.0f);
    std::vector<float> x(8192, 0.0f), y;
    for (int i = 0; i < 64; ++i) x[i] = 4.0f;
    a.run(x, y);
    float peak = 0.0f;
    for (float v : y) peak = std::max(peak, std::fabs(v));
    EXPECT_LE(peak, 0.943f * 0.7f + 1e-3f);
    EXPECT_GT(std::fabs(y[2000]) + std::fabs(y[2001]) + std::fabs(y[2002]), 1e-4f);
}

} // namespace
} // namespace torvo::test

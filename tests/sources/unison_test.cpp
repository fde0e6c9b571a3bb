// Unison: the tables' numbers as they reach detune and levels, and the stack measured in the
// spectrum of rendered audio: detune spread, chord intervals and the pan of each copy.

#include "oscrig.h"
#include "sources/unisontables.h"

#include <gtest/gtest.h>

namespace torvo {
namespace {

using test::bandEnergy;
using test::OscRig;
using test::peakHz;
using test::powerSpectrum;

UnisonSpread spreadOf(int count, float detune, float density, float width, int chord = 0,
                      float offset = 0.0f, bool invert = false) {
    UnisonSettings s;
    s.count = count;
    s.detune = detune;
    s.density = density;
    s.width = width;
    s.chord = chord;
    s.pitchOffset = offset;
    s.invert = invert;
    UnisonSpread out;
    computeUnison(s, out);
    return out;
}

TEST(UnisonTables, OneVoiceIsThePitchOffsetAtHalfLevelOnEachSide) {
    for (float det : {0.0f, 0.5f, 1.0f})
        for (float den : {0.0f, 0.6f, 1.0f}) {
            const UnisonSpread u = spreadOf(0, det, den, 1.0f, 0, 3.25f);
            EXPECT_FLOAT_EQ(u.detune[0], 3.25f);
            EXPECT_FLOAT_EQ(u.levelL[0], 0.5f);
            EXPECT_FLOAT_EQ(u.levelR[0], 0.5f);
        }
}

TEST(UnisonTables, DetuneFollowsCurveAndDensityPatterns) {
    // Two copies at density 0: an asymmetric -2/+3 stack scaled by the curve.
    UnisonSpread u = spreadOf(1, 15.0f / 16.0f, 0.0f, 0.0f);
    EXPECT_NEAR(u.detune[0], -2 * 0.3928f, 1e-6f);
    EXPECT_NEAR(u.detune[1], 3 * 0.3928f, 1e-6f);
    // The last sixteenth of the knob runs to a whole semitone; density 0.75 spreads by 4.
    u = spreadOf(8, 1.0f, 0.75f, 0.0f);
    EXPECT_NEAR(u.detune[0], -1.0f, 1e-6f);
    EXPECT_NEAR(u.detune[3], -4.0f, 1e-6f);
    EXPECT_NEAR(u.detune[5], 4.0f, 1e-6f);
    EXPECT_NEAR(u.detune[4], 0.0f, 1e-6f);
    // Density 1 and the even spread of 0.5.
    u = spreadOf(7, 1.0f, 1.0f, 0.0f);
    EXPECT_NEAR(u.detune[0], -3.62f, 1e-5f);
    EXPECT_NEAR(u.detune[7], 3.48f, 1e-5f);
    u = spreadOf(8, 1.0f, 0.5f, 0.0f);
    EXPECT_NEAR(u.detune[8], 1.38f, 1e-5f);
    // Half way between density 0 and 0.5 of three copies; the curve at 0.5 is point 8.
    u = spreadOf(2, 0.5f, 0.25f, 0.0f);
    EXPECT_NEAR(u.detune[0], 0.0967273f * (0.5f * -2 + 0.5f * -0.62f), 1e-6f);
    EXPECT_NEAR(u.detune[2], 0.0967273f * (0.5f * 3 + 0.5f * 0.64f), 1e-6f);
    // Copies beyond the count stay silent.
    EXPECT_EQ(u.levelL[3], 0.0f);
    EXPECT_EQ(u.levelR[8], 0.0f);
}

TEST(UnisonTables, LevelsPanLinearlyAndWeakenTheCentreOfOddStacks) {
    const float stackLevel[9] = {1, 0.67f, 0.58f, 0.49f, 0.45f, 0.42f, 0.395f, 0.38f, 0.36f};
    const float centre[9] = {1, 1, 0.7f, 1, 0.5f, 1, 0.5f, 1, 0.5f};
    for (int c = 0; c < 9; ++c) {
        const UnisonSpread u = spreadOf(c, 0.5f, 0.5f, 0.0f);
        for (int i = 0; i <= c; ++i) {
            const bool isCentre = c % 2 == 0 && i == c / 2;
            const float expected = 0.5f * stackLevel[c] * (isCentre ? centre[c] : 1.0f);
            EXPECT_NEAR(u.levelL[i], expected, 1e-6f) << c << " " << i;
            EXPECT_NEAR(u.levelR[i], expected, 1e-6f) << c << " " << i;
        }
    }
    // Full width: nine copies alternate sides; inversion flips every sign.
    const UnisonSpread u = spreadOf(8, 0.5f, 0.5f, 1.0f, 0, 0.0f, true);
    EXPECT_NEAR(u.levelL[0], 0.0f, 1e-6f);
    EXPECT_NEAR(u.levelR[0], -0.36f, 1e-6f);
    EXPECT_NEAR(u.levelL[1], -0.875f * 0.36f, 1e-6f);
    EXPECT_NEAR(u.levelR[1], -0.125f * 0.36f, 1e-6f);
    EXPECT_NEAR(u.levelL[4], -0.25f * 0.36f, 1e-6f);
}

TEST(UnisonTables, ChordsAddSemitonesPerCopy) {
    EXPECT_FLOAT_EQ(unisonChord(3, 8, 8), 31.0f);
    EXPECT_FLOAT_EQ(unisonChord(9, 8, 1), 14.0f);
    EXPECT_FLOAT_EQ(unisonChord(16, 8, 6), -24.0f);
    EXPECT_FLOAT_EQ(unisonChord(17, 8, 1), 4.9804f);
    // The octave spreads depend on the count.
    EXPECT_FLOAT_EQ(unisonChord(1, 2, 1), 12.0f);
    EXPECT_FLOAT_EQ(unisonChord(1, 3, 1), 0.0f);
    EXPECT_FLOAT_EQ(unisonChord(2, 4, 2), 12.0f);
    EXPECT_FLOAT_EQ(unisonChord(2, 8, 8), 24.0f);
    for (int u = 0; u < kUnisonChords; ++u) EXPECT_EQ(unisonChord(u, 8, 0), 0.0f);
}

// The rendered stack: two copies panned hard apart, each side measured on its own.
TEST(UnisonSound, DetunedCopiesSoundAtTheirOffsetsOnTheirSides) {
    OscRig rig(48000.0f);
    rig.wave(0);
    rig.set(8, 1.0f); // "Sin" only, so every copy is one spectral line
    rig.note(69.0f);
    rig.unison(2);
    rig.set(9, 15.0f / 16.0f);
    rig.set(10, 0.0f);
    rig.set(13, 1.0f);
    rig.renderSeconds(1.2f);
    const std::size_t n = 32768;
    const auto l = powerSpectrum(rig.left, 4096, n);
    const auto r = powerSpectrum(rig.right, 4096, n);
    const double low = 440.0 * std::pow(2.0, -2 * 0.3928 / 12.0);
    const double high = 440.0 * std::pow(2.0, 3 * 0.3928 / 12.0);
    EXPECT_NEAR(test::cents(peakHz(l, 380, 500, 48000, n), low), 0.0, 1.0);
    EXPECT_NEAR(test::cents(peakHz(r, 380, 500, 48000, n), high), 0.0, 1.0);
    // Hard panned: each copy is absent from the other side.
    EXPECT_LT(bandEnergy(l, high, 48000, n), 1e-6 * bandEnergy(l, low, 48000, n));
    EXPECT_LT(bandEnergy(r, low, 48000, n), 1e-6 * bandEnergy(r, high, 48000, n));
}

TEST(UnisonSound, ChordCopiesSoundTheirIntervals) {
    OscRig rig(48000.0f);
    rig.wave(0);
    rig.set(8, 1.0f);
    rig.note(57.0f);
    rig.set(9, 0.0f); // no detune
    const std::size_t n = 32768;
    struct Case {
        int chord;
        int copies;
        std::vector<double> semitones;
    };
    const Case cases[] = {
        {3, 3, {0, 4, 7}},        // "Major3rd"
        {8, 4, {0, 3, 7, 10}},    // "Minor7th"
        {16, 3, {0, 7.0195, 12}}, // "Perfect5th"
        {1, 3, {0, 12}},          // "2_Octave" of three: one low, two an octave up
    };
    for (const Case& c : cases) {
        rig.chord(c.chord);
        rig.unison(c.copies);
        rig.clear();
        rig.renderSeconds(1.0f);
        std::vector<float> sum(rig.left.size());
        for (std::size_t i = 0; i < sum.size(); ++i) sum[i] = rig.left[i] + rig.right[i];
        const auto p = powerSpectrum(sum, 8192, n);
        double total = 0.0;
        for (double e : p) total += e;
        double inChord = 0.0;
        for (double s : c.semitones) {
            const double hz = 220.0 * std::pow(2.0, s / 12.0);
            EXPECT_NEAR(test::cents(peakHz(p, hz * 0.98, hz * 1.02, 48000, n), hz), 0.0, 0.5)
                << "chord " << c.chord << " interval " << s;
            inChord += bandEnergy(p, hz, 48000, n);
        }
        EXPECT_GT(inChord, 0.999 * total) << "chord " << c.chord;
    }
}

} // namespace
} // namespace torvo

// The wave store measured from the outside: harmonic amplitudes of every wave and level by a
// forward transform, the rows whose numbers are fixed, the saw tables' band limit per note, the
// pair layout and its wrap, the level choice table, the pitch index and the rate tables.

#include "engine/globaltables.h"
#include "sources/wavebank.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstring>
#include <thread>
#include <vector>

namespace torvo {
namespace {

constexpr double kPi = 3.141592653589793;

/// Amplitudes of harmonics 0..2048 of the 4096 values of a pair table (a plain radix-2
/// forward transform, written apart from the bank's own synthesis).
std::vector<double> spectrum(const float* table) {
    const int n = kTablePoints;
    std::vector<std::complex<double>> x(n);
    for (int i = 0; i < n; ++i) {
        int r = 0;
        for (int b = 0; b < 12; ++b) r |= ((i >> b) & 1) << (11 - b);
        x[r] = table[2 * i];
    }
    for (int size = 2; size <= n; size <<= 1) {
        const std::complex<double> w = std::polar(1.0, -2.0 * kPi / size);
        for (int base = 0; base < n; base += size) {
            std::complex<double> t = 1.0;
            for (int j = 0; j < size / 2; ++j) {
                const std::complex<double> u = x[base + j], v = t * x[base + j + size / 2];
                x[base + j] = u + v;
                x[base + j + size / 2] = u - v;
                t *= w;
            }
        }
    }
    std::vector<double> a(n / 2 + 1);
    a[0] = std::abs(x[0]) / n;
    for (int k = 1; k <= n / 2; ++k) a[k] = 2.0 * std::abs(x[k]) / n;
    return a;
}

double peakOf(const float* table) {
    double p = 0.0;
    for (int i = 0; i < kTablePoints; ++i) p = std::max(p, std::fabs(double(table[2 * i])));
    return p;
}

/// Highest harmonic above -80 dB of the strongest.
int topHarmonic(const std::vector<double>& a) {
    const double strongest = *std::max_element(a.begin() + 1, a.end());
    int top = 0;
    for (int k = 1; k < static_cast<int>(a.size()); ++k)
        if (a[k] > strongest * 1e-4) top = k;
    return top;
}

int indexOf(const char* name) {
    for (int i = 0; i < kWaveCount; ++i)
        if (std::strcmp(waveName(i), name) == 0) return i;
    return -1;
}

TEST(WaveBankLayout, AddressesNamesAndSizes) {
    EXPECT_EQ(kWaveBankFloats * sizeof(float), 0xc40000u);
    EXPECT_EQ(kSawBankFloats * sizeof(float), 0x400000u);
    EXPECT_EQ(waveAddress(0), waveBank());
    EXPECT_EQ(waveAddress(48), waveBank() + (48 << 16));
    EXPECT_EQ(waveAddress(99), waveAddress(48));
    EXPECT_EQ(sawAddress(60), sawBank() + (60 << 13));
    EXPECT_EQ(sawAddress(-5), sawBank());
    EXPECT_STREQ(waveName(0), "Sin");
    EXPECT_STREQ(waveName(7), "Bass_1");
    EXPECT_STREQ(waveName(16), "Violin_2");
    EXPECT_STREQ(waveName(44), "FM_1");
    EXPECT_STREQ(waveName(48), "Alarm_2");
    EXPECT_STREQ(waveName(49), "");
}

TEST(WaveBankLayout, FirstUseFromManyThreadsBuildsOneBank) {
    std::array<const float*, 4> seen{};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) threads.emplace_back([&seen, t] { seen[t] = waveBank(); });
    for (auto& t : threads) t.join();
    for (const float* p : seen) EXPECT_EQ(p, seen[0]);
    lockWaveBanks();
    lockWaveBanks();
    unlockWaveBanks();
    unlockWaveBanks();
    unlockWaveBanks(); // one too many is harmless
    EXPECT_EQ(waveBank(), seen[0]);
}

TEST(WaveBankTables, PairsHoldTheDifferenceToTheNextPointAndWrap) {
    for (const float* t : {waveAddress(0), waveAddress(30) + 3 * kTableFloats, sawAddress(40)}) {
        for (int i = 0; i < kTablePoints - 1; ++i)
            ASSERT_FLOAT_EQ(t[2 * i + 1], t[2 * i + 2] - t[2 * i]) << i;
        EXPECT_FLOAT_EQ(t[8191], t[0] - t[8190]);
        // Phase 4095.9 reads 90 % of the way from point 4095 to point 0.
        EXPECT_NEAR(readTable(t, 4095.9f), t[8190] + 0.9f * (t[0] - t[8190]), 1e-4);
        EXPECT_FLOAT_EQ(readTable(t, 12.0f), t[24]);
        EXPECT_NEAR(readTable(t, 12.25f), 0.75f * t[24] + 0.25f * t[26], 1e-6);
    }
}

TEST(WaveBankTables, OffsetReadsShiftByWholePointsAndGuardTheLastFloat) {
    const float* t = waveAddress(5);
    // A quarter cycle: 1024 points, 2048 floats.
    EXPECT_FLOAT_EQ(readTableOffset(t, 100.5f, 2048), readTable(t, 1124.5f));
    // Shifted past the end, the index wraps with the mask.
    EXPECT_FLOAT_EQ(readTableOffset(t, 4000.25f, 2048), readTable(t, 928.25f));
    // An odd offset landing on the last float takes the difference from float 0.
    EXPECT_FLOAT_EQ(readTableOffset(t, 4095.5f, 1), t[8191] + 0.5f * t[0]);
}

TEST(WaveBankWaves, SineAndTriangleAreExact) {
    const float* sine = waveAddress(0);
    for (int level = 0; level < kWaveLevels; ++level)
        for (int i = 0; i < kTablePoints; i += 97)
            ASSERT_NEAR(sine[level * kTableFloats + 2 * i], std::sin(2.0 * kPi * i / 4096), 1e-7);
    EXPECT_EQ(sine[0], 0.0f);
    EXPECT_GT(sine[2], 0.0f);
    const float* tri = waveAddress(1);
    EXPECT_NEAR(peakOf(tri), 0.9968, 5e-4);
    EXPECT_NEAR(tri[0], 0.0f, 1e-6);
    EXPECT_GT(tri[2], 0.0f);
    const auto a = spectrum(tri);
    for (int k = 1; k <= 127; k += 2) ASSERT_NEAR(a[k], 8.0 / (kPi * kPi * k * k), 1e-6) << k;
}

struct Row {
    int index;
    const char* name;
    double h[5];
    int top;
};

TEST(WaveBankWaves, TellingRowsMatchHarmonicsAndTop) {
    const Row rows[] = {
        {0, "Sin", {1.0, 0, 0, 0, 0}, 1},
        {1, "Tri", {0.8106, 0, 0.0901, 0, 0.0324}, 99},
        {2, "TriSine", {0.8998, 0, 0.4278, 0, 0.1540}, 127},
        {3, "Para_1", {0.6288, 0.1570, 0.0695, 0.0389, 0.0247}, 36},
        {5, "Para_3", {0.8543, 0.2766, 0.1293, 0.0735, 0.0468}, 99},
        {7, "Bass_1", {0.6157, 0.2982, 0.2281, 0.1552, 0.0864}, 29},
        {17, "Violin_2", {0.0432, 0.3758, 0.1305, 0.4540, 0.1112}, 128},
        {43, "FM_1", {0.9839, 0.0173, 0.0290, 0.0030, 0.0086}, 127},
        {48, "Alarm_2", {0.0047, 0.0473, 0.1465, 0.0031, 0.0490}, 128},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        // Checked at the row's index and under its name: Violin_3 (17) shares the opening of
        // Violin_2 (16), and Inter_2 (43) that of FM_1 (44).
        const int named = indexOf(r.name);
        ASSERT_GE(named, 0);
        for (int index : {r.index, named}) {
            SCOPED_TRACE(index);
            const auto a = spectrum(waveAddress(index));
            for (int k = 1; k <= 5; ++k) EXPECT_NEAR(a[k], r.h[k - 1], 6e-5) << "h" << k;
            EXPECT_EQ(topHarmonic(a), r.top);
        }
    }
    // A weak fundamental makes the top level very quiet.
    EXPECT_NEAR(peakOf(waveAddress(indexOf("Alarm_2")) + 7 * kTableFloats), 0.0047, 2e-4);
}

TEST(WaveBankWaves, EveryLevelIsLevelZeroCutAtItsHarmonic) {
    for (int w = 0; w < kWaveCount; ++w) {
        SCOPED_TRACE(waveName(w));
        const float* wave = waveAddress(w);
        const auto full = spectrum(wave);
        // Zero DC, full scale, nothing above harmonic 128.
        EXPECT_LT(full[0], 1e-6);
        const double peak = peakOf(wave);
        EXPECT_GE(peak, 0.95);
        EXPECT_LE(peak, 1.03);
        for (int k = 129; k <= 2048; ++k) ASSERT_LT(full[k], 1e-6) << k;
        for (int level = 1; level < kWaveLevels; ++level) {
            const auto a = spectrum(wave + level * kTableFloats);
            const int keep = kMaxHarmonics >> level;
            EXPECT_LT(a[0], 1e-6);
            for (int k = 1; k <= keep; ++k)
                ASSERT_NEAR(a[k], full[k], 2e-6) << "level " << level << " h" << k;
            for (int k = keep + 1; k <= 256; ++k)
                ASSERT_LT(a[k], 1e-6) << "level " << level << " h" << k;
        }
    }
}

TEST(WaveBankWaves, LevelsKeepThePhaseOfLevelZero) {
    // Level 7 of any wave is its fundamental exactly as level 0 holds it: subtracting the
    // upper harmonics of level 0 leaves it.
    for (int w : {2, 7, 16, 43}) {
        const float* wave = waveAddress(w);
        const float* l6 = wave + 6 * kTableFloats;
        const float* l7 = wave + 7 * kTableFloats;
        // Level 6 minus level 7 holds harmonic 2 only: its spectrum has nothing at 1.
        std::vector<float> diff(kTableFloats);
        for (int i = 0; i < kTableFloats; ++i) diff[i] = l6[i] - l7[i];
        const auto a = spectrum(diff.data());
        EXPECT_LT(a[1], 1e-6) << waveName(w);
    }
}

TEST(SawBank, RisingRampWithTheJumpFivePointsIn) {
    const float* saw = sawAddress(48);
    const auto a = spectrum(saw);
    for (int k = 1; k <= 100; ++k) ASSERT_NEAR(a[k], 0.4175 / k, 1e-5) << k;
    // Just after the jump the ramp is at its bottom, just before it at its top; the jump
    // itself is the midpoint of the band-limited transition.
    EXPECT_LT(saw[2 * 40], -0.6f);
    EXPECT_GT(saw[2 * 4066], 0.6f);
    EXPECT_NEAR(saw[2 * 5], 0.0f, 0.01f);
    EXPECT_NEAR(saw[2 * 2053], 0.0f, 0.02f); // the middle of the ramp, half a cycle on
    EXPECT_LT(saw[2 * 1000], saw[2 * 3000]);
    EXPECT_NEAR(peakOf(saw), 0.656 * 1.18, 0.05); // band-limited ramp with its ripple
}

TEST(SawBank, HarmonicCountFollowsTheAbsoluteBandLimit) {
    // Harmonics at least at half of their full amplitude, per note.
    const std::array<std::pair<int, int>, 9> counts = {{{0, 2047},
                                                        {24, 680},
                                                        {48, 170},
                                                        {60, 85},
                                                        {72, 43},
                                                        {84, 22},
                                                        {96, 11},
                                                        {108, 5},
                                                        {120, 2}}};
    for (const auto& [note, expected] : counts) {
        SCOPED_TRACE(note);
        const auto a = spectrum(sawAddress(note));
        int used = 0;
        for (int k = 1; k <= 2047; ++k)
            if (a[k] >= 0.5 * 0.4175 / k) used = k;
        EXPECT_NEAR(used, expected, 2);
        // Below 21.5 kHz every harmonic stands at full amplitude.
        const double f = 440.0 * std::pow(2.0, (note - 69) / 12.0);
        for (int k = 1; k * f <= 21500.0 && k <= 2047; ++k)
            ASSERT_NEAR(a[k], 0.4175 / k, 1e-5) << k;
        // Nothing reaches 23.5 kHz.
        for (int k = static_cast<int>(std::ceil(23500.0 / f)); k <= 2047; ++k)
            ASSERT_LT(a[k], 1e-5) << k;
    }
    for (int note : {126, 127}) {
        const auto a = spectrum(sawAddress(note));
        EXPECT_NEAR(a[1], 0.5, 1e-5);
        EXPECT_LT(*std::max_element(a.begin() + 2, a.end()), 1e-5);
    }
}

TEST(LevelChoice, RowsAtTheOctaveBorders) {
    struct Expect {
        int note, a, b;
        float w;
    };
    const Expect rows[] = {
        {0, 0, 0, 0.0f},
        {47, 0, 0, 0.0f},
        {48, 8192, 0, 1.0f},
        {59, 8192, 0, 1.0f / 12.0f},
        {60, 16384, 8192, 1.0f},
        {71, 16384, 8192, 1.0f / 12.0f},
        {100, 40960, 32768, 1.0f - 4.0f / 12.0f},
        {108, 49152, 40960, 1.0f},
        {119, 49152, 40960, 1.0f / 12.0f},
        {120, 57344, 0, 0.0f},
        {127, 57344, 0, 0.0f},
    };
    for (const Expect& e : rows) {
        SCOPED_TRACE(e.note);
        EXPECT_EQ(levelOffsetA[e.note], e.a);
        EXPECT_EQ(levelOffsetB[e.note], e.b);
        EXPECT_FLOAT_EQ(levelWeightB[e.note], e.w);
    }
    // Eleven twelfths of the way to level 1 at note 59: a mix of levels 1 and 0.
    EXPECT_NEAR(levelWeightB[53], 1.0f - 5.0f / 12.0f, 1e-7);
}

TEST(LevelChoice, MixedReadAtNote119IsOneTwelfthOfLevelFive) {
    const float* wave = waveAddress(40);
    const float wb = levelWeightB[119];
    const float v =
        readLevels(wave + levelOffsetA[119], wave + levelOffsetB[119], 1.0f - wb, wb, 321.5f);
    const float l5 = readTable(wave + 5 * kTableFloats, 321.5f);
    const float l6 = readTable(wave + 6 * kTableFloats, 321.5f);
    EXPECT_NEAR(v, l6 * 11.0f / 12.0f + l5 / 12.0f, 1e-6);
}

TEST(PitchIndex, QuantisesTo1280thsOfASemitone) {
    EXPECT_EQ(noteToPitchIndex(0.0f), 0);
    EXPECT_EQ(noteToPitchIndex(127.0f), 162560);
    EXPECT_EQ(noteToPitchIndex(60.0f), 60 * 1280);
    // int(2x + 0.5) >> 1: a step is taken from three quarters of the way on.
    EXPECT_EQ(noteToPitchIndex(60.0f + 0.5f / 1280.0f), 60 * 1280);
    EXPECT_EQ(noteToPitchIndex(60.0f + 0.85f / 1280.0f), 60 * 1280 + 1);
    EXPECT_EQ(noteToPitchIndex(60.0f - 0.1f / 1280.0f), 60 * 1280);
    EXPECT_LT(noteToPitchIndex(127.0f), kPitchIndexCount);
}

TEST(RateTables, IncrementsFollowTheSampleRate) {
    for (float sr : {48000.0f, 96000.0f, 44100.0f}) {
        SCOPED_TRACE(sr);
        setGlobalSampleRate(sr);
        const float* inc = phaseIncrementTable();
        EXPECT_NEAR(inc[69 * 1280], 440.0 * 4096.0 / sr, 1e-4);
        EXPECT_NEAR(inc[162560], 440.0 * std::pow(2.0, 58.0 / 12.0) * 4096.0 / sr, 1e-2);
        // Half a semitone up from A4.
        EXPECT_NEAR(inc[69 * 1280 + 640], 440.0 * std::pow(2.0, 0.5 / 12.0) * 4096.0 / sr, 1e-4);
        EXPECT_NEAR(inc[kPitchIndexCount - 1],
                    440.0 * std::pow(2.0, (163839.0 / 1280.0 - 69.0) / 12.0) * 4096.0 / sr, 2e-2);
        const float* notes = noteIncrementTable();
        EXPECT_NEAR(notes[2 * 69], 440.0 * 4096.0 / sr, 1e-4);
        EXPECT_FLOAT_EQ(notes[2 * 69 + 1], notes[2 * 70] - notes[2 * 69]);
        EXPECT_NEAR(noteFrequencyTable()[69], 440.0f, 1e-4);
        EXPECT_NEAR(noteFrequencyTable()[0], 8.1758f, 1e-4);
        EXPECT_FLOAT_EQ(globalRateRatio(), 44100.0f / sr);
        EXPECT_FLOAT_EQ(globalInvSampleRate(), 1.0f / sr);
    }
}

} // namespace
} // namespace torvo

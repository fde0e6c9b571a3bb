// The engines read a steady block (one pitch, no retrigger, no fade) four samples at a time.
// Those reads must give the sound of the sample-by-sample loop: two engines seeded alike are
// rendered block after block and compared, one given steady blocks and one told a retrigger
// may come (none does, but that sends it down the sample loop). Only the phase may differ by
// rounding (a product instead of a running sum), so the two stay within a small fraction of
// full scale; a wrong wrap, shift or weight is off by a large part of it.
//
// Notes that wander by less than one pitch step never make the sample loop look anything up
// either, so such a block is read four samples at a time too; those cases, and the exactness
// of the vector helpers the fast reads rely on, are pinned here as well.

#include "engine/pool.h"
#include "sources/engineamsync.h"
#include "sources/engineclassic.h"
#include "sources/enginefm.h"
#include "sources/enginesawpwm.h"
#include "sources/pitchincrement.h"
#include "sources/simdread.h"
#include "sources/tablereader.h"
#include "sources/wavebank.h"
#include "support/enginestreams.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace torvo {
namespace {

constexpr int kFrames = test::kStreamFrames;
constexpr int kBlocks = test::kStreamBlocks;

using test::Streams;

/// How far the steady render of an engine may stray from its sample loop.
struct Closeness {
    /// Largest difference, as a fraction of the loudest sample.
    float worst = 1.0f;
    /// Root-mean-square difference, as a fraction of the reference's root-mean-square level.
    float rms = 1.0f;
    /// Difference of the two root-mean-square levels, as a fraction of the reference's.
    float level = 1.0f;
};

/// Renders both engines and checks their differences against `close`, and that they are not
/// silent. With `laterWtmix` the blend changes to that value halfway: a blend that starts later
/// must find every reader where it would have been.
template <class Engine>
void expectCloseSound(const Streams& s, Closeness close, float laterWtmix = -1.0f) {
    Streams later = s;
    if (laterWtmix >= 0.0f) std::fill(later.wtmix.begin(), later.wtmix.end(), laterWtmix);
    const auto at = [&](int block) -> const Streams& {
        return laterWtmix >= 0.0f && block >= kBlocks / 2 ? later : s;
    };
    const test::Comparison c = test::compareRenders<Engine>(
        s, [&](const Streams&, int block) { return at(block).block(true); },
        [&](const Streams&, int block) { return at(block).block(false); });
    // Some settings nearly cancel across the nine copies; none may fall silent.
    EXPECT_GT(c.loudest, 0.002f);
    EXPECT_LT(c.worst, close.worst * c.loudest);
    EXPECT_LT(std::sqrt(c.differenceEnergy), close.rms * std::sqrt(c.energy));
    EXPECT_NEAR(std::sqrt(c.otherEnergy), std::sqrt(c.energy), close.level * std::sqrt(c.energy));
}

/// The steady render stays within `tolerance` of the loudest sample everywhere.
template <class Engine>
void expectSameSound(const Streams& s, float tolerance, float laterWtmix = -1.0f) {
    expectCloseSound<Engine>(s, Closeness{tolerance, 1.0f, 1.0f}, laterWtmix);
}

TEST(SteadyRead, SawPwmMatchesTheSampleLoopAtEveryMultiple) {
    // ctrlA picks the multiple 1..4; the widest multiple wraps the faster phase three times.
    for (float a : {0.0f, 0.3f, 0.6f, 1.0f}) {
        SCOPED_TRACE(a);
        expectSameSound<EngineSawPwm>(Streams(57.0f, a, 0.35f, 0.4f), 0.02f);
    }
    // Width and wave blend at their ends, and a high note.
    expectSameSound<EngineSawPwm>(Streams(96.0f, 0.8f, 0.0f, 0.0f), 0.02f);
    expectSameSound<EngineSawPwm>(Streams(33.0f, 0.5f, 1.0f, 1.0f), 0.02f);
    expectSameSound<EngineSawPwm>(Streams(62.0f, 0.5f, 0.4f, 0.0f), 0.02f, 0.7f);
}

TEST(SteadyRead, FmMatchesTheSampleLoopIncludingDeepModulation) {
    // Full depth pushes the carrier's phase past both ends of the cycle.
    for (float a : {0.0f, 0.4f, 1.0f}) {
        SCOPED_TRACE(a);
        expectSameSound<EngineFM>(Streams(60.0f, a, 0.25f, 0.3f), 0.02f);
    }
    expectSameSound<EngineFM>(Streams(45.0f, 0.2f, 0.7f, 0.0f).rampA(0.5f), 0.02f);
    expectSameSound<EngineFM>(Streams(80.0f, 0.9f, 0.0f, 1.0f), 0.02f);
    // Without a blend the plain wave's reader only keeps time, until a blend needs it.
    expectSameSound<EngineFM>(Streams(52.0f, 0.5f, 0.3f, 0.0f), 0.02f, 0.8f);
}

TEST(SteadyRead, ClassicMatchesTheSampleLoopInEveryVariant) {
    expectSameSound<EngineClassic>(Streams(50.0f, 0.0f, 0.5f, 0.0f), 0.02f);
    expectSameSound<EngineClassic>(Streams(50.0f, 0.6f, 0.3f, 0.5f).rampA(0.5f), 0.02f);
    expectSameSound<EngineClassic>(Streams(70.0f, 0.4f, 0.2f, 0.0f), 0.02f);
    expectSameSound<EngineClassic>(Streams(64.0f, 0.4f, 0.2f, 0.0f), 0.02f, 0.5f);
}

TEST(SteadyRead, AmSyncMatchesTheSampleLoopAcrossItsResets) {
    // A master that lands within rounding of its wrap may reset the slave one sample earlier
    // or later in one render than in the other; the slave's saw edge then moves by a sample
    // for a cycle, and such a sample may differ by the whole edge. So the renders are compared
    // by their difference's energy, and with a slave far above the master (where a sample is
    // a large part of its cycle) by their levels: a wrong reset rule, window or blend is far
    // off by those too.
    const Closeness close{2.5f, 0.03f, 0.01f};
    for (float b : {0.0f, 0.3f}) {
        SCOPED_TRACE(b);
        expectCloseSound<EngineAMSync>(Streams(48.0f, 0.0f, b, 0.0f), close);
        expectCloseSound<EngineAMSync>(Streams(60.0f, 0.7f, b, 0.4f), close);
    }
    const Closeness high{2.5f, 0.5f, 0.03f};
    expectCloseSound<EngineAMSync>(Streams(48.0f, 0.0f, 0.9f, 0.0f), high);
    expectCloseSound<EngineAMSync>(Streams(60.0f, 0.7f, 0.9f, 0.4f), high);
    expectCloseSound<EngineAMSync>(Streams(36.0f, 0.5f, 0.5f, 0.0f).rampA(0.5f), close, 0.6f);
}

TEST(MovingNotes, VibratoReadsKeepTheSoundOfTheSampleLoop) {
    // Saw, pulse, wave and both, with shallow and deep vibrato.
    for (float depth : {0.1f, 0.7f}) {
        SCOPED_TRACE(depth);
        expectSameSound<EngineClassic>(Streams(50.0f, 0.0f, 0.5f, 0.0f).vibrato(depth), 0.02f);
        expectSameSound<EngineClassic>(Streams(61.5f, 0.6f, 0.3f, 0.0f).vibrato(depth), 0.02f);
        expectSameSound<EngineClassic>(Streams(73.0f, 0.0f, 0.3f, 1.0f).vibrato(depth), 0.02f);
        expectSameSound<EngineClassic>(Streams(44.0f, 0.4f, 0.2f, 0.5f).vibrato(depth), 0.02f);
        // So do SawPwm's multiple, and FM's modulator, plain wave and modulated carrier.
        for (float a : {0.0f, 0.5f, 1.0f})
            expectSameSound<EngineSawPwm>(Streams(57.0f, a, 0.35f, 0.4f).vibrato(depth), 0.02f);
        expectSameSound<EngineFM>(Streams(55.0f, 0.5f, 0.3f, 0.4f).vibrato(depth), 0.02f);
        expectSameSound<EngineFM>(Streams(62.0f, 1.0f, 0.6f, 0.0f).vibrato(depth), 0.02f);
        // A block that is not a whole number of four-sample groups.
        Streams odd = Streams(59.0f, 0.3f, 0.4f, 0.2f).vibrato(depth);
        odd.frames = 203;
        expectSameSound<EngineClassic>(odd, 0.02f);
    }
}

TEST(WanderingNotes, PitchStepHeldOnlyWhileEveryNoteRoundsToIt) {
    std::vector<float> notes(kFrames);
    for (int i = 0; i < kFrames; ++i) notes[i] = 50.0f + 1.0e-4f * std::sin(0.1f * float(i));
    const int step = noteToPitchIndex(50.0f);
    EXPECT_TRUE(holdsPitchIndex(notes.data(), kFrames, step));
    EXPECT_FALSE(holdsPitchIndex(notes.data(), kFrames, step + 1));
    notes[200] = 50.01f;
    EXPECT_FALSE(holdsPitchIndex(notes.data(), kFrames, step));
    EXPECT_TRUE(holdsPitchIndex(notes.data(), 200, step));
}

TEST(WanderingNotes, ClassicAndFmKeepTheSoundOfTheSampleLoop) {
    expectSameSound<EngineClassic>(Streams(50.0f, 0.6f, 0.3f, 0.5f).wander(), 0.02f);
    expectSameSound<EngineClassic>(Streams(67.0f, 0.0f, 0.3f, 0.0f).wander(), 0.02f);
    expectSameSound<EngineFM>(Streams(50.0f, 0.4f, 0.25f, 0.0f).wander(), 0.02f);
    expectSameSound<EngineFM>(Streams(72.0f, 0.7f, 0.1f, 0.6f).wander(), 0.02f);
}

TEST(VectorReads, SlotSumsAddEachSampleAtItsLevel) {
    std::vector<float> in(kFrames), sumL(kFrames), sumR(kFrames);
    for (int i = 0; i < kFrames; ++i) {
        in[i] = std::sin(0.3f * float(i));
        sumL[i] = 0.1f * float(i % 7);
        sumR[i] = -0.2f * float(i % 5);
    }
    std::vector<float> wantL = sumL, wantR = sumR;
    for (int i = 0; i < kFrames; ++i) {
        wantL[i] += 0.7f * in[i];
        wantR[i] += 0.45f * in[i];
    }
    addToSums(in.data(), 0.7f, 0.45f, sumL.data(), sumR.data(), kFrames);
    for (int i = 0; i < kFrames; ++i) {
        EXPECT_EQ(sumL[i], wantL[i]);
        EXPECT_EQ(sumR[i], wantR[i]);
    }
}

/// The phase in table points of a fixed-point phase.
float pointsOf(std::uint32_t fixed) {
    return float(double(fixed) / simd::kFixedPerPoint);
}

TEST(FixedPhaseReads, CellsFollowTheFloatPhaseAndWrapAtTheCycle) {
    // A phase near the end of the cycle and an increment that wraps it within the first group.
    const float start = 4090.3f;
    const float inc = 37.531f;
    simd::FixedPhase at(start, inc);
    const float* saw = sawAddress(57);
    double exact = start;
    for (int group = 0; group < 300; ++group) {
        const simd::Cells4 c = at.next();
        alignas(16) float frac[4], got[4];
        _mm_store_ps(frac, c.frac);
        _mm_store_ps(got, simd::read4(saw, c));
        for (int k = 0; k < 4; ++k) {
            const double p = std::fmod(exact, 4096.0);
            ASSERT_EQ(c.at[k], static_cast<std::uint32_t>(p)) << "sample " << 4 * group + k;
            EXPECT_NEAR(frac[k], p - std::floor(p), 1.0e-4);
            EXPECT_NEAR(got[k], readTable(saw, float(p)), 1.0e-4f);
            exact += inc;
        }
    }
    // Where the block ends, as a float phase for the sample loop.
    EXPECT_NEAR(simd::FixedPhase::after(start, inc, 1200), std::fmod(exact, 4096.0), 2.0e-3);
}

TEST(FixedPhaseReads, MultipleStaysTheExactProductOfThePhase) {
    simd::FixedPhase note(1234.5f, 11.25f);
    for (int skip = 0; skip < 5; ++skip) note.next();
    for (int ratio = 1; ratio <= 4; ++ratio) {
        simd::FixedPhase base = note;
        simd::FixedPhase fast = note.multiple(ratio);
        for (int group = 0; group < 100; ++group) {
            const simd::Cells4 n = base.next();
            const simd::Cells4 f = fast.next();
            alignas(16) float nf[4], ff[4];
            _mm_store_ps(nf, n.frac);
            _mm_store_ps(ff, f.frac);
            for (int k = 0; k < 4; ++k) {
                const double want = std::fmod(ratio * (n.at[k] + double(nf[k])), 4096.0);
                EXPECT_NEAR(f.at[k] + double(ff[k]), want, 1.0e-3) << "ratio " << ratio;
            }
        }
    }
}

TEST(FixedPhaseReads, WholeMultiplesOfFourPhasesWrapAsTheProduct) {
    const std::uint32_t p[4] = {0u, 123456789u, 0x80000001u, 0xFFFFFFFFu};
    for (int ratio = 1; ratio <= 4; ++ratio) {
        alignas(16) std::uint32_t got[4];
        _mm_store_si128(
            reinterpret_cast<__m128i*>(got),
            simd::FixedPhase::times(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), ratio));
        for (int k = 0; k < 4; ++k) EXPECT_EQ(got[k], p[k] * std::uint32_t(ratio)) << ratio;
    }
}

TEST(FixedPhaseReads, CellsMovedByTheWidthWrapBothWays) {
    simd::FixedPhase at(10.5f, 2.0f);
    const simd::Cells4 c = at.next();
    const int offsets[4] = {-40, 8190, 2, 0};
    const simd::Cells4 up = simd::shifted(c, offsets);
    const simd::Cells4 down = simd::shiftedBack(c, offsets);
    const std::uint32_t want[4] = {4086, 11, 15, 16};
    for (int k = 0; k < 4; ++k) {
        EXPECT_EQ(up.at[k], want[k]);
        EXPECT_EQ(down.at[k], (c.at[k] + 4096u - std::uint32_t(offsets[k] / 2)) % 4096u);
    }
}

TEST(FixedPhaseReads, CarrierWrapMatchesTheFloatRuleIncludingTheShortLowerSide) {
    // Own phases across the cycle and modulations of up to a cycle either way; a sum below
    // zero lands one point short of the cycle, as wrapOnce() has it.
    for (float own : {0.0f, 3.25f, 1500.75f, 4095.5f}) {
        for (float m : {-4096.0f, -2000.5f, -3.5f, -0.25f, 0.0f, 0.5f, 700.125f, 4095.0f}) {
            const std::uint32_t p = simd::FixedPhase::toFixed(own);
            alignas(16) std::uint32_t q[4];
            _mm_store_si128(reinterpret_cast<__m128i*>(q),
                            wrapOnceFixed(_mm_set1_epi32(static_cast<int>(p)), _mm_set1_ps(m)));
            // The table reads both modulo the cycle (at full depth the float rule can leave
            // a point just below zero).
            const double apart = std::fmod(pointsOf(q[0]) - wrapOnce(own + m) + 8192.0, 4096.0);
            EXPECT_LT(std::min(apart, 4096.0 - apart), 2.0e-3) << own << " + " << m;
        }
    }
}

} // namespace
} // namespace torvo

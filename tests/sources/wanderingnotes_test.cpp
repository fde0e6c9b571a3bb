// Notes that wander by less than one pitch step never make the sample loop look anything up,
// so such a block is read four samples at a time like a steady one. These cases pin that the
// sound stays that of the sample loop, and the exactness of the vector helpers it relies on.

#include "engine/pool.h"
#include "sources/engineclassic.h"
#include "sources/enginefm.h"
#include "sources/pitchincrement.h"
#include "sources/simdread.h"
#include "sources/tablereader.h"
#include "sources/wavebank.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace torvo {
namespace {

constexpr int kFrames = 256;
constexpr int kBlocks = 10;

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

/// Renders two engines seeded alike, one told no retrigger comes (the fast reads) and one
/// sent down the sample loop, with a pitch that wanders within one step and a modulated
/// ctrlB; compares their sums against `tolerance` times the loudest sample.
template <class Engine> void expectSameSound(float note, float a, float b, float w) {
    setPitchIncrementRate(48000.0f);
    std::vector<float> pitch(kFrames + 4), retrig(kFrames + 4, 0.0f), ctrlA(kFrames + 4, a),
        ctrlB(kFrames + 4), wtmix(kFrames + 4, w);
    std::vector<int> shift(kFrames + 4);
    for (int i = 0; i < kFrames + 4; ++i) {
        pitch[i] = (note + 1.0e-4f * std::sin(0.05f * float(i))) / 127.0f;
        // Deep enough to move an FM modulator's note across many steps.
        ctrlB[i] = b + 0.2f * float(i) / float(kFrames);
        shift[i] = static_cast<int>(ctrlB[i] * 4096.0f) * 2;
    }
    float detune[kUnisonSlots], levelL[kUnisonSlots], levelR[kUnisonSlots];
    for (int s = 0; s < kUnisonSlots; ++s) {
        detune[s] = 0.29f * float(s) - 1.2f;
        levelL[s] = 0.8f + 0.02f * float(s);
        levelR[s] = 1.0f - 0.02f * float(s);
    }
    const auto block = [&](bool fast) {
        OscBlock ob;
        ob.frames = kFrames;
        ob.sampleRate = 48000.0f;
        ob.pitch = pitch.data();
        ob.retrig = retrig.data();
        ob.ctrlA = ctrlA.data();
        ob.ctrlB = ctrlB.data();
        ob.wtmix = wtmix.data();
        ob.shift = shift.data();
        ob.ctrlAModulated = true;
        ob.wtmixModulated = w != 0.0f;
        ob.count = kUnisonSlots;
        ob.detune = detune;
        ob.levelL = levelL;
        ob.levelR = levelR;
        ob.reader.count = kUnisonSlots;
        ob.reader.wave = waveAddress(9);
        ob.reader.noRetrigger = fast;
        ob.reader.notesSteady = false;
        return ob;
    };
    Pool pool;
    Engine fast;
    Engine reference;
    fast.allocate(pool, kFrames);
    reference.allocate(pool, kFrames);
    float phases[kUnisonSlots];
    for (int i = 0; i < kUnisonSlots; ++i) phases[i] = 401.3f * float(i) + 7.9f;
    fast.seedPhases(phases);
    reference.seedPhases(phases);
    float worst = 0.0f;
    float loudest = 0.0f;
    for (int n = 0; n < kBlocks; ++n) {
        fast.render(block(true));
        reference.render(block(false));
        for (int i = 0; i < kFrames; ++i) {
            worst = std::max(worst, std::fabs(fast.left()[i] - reference.left()[i]));
            worst = std::max(worst, std::fabs(fast.right()[i] - reference.right()[i]));
            loudest = std::max(loudest, std::fabs(reference.left()[i]));
            ASSERT_TRUE(std::isfinite(fast.left()[i]));
        }
    }
    EXPECT_GT(loudest, 0.002f);
    EXPECT_LT(worst, 0.02f * loudest);
}

TEST(WanderingNotes, ClassicAndFmKeepTheSoundOfTheSampleLoop) {
    expectSameSound<EngineClassic>(50.0f, 0.6f, 0.3f, 0.5f);
    expectSameSound<EngineClassic>(67.0f, 0.0f, 0.3f, 0.0f);
    expectSameSound<EngineFM>(50.0f, 0.4f, 0.25f, 0.0f);
    expectSameSound<EngineFM>(72.0f, 0.7f, 0.1f, 0.6f);
}

TEST(VectorReads, FourCellReadEqualsTheScalarReadExactly) {
    const float* saw = sawAddress(40);
    for (int k = 0; k < 64; ++k) {
        // Phases spread over the whole cycle, including the last cell and a whole number.
        const float base = std::fmod(97.31f * float(k), 4096.0f);
        const __m128 p =
            _mm_setr_ps(base, std::fmod(base + 1000.5f, 4096.0f), 4095.75f, float(k * 64));
        const simd::Cells c = simd::cellsOf(p);
        alignas(16) float got[4], at[4];
        _mm_store_ps(got, simd::read4(saw, c.index, c.frac));
        _mm_store_ps(at, p);
        for (int lane = 0; lane < 4; ++lane)
            EXPECT_EQ(got[lane], readTable(saw, at[lane])) << "phase " << at[lane];
    }
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

} // namespace
} // namespace torvo

// "Noise", "HardFM" and "Vowel" read steady blocks four samples at a time, leave out reads a
// control multiplies away, and run their filters with the channels or stages side by side.
// Each fast form is pinned here against the plain one it replaces:
// - the formant stages side by side give exactly the samples of one stage after the other;
// - the noise filter's four passes folded into one step stay within float rounding of the
//   passes, and the whole noise path within that of the plain per-sample mix and filter;
// - reads left out (no blend, no morph, no depth) change nothing;
// - steady blocks keep the sound of the sample loop (two engines seeded alike, one told a
//   retrigger may come, which sends it down the sample loop). The phases differ by rounding
//   only (a product instead of a running sum, whose rounding gathers over the blocks and which
//   a deep modulation magnifies), so the two stay within a small fraction of full scale,
//   where a wrong wrap, weight or note is off by a large part of it.

#include "engine/denormals.h"
#include "engine/pool.h"
#include "sources/enginehardfm.h"
#include "sources/enginenoise.h"
#include "sources/enginevowel.h"
#include "sources/pitchincrement.h"
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

using test::compareRenders;
using test::Comparison;
using test::Streams;

/// "Noise" with its output and work buffers, rendered like the other engines.
struct NoiseRig {
    void allocate(Pool& pool, int frames) {
        engine.allocate(pool, frames);
        outL = pool.get("test noise L", frames);
        outR = pool.get("test noise R", frames);
        cut = pool.get("test noise cut", frames);
        res = pool.get("test noise res", frames);
    }
    void seedPhases(const float* phases) { engine.seedPhases(phases); }
    void render(const OscBlock& b) { engine.render(b, outL, outR, cut, res); }
    const float* left() const { return outL; }
    const float* right() const { return outR; }

    EngineNoise engine;
    float* outL = nullptr;
    float* outR = nullptr;
    float* cut = nullptr;
    float* res = nullptr;
};

/// The steady reads against the sample loop: within `tolerance` of the loudest sample.
template <class Engine> void expectSteadyKeepsTheSound(const Streams& s, float tolerance) {
    const Comparison c = compareRenders<Engine>(
        s, [](const Streams& x, int) { return x.block(true); },
        [](const Streams& x, int) { return x.block(false); });
    EXPECT_GT(c.loudest, 0.01f);
    EXPECT_LT(c.worst, tolerance * c.loudest);
}

/// Two renders that must agree bit for bit.
template <class Engine> void expectIdentical(const Streams& a, const Streams& b) {
    ScopedFlushDenormals flush;
    setPitchIncrementRate(48000.0f);
    Pool pool;
    Engine first;
    Engine second;
    first.allocate(pool, kFrames);
    second.allocate(pool, kFrames);
    float phases[kUnisonSlots];
    for (int i = 0; i < kUnisonSlots; ++i) phases[i] = 301.7f * float(i) + 5.25f;
    first.seedPhases(phases);
    second.seedPhases(phases);
    float loudest = 0.0f;
    for (int block = 0; block < kBlocks; ++block) {
        first.render(a.block(true));
        second.render(b.block(true));
        for (int i = 0; i < a.frames; ++i) {
            ASSERT_EQ(first.left()[i], second.left()[i]) << "block " << block << " sample " << i;
            ASSERT_EQ(first.right()[i], second.right()[i]) << "block " << block << " sample " << i;
            loudest = std::max(loudest, std::fabs(first.left()[i]));
        }
    }
    EXPECT_GT(loudest, 0.01f);
}

// ---------------------------------------------------------------------------------------------
// "Vowel"

TEST(VowelLoops, StagesSideBySideGiveTheSamplesOfOneStageAfterTheOther) {
    // A rough input, ctrlA and ctrlB that move on some samples and hold on others (both paths
    // of the coefficient check), a block length that is not a multiple of 4.
    constexpr int n = 203;
    std::vector<float> inL(n + 4), inR(n + 4), A(n + 4), B(n + 4);
    for (int i = 0; i < n + 4; ++i) {
        inL[i] = std::sin(0.37f * float(i)) + 0.3f * float((i * 7) % 5) - 0.6f;
        inR[i] = std::cos(0.11f * float(i)) * 0.8f;
        A[i] = i < 60 ? 0.25f : std::min(1.0f, 0.25f + 0.004f * float(i - 60));
        B[i] = i < 120 ? 0.1f + 0.001f * float(i / 7) : 0.7f;
    }
    FormantBank bank;
    std::array<FormantStage, 4> refL{}, refR{};
    std::vector<float> wantL(n), wantR(n);
    for (int pass = 0; pass < 3; ++pass) {
        for (int i = 0; i < n; ++i) {
            float coef[4], feedback[4];
            EngineVowel::coefficients(A[i], B[i], 1.0f / 44100.0f, coef, feedback);
            float l = 0.0f, r = 0.0f;
            for (int k = 0; k < 4; ++k) {
                l += refL[k].process(inL[i], coef[k], feedback[k]);
                r += refR[k].process(inR[i], coef[k], feedback[k]);
            }
            wantL[i] = l * 0.25f;
            wantR[i] = r * 0.25f;
        }
        std::vector<float> gotL = inL, gotR = inR;
        bank.process(gotL.data(), gotR.data(), A.data(), B.data(), n, 44100.0f);
        for (int i = 0; i < n; ++i) {
            ASSERT_EQ(gotL[i], wantL[i]) << "pass " << pass << " sample " << i;
            ASSERT_EQ(gotR[i], wantR[i]) << "pass " << pass << " sample " << i;
        }
        for (int k = 0; k < 4; ++k) {
            EXPECT_EQ(bank.stagesL[k].x, refL[k].x);
            EXPECT_EQ(bank.stagesR[k].s1, refR[k].s1);
        }
    }
}

TEST(VowelLoops, SteadyReadsKeepTheSoundOfTheSampleLoop) {
    expectSteadyKeepsTheSound<EngineVowel>(Streams(57.0f, 0.3f, 0.4f, 0.0f), 0.01f);
    expectSteadyKeepsTheSound<EngineVowel>(Streams(45.0f, 0.8f, 0.1f, 0.6f), 0.01f);
    Streams sweep(70.0f, 0.1f, 0.6f, 0.2f);
    sweep.rampA(0.6f).rampW(0.5f);
    expectSteadyKeepsTheSound<EngineVowel>(sweep, 0.01f);
    // Five copies (runs of reads of unequal length) and a block of odd length.
    Streams odd(52.0f, 0.6f, 0.3f, 0.4f);
    odd.count = 5;
    odd.frames = 201;
    expectSteadyKeepsTheSound<EngineVowel>(odd, 0.01f);
}

TEST(VowelLoops, SawOnlyReadsEqualTheBlendAtZero) {
    Streams plain(62.0f, 0.5f, 0.3f, 0.0f);
    Streams blended = plain;
    blended.claimWtmixModulated = true;
    expectIdentical<EngineVowel>(plain, blended);
}

// ---------------------------------------------------------------------------------------------
// "Noise"

/// The filter as defined: four passes in float, the mean of the tap.
float fourPasses(float& low, float& band, float in, float f, float q, bool highPass) {
    float sum = 0.0f;
    for (int pass = 0; pass < 4; ++pass) {
        const float h = in - q * band;
        low += f * band;
        const float high = h - low;
        band += f * high;
        sum += highPass ? high : low;
    }
    return sum * 0.25f;
}

TEST(NoiseLoops, FoldedStepStaysWithinRoundingOfTheFourPasses) {
    // From a low, sharp resonance to a high, damped cut-off, both taps.
    const float cuts[] = {0.0005f, 0.01f, 0.12f, 0.47f, 0.6f};
    const float damps[] = {0.01f, 0.3f, 0.9f};
    for (float f : cuts) {
        for (float q : damps) {
            for (bool highPass : {false, true}) {
                NoiseSvfStep step;
                step.set(f, q, highPass);
                float low = 0.0f, band = 0.0f;
                double sl = 0.0, sb = 0.0;
                float worst = 0.0f, loudest = 0.0f;
                uint32_t rng = 12345u;
                for (int i = 0; i < 20000; ++i) {
                    rng = rng * 1664525u + 1013904223u;
                    const float in = float(int32_t(rng)) * 4.6566e-10f;
                    const float want = fourPasses(low, band, in, f, q, highPass);
                    const double got = step.c0 * sl + step.c1 * sb + step.d * in;
                    const double nl = step.a00 * sl + step.a01 * sb + step.b0 * in;
                    sb = step.a10 * sl + step.a11 * sb + step.b1 * in;
                    sl = nl;
                    worst = std::max(worst, std::fabs(float(got) - want));
                    loudest = std::max(loudest, std::fabs(want));
                }
                SCOPED_TRACE(testing::Message() << "f " << f << " q " << q << " hp " << highPass);
                EXPECT_GT(loudest, 0.01f);
                // The passes' own rounding, gathered by a slowly decaying resonance at the
                // sharpest setting.
                EXPECT_LT(worst, (f * q < 1.0e-4f ? 2.0e-3f : 2.0e-5f) * loudest);
            }
        }
    }
}

/// Renders "Noise" and, beside it, the plain per-sample form of its noise, mix and filter
/// from the wave sums and the cut-off and damping buffers the engine leaves behind.
Comparison noiseAgainstPlainForm(const Streams& s, int retrigBlock) {
    ScopedFlushDenormals flush;
    setPitchIncrementRate(48000.0f);
    Pool pool;
    NoiseRig rig;
    rig.allocate(pool, kFrames);
    float phases[kUnisonSlots];
    for (int i = 0; i < kUnisonSlots; ++i) phases[i] = 211.3f * float(i) + 7.5f;
    rig.seedPhases(phases);
    PinkNoise left = rig.engine.left;
    PinkNoise right = rig.engine.right;
    float lowL = 0.0f, bandL = 0.0f, lowR = 0.0f, bandR = 0.0f;
    Streams x = s;
    Comparison c;
    for (int block = 0; block < kBlocks; ++block) {
        std::fill(x.retrig.begin(), x.retrig.end(), 0.0f);
        if (block == retrigBlock) x.retrig[77] = 1.0f;
        const OscBlock b = x.block(true, block == retrigBlock);
        rig.render(b);
        const float cw = (b.width + 1.0f) * 0.5f;
        for (int i = 0; i < b.frames; ++i) {
            if (b.retrig[i] == 1.0f && b.phaseValue > 0.0f) {
                left.seed(1732584193u, 0xefcd0000u + uint32_t(b.phaseValue * 43913.0f));
                right.seed(1732584193u, 0xefab0000u + uint32_t(b.phaseValue * 52617.0f));
                lowL = bandL = lowR = bandR = 0.0f;
            }
            const float pl = left.next();
            const float pr = right.next();
            const float w = b.wtmix[i];
            const float inL =
                (pr * (1.0f - cw) + pl * cw) * (1.0f - w) + w * rig.engine.buffers.sumL[i];
            const float inR =
                (pl * (1.0f - cw) + pr * cw) * (1.0f - w) + w * rig.engine.buffers.sumR[i];
            const bool hp = b.keyTrack ? b.ctrlAValue > 0.5f : b.ctrlA[i] > 0.5f;
            const float wantL = fourPasses(lowL, bandL, inL, rig.cut[i], rig.res[i], hp);
            const float wantR = fourPasses(lowR, bandR, inR, rig.cut[i], rig.res[i], hp);
            c.worst = std::max(c.worst, std::fabs(rig.left()[i] - wantL));
            c.worst = std::max(c.worst, std::fabs(rig.right()[i] - wantR));
            c.loudest = std::max(c.loudest, std::fabs(wantL));
        }
    }
    return c;
}

TEST(NoiseLoops, WholeNoisePathStaysWithinRoundingOfThePlainForm) {
    struct Case {
        Streams s;
        int retrigBlock;
    };
    std::vector<Case> cases;
    cases.push_back({Streams(60.0f, 0.3f, 0.5f, 0.0f), -1});
    cases.push_back({Streams(48.0f, 0.0f, 0.5f, 0.4f), -1});
    // Without key tracking ctrlA sweeps across the middle: the tap switches mid-block.
    Streams sweep(52.0f, 0.3f, 0.8f, 0.3f);
    sweep.keyTrack = false;
    sweep.rampA(0.45f);
    cases.push_back({sweep, -1});
    // A repeatable noise restarts, filters cleared, on a retrigger.
    Streams restart(66.0f, 0.7f, 0.2f, 0.5f);
    restart.phaseValue = 0.4f;
    restart.width = 1.0f;
    cases.push_back({restart, 5});
    // A block of odd length: the last group is cut short.
    Streams odd(45.0f, 0.2f, 0.9f, 0.6f);
    odd.frames = 198;
    cases.push_back({odd, -1});
    for (const Case& k : cases) {
        const Comparison c = noiseAgainstPlainForm(k.s, k.retrigBlock);
        EXPECT_GT(c.loudest, 0.01f);
        EXPECT_LT(c.worst, 2.0e-5f * c.loudest);
    }
}

TEST(NoiseLoops, SteadyReadsKeepTheSoundOfTheSampleLoop) {
    expectSteadyKeepsTheSound<NoiseRig>(Streams(57.0f, 0.3f, 0.4f, 1.0f), 0.01f);
    Streams sweep(40.0f, 0.6f, 0.2f, 0.3f);
    sweep.rampW(0.6f);
    expectSteadyKeepsTheSound<NoiseRig>(sweep, 0.01f);
}

TEST(NoiseLoops, WaveReadsLeftOutWithoutABlendChangeNothing) {
    // Without a blend the wave's readers only keep time; once a blend comes in they must be
    // where reading them all along would have left them.
    Streams plain(55.0f, 0.4f, 0.3f, 0.0f);
    Streams claimed = plain;
    claimed.claimWtmixModulated = true;
    expectIdentical<NoiseRig>(plain, claimed);
    Streams skipped = plain;
    Streams read = claimed;
    const auto blendLater = [](Streams& x, int block) {
        if (block == kBlocks / 2) std::fill(x.wtmix.begin(), x.wtmix.end(), 0.8f);
        return x.block(true);
    };
    const Comparison c = compareRenders<NoiseRig>(
        plain, [&](const Streams&, int block) { return blendLater(skipped, block); },
        [&](const Streams&, int block) { return blendLater(read, block); });
    EXPECT_GT(c.loudest, 0.01f);
    // The kept time and the read time round the phase differently, by a hair.
    EXPECT_LT(c.worst, 1.0e-3f * c.loudest);
}

// ---------------------------------------------------------------------------------------------
// "HardFM"

TEST(HardFmLoops, SteadyReadsKeepTheSoundOfTheSampleLoop) {
    // Depth 0, a deep modulation at several ratios, morphs at both ends, the first wave
    // (which is not boosted by the morph) and the last (whose next wave is the first).
    for (float a : {0.0f, 0.4f, 1.0f}) {
        SCOPED_TRACE(a);
        expectSteadyKeepsTheSound<EngineHardFM>(Streams(60.0f, a, 0.3f, 0.3f), 0.03f);
    }
    expectSteadyKeepsTheSound<EngineHardFM>(Streams(48.0f, 0.7f, 0.55f, 0.0f), 0.03f);
    expectSteadyKeepsTheSound<EngineHardFM>(Streams(72.0f, 0.5f, 0.9f, 1.0f), 0.03f);
    Streams first(50.0f, 0.6f, 0.2f, 0.5f);
    first.wave = 0;
    expectSteadyKeepsTheSound<EngineHardFM>(first, 0.03f);
    Streams last(64.0f, 0.6f, 0.5f, 0.5f);
    last.wave = kWaveCount - 1;
    expectSteadyKeepsTheSound<EngineHardFM>(last, 0.03f);
    // Depth and morph that move within the block, and a block of odd length.
    Streams moving(55.0f, 0.2f, 0.45f, 0.1f);
    moving.rampA(0.5f).rampW(0.6f);
    moving.frames = 199;
    expectSteadyKeepsTheSound<EngineHardFM>(moving, 0.03f);
}

TEST(HardFmLoops, NextWaveReadsLeftOutWithoutAMorphChangeNothing) {
    Streams plain(58.0f, 0.5f, 0.35f, 0.0f);
    Streams claimed = plain;
    claimed.claimWtmixModulated = true;
    expectIdentical<EngineHardFM>(plain, claimed);
}

TEST(HardFmLoops, SettledPitchAndHeldDepthFollowTheSubSampleSmoothing) {
    // A new pitch every few blocks: the smoothing runs, settles, and is then filled at once;
    // a retrigger of a sounding voice starts the depth glide, which must run and end as it
    // would sub-sample by sub-sample.
    ScopedFlushDenormals flush;
    setPitchIncrementRate(48000.0f);
    Pool pool;
    EngineHardFM engine;
    engine.allocate(pool, kFrames);
    float phases[kUnisonSlots] = {};
    engine.seedPhases(phases);
    Streams s(50.0f, 0.6f, 0.3f, 0.4f);
    s.count = 3;
    float y = s.pitch[0];
    DepthGlide glide;
    std::vector<float> a2(2 * kFrames + 8), retrig2(2 * kFrames + 8), depth2(2 * kFrames + 8);
    for (int block = 0; block < 20; ++block) {
        const float note = 50.0f + float(block / 5) * 3.0f;
        std::fill(s.pitch.begin(), s.pitch.end(), note / 127.0f);
        std::fill(s.retrig.begin(), s.retrig.end(), 0.0f);
        const bool retriggers = block == 11;
        // The depth steps down with the retrigger, on the first sample.
        if (retriggers) s.retrig[0] = 1.0f;
        std::fill(s.ctrlA.begin(), s.ctrlA.end(), block < 11 ? 0.6f : 0.2f);
        OscBlock b = s.block(true, retriggers);
        b.envAtRetrig = 0.5f;
        engine.render(b);
        for (int i = 0; i < kFrames; ++i) {
            for (int k = 0; k < 2; ++k) {
                y += 0.05f * (s.pitch[i] - y);
                a2[2 * i + k] = s.ctrlA[i];
            }
            retrig2[2 * i] = s.retrig[i];
            retrig2[2 * i + 1] = 0.0f;
        }
        glide.fill(a2.data(), retrig2.data(), true, 200.0f / 48000.0f, depth2.data(), 2 * kFrames);
        SCOPED_TRACE(block);
        ASSERT_EQ(engine.smoothPitch, y);
        ASSERT_EQ(engine.depth.y, glide.y);
        ASSERT_EQ(engine.depth.gliding, glide.gliding);
        if (block == 12) {
            EXPECT_TRUE(glide.gliding);
        }
    }
    EXPECT_FALSE(glide.gliding);
}

} // namespace
} // namespace torvo

// The LFO driven on its own with note streams of the test's making: rates measured from the
// output (free and synced at two tempos), every calculated shape and the wave-bank cross-fade
// against their definitions, the symmetry bias and amplitude, phase keeping across quick notes,
// the fade-in curve, mono sharing and the real-time rule.

#include "engine/aplugin.h"
#include "engine/engineshared.h"
#include "engine/notevoice.h"
#include "engine/routetable.h"
#include "modulators/lfoshapes.h"
#include "modulators/moduleenvelope.h"
#include "modulators/modulelfo.h"
#include "shell/paramtable.h"
#include "sources/wavebank.h"
#include "support/alloccounter.h"
#include "support/standalonemodule.h"
#include "support/testengine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <vector>

namespace torvo {
namespace {

constexpr int kBlock = 256;
constexpr float kRate = 44100.0f;
constexpr int kWatched = 3;

double fakeNow = 0.0;
double fakeClock() {
    return fakeNow;
}

// Local indices of the module.
enum {
    kRateL = 0,
    kTimeL,
    kSymL,
    kSyncL,
    kMonoL,
    kMorphL,
    kPhaseL,
    kFormL,
    kAmpL,
    kFadeL,
    kDriftL
};

/// One LFO with note streams for all 17 voices, unit amplitude and symmetry 1, so that the
/// output is the shape itself unless a test says otherwise.
struct Rig {
    Rig() {
        lfo.m.setSampleRate(kRate);
        lfo.m.setClock(fakeClock);
        for (int v = 0; v < kVoiceCount; ++v) {
            notes[v].assign(kBlock, TriggerRecord{0.0f, 0, 0, 0});
            table[v] = notes[v].data();
            lfo.shared.active[v] = 1;
            fresh[v] = true;
            lfo.shared.env1FreshStart[v] = &fresh[v];
        }
        lfo.m.setTriggerSources(table.data());
        set(kAmpL, 1.0f);
        lfo.m.symmetry.reset(1.0f);
        lfo.m.morph.reset(0.5f);
        fakeNow = 0.0;
    }

    void set(int local, float value) { lfo.m.setParameter(local, value); }
    void form(int f) { set(kFormL, f * kThousandth); }
    VoiceLfo& voice(int v = kWatched) { return lfo.m.voice(v); }
    const float* out(int v = kWatched) { return lfo.m.getOutputs(0)[v]; }

    /// One block with an LFO retrigger of voice `v` at `at` (-1: none).
    void block(int at = -1, int v = kWatched) {
        for (auto& n : notes) std::fill(n.begin(), n.end(), TriggerRecord{0.0f, 0, 0, 0});
        if (at >= 0) notes[v][at].trigger3 = 1;
        lfo.m.process(kBlock, 1);
    }

    /// `samples` of voice `v`'s output.
    std::vector<float> trace(int samples, int v = kWatched) {
        std::vector<float> t;
        while (static_cast<int>(t.size()) < samples) {
            block();
            t.insert(t.end(), out(v), out(v) + kBlock);
        }
        t.resize(samples);
        return t;
    }

    /// The shape's value at phase p and morph m, with the LFO stopped.
    float shapeAt(double p, float m) {
        set(kRateL, 0.0f);
        lfo.m.morph.reset(m);
        voice().phase = p;
        block();
        return out()[kBlock - 1];
    }

    test::Standalone<ModuleLfo> lfo{kBlock, "lfo1"};
    std::array<std::vector<TriggerRecord>, kVoiceCount> notes;
    std::array<TriggerRecord*, kVoiceCount> table{};
    bool fresh[kVoiceCount] = {};
};

/// Cycles per second of a rising saw, from the sample positions of its falls.
double sawFrequency(const std::vector<float>& t) {
    int first = -1, last = -1, falls = 0;
    for (size_t i = 1; i < t.size(); ++i) {
        if (t[i] < t[i - 1] - 0.5f) {
            if (first < 0) first = static_cast<int>(i);
            last = static_cast<int>(i);
            ++falls;
        }
    }
    if (falls < 2) return 0.0;
    return kRate * (falls - 1) / static_cast<double>(last - first);
}

double definitionSine(double p) {
    return (std::sin(2.0 * 3.14159265f * p - 3.14159265f / 2.0) + 1.0) / 2.0;
}

TEST(LfoRate, FreeRateFollowsTheRateTableMeasuredFromTheOutput) {
    // Rate knob at table points 8, 9, 10, 11 and between 8 and 9: 5, 10, 30, 100 and 7.5 Hz.
    const struct {
        float knob;
        double hz;
    } cases[] = {
        {8.0f / 11, 5.0}, {9.0f / 11, 10.0}, {10.0f / 11, 30.0}, {1.0f, 100.0}, {8.5f / 11, 7.5}};
    for (const auto& c : cases) {
        Rig r;
        r.form(ModuleLfo::kFormTri);
        r.lfo.m.morph.reset(1.0f); // rising saw
        r.set(kRateL, c.knob);
        EXPECT_NEAR(sawFrequency(r.trace(static_cast<int>(kRate))), c.hz, c.hz * 0.002) << c.knob;
    }
}

TEST(LfoRate, SyncedRateIsTempoOverTheDivisorAtTwoTempos) {
    const struct {
        float bpm;
        int index;
        double hz;
    } cases[] = {{120.0f, 10, 2.0},
                 {120.0f, 13, 4.0},
                 {90.0f, 10, 1.5},
                 {90.0f, 16, 6.0},
                 {120.0f, 20, 32.0}};
    for (const auto& c : cases) {
        Rig r;
        r.lfo.shared.tempo = c.bpm;
        r.set(kSyncL, 1.0f);
        r.set(kTimeL, c.index * kThousandth);
        r.set(kRateL, 0.0f); // the free rate is ignored while synced
        r.form(ModuleLfo::kFormTri);
        r.lfo.m.morph.reset(1.0f);
        EXPECT_NEAR(sawFrequency(r.trace(static_cast<int>(2 * kRate))), c.hz, c.hz * 0.002)
            << c.bpm << " " << c.index;
    }
}

TEST(LfoRate, SyncedIndexMovesWithModulationAndStopsAtTheLastDivision) {
    EXPECT_EQ(ModuleLfo::syncedTimeIndex(10, 0.0f, 0.0f), 10);
    // The all-LFO modulation moves in whole twentieths, the own modulation adds before the cut.
    EXPECT_EQ(ModuleLfo::syncedTimeIndex(10, 0.12f, 0.0f), 12);
    EXPECT_EQ(ModuleLfo::syncedTimeIndex(10, 0.12f, 0.06f), 13);
    // The own part is added to the cut twentieths of the all-LFO part and then cut: 1 + 0.8.
    EXPECT_EQ(ModuleLfo::syncedTimeIndex(10, 0.07f, 0.04f), 11);
    EXPECT_EQ(ModuleLfo::syncedTimeIndex(18, 0.5f, 0.5f), 20);
    EXPECT_EQ(ModuleLfo::syncedTimeIndex(2, -0.5f, 0.0f), 0);
}

TEST(LfoRate, RateZeroHoldsTheShapeAtItsValue) {
    Rig r;
    r.set(kRateL, 0.0f);
    r.voice().phase = 0.3;
    const std::vector<float> t = r.trace(4 * kBlock);
    for (float x : t) EXPECT_EQ(x, t[0]);
    EXPECT_NEAR(t[0], definitionSine(0.3), 1e-6);
    EXPECT_EQ(r.voice().phase, 0.3);
}

TEST(LfoRate, DriftOffsetPastTheTopFallsTowardsTheFirstPoint) {
    // The point after the last is the first (0 Hz).
    EXPECT_NEAR(readLfoRate(11.0f), 100.0f, 1e-4f);
    EXPECT_NEAR(readLfoRate(11.1f), 90.0f, 0.01f);
    EXPECT_NEAR(readLfoRate(3.5f), 0.58f, 1e-5f);
}

TEST(LfoShapes, SineMorphsTowardsTriangleAndSquare) {
    Rig r;
    for (double p : {0.0, 0.1, 0.25, 0.4, 0.5, 0.77, 0.9}) {
        const double c = definitionSine(p);
        const double tri = p <= 0.5 ? 2 * p : 2 * (1 - p);
        // 0.5 is a pure sine: the blend is all c.
        EXPECT_NEAR(r.shapeAt(p, 0.5f), c, 1e-6) << p;
        EXPECT_NEAR(r.shapeAt(p, 0.0f), tri, 1e-6) << p;
        EXPECT_NEAR(r.shapeAt(p, 0.25f), 0.5 * tri + 0.5 * c, 1e-6) << p;
        // At 1 the sine is driven by 11 and clipped: a near square.
        const double sq = std::clamp(11.0 * (c - 0.5), -0.5, 0.5) + 0.5;
        EXPECT_NEAR(r.shapeAt(p, 1.0f), sq, 1e-6) << p;
        const double w = 0.5;
        EXPECT_NEAR(r.shapeAt(p, 0.75f),
                    std::clamp((10 * w * w * w + 1) * (c - 0.5), -0.5, 0.5) + 0.5, 1e-6)
            << p;
    }
}

TEST(LfoShapes, RunningSineMatchesItsDefinitionAtEverySample) {
    Rig r;
    r.set(kRateL, 9.5f / 11); // 20 Hz
    const double inc = static_cast<double>(readLfoRate(9.5f)) / kRate;
    r.voice().phase = 0.37;
    const std::vector<float> t = r.trace(static_cast<int>(kRate));
    double p = 0.37;
    for (size_t i = 0; i < t.size(); ++i) {
        ASSERT_NEAR(t[i], definitionSine(p), 2e-7) << i;
        p += inc;
        if (p >= 1.0) p -= 1.0;
    }
}

TEST(LfoShapes, TrianglePeakFollowsMorphWithSawsAtTheEnds) {
    Rig r;
    r.form(ModuleLfo::kFormTri);
    for (double p : {0.0, 0.1, 0.25, 0.5, 0.8, 0.99}) {
        EXPECT_NEAR(r.shapeAt(p, 0.0f), 1.0 - p, 1e-6) << p; // falling
        EXPECT_NEAR(r.shapeAt(p, 1.0f), p, 1e-6) << p;       // rising
        EXPECT_NEAR(r.shapeAt(p, 0.25f), p <= 0.25 ? p / 0.25 : (1 - p) / 0.75, 1e-6) << p;
    }
    // A rising saw at m = 1 never takes the falling branch, even at the top.
    EXPECT_NEAR(r.shapeAt(0.9999, 1.0f), 0.9999, 1e-6);
}

TEST(LfoShapes, SquareWidthNeverReachesZeroOrOne) {
    Rig r;
    r.form(ModuleLfo::kFormSqr);
    EXPECT_EQ(r.shapeAt(0.5, 0.5f), 1.0f);
    EXPECT_EQ(r.shapeAt(0.51, 0.5f), 0.0f);
    EXPECT_EQ(r.shapeAt(0.005, 0.0f), 1.0f); // width 0.01
    EXPECT_EQ(r.shapeAt(0.02, 0.0f), 0.0f);
    EXPECT_EQ(r.shapeAt(0.985, 1.0f), 1.0f); // width 0.99
    EXPECT_EQ(r.shapeAt(0.995, 1.0f), 0.0f);
}

TEST(LfoShapes, SampleAndHoldTakesTheGeneratorAtEachWrap) {
    Rig r;
    r.form(ModuleLfo::kFormSampleHold);
    r.set(kRateL, 1.0f); // 100 Hz: 441 samples a cycle
    // The generator of the voice, stepped here on its own.
    uint32_t a = 0x67452301u, b = 0xEFCDAB89u;
    auto next = [&]() {
        const uint32_t t = b;
        a ^= t;
        b = a + t;
        return static_cast<float>(static_cast<int32_t>(t)) / 4294967296.0f + 0.5f;
    };
    const std::vector<float> t = r.trace(2000);
    EXPECT_EQ(t[0], 0.0f); // nothing held before the first wrap
    int changes = 0;
    for (size_t i = 1; i < t.size(); ++i) {
        if (t[i] == t[i - 1]) continue;
        ++changes;
        EXPECT_FLOAT_EQ(t[i], next()) << i;
        EXPECT_GE(t[i], 0.0f);
        EXPECT_LE(t[i], 1.0f);
    }
    EXPECT_EQ(changes, 4); // wraps after 441, 882, 1323, 1764 samples
}

TEST(LfoShapes, SampleAndGlideRunsStraightToEachNewValue) {
    Rig r;
    r.form(ModuleLfo::kFormSampleGlide);
    r.set(kRateL, 1.0f);
    const std::vector<float> t = r.trace(4000);
    float biggestStep = 0.0f;
    for (size_t i = 1; i < t.size(); ++i)
        biggestStep = std::max(biggestStep, std::fabs(t[i] - t[i - 1]));
    // A glide of at most 1 over 441 samples: never a jump.
    EXPECT_LT(biggestStep, 1.1f / 441.0f * 1.01f);
    // Straight within a cycle: second differences vanish away from the wraps.
    const VoiceLfo& v = r.voice();
    EXPECT_NEAR(v.slewValue, v.slewBase + v.slewDelta * static_cast<float>(v.phase - 100.0 / kRate),
                1e-4f);
    EXPECT_NEAR(t[1500] - t[1499], t[1600] - t[1599], 1e-6f);
}

TEST(LfoShapes, BankFormsCrossFadeTheirNeighbouringWaves) {
    Rig r;
    const int f = 8; // wave 5, between waves 4 and 6
    r.form(f);
    for (double p : {0.0, 0.123, 0.5, 0.777}) {
        const int i = static_cast<int>(p * 4096);
        auto wave = [&](int w) { return (waveAddress(w)[2 * i] + 1.0f) * 0.5f; };
        EXPECT_NEAR(r.shapeAt(p, 0.5f), wave(5), 1e-6) << p;
        EXPECT_NEAR(r.shapeAt(p, 0.0f), wave(4), 1e-6) << p;
        EXPECT_NEAR(r.shapeAt(p, 1.0f), wave(6), 1e-6) << p;
        EXPECT_NEAR(r.shapeAt(p, 0.25f), 0.5f * wave(4) + 0.5f * wave(5), 1e-6) << p;
        EXPECT_NEAR(r.shapeAt(p, 0.75f), 0.5f * wave(5) + 0.5f * wave(6), 1e-6) << p;
    }
    // The ends of the list wrap to the last wave and to the first wave after the calculated.
    EXPECT_EQ(lfoWavesOf(5).previous, 48);
    EXPECT_EQ(lfoWavesOf(5).current, 2);
    EXPECT_EQ(lfoWavesOf(51).current, 48);
    EXPECT_EQ(lfoWavesOf(51).next, 2);
}

TEST(LfoOutput, SymmetryIsABiasAndAmpScales) {
    Rig r;
    r.form(ModuleLfo::kFormTri);
    r.lfo.m.morph.reset(1.0f);
    r.set(kAmpL, 0.8f);
    r.lfo.m.symmetry.reset(0.5f);
    EXPECT_NEAR(r.shapeAt(0.0, 1.0f), -0.4f, 1e-6f);
    EXPECT_NEAR(r.shapeAt(0.999999, 1.0f), 0.4f, 1e-5f);
    r.lfo.m.symmetry.reset(0.0f);
    EXPECT_NEAR(r.shapeAt(0.0, 1.0f), -0.8f, 1e-6f);
    EXPECT_NEAR(r.shapeAt(0.5, 1.0f), -0.4f, 1e-6f);
    r.lfo.m.symmetry.reset(1.0f);
    EXPECT_NEAR(r.shapeAt(0.5, 1.0f), 0.4f, 1e-6f);
}

TEST(LfoPhase, KnobAtZeroKeepsThePhaseForNotesUnderASecondApart) {
    Rig r;
    r.set(kRateL, 9.0f / 11); // 10 Hz
    const double inc = 10.0 / kRate;
    fakeNow = 5.0;
    r.block(0); // first note after a long pause: a phase from the bag
    const double drawn = r.voice().phase - kBlock * inc;
    EXPECT_NEAR(std::fmod(drawn * 16.0 + 1e-9, 1.0), 0.0, 1e-6) << drawn;
    r.block();
    const double before = r.voice().phase;
    fakeNow = 5.6;
    r.block(100); // 0.6 s later: the phase runs on
    EXPECT_NEAR(r.voice().phase, std::fmod(before + kBlock * inc, 1.0), 1e-9);
    fakeNow = 6.5;
    r.block(7); // 0.9 s after the last: still on
    const double kept = r.voice().phase;
    EXPECT_NEAR(kept, std::fmod(before + 2 * kBlock * inc, 1.0), 1e-9);
    fakeNow = 8.0;
    r.block(0); // 1.5 s: a new phase from the bag
    const double restarted = r.voice().phase - kBlock * inc;
    EXPECT_NEAR(std::fmod(restarted * 16.0 + 1e-9, 1.0), 0.0, 1e-6);
    EXPECT_GT(std::fabs(r.voice().phase - std::fmod(kept + kBlock * inc, 1.0)), 1e-6);
}

TEST(LfoPhase, RetriggeredVoiceKeepsItsPhaseWhateverThePause) {
    Rig r;
    r.set(kRateL, 9.0f / 11);
    r.fresh[kWatched] = false; // env1 was retriggered, not started from idle
    fakeNow = 10.0;
    const double before = r.voice().phase;
    r.block(0);
    EXPECT_NEAR(r.voice().phase, before + kBlock * 10.0 / kRate, 1e-9);
    EXPECT_EQ(r.voice().lastRetrigTime, 10.0);
}

TEST(LfoPhase, KnobFreeRangeStartsEveryNoteAtItsPhase) {
    Rig r;
    r.set(kRateL, 9.0f / 11);
    r.set(kPhaseL, 0.03f); // a quarter cycle in
    for (double now : {0.0, 0.2, 0.4, 3.0}) {
        fakeNow = now;
        r.block(56);
        EXPECT_NEAR(r.voice().phase, 0.25 + 200 * 10.0 / kRate, 1e-9) << now;
    }
    // The sine at a quarter cycle in is at its middle, rising.
    r.set(kRateL, 0.0f);
    r.block(0);
    EXPECT_NEAR(r.out()[0], 0.5f, 1e-6f);
}

TEST(LfoPhase, DriftRedrawsASmallRateOffsetAtEachNote) {
    Rig r;
    r.set(kDriftL, 1.0f);
    r.set(kRateL, 0.5f);
    fakeNow = 3.0;
    bool moved = false;
    for (int n = 0; n < 4; ++n) {
        r.block(0);
        const float d = r.voice().driftOffset;
        EXPECT_GE(d, 0.0f);
        EXPECT_LT(d, 0.01f);
        EXPECT_NEAR(std::fmod(d / 0.01f * 16.0f + 1e-4f, 1.0f), 0.0f, 1e-3f);
        moved |= d != 0.0f;
    }
    EXPECT_TRUE(moved);
    // A start phase from the knob clears the offset.
    r.set(kPhaseL, 0.5f);
    r.block(0);
    EXPECT_EQ(r.voice().driftOffset, 0.0f);
}

TEST(LfoFade, FadeInFollowsTheCurveOverTheTableTime) {
    Rig r;
    r.form(ModuleLfo::kFormSqr); // held at 1 below
    r.lfo.m.morph.reset(1.0f);
    r.set(kRateL, 0.0f);
    r.set(kPhaseL, 0.03f);
    r.set(kFadeL, 4.0f / 31);                  // point 4: 0.1196 s
    const double total = 0.1196 * kRate + 1.0; // samples to the top
    std::vector<float> t;
    r.block(0);
    t.insert(t.end(), r.out(), r.out() + kBlock);
    while (t.size() < 6000) {
        r.block();
        t.insert(t.end(), r.out(), r.out() + kBlock);
    }
    const float step = static_cast<float>(1.0 / total);
    for (int point : {1, 5, 16, 25, 30}) {
        // After n samples the position is n * step: at n = point / 31 * total, curve[point].
        const int n = static_cast<int>(std::ceil(point / 31.0 * total));
        const float pos = n * step;
        const float expected = readLfoFadeTable(LfoTables::fadeCurve, pos * 31.0f);
        EXPECT_NEAR(t[n - 1], expected, 2e-4f) << point;
        EXPECT_NEAR(t[n - 1], LfoTables::fadeCurve[point], 0.01f) << point;
    }
    EXPECT_LT(t[static_cast<int>(total) - 3], 1.0f);
    EXPECT_EQ(t[static_cast<int>(total) + 2], 1.0f);
    EXPECT_EQ(t.back(), 1.0f);
    // A new note fades in again from nothing.
    r.block(10);
    EXPECT_EQ(r.out()[9], 1.0f);
    EXPECT_NEAR(r.out()[10], LfoTables::fadeCurve[1] * 31.0f * step, 1e-4f);
}

TEST(LfoFade, FadeKnobAtZeroLeavesTheOutputAlone) {
    Rig r;
    r.form(ModuleLfo::kFormSqr);
    r.lfo.m.morph.reset(1.0f);
    r.set(kRateL, 0.0f);
    r.set(kPhaseL, 0.03f);
    r.block(0);
    for (int i = 0; i < kBlock; ++i) EXPECT_EQ(r.out()[i], 1.0f);
}

TEST(LfoMono, MonoRendersVoiceSixteenForEveryVoiceWithItsRetrigger) {
    for (bool byMode : {false, true}) {
        Rig r;
        if (byMode)
            r.lfo.shared.monoMode = true;
        else
            r.set(kMonoL, 1.0f);
        r.set(kRateL, 0.0f);
        r.set(kPhaseL, 0.03f);
        r.block(20, kWatched); // a poly voice's stream is not read
        EXPECT_EQ(r.voice(kWatched).phase, 0.0);
        EXPECT_EQ(r.voice(kMonoVoice).phase, 0.0);
        r.block(20, kMonoVoice);
        EXPECT_EQ(r.voice(kMonoVoice).phase, 0.25);
        float* const* outs = r.lfo.m.getOutputs(0);
        for (int v = 0; v < kVoiceCount; ++v) EXPECT_EQ(outs[v], outs[kMonoVoice]);
        EXPECT_NEAR(outs[0][kBlock - 1], 0.5f, 1e-6f);
    }
}

TEST(LfoVoices, OnlyActiveVoicesRenderAndUseTwoAddsTheMonoVoice) {
    Rig r;
    r.set(kRateL, 1.0f);
    for (int v = 0; v < kVoiceCount; ++v) r.lfo.shared.active[v] = v == 2;
    r.lfo.m.process(kBlock, 1);
    EXPECT_GT(r.voice(2).phase, 0.0);
    EXPECT_EQ(r.voice(5).phase, 0.0);
    EXPECT_EQ(r.voice(kMonoVoice).phase, 0.0);
    r.lfo.m.process(kBlock, 2);
    EXPECT_GT(r.voice(kMonoVoice).phase, 0.0);
}

TEST(LfoRealtime, RenderingNeverAllocates) {
    Rig r;
    r.set(kRateL, 0.7f);
    r.set(kFadeL, 0.5f);
    r.set(kDriftL, 1.0f);
    for (int f : {0, 3, 4, 20}) {
        r.form(f);
        r.block(0);
        test::ScopedAllocCount count;
        for (int b = 0; b < 20; ++b) r.block(b * 7 % kBlock, b % kVoiceCount);
        EXPECT_EQ(count.count(), 0u) << f;
    }
}

/// Loudness of the left output in 10 ms windows over `seconds` after a note start, with lfo1
/// sent to oscillator 1's level at a full negative amount when `routed`.
std::vector<double> windowLevels(bool routed, double seconds) {
    std::unique_ptr<APlugin> engine = test::makeTestEngine(kRate, 512);
    auto set = [&](const char* name, float value) {
        const int id = findParamId(name);
        ASSERT_GE(id, 0) << name;
        engine->setParameter(id, value, 1);
    };
    set("lfo1_rate", 8.0f / 11); // 5 Hz
    set("lfo1_sync", 0.0f);
    set("lfo1_amp", 1.0f);
    set("lfo1_sym", 0.5f);
    set("lfo1_form", 0.0f);
    set("lfo1_target1", routed ? 1 * kThousandth : 0.0f); // Osc1_Amp
    set("lfo1_amt1", 0.0f);
    engine->refreshMatrix();
    engine->noteOn(0, 60, 100);
    test::StereoBlock block(512);
    std::vector<float> left;
    while (left.size() < seconds * kRate) {
        engine->render(block.pointers(), 512);
        left.insert(left.end(), block.left.begin(), block.left.end());
    }
    std::vector<double> levels;
    for (size_t w = 0; w + 441 <= left.size(); w += 441) {
        double sum = 0.0;
        for (size_t i = w; i < w + 441; ++i) sum += double(left[i]) * left[i];
        levels.push_back(std::sqrt(sum / 441.0));
    }
    return levels;
}

TEST(LfoEngine, RoutedLfoMovesTheOscillatorLevelAtItsRate) {
    const std::vector<double> plain = windowLevels(false, 1.2);
    const std::vector<double> moved = windowLevels(true, 1.2);
    // From 0.2 s on, past the attack.
    const std::vector<double> p(plain.begin() + 20, plain.end());
    const std::vector<double> m(moved.begin() + 20, moved.end());
    const auto [pMin, pMax] = std::minmax_element(p.begin(), p.end());
    ASSERT_GT(*pMin, 1e-3) << "the default patch should sound";
    EXPECT_LT(*pMax / *pMin, 1.5); // beating of the patch itself
    const auto [mMin, mMax] = std::minmax_element(m.begin(), m.end());
    EXPECT_GT(*mMax, 20.0 * *mMin); // the level swings to nearly nothing
    // Five cycles a second: rising crossings of the mean level one fifth of a second apart.
    double mean = 0.0;
    for (double x : m) mean += x / m.size();
    std::vector<int> ups;
    for (size_t k = 1; k < m.size(); ++k)
        if (m[k - 1] < mean && m[k] >= mean) ups.push_back(static_cast<int>(k));
    ASSERT_GE(ups.size(), 3u);
    for (size_t k = 1; k < ups.size(); ++k) EXPECT_NEAR(ups[k] - ups[k - 1], 20, 2);
}

TEST(LfoEngine, RateModulationMovesTheSyncedDivisionAndStopsAtTheLast) {
    const auto measure = [](bool modulated) {
        std::unique_ptr<APlugin> engine = test::makeTestEngine(kRate, 512);
        auto set = [&](const char* name, float value) {
            const int id = findParamId(name);
            ASSERT_GE(id, 0) << name;
            engine->setParameter(id, value, 1);
        };
        set("lfo1_sync", 1.0f);
        set("lfo1_time", 18 * kThousandth); // 1/24: 12 Hz at 120 BPM
        set("lfo1_form", 1 * kThousandth);  // a rising saw
        set("lfo1_morph", 1.0f);
        set("lfo1_amp", 1.0f);
        set("lfo1_sym", 1.0f);
        set("lfo1_fadein", 0.0f);
        set("lfo1_target1", 1 * kThousandth); // LFO1 must run: routed, at no depth
        set("lfo1_amt1", 0.5f);
        if (modulated) {
            set("slot1_Src1", kSrcConstant50 * kThousandth);
            set("slot1_Trg1", 82 * kThousandth); // LFO1_Rate
            set("slot1_Amt1", 1.0f);
        }
        engine->refreshMatrix();
        engine->noteOn(0, 60, 100);
        test::StereoBlock block(512);
        engine->render(block.pointers(), 512);
        int voice = -1;
        for (int v = 0; v < kMonoVoice && voice < 0; ++v)
            if (static_cast<VoiceEnvelope*>(engine->module(kKeyEnv1)->getVoice(v))->stage != 0)
                voice = v;
        EXPECT_GE(voice, 0);
        std::vector<float> trace;
        for (int b = 0; b < 100 && voice >= 0; ++b) {
            engine->render(block.pointers(), 512);
            const float* out = engine->module(kKeyLfo1)->getOutputs(0)[voice];
            trace.insert(trace.end(), out, out + 512);
        }
        EXPECT_FALSE(trace.empty());
        if (!trace.empty()) {
            EXPECT_GT(*std::max_element(trace.begin(), trace.end()), 0.9f) << modulated;
        }
        return sawFrequency(trace);
    };
    EXPECT_NEAR(measure(false), 12.0, 0.05);
    EXPECT_NEAR(measure(true), 32.0, 0.1); // index 18 plus at least 2 stops at 1/64
}

} // namespace
} // namespace torvo

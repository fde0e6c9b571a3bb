// The reverb measured from outside: impulse responses and their decay at three rates, the
// timing of taps and pre-delay, the early-reflection room, the wet/dry law, stability at the
// longest decay, and the edge cases around wet 0, mute and clear.

#include "effects/modulefxrever.h"
#include "effects/reverbcurves.h"
#include "effects/reverbdata.h"
#include "engine/engineshared.h"
#include "shell/paramtable.h"

#include "fxmeasure.h"
#include "support/alloccounter.h"
#include "support/standalonemodule.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

namespace torvo {
namespace {

constexpr int kBlock = 256;
constexpr double kReferenceRate = 29761.0;
const float kRates[] = {44100.0f, 48000.0f, 96000.0f};
const char* const kModeNames[] = {"plate1",   "plate2",   "hall", "sparkles",
                                  "ambience", "dmension", "aura"};

using test::noise;
using test::run;
using test::Stereo;
using Rig = test::Standalone<ModuleFxRever>;

/// A reverb at a rate and mode with its controls standing still at the given values.
std::unique_ptr<Rig> makeReverb(float rate, int mode, float decay = 0.635742f, float wet = 1.0f) {
    auto rig = test::makeStandaloneFx<ModuleFxRever>("ModuleFxRever::fx_rever", rate);
    ModuleFxRever& m = rig->m;
    m.setParameter(0, static_cast<float>(mode) * kThousandth);
    m.wet.reset(wet);
    m.decay.reset(decay);
    m.damp.reset(0.15f);
    m.wide.reset(1.0f);
    m.color.reset(0.65f);
    m.preTime.reset(0.0f);
    return rig;
}

Stereo impulseSeconds(ModuleFxRever& m, float seconds) {
    return test::impulseResponse(m, static_cast<int>(seconds * m.sampleRate));
}

/// Reverberation time from the backward-integrated energy decay: a line fitted between -5 and
/// -25 dB, extrapolated to 60 dB.
double rt60(const Stereo& ir, float rate) {
    const int n = static_cast<int>(ir.l.size());
    std::vector<double> edc(n + 1, 0.0);
    for (int i = n - 1; i >= 0; --i)
        edc[i] = edc[i + 1] + double(ir.l[i]) * ir.l[i] + double(ir.r[i]) * ir.r[i];
    double sx = 0, sy = 0, sxx = 0, sxy = 0;
    int count = 0;
    for (int i = 0; i < n; ++i) {
        const double db = 10.0 * std::log10(edc[i] / edc[0] + 1e-30);
        if (db > -5.0 || db < -25.0) continue;
        const double t = i / double(rate);
        sx += t, sy += db, sxx += t * t, sxy += t * db;
        ++count;
    }
    if (count < 2) return 0.0;
    const double slope = (count * sxy - sx * sy) / (count * sxx - sx * sx);
    return -60.0 / slope;
}

int firstNonZero(const std::vector<float>& x) {
    for (size_t i = 0; i < x.size(); ++i)
        if (x[i] != 0.0f) return static_cast<int>(i);
    return -1;
}

double energy(const Stereo& s, size_t from, size_t to) {
    double e = 0.0;
    for (size_t i = from; i < std::min(to, s.l.size()); ++i)
        e += double(s.l[i]) * s.l[i] + double(s.r[i]) * s.r[i];
    return e;
}

/// Time by which 99 % of the response's energy has arrived.
double arrivalOf99Percent(const Stereo& s, float rate) {
    const double total = energy(s, 0, s.l.size());
    double sum = 0.0;
    for (size_t i = 0; i < s.l.size(); ++i) {
        sum += double(s.l[i]) * s.l[i] + double(s.r[i]) * s.r[i];
        if (sum >= 0.99 * total) return i / double(rate);
    }
    return s.l.size() / double(rate);
}

bool allZero(const std::vector<float>& v) {
    return std::all_of(v.begin(), v.end(), [](float x) { return x == 0.0f; });
}

// --- data sets and curves -------------------------------------------------------------------

TEST(ReverbData, EveryDelayStaysBelowOneSecondOfItsLine) {
    // The lines are one second long and read through a single wrap.
    for (int mode = 0; mode < kReverbModeCount; ++mode) {
        const ReverbData& d = reverbDataSet(mode);
        SCOPED_TRACE(kModeNames[mode]);
        const float maxMt = (d.rngSizeMt[0] + d.rngSizeMt[1]) / d.trr;
        for (const auto& row : d.dlyMT) EXPECT_LT(maxMt * d.trr * row[0], kReferenceRate);
        for (const auto& row : d.dlyDF) EXPECT_LT(d.trr * row[0], kReferenceRate);
        for (const auto* ap : {d.dlyAP_L, d.dlyAP_R})
            for (int r = 0; r < 2; ++r) EXPECT_LT(d.trr * ap[r][0], kReferenceRate);
        for (const auto* wg : {d.dlyWG_L, d.dlyWG_R})
            for (int r = 0; r < 2; ++r)
                EXPECT_LT(wg[r][0] * d.dlyInside[r] + wg[r][1] + wg[r][2], kReferenceRate / 4);
        for (const auto* cl : {d.dlyCL_L, d.dlyCL_R})
            for (int r = 0; r < kReverbClRows; ++r) EXPECT_LT(d.trr * cl[r][1], kReferenceRate);
    }
    EXPECT_STREQ(reverbDataSet(0).name, "plate 1");
    EXPECT_STREQ(reverbDataSet(ModuleFxRever::kDmension).name, "dmension");
    EXPECT_STREQ(reverbDataSet(99).name, "aura");
}

TEST(ReverbCurves, KeepTheirListedPointsAndShapes) {
    const ReverbCurves& c = reverbCurves();
    EXPECT_FLOAT_EQ(c.decay[4], 0.3967f);
    EXPECT_FLOAT_EQ(c.decay[31], 1.0f);
    EXPECT_FLOAT_EQ(c.damp[28], 0.68f);
    EXPECT_FLOAT_EQ(c.wet[24], 0.6208f);
    EXPECT_FLOAT_EQ(c.q[0], 0.083f);
    EXPECT_FLOAT_EQ(c.q[96], 0.866f);
    EXPECT_FLOAT_EQ(c.q[127], 4.0f);
    for (int i = 0; i < ReverbCurves::kControlSize - 1; ++i) {
        EXPECT_LE(c.decay[i], c.decay[i + 1]);
        EXPECT_LE(c.damp[i], c.damp[i + 1]);
        EXPECT_LE(c.wet[i], c.wet[i + 1]);
    }
    for (int i = 0; i < ReverbCurves::kQSize - 1; ++i) EXPECT_LT(c.q[i], c.q[i + 1]);
    EXPECT_NEAR(c.toneFreq[0], 20.602f, 1e-3f);
    EXPECT_NEAR(c.toneFreq[119], 19912.127f, 0.5f);
    EXPECT_NEAR(c.toneFreq[12], 2.0f * 20.602f, 1e-3f);
    // Three decimals of sin(pi i / 1023): 0 at both ends, 1 in the middle.
    EXPECT_EQ(c.sineCoef[0], 0.0f);
    EXPECT_FLOAT_EQ(c.sineCoef[1], 0.003f);
    EXPECT_FLOAT_EQ(c.sineCoef[511], 1.0f);
    EXPECT_EQ(c.sineCoef[1023], 0.0f);
    EXPECT_FLOAT_EQ(c.noteTime[7], 30.0f); // 1/8
    EXPECT_FLOAT_EQ(c.noteTime[20], 3840.0f);
}

// --- impulse responses ----------------------------------------------------------------------

TEST(ReverbImpulse, DecayTimeIsTheSameAtEveryRateInEveryMode) {
    // Strong damping, so that a loop filter that ignored the rate would show as well as a
    // delay that did.
    for (int mode = 0; mode < kReverbModeCount; ++mode) {
        SCOPED_TRACE(kModeNames[mode]);
        double reference = 0.0;
        for (float rate : kRates) {
            auto rig = makeReverb(rate, mode, 0.1f);
            rig->m.damp.reset(0.7f);
            const double t = rt60(impulseSeconds(rig->m, 1.5f), rate);
            SCOPED_TRACE(rate);
            EXPECT_GT(t, 0.05);
            if (reference == 0.0)
                reference = t;
            else
                EXPECT_NEAR(t / reference, 1.0, 0.05);
        }
    }
}

TEST(ReverbImpulse, DecayTimeFollowsTheDecayControl) {
    for (int mode = 0; mode < kReverbModeCount; ++mode) {
        SCOPED_TRACE(kModeNames[mode]);
        auto shortRig = makeReverb(44100.0f, mode, 0.1f);
        auto longRig = makeReverb(44100.0f, mode, 0.3f);
        const double shortTime = rt60(impulseSeconds(shortRig->m, 2.0f), 44100.0f);
        const double longTime = rt60(impulseSeconds(longRig->m, 2.0f), 44100.0f);
        EXPECT_GT(longTime, 1.3 * shortTime);
    }
}

TEST(ReverbImpulse, DmensionIsAnEarlyRoomWhoseReflectionsSpreadWithDecay) {
    // Its loop gain stays below 0.08: even at the longest decay nothing is left after 0.35 s,
    // while a plate at the same setting has most of its energy still to come.
    auto room = makeReverb(44100.0f, ModuleFxRever::kDmension, 1.0f);
    const Stereo roomIr = impulseSeconds(room->m, 1.0f);
    const size_t late = static_cast<size_t>(0.35 * 44100);
    EXPECT_LT(energy(roomIr, late, roomIr.l.size()), 1e-9 * energy(roomIr, 0, late));
    auto plate = makeReverb(44100.0f, ModuleFxRever::kPlate1, 1.0f);
    const Stereo plateIr = impulseSeconds(plate->m, 1.0f);
    EXPECT_GT(energy(plateIr, late, plateIr.l.size()), 0.3 * energy(plateIr, 0, late));

    // The multi-tap size runs from 0.04 to 1.84: its last tap (2826) moves from 4 ms to 175 ms.
    auto tight = makeReverb(44100.0f, ModuleFxRever::kDmension, 0.0f);
    const double tightTime = arrivalOf99Percent(impulseSeconds(tight->m, 0.5f), 44100.0f);
    const double wideTime = arrivalOf99Percent(roomIr, 44100.0f);
    EXPECT_LT(tightTime, 0.07);
    EXPECT_GT(wideTime, 0.15);
    EXPECT_LT(wideTime, 0.25);
}

TEST(ReverbImpulse, OutputTapsOfAmbienceLandOnTheirReferenceTimes) {
    for (float rate : kRates) {
        SCOPED_TRACE(rate);
        // The earliest output taps read the first all-pass of each branch, which answers at
        // once: 580 reference samples on the left, 632 on the right.
        auto rig = makeReverb(rate, ModuleFxRever::kAmbience);
        const Stereo ir = impulseSeconds(rig->m, 0.1f);
        EXPECT_EQ(firstNonZero(ir.l), static_cast<int>(rate * 580.0 / kReferenceRate));
        EXPECT_EQ(firstNonZero(ir.r), static_cast<int>(rate * 632.0 / kReferenceRate));

        // The longest tap, 3820 reference samples, alone on the left: 0.128 s at every rate.
        auto solo = makeReverb(rate, ModuleFxRever::kAmbience);
        ReverbData set = reverbDataSet(ModuleFxRever::kAmbience);
        for (auto& row : set.dlyCL_L) row[2] = 0.0f;
        set.dlyCL_L[5][0] = 0.0f;
        set.dlyCL_L[5][2] = 0.1f;
        solo->m.component.load(set, ModuleFxRever::kAmbience);
        const Stereo soloIr = impulseSeconds(solo->m, 0.2f);
        EXPECT_NEAR(firstNonZero(soloIr.l) / double(rate), 0.12835, 1.0 / rate);
    }
}

TEST(ReverbImpulse, PreDelayShiftsTheResponseAndIsBypassedAtZero) {
    const float rate = 48000.0f;
    const int tap = static_cast<int>(rate * 580.0 / kReferenceRate);

    auto plain = makeReverb(rate, ModuleFxRever::kAmbience);
    EXPECT_EQ(firstNonZero(impulseSeconds(plain->m, 0.1f).l), tap);
    EXPECT_TRUE(allZero(plain->m.component.preDelayMemory()));

    auto free = makeReverb(rate, ModuleFxRever::kAmbience);
    free->m.preTime.reset(0.1f); // seconds
    EXPECT_EQ(firstNonZero(impulseSeconds(free->m, 0.2f).l), tap + static_cast<int>(rate * 0.1f));

    // Synced: 1/8 at 90 beats per minute is 30 / 90 s, whatever the free time says.
    auto synced = makeReverb(rate, ModuleFxRever::kAmbience);
    synced->m.setParameter(1, 1.0f);
    synced->m.setParameter(2, 7 * kThousandth);
    synced->shared.tempo = 90.0f;
    synced->m.preTime.reset(0.5f);
    EXPECT_EQ(firstNonZero(impulseSeconds(synced->m, 0.5f).l),
              tap + static_cast<int>(rate * 30.0f / 90.0f));
}

// --- mix, width, state ----------------------------------------------------------------------

TEST(ReverbMix, DryStaysWholeUpToSevenTenthsOfWetThenFalls) {
    const float rate = 44100.0f;
    const int tap = static_cast<int>(rate * 580.0 / kReferenceRate);
    const ReverbCurves& c = reverbCurves();
    for (float wet : {0.3f, 0.6f, 0.9f, 1.0f}) {
        SCOPED_TRACE(wet);
        const float w = readCurve(c.wet, ReverbCurves::kControlSize, wet * 31.0f);
        const float dry = w >= 0.7f ? (0.3f - (w - 0.7f)) * 3.3333f : 1.0f;
        auto rig = makeReverb(rate, ModuleFxRever::kAmbience, 0.5f, wet);
        Stereo s = noise(tap, 0.5f, 12345u);
        const Stereo in = s;
        run(rig->m, s); // before the first tap only the dry part sounds
        for (int i = 0; i < tap; ++i) {
            ASSERT_NEAR(s.l[i], in.l[i] * dry, 1e-6f);
            ASSERT_NEAR(s.r[i], in.r[i] * dry, 1e-6f);
        }
    }
}

TEST(ReverbMix, ColourClosesTheInputAtBothEnds) {
    // Colour 0 puts the input low-pass at 20.6 Hz, colour 1 the high-pass corner at 19.9 kHz;
    // the middle leaves 81.5 Hz to 20 kHz open.
    auto wetEnergy = [](float colour) {
        auto rig = makeReverb(44100.0f, ModuleFxRever::kHall, 0.3f, 1.0f);
        rig->m.color.reset(colour);
        Stereo s = noise(16384, 0.5f, 12345u);
        run(rig->m, s);
        return energy(s, 0, s.l.size());
    };
    const double open = wetEnergy(0.5f);
    EXPECT_GT(open, 10.0);
    EXPECT_LT(wetEnergy(0.0f), 0.01 * open);
    EXPECT_LT(wetEnergy(1.0f), 0.01 * open);
    EXPECT_LT(wetEnergy(0.3f), 0.9 * open); // a darker input: less of it reaches the room
}

TEST(ReverbMix, WidthZeroIsMono) {
    for (int mode : {ModuleFxRever::kPlate1, ModuleFxRever::kHall, ModuleFxRever::kAura}) {
        auto rig = makeReverb(44100.0f, mode, 0.5f, 1.0f);
        rig->m.wide.reset(0.0f);
        Stereo s = noise(8192, 0.5f, 12345u);
        run(rig->m, s);
        double diff = 0.0, level = 0.0;
        for (size_t i = 0; i < s.l.size(); ++i) {
            diff += std::fabs(s.l[i] - s.r[i]);
            level += std::fabs(s.l[i]);
        }
        EXPECT_GT(level, 1.0);
        EXPECT_LT(diff, 1e-5 * level);
    }
}

TEST(ReverbState, WetZeroAndMuteLeaveAudioAndLinesUntouched) {
    for (bool muted : {false, true}) {
        auto rig = makeReverb(44100.0f, ModuleFxRever::kHall, 0.5f, muted ? 1.0f : 0.0f);
        rig->m.setParameter(9, muted ? 1.0f : 0.0f);
        rig->m.preTime.reset(0.2f);
        Stereo s = noise(4096, 0.5f, 12345u);
        const Stereo in = s;
        run(rig->m, s);
        EXPECT_EQ(s.l, in.l);
        EXPECT_EQ(s.r, in.r);
        EXPECT_TRUE(allZero(rig->m.component.lineMemory()));
        EXPECT_TRUE(allZero(rig->m.component.preDelayMemory()));
    }
}

TEST(ReverbState, LinesSurviveAModeChangeAndClearEmptiesThem) {
    auto rig = makeReverb(44100.0f, ModuleFxRever::kHall, 0.8f);
    rig->m.preTime.reset(0.05f);
    Stereo s = noise(8192, 0.5f, 12345u);
    run(rig->m, s);
    rig->m.setParameter(0, ModuleFxRever::kAura * kThousandth);
    Stereo silence(4096);
    run(rig->m, silence);
    EXPECT_EQ(rig->m.component.loadedMode(), ModuleFxRever::kAura);
    EXPECT_GT(energy(silence, 0, silence.l.size()), 1e-3); // the hall's tail through aura

    // Clear after a short burst and after the lines have wrapped (more than a second).
    for (float seconds : {0.0f, 1.6f}) {
        Stereo more = noise(static_cast<int>(seconds * 44100.0f), 0.5f, 12345u);
        run(rig->m, more);
        rig->m.clear();
        EXPECT_TRUE(allZero(rig->m.component.lineMemory()));
        EXPECT_TRUE(allZero(rig->m.component.preDelayMemory()));
        Stereo after(4096);
        run(rig->m, after);
        EXPECT_TRUE(allZero(after.l));
        EXPECT_TRUE(allZero(after.r));
    }
}

TEST(ReverbState, EveryModeStaysBoundedAtLongestDecayAndLeavesNoSubnormals) {
    const float rate = 44100.0f;
    for (int mode = 0; mode < kReverbModeCount; ++mode) {
        SCOPED_TRACE(kModeNames[mode]);
        auto rig = makeReverb(rate, mode, 1.0f, 1.0f);
        rig->m.damp.reset(0.0f);
        Stereo s = noise(static_cast<int>(2.5f * rate), 0.5f, 777u + mode);
        run(rig->m, s);
        float peak = 0.0f;
        bool finite = true;
        for (size_t i = 0; i < s.l.size(); ++i) {
            finite = finite && std::isfinite(s.l[i]) && std::isfinite(s.r[i]);
            peak = std::max({peak, std::fabs(s.l[i]), std::fabs(s.r[i])});
        }
        EXPECT_TRUE(finite);
        EXPECT_LT(peak, 8.0f);
        // The level of the last half second is not climbing away from that of the first.
        const size_t half = static_cast<size_t>(0.5f * rate);
        const double head = energy(s, half, 2 * half);
        const double tailEnergy = energy(s, s.l.size() - half, s.l.size());
        EXPECT_LT(tailEnergy, 4.0 * head);

        Stereo silence(static_cast<int>(0.5f * rate));
        run(rig->m, silence);
        EXPECT_FALSE(rig->m.component.holdsSubnormals());
    }
}

TEST(ReverbState, ProcessingAndModeChangesDoNotAllocate) {
    auto rig = makeReverb(48000.0f, ModuleFxRever::kPlate1, 0.6f);
    rig->m.preTime.reset(0.05f);
    Stereo s = noise(kBlock * 8, 0.5f, 12345u);
    run(rig->m, s);
    test::ScopedAllocCount count;
    for (int mode = 0; mode < kReverbModeCount; ++mode) {
        rig->m.setParameter(0, mode * kThousandth);
        rig->m.setParameter(6, 0.2f + 0.1f * mode); // a gliding decay
        run(rig->m, s);
    }
    rig->m.clear();
    EXPECT_EQ(count.count(), 0u);
}

} // namespace
} // namespace torvo

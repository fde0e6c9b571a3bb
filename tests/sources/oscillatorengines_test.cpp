// The seven engines: every one stays finite and bounded over a sweep of its controls, and each
// has its character measured: pulse width, noise filter and repeatable starts, FM depth and
// ratio, hard sync, the pulse multiple, harmonic FM intervals and vowel formants.

#include "oscrig.h"

#include "sources/enginehardfm.h"
#include "sources/enginesawpwm.h"
#include "sources/enginevowel.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace torvo {
namespace {

using test::bandEnergy;
using test::OscRig;
using test::powerSpectrum;

constexpr std::size_t kN = 16384;

std::vector<double> spectrumOf(const OscRig& rig) {
    return powerSpectrum(rig.left, rig.left.size() - kN, kN);
}

double harmonicDb(const std::vector<double>& p, double f0, int h, double rate = 48000.0) {
    return 10.0 * std::log10(bandEnergy(p, f0 * h, rate, kN) / bandEnergy(p, f0, rate, kN));
}

/// Energy between lo and hi Hz.
double rangeEnergy(const std::vector<double>& p, double lo, double hi, double rate = 48000.0) {
    double e = 0.0;
    for (std::size_t k = static_cast<std::size_t>(lo * kN / rate);
         k < static_cast<std::size_t>(hi * kN / rate) && k < p.size(); ++k)
        e += p[k];
    return e;
}

/// Fraction of samples above the mean, after the first `skip`.
double dutyCycle(const std::vector<float>& x, std::size_t skip) {
    double mean = 0.0;
    for (std::size_t i = skip; i < x.size(); ++i) mean += x[i];
    mean /= static_cast<double>(x.size() - skip);
    std::size_t above = 0;
    for (std::size_t i = skip; i < x.size(); ++i) above += x[i] > mean;
    return static_cast<double>(above) / static_cast<double>(x.size() - skip);
}

TEST(OscillatorEngines, EveryEngineStaysFiniteAndBoundedOverItsControls) {
    const char* names[7] = {"Classic", "Noise", "FM", "AMSync", "SawPwm", "HardFM", "Vowel"};
    const float grid[] = {0.0f, 0.3f, 0.7f, 1.0f};
    for (int type = 0; type < 7; ++type) {
        float loudest = 0.0f;
        for (float note : {0.0f, 45.0f, 90.0f, 127.0f}) {
            OscRig rig(44100.0f);
            rig.type(type);
            rig.wave(48);
            rig.unison(9);
            rig.set(9, 1.0f);
            rig.set(13, 1.0f);
            rig.set(6, 0.5f);
            rig.note(note);
            rig.inputs.heldNote = true;
            rig.fresh[0] = false;
            for (float a : grid)
                for (float b : grid)
                    for (float w : grid) {
                        rig.set(4, a);
                        rig.set(5, b);
                        rig.set(8, w);
                        rig.set(10, b);
                        rig.clear();
                        rig.render(3, 1);
                        for (std::size_t i = 0; i < rig.left.size(); ++i) {
                            ASSERT_TRUE(std::isfinite(rig.left[i]) && std::isfinite(rig.right[i]))
                                << names[type] << " A " << a << " B " << b << " W " << w;
                        }
                        loudest = std::max({loudest, test::peak(rig.left), test::peak(rig.right)});
                    }
        }
        EXPECT_LT(loudest, 4.0f) << names[type];
        EXPECT_GT(loudest, 0.05f) << names[type];
        std::printf("[ info ] %s: loudest sample over the sweep %.3f\n", names[type], loudest);
    }
}

TEST(OscillatorEngines, ClassicPulseWidthFollowsCtrlB) {
    OscRig rig(48000.0f);
    rig.note(45.0f);
    rig.set(4, 1.0f);
    rig.set(5, 0.0f);
    rig.renderSeconds(0.3f);
    // Two saws at the same phase cancel.
    EXPECT_LT(test::peak(rig.left), 1e-6f);
    rig.set(5, 0.5f);
    rig.clear();
    rig.renderSeconds(0.5f);
    auto p = spectrumOf(rig);
    // A square: no even harmonics, odd ones at 1/k.
    EXPECT_LT(harmonicDb(p, 110.0, 2), -50.0);
    EXPECT_LT(harmonicDb(p, 110.0, 4), -50.0);
    EXPECT_NEAR(harmonicDb(p, 110.0, 3), 20.0 * std::log10(1.0 / 3.0), 0.5);
    EXPECT_NEAR(dutyCycle(rig.left, 4096), 0.5, 0.02);
    for (float width : {0.1f, 0.25f, 0.75f}) {
        rig.set(5, width);
        rig.clear();
        rig.renderSeconds(0.3f);
        const double duty = dutyCycle(rig.left, 4096);
        EXPECT_NEAR(std::min(duty, 1.0 - duty), std::min(width, 1.0f - width), 0.02) << width;
    }
}

TEST(OscillatorEngines, ClassicWtmixBlendsTheSawIntoTheWave) {
    OscRig rig(48000.0f);
    rig.note(45.0f);
    rig.wave(0);
    rig.set(8, 1.0f);
    rig.renderSeconds(0.5f);
    EXPECT_LT(harmonicDb(spectrumOf(rig), 110.0, 2), -80.0);
    rig.set(8, 0.5f);
    rig.clear();
    rig.renderSeconds(0.5f);
    // Half the saw's second harmonic (0.4175 / 2) beside half the sine less half the saw's
    // fundamental: the saw runs in the phase of a minus sine.
    const double h1 = 0.5 - 0.5 * 0.4175;
    EXPECT_NEAR(harmonicDb(spectrumOf(rig), 110.0, 2), 20.0 * std::log10(0.5 * 0.4175 / 2 / h1),
                0.5);
}

TEST(OscillatorEngines, NoiseRepeatsFromEachNoteWhenThePhaseKnobIsUp) {
    OscRig rig(48000.0f);
    rig.type(1);
    rig.set(4, 0.4f);
    rig.set(5, 0.3f);
    rig.set(6, 0.5f);
    rig.render(2, 0);
    const std::vector<float> first = rig.left;
    rig.render(5);
    rig.clear();
    rig.render(2, 0);
    EXPECT_EQ(first, rig.left);
    EXPECT_GT(test::peak(first), 0.01f);
    // At 0 the noise runs free: the next note differs.
    rig.set(6, 0.0f);
    rig.clear();
    rig.render(2, 0);
    const std::vector<float> second = rig.left;
    rig.clear();
    rig.render(2, 0);
    EXPECT_NE(second, rig.left);
}

TEST(OscillatorEngines, NoiseFilterIsLowPassBelowAndHighPassAboveTheMiddle) {
    auto tilt = [](float a, float width, float key = 0.0f, float note = 69.0f) {
        OscRig rig(48000.0f);
        rig.type(1);
        rig.set(16, key);
        rig.note(note);
        rig.set(4, a);
        rig.set(5, 0.2f);
        rig.set(13, width);
        rig.renderSeconds(0.6f);
        const auto p = spectrumOf(rig);
        return 10.0 * std::log10(rangeEnergy(p, 50, 500) / rangeEnergy(p, 5000, 15000));
    };
    // The same cut-off (x = 0.7 of the range, note 89, 1.4 kHz) with the low and the high tap.
    EXPECT_GT(tilt(0.35f, 0.0f), 12.0);
    EXPECT_LT(tilt(0.85f, 0.0f), -20.0);
    // With key tracking the cut-off follows the key: two octaves up, much brighter.
    EXPECT_GT(tilt(0.2f, 0.0f, 1.0f, 60.0f), tilt(0.2f, 0.0f, 1.0f, 84.0f) + 20.0);
    // Width 0 feeds both sides the same mix, width 1 separate noises.
    OscRig rig(48000.0f);
    rig.type(1);
    rig.set(4, 0.4f);
    rig.render(4);
    EXPECT_EQ(rig.left, rig.right);
    rig.set(13, 1.0f);
    rig.clear();
    rig.render(4);
    EXPECT_NE(rig.left, rig.right);
}

TEST(OscillatorEngines, FmDepthGrowsTheSidebandsAndCtrlBSetsTheRatio) {
    double last = -300.0;
    for (float depth : {0.0f, 0.05f, 0.1f, 0.2f}) {
        OscRig rig(48000.0f);
        rig.type(2);
        rig.wave(0);
        rig.note(57.0f);
        rig.set(4, depth);
        rig.set(5, 0.0f);
        rig.renderSeconds(0.5f);
        const double h2 = harmonicDb(spectrumOf(rig), 220.0, 2);
        if (depth == 0.0f)
            EXPECT_LT(h2, -80.0);
        else
            EXPECT_GT(h2, last + 5.0) << depth;
        last = h2;
    }
    // A modulator an octave up (12 of 48 semitones): sidebands at the carrier plus and minus
    // two carriers, so only odd harmonics.
    OscRig rig(48000.0f);
    rig.type(2);
    rig.wave(0);
    rig.note(57.0f);
    rig.set(4, 0.1f);
    rig.set(5, 0.25f);
    rig.renderSeconds(0.5f);
    const auto p = spectrumOf(rig);
    EXPECT_GT(harmonicDb(p, 220.0, 3), -15.0);
    EXPECT_LT(harmonicDb(p, 220.0, 2), -60.0);
    // wtmix 1 is the plain wave at the modulator pitch.
    rig.set(8, 1.0f);
    rig.clear();
    rig.renderSeconds(0.5f);
    EXPECT_NEAR(test::zeroCrossingHz(rig.left, 48000.0, 4096), 440.0, 0.05);
}

TEST(OscillatorEngines, AmSyncLocksTheSlaveToTheMaster) {
    for (float b : {0.2f, 0.37f, 0.61f}) {
        OscRig rig(48000.0f);
        rig.type(3);
        rig.note(45.0f);
        rig.set(5, b);
        rig.renderSeconds(0.5f);
        const auto p = spectrumOf(rig);
        // The slave sits 14.4, 26.6 and 43.9 semitones up, yet every strong line is a harmonic
        // of the master.
        EXPECT_TRUE(test::strongestPeaksAreHarmonic(p, 110.0, 48000.0, kN, 10)) << b;
        // and the slave's pitch shows as the strongest region of the spectrum.
        const double slave = 110.0 * std::pow(2.0, b * 72.0 / 12.0);
        EXPECT_GT(rangeEnergy(p, slave * 0.7, slave * 1.3), rangeEnergy(p, 50, slave * 0.5)) << b;
    }
}

TEST(OscillatorEngines, SawPwmRepeatsThePulseAtTheRatioWithTheWidthOfCtrlB) {
    EXPECT_EQ(EngineSawPwm::ratioFor(0.0f), 1);
    EXPECT_EQ(EngineSawPwm::ratioFor(0.3f), 2);
    EXPECT_EQ(EngineSawPwm::ratioFor(0.6f), 3);
    EXPECT_EQ(EngineSawPwm::ratioFor(1.0f), 4);
    for (float a : {0.3f, 0.6f, 1.0f}) {
        OscRig rig(48000.0f);
        rig.type(4);
        rig.note(45.0f);
        rig.set(4, a);
        rig.set(5, 0.75f);
        rig.renderSeconds(0.5f);
        const auto p = spectrumOf(rig);
        const int ratio = EngineSawPwm::ratioFor(a);
        int strongest = 1;
        for (int h = 2; h <= 8; ++h)
            if (bandEnergy(p, 110.0 * h, 48000, kN) > bandEnergy(p, 110.0 * strongest, 48000, kN))
                strongest = h;
        EXPECT_EQ(strongest, ratio) << a;
        // The note's saw envelopes the pulses: the period stays the note's.
        EXPECT_TRUE(test::strongestPeaksAreHarmonic(p, 110.0, 48000.0, kN, 8));
        // Width 0.75: the pulse is high a quarter of the time.
        EXPECT_NEAR(dutyCycle(rig.left, 4096), 0.25, 0.02);
    }
}

TEST(OscillatorEngines, HardFmSnapsToHarmonicIntervals) {
    EXPECT_FLOAT_EQ(EngineHardFM::intervalFor(0.5f), 12.0f);
    EXPECT_FLOAT_EQ(EngineHardFM::intervalFor(0.2f), 0.0f);
    EXPECT_FLOAT_EQ(EngineHardFM::intervalFor(0.0f), -12.0f);
    EXPECT_FLOAT_EQ(EngineHardFM::intervalFor(1.0f), 31.02f);
    // Inside a step it slides by at most about half a semitone.
    EXPECT_NEAR(EngineHardFM::intervalFor(0.59f), 12.0f + 0.6f * 0.004f * 127.0f, 1e-4f);
    // Depth rows fall to 0 at the top and read 1 low down.
    EXPECT_FLOAT_EQ(EngineHardFM::depthRow(0, 0.0f), 1.0f);
    EXPECT_NEAR(EngineHardFM::depthRow(0, 103.0f), 0.0f, 1e-5f);
    EXPECT_NEAR(EngineHardFM::depthRow(48, (1.0f * 127.0f / 8.0f) - 24.0f + 127.0f / 8.0f), 0.225f,
                1e-4f);

    OscRig rig(48000.0f);
    rig.type(5);
    rig.wave(0);
    rig.note(57.0f);
    rig.set(5, 0.5f);
    rig.renderSeconds(0.5f);
    EXPECT_LT(harmonicDb(spectrumOf(rig), 220.0, 2), -80.0);
    // The modulator sits on the carrier here; the deeper, the more harmonics carry energy.
    int lastWidth = 1;
    for (float depth : {0.2f, 0.5f, 1.0f}) {
        rig.set(4, depth);
        rig.clear();
        rig.renderSeconds(0.5f);
        const auto p = spectrumOf(rig);
        EXPECT_TRUE(test::strongestPeaksAreHarmonic(p, 220.0, 48000.0, kN, 6)) << depth;
        const double total = rangeEnergy(p, 20, 20000);
        int width = 1;
        for (int h = 1; h * 220 < 20000; ++h)
            if (bandEnergy(p, 220.0 * h, 48000, kN) > 1e-4 * total) width = h;
        EXPECT_GT(width, lastWidth + 1) << depth;
        lastWidth = width;
    }
}

TEST(OscillatorEngines, VowelFormantsMoveWithPositionAndShift) {
    // Position 1 reads the last vowel exactly, 0.5 the middle one.
    const float last[4] = {325, 600, 2400, 3400};
    const float middle[4] = {305, 2300, 3000, 3650};
    for (int k = 0; k < 4; ++k) {
        EXPECT_FLOAT_EQ(EngineVowel::formantHz(k, 1.0f), last[k]);
        EXPECT_FLOAT_EQ(EngineVowel::formantHz(k, 0.5f), middle[k]);
    }
    auto spectrumAt = [](float a, float b) {
        OscRig rig(48000.0f);
        rig.type(6);
        rig.note(33.0f);
        rig.set(4, a);
        rig.set(5, b);
        rig.renderSeconds(0.6f);
        return spectrumOf(rig);
    };
    auto lowFormant = [](const std::vector<double>& p) {
        return 10.0 * std::log10(rangeEnergy(p, 20, 250) / rangeEnergy(p, 500, 750));
    };
    // From the first vowel (805 Hz) to the middle one (305 Hz) the first formant drops.
    EXPECT_GT(lowFormant(spectrumAt(0.5f, 0.0f)), lowFormant(spectrumAt(0.0f, 0.0f)) + 10.0);
    // ctrlB shifts every formant up: the top of the spectrum gains.
    const auto flat = spectrumAt(0.0f, 0.0f);
    const auto shifted = spectrumAt(0.0f, 1.0f);
    EXPECT_GT(rangeEnergy(shifted, 3500, 5000) / rangeEnergy(shifted, 20, 20000),
              10.0 * rangeEnergy(flat, 3500, 5000) / rangeEnergy(flat, 20, 20000));
}

TEST(OscillatorEngines, TypeChangeSwitchesTheOutputsAndKeepsRendering) {
    OscRig rig(48000.0f);
    const StereoPtr classic = rig.osc.m.getStereoOutputs(0)[0];
    rig.type(1);
    const StereoPtr noise = rig.osc.m.getStereoOutputs(0)[0];
    EXPECT_EQ(noise.left, rig.osc.m.oscVoice(0).oscL);
    EXPECT_NE(noise.left, classic.left);
    rig.type(6);
    EXPECT_EQ(rig.osc.m.getStereoOutputs(0)[0].left, rig.osc.m.oscVoice(0).vowel.left());
    EXPECT_EQ(rig.osc.m.getOutputs(0)[0], rig.osc.m.oscVoice(0).vowel.left());
    rig.render(2);
    EXPECT_GT(test::peak(rig.left), 0.05f);
}

} // namespace
} // namespace torvo

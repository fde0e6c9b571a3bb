// The oscillators' sound measured from rendered audio: band-limiting of the saw and of the
// waves at high notes, click-free retriggers and wave changes, and no allocation while
// rendering.

#include "oscrig.h"

#include "support/alloccounter.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace torvo {
namespace {

using test::OscRig;
using test::powerSpectrum;

double noteHz(double note) {
    return 440.0 * std::pow(2.0, (note - 69.0) / 12.0);
}

/// Inharmonic energy below 18 kHz relative to the harmonics, in dB, of the last 65536 samples.
double aliasingDb(OscRig& rig, double note) {
    const std::size_t n = 65536;
    const auto p = powerSpectrum(rig.left, rig.left.size() - n, n);
    return test::inharmonicDb(p, noteHz(note), rig.rate(), n, 18000.0);
}

// Harmonics between the band edge and 25 kHz fold above 19 kHz at 44.1 kHz by design; below
// 18 kHz only the images of the linear table read remain. They are largest for low notes,
// whose tables carry hundreds of harmonics, and vanish towards the top.
TEST(OscillatorBandLimit, ClassicSawHasNoAudibleAliasingUpToTheTopNote) {
    double worst = -300.0;
    for (float rate : {44100.0f, 48000.0f}) {
        for (int note : {24, 36, 48, 60, 84, 96, 100, 110, 120, 127}) {
            OscRig rig(rate);
            rig.note(static_cast<float>(note));
            rig.renderSeconds(1.6f);
            const double db = aliasingDb(rig, note);
            worst = std::max(worst, db);
            EXPECT_LT(db, note < 30   ? -60.0
                          : note < 60 ? -70.0
                                      : -85.0)
                << "note " << note << " at " << rate;
            std::printf("[ info ] saw note %d at %.0f Hz: %.1f dB\n", note, rate, db);
        }
    }
    std::printf("[ info ] saw aliasing below 18 kHz, worst: %.1f dB\n", worst);
}

TEST(OscillatorBandLimit, WavesAtHighNotesStayBandLimited) {
    double worst = -300.0;
    // "Tri", "Violin_2" and a bright wave from the top of the list, at the first note of each
    // level's octave and where level 7 stands alone.
    for (int wave : {1, 17, 40}) {
        for (int note : {60, 72, 84, 96, 108, 120, 127}) {
            OscRig rig(44100.0f);
            rig.wave(wave);
            rig.set(8, 1.0f);
            rig.note(static_cast<float>(note));
            rig.renderSeconds(1.6f);
            const double db = aliasingDb(rig, note);
            worst = std::max(worst, db);
            EXPECT_LT(db, -80.0) << "wave " << wave << " note " << note;
        }
    }
    std::printf("[ info ] wave aliasing below 18 kHz, worst: %.1f dB\n", worst);
}

/// Largest natural sample-to-sample step of a sine at `note`.
float sineSlope(float note, float rate) {
    return static_cast<float>(2.0 * test::kPi * noteHz(note) / rate);
}

TEST(OscillatorClicks, RetriggerOfASoundingVoiceCrossfades) {
    const float rate = 48000.0f;
    // One copy sounds at half level on each side.
    const float slope = 0.5f * sineSlope(60.0f, rate);
    // The largest step a fade over 4.535 ms between two such sines can add.
    const float fadeStep = 0.5f * 2.0f * 220.5f / rate;
    for (bool held : {true, false}) {
        OscRig rig(rate);
        rig.wave(0);
        rig.set(8, 1.0f);
        rig.note(60.0f);
        rig.inputs.heldNote = held;
        rig.fresh[0] = false;
        rig.render(12, -1);
        float worst = 0.0f;
        for (int k = 0; k < 6; ++k) {
            rig.clear();
            rig.render(6, 2);
            worst = std::max(worst, test::maxStep(rig.left, 0, rig.left.size()));
        }
        if (held) {
            EXPECT_LT(worst, 1.1f * (slope + fadeStep));
            std::printf("[ info ] retrigger, largest step %.4f (sine slope %.4f)\n", worst, slope);
        } else {
            // Without a held key there is no fade: the new start phase jumps.
            EXPECT_GT(worst, 4.0f * (slope + fadeStep));
        }
    }
}

TEST(OscillatorClicks, FreshVoiceStartsWithoutAFade) {
    OscRig rig(48000.0f);
    rig.wave(0);
    rig.set(8, 1.0f);
    rig.set(6, 0.06f / 1.137f + 0.0001f); // fixed start, phase value ~0.0
    rig.note(60.0f);
    rig.inputs.heldNote = true;
    rig.fresh[0] = true;
    rig.render(3);
    rig.clear();
    rig.render(2, 1);
    // The retrigger takes the fixed start at once: the sample after it reads phase 0.
    EXPECT_NEAR(rig.left[test::kRigFrames], 0.0f, 1e-3f);
}

TEST(OscillatorClicks, WaveChangeWaitsForTheWrapAndCrossfades) {
    const float rate = 48000.0f;
    // A wave that starts far from zero, so that a hard switch from "Sin" at the wrap jumps.
    int target = -1;
    for (int w = 2; w < kWaveCount && target < 0; ++w)
        if (std::fabs(waveAddress(w)[0]) > 0.3f) target = w;
    ASSERT_GE(target, 0);
    auto naturalStep = [&](int wave) {
        OscRig rig(rate);
        rig.wave(wave);
        rig.set(8, 1.0f);
        rig.note(48.0f);
        rig.render(20);
        return test::maxStep(rig.left, 0, rig.left.size());
    };
    const float natural = std::max(naturalStep(0), naturalStep(target));
    for (bool held : {true, false}) {
        OscRig rig(rate);
        rig.wave(0);
        rig.set(8, 1.0f);
        rig.note(48.0f);
        rig.inputs.heldNote = held;
        rig.render(4);
        rig.clear();
        rig.wave(target);
        rig.render(8);
        const float worst = test::maxStep(rig.left, 0, rig.left.size());
        if (held) {
            EXPECT_LT(worst, natural + 1.1f * 220.5f / rate) << "wave " << target;
        } else {
            EXPECT_GT(worst, natural + 0.1f) << "wave " << target;
        }
    }
}

TEST(OscillatorRealtime, ShortAndOddBlocksRenderEveryEngine) {
    OscRig rig(44100.0f);
    rig.unison(5);
    rig.set(9, 0.7f);
    rig.inputs.heldNote = true;
    rig.fresh[0] = false;
    for (int t = 0; t < 7; ++t) {
        rig.type(t);
        for (int frames : {1, 3, 77, 255, 5}) {
            rig.retrig[0] = frames == 77 ? 1.0f : 0.0f;
            rig.osc.m.setInputs(rig.inputs);
            rig.osc.m.process(frames, 1);
            const StereoPtr out = rig.osc.m.getStereoOutputs(0)[0];
            for (int i = 0; i < frames; ++i) {
                ASSERT_TRUE(std::isfinite(out.left[i]) && std::isfinite(out.right[i]))
                    << "type " << t << " frames " << frames;
                ASSERT_LT(std::fabs(out.left[i]), 4.0f) << "type " << t << " frames " << frames;
            }
        }
    }
}

TEST(OscillatorRealtime, RenderingEveryEngineAllocatesNothing) {
    OscRig rig(48000.0f);
    rig.unison(9);
    rig.inputs.heldNote = true;
    rig.fresh[0] = false;
    for (int v = 0; v < kVoiceCount; ++v) rig.osc.shared.active[v] = 1;
    rig.render(1);
    std::vector<float> sink;
    sink.reserve(16);
    test::ScopedAllocCount count;
    for (int t = 0; t < 7; ++t) {
        rig.osc.m.setParameter(0, t * kThousandth);
        rig.osc.m.setParameter(4, 0.4f);
        rig.osc.m.setParameter(8, 0.3f);
        rig.osc.m.setParameter(7, 12 * kThousandth);
        for (int k = 0; k < 3; ++k) {
            rig.retrig[0] = k == 1 ? 1.0f : 0.0f;
            rig.osc.m.setInputs(rig.inputs);
            rig.osc.m.process(test::kRigFrames, 2);
        }
    }
    EXPECT_EQ(count.count(), 0u);
}

} // namespace
} // namespace torvo

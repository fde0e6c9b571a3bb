// Pitch of the oscillators, measured from rendered audio: the tuning reference at the common
// rates, the octave, note and fine offsets, key tracking and the clamp at the top note.

#include "oscrig.h"

#include <gtest/gtest.h>

namespace torvo {
namespace {

using test::cents;
using test::OscRig;
using test::zeroCrossingHz;

double measuredHz(OscRig& rig, float seconds = 1.0f) {
    rig.clear();
    rig.renderSeconds(seconds);
    return zeroCrossingHz(rig.left, rig.rate(), 2048);
}

TEST(OscillatorPitch, A4IsWithinATenthOfACentAtEveryRate) {
    for (float rate : {44100.0f, 48000.0f, 96000.0f}) {
        OscRig rig(rate);
        rig.note(69.0f);
        EXPECT_NEAR(cents(measuredHz(rig), 440.0), 0.0, 0.1) << "rate " << rate;
        // The same through the wave reader: "Sin" alone.
        rig.wave(0);
        rig.set(8, 1.0f);
        EXPECT_NEAR(cents(measuredHz(rig), 440.0), 0.0, 0.1) << "wave, rate " << rate;
    }
}

TEST(OscillatorPitch, OctaveNoteAndFineOffsetsAddSemitones) {
    OscRig rig(48000.0f);
    rig.note(57.0f); // A3
    struct Case {
        int octave;
        int note;
        float fine;
        double semitones; // from the fine curve's points
    };
    const Case cases[] = {
        {1, 0, 0.5f, 12.0},
        {-2, 0, 0.5f, -24.0},
        {0, -5, 0.5f, -5.0},
        {0, 7, 0.5f, 7.0},
        {1, -11, 0.5f, 1.0},
        {0, 0, 1.0f, 0.99},
        {0, 0, 0.0f, -0.99},
        {0, 0, 0.25f, -0.2327 + 0.75 * (-0.1941 + 0.2327)},
        {0, 0, 16.0f / 31.0f, 0.0107},
    };
    for (const Case& c : cases) {
        rig.set(1, test::octaveValue(c.octave));
        rig.set(2, test::noteShiftValue(c.note));
        rig.set(3, c.fine);
        const double expected = 220.0 * std::pow(2.0, c.semitones / 12.0);
        EXPECT_NEAR(cents(measuredHz(rig, 0.6f), expected), 0.0, 0.1)
            << c.octave << " octaves, " << c.note << " notes, fine " << c.fine;
    }
}

TEST(OscillatorPitch, WithoutKeyTrackingEveryKeyPlaysNote48) {
    OscRig rig(48000.0f);
    rig.set(16, 0.0f);
    const double c3 = 440.0 * std::pow(2.0, (48 - 69) / 12.0);
    for (float key : {30.0f, 69.0f, 100.0f}) {
        rig.note(key);
        EXPECT_NEAR(cents(measuredHz(rig, 0.5f), c3), 0.0, 0.1) << "key " << key;
    }
    // Offsets still act.
    rig.set(1, test::octaveValue(1));
    EXPECT_NEAR(cents(measuredHz(rig, 0.5f), 2 * c3), 0.0, 0.1);
}

TEST(OscillatorPitch, NoteAndOffsetsClampAtTheTopNote) {
    OscRig rig(96000.0f);
    rig.note(120.0f);
    rig.set(1, test::octaveValue(4));
    const double top = 440.0 * std::pow(2.0, (127 - 69) / 12.0);
    EXPECT_NEAR(cents(measuredHz(rig, 0.5f), top), 0.0, 0.5);
}

} // namespace
} // namespace torvo

namespace torvo {
namespace {

// The note stream of the note handling carries pitch and retrigger word per sample; only the
// start of a retrigger (1) restarts the readers.
TEST(OscillatorPitch, NoteStreamGivesTheSameSoundAsSeparateTables) {
    OscRig tables(48000.0f);
    OscRig stream(48000.0f);
    std::vector<TriggerRecord> records(test::kRigFrames + 4,
                                       TriggerRecord{69.0f / 127.0f, 0, 0, 0});
    TriggerRecord* recordPtrs[kVoiceCount];
    for (auto& p : recordPtrs) p = records.data();
    stream.inputs.noteStream = recordPtrs;
    for (int block = 0; block < 4; ++block) {
        records[0].trigger1 = block == 2 ? 1 : 0;
        records[7].trigger1 = block == 3 ? 2 : 0;
        stream.render(1);
        tables.render(1, block == 2 ? 0 : -1);
    }
    EXPECT_EQ(stream.left, tables.left);
    EXPECT_GT(test::peak(stream.left), 0.1f);
}

} // namespace
} // namespace torvo

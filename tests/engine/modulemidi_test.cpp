// Note handling on its own: ModuleMidi outside an engine, with env1's stage, position and level
// words owned by the test so that voice states can be set by hand.

#include "engine/driftdeck.h"
#include "engine/engineshared.h"
#include "engine/modulemidi.h"
#include "engine/noisegenerator.h"
#include "shell/paramtable.h"
#include "support/alloccounter.h"
#include "support/standalonemodule.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

using namespace torvo;

namespace {

constexpr int kFrames = 512;
constexpr float kSemitone = 1.0f / 127.0f;

struct Triggers {
    int t1, t2, t3, word;
    bool operator==(const Triggers& o) const {
        return t1 == o.t1 && t2 == o.t2 && t3 == o.t3 && word == o.word;
    }
};

/// One ModuleMidi with env1 words the test owns and a pitch wheel buffer.
struct Rig {
    explicit Rig(int mode, float rate = 44100.0f) : s(kFrames, "midi"), m(s.m) {
        for (int v = 0; v < kVoiceCount; ++v) {
            s.shared.env1Stage[v] = &stage[v];
            s.shared.env1Position[v] = &position[v];
            s.shared.env1Level[v] = &level[v];
        }
        m.setSampleRate(rate);
        set(ModuleMidi::kMode, mode * kThousandth);
        set(ModuleMidi::kDrift, 0.0f);
        m.setAnticlick(false);
        wheel.assign(kFrames + 4, 0.0f);
    }
    void set(int local, float value) { m.setParameter(local, value); }
    void setPolyphony(int n) { set(ModuleMidi::kPoly, (n - 1) * kThousandth); }
    /// A block with note events starts here, as the processor does it.
    void newBlock() { m.resetRings(); }
    void render(int frames = kFrames) { m.processVoices(frames, wheel.data()); }
    Triggers at(int voice, int i) {
        const TriggerRecord& r = m.triggerTable()[voice][i];
        return {r.trigger1, r.trigger2, r.trigger3, m.eventTable()[voice][i]};
    }
    /// Samples of a block carrying any trigger word.
    std::vector<int> eventSamples(int voice, int frames = kFrames) {
        std::vector<int> out;
        for (int i = 0; i < frames; ++i)
            if (m.eventTable()[voice][i] != 0) out.push_back(i);
        return out;
    }
    float pitch(int voice, int i) { return m.pitchTable()[voice][i]; }
    int noteOf(int voice) { return m.polyAllocator().noteOfVoice[voice]; }

    test::Standalone<ModuleMidi> s;
    ModuleMidi& m;
    int stage[kVoiceCount] = {};
    float position[kVoiceCount] = {};
    float level[kVoiceCount] = {};
    std::vector<float> wheel;
};

const Triggers kStart{1, 1, 1, 7};
const Triggers kRetrig{0, 1, 1, 6};
const Triggers kFlow{0, 0, 0, 0};
const Triggers kEnd{2, 2, 2, 112};
const Triggers kNothing{0, 0, 0, 0};

} // namespace

// ---------------------------------------------------------------------------------------------
// Mono modes: voice 16 only, by the stack.

TEST(ModuleMidiMono, SingleNoteStartsVoiceSixteenWithAllTriggersInEveryMonoMode) {
    for (int mode = 0; mode < 4; ++mode) {
        Rig r(mode);
        r.newBlock();
        r.m.noteOn(10, 60, 100);
        EXPECT_EQ(r.stage[kMonoVoice], 1) << mode;
        r.render();
        EXPECT_EQ(r.eventSamples(kMonoVoice), std::vector<int>{10}) << mode;
        EXPECT_TRUE(r.at(kMonoVoice, 10) == kStart) << mode;
        EXPECT_FLOAT_EQ(r.pitch(kMonoVoice, 10), 60.0f / 127.0f);
        for (int v = 0; v < 16; ++v) EXPECT_TRUE(r.eventSamples(v).empty()) << v;

        r.newBlock();
        r.m.noteOff(30, 60);
        r.render();
        EXPECT_EQ(r.eventSamples(kMonoVoice), std::vector<int>{30}) << mode;
        EXPECT_TRUE(r.at(kMonoVoice, 30) == kEnd) << mode;
        EXPECT_EQ(r.m.monoStack().depth(), 0);
    }
}

TEST(ModuleMidiMono, LegatoLinesTriggerByModeAndFallBackToTheNoteBelow) {
    // mono_1 and mono_2 retrigger the envelopes only; mono_3 and mono_4 fire nothing.
    const Triggers expected[4] = {kRetrig, kRetrig, kFlow, kFlow};
    for (int mode = 0; mode < 4; ++mode) {
        Rig r(mode);
        r.newBlock();
        r.m.noteOn(0, 60, 100);
        r.m.noteOn(100, 64, 100);
        r.m.noteOff(200, 64); // back to 60
        r.m.noteOff(300, 60);
        r.render();
        EXPECT_TRUE(r.at(kMonoVoice, 0) == kStart) << mode;
        EXPECT_TRUE(r.at(kMonoVoice, 100) == expected[mode]) << mode;
        EXPECT_TRUE(r.at(kMonoVoice, 200) == expected[mode]) << mode;
        EXPECT_TRUE(r.at(kMonoVoice, 300) == kEnd) << mode;
        // Without glide or click removal the pitch steps at the event's sample.
        EXPECT_FLOAT_EQ(r.pitch(kMonoVoice, 99), 60.0f / 127.0f) << mode;
        EXPECT_FLOAT_EQ(r.pitch(kMonoVoice, 100), 64.0f / 127.0f) << mode;
        EXPECT_FLOAT_EQ(r.pitch(kMonoVoice, 200), 60.0f / 127.0f) << mode;
    }
}

TEST(ModuleMidiMono, PolyModesDriveVoiceSixteenWithFullTriggers) {
    Rig r(ModuleMidi::kPoly1);
    r.newBlock();
    r.m.noteOn(0, 60, 100);
    r.m.noteOn(50, 64, 100);
    r.render();
    EXPECT_TRUE(r.at(kMonoVoice, 50) == kStart);
    EXPECT_EQ(r.m.monoStack().top(), 64);
}

TEST(ModuleMidiMono, ChordInOneSampleKeepsOnlyTheHighestNote) {
    Rig r(ModuleMidi::kMono1);
    r.newBlock();
    r.m.noteOn(5, 60, 90);
    r.m.noteOn(5, 67, 90);
    r.m.noteOn(5, 64, 90); // lower than the top: ignored
    r.render();
    EXPECT_EQ(r.m.monoStack().depth(), 1);
    EXPECT_EQ(r.m.monoStack().top(), 67);
    EXPECT_TRUE(r.at(kMonoVoice, 5) == kStart);
    EXPECT_EQ(r.eventSamples(kMonoVoice), std::vector<int>{5});
    EXPECT_FLOAT_EQ(r.pitch(kMonoVoice, 5), 67.0f / 127.0f);
    EXPECT_FLOAT_EQ(r.pitch(kMonoVoice, kFrames - 1), 67.0f / 127.0f);
}

TEST(ModuleMidiMono, ChordSpreadByOneSampleLeavesEarlierNotesOnTheStack) {
    Rig r(ModuleMidi::kMono1);
    r.newBlock();
    r.m.noteOn(5, 60, 90);
    r.m.noteOn(6, 67, 90);
    r.m.noteOn(7, 64, 90);
    r.render();
    ASSERT_EQ(r.m.monoStack().depth(), 3);
    EXPECT_EQ(r.m.monoStack().entry(0).note, 60);
    EXPECT_EQ(r.m.monoStack().entry(1).note, 67);
    EXPECT_EQ(r.m.monoStack().top(), 64); // last note wins
    EXPECT_TRUE(r.at(kMonoVoice, 5) == kStart);
    EXPECT_TRUE(r.at(kMonoVoice, 6) == kRetrig);
    EXPECT_TRUE(r.at(kMonoVoice, 7) == kRetrig);
    EXPECT_FLOAT_EQ(r.pitch(kMonoVoice, 7), 64.0f / 127.0f);

    // Releasing a note below the top only closes the gap.
    r.newBlock();
    r.m.noteOff(0, 67);
    r.render();
    EXPECT_TRUE(r.eventSamples(kMonoVoice).empty());
    EXPECT_EQ(r.m.monoStack().depth(), 2);
    EXPECT_EQ(r.m.monoStack().entry(0).note, 60);
}

TEST(ModuleMidiMono, ChordRuleAppliesOnlyWithinTheBlockThatOpenedTheStack) {
    Rig r(ModuleMidi::kMono1);
    r.newBlock();
    r.m.noteOn(5, 60, 90);
    r.render();
    r.newBlock(); // a later block: the same offset is a new moment
    r.m.noteOn(5, 55, 90);
    r.render();
    EXPECT_EQ(r.m.monoStack().top(), 55);
    EXPECT_TRUE(r.at(kMonoVoice, 5) == kRetrig);
}

TEST(ModuleMidiMono, RepeatedNoteReplacesVelocityAndRetriggers) {
    Rig r(ModuleMidi::kMono1);
    r.newBlock();
    r.m.noteOn(0, 60, 40);
    r.m.noteOn(10, 60, 120);
    r.render();
    EXPECT_EQ(r.m.monoStack().depth(), 1);
    EXPECT_EQ(r.m.monoStack().entry(0).velocity, 120);
    EXPECT_TRUE(r.at(kMonoVoice, 10) == kRetrig);
    // One note-off ends it.
    r.newBlock();
    r.m.noteOff(0, 60);
    r.render();
    EXPECT_TRUE(r.at(kMonoVoice, 0) == kEnd);
}

TEST(ModuleMidiMono, GlideOnTheFirstNoteOnlyInPortamentoModes) {
    for (int mode = 0; mode < 4; ++mode) {
        Rig r(mode);
        r.set(ModuleMidi::kGlideLog, 0.0f);
        r.set(ModuleMidi::kGlide, 0.3f);
        r.render(); // the glide step is taken from the block's glide value
        ASSERT_GT(r.m.glideStep, 0.0f);
        r.newBlock();
        r.m.noteOn(0, 72, 100); // from the initial 60
        r.render(64);
        const bool firstGlides = mode == 0 || mode == 2;
        if (firstGlides)
            EXPECT_LT(r.pitch(kMonoVoice, 63), 72.0f / 127.0f) << mode;
        else
            EXPECT_FLOAT_EQ(r.pitch(kMonoVoice, 0), 72.0f / 127.0f) << mode;
        // The second note of a line glides in every mode.
        r.newBlock();
        r.m.noteOn(0, 60, 100);
        r.render(64);
        EXPECT_GT(r.pitch(kMonoVoice, 63), 60.0f / 127.0f) << mode;
    }
}

TEST(ModuleMidiMono, ClickRemovalRampsAJumpWithoutGlideOverAboutAHundredSamples) {
    Rig r(ModuleMidi::kMono2);
    r.m.setAnticlick(true);
    r.set(ModuleMidi::kGlideLog, 0.0f);
    r.newBlock();
    r.m.noteOn(0, 60, 100);
    r.render();
    r.newBlock();
    r.m.noteOn(0, 72, 100);
    r.render();
    const float target = 72.0f / 127.0f;
    int reached = -1;
    for (int i = 0; i < kFrames && reached < 0; ++i)
        if (r.pitch(kMonoVoice, i) == target) reached = i;
    // 441 / 44100 per sample: 100 samples.
    EXPECT_NEAR(reached, 100, 2);
    EXPECT_NEAR(r.pitch(kMonoVoice, 50), 66.0f / 127.0f, 0.2f * kSemitone);

    // Poly voices never ramp.
    Rig p(ModuleMidi::kPoly1);
    p.m.setAnticlick(true);
    p.newBlock();
    p.m.noteOn(0, 72, 100);
    p.render();
    EXPECT_FLOAT_EQ(p.pitch(0, 0), target);
}

// ---------------------------------------------------------------------------------------------
// Poly allocator.

TEST(ModuleMidiPoly, ChordsTakeFreeVoicesInOrderAndRepeatedNotesTakeNewVoices) {
    Rig r(ModuleMidi::kPoly1);
    r.setPolyphony(16);
    r.newBlock();
    r.m.noteOn(0, 60, 100);
    r.m.noteOn(0, 64, 100);
    r.m.noteOn(0, 67, 100); // one sample: the stage words keep them apart
    r.m.noteOn(1, 67, 100); // same pitch again, no note-off: another voice
    r.render();
    EXPECT_EQ(r.noteOf(0), 60);
    EXPECT_EQ(r.noteOf(1), 64);
    EXPECT_EQ(r.noteOf(2), 67);
    EXPECT_EQ(r.noteOf(3), 67);
    for (int v = 0; v < 4; ++v) EXPECT_EQ(r.stage[v], 1) << v;
    EXPECT_EQ(r.m.polyAllocator().heldCount, 4);
    EXPECT_TRUE(r.at(0, 0) == kStart);
    EXPECT_TRUE(r.at(3, 1) == kStart);
    EXPECT_FLOAT_EQ(r.pitch(1, 0), 64.0f / 127.0f);

    // One note-off ends both voices of the repeated note.
    r.newBlock();
    r.m.noteOff(20, 67);
    r.render();
    EXPECT_TRUE(r.at(2, 20) == kEnd);
    EXPECT_TRUE(r.at(3, 20) == kEnd);
    EXPECT_TRUE(r.eventSamples(0).empty());
    EXPECT_EQ(r.noteOf(2), -1);
    EXPECT_EQ(r.noteOf(3), -1);
    EXPECT_EQ(r.m.polyAllocator().heldCount, 2);
}

TEST(ModuleMidiPoly, SixteenVoicesFillBeforeAnyIsStolen) {
    Rig r(ModuleMidi::kPoly1);
    r.setPolyphony(16);
    r.newBlock();
    for (int n = 0; n < 16; ++n) r.m.noteOn(n, 40 + n, 100);
    for (int v = 0; v < 16; ++v) EXPECT_EQ(r.noteOf(v), 40 + v);
    EXPECT_EQ(r.noteOf(kMonoVoice), -1);
    // All attacking at position 0: the scan ends on the last voice of that score.
    r.m.noteOn(20, 90, 100);
    EXPECT_EQ(r.noteOf(15), 90);
}

TEST(ModuleMidiPoly, PolyphonyOneAlwaysTakesVoiceZero) {
    Rig r(ModuleMidi::kPoly1);
    r.setPolyphony(1);
    r.newBlock();
    r.m.noteOn(0, 60, 100);
    r.m.noteOn(10, 64, 100); // steals voice 0
    r.render();
    EXPECT_EQ(r.noteOf(0), 64);
    for (int v = 1; v < 16; ++v) EXPECT_TRUE(r.eventSamples(v).empty()) << v;
    EXPECT_TRUE(r.at(0, 10) == kStart);
    // The stolen note's key going up finds nothing to end.
    r.newBlock();
    r.m.noteOff(5, 60);
    r.render();
    EXPECT_TRUE(r.eventSamples(0).empty());
    EXPECT_EQ(r.noteOf(0), 64);
    // A steal of a held voice does not count as a new held note.
    EXPECT_EQ(r.m.polyAllocator().heldCount, 1);
}

TEST(ModuleMidiPoly, StealScorePrefersReleasedThenLatestStage) {
    Rig r(ModuleMidi::kPoly1);
    r.setPolyphony(4);
    // Voice 0 attacking, 1 sustaining, 2 decaying late, 3 released by its key (score 6).
    const int held[4] = {60, 61, 62, -1};
    r.newBlock();
    for (int v = 0; v < 4; ++v) r.m.noteOn(0, 60 + v, 100);
    r.m.noteOff(0, 63);
    for (int v = 0; v < 4; ++v) ASSERT_EQ(r.noteOf(v), held[v]);
    r.stage[0] = 1;
    r.stage[1] = 4;
    r.stage[2] = 2;
    r.stage[3] = 5;
    r.position[0] = 0.9f;
    r.position[1] = 0.1f;
    r.position[2] = 0.8f;
    r.position[3] = 0.0f;
    r.m.noteOn(1, 70, 100);
    EXPECT_EQ(r.noteOf(3), 70); // released goes first, even at position 0

    // Now all held: sustain (4) beats decay (2) beats attack (1).
    r.stage[3] = 1;
    r.m.noteOn(2, 71, 100);
    EXPECT_EQ(r.noteOf(1), 71);
}

TEST(ModuleMidiPoly, BestPositionIsNotResetWhenABetterScoreAppears) {
    Rig r(ModuleMidi::kPoly1);
    r.setPolyphony(3);
    r.newBlock();
    for (int v = 0; v < 3; ++v) r.m.noteOn(0, 60 + v, 100);
    r.m.noteOff(0, 61);
    r.m.noteOff(0, 62);
    // Voice 0 sustaining far along (score 4, position 0.9); voices 1 and 2 released (score 6)
    // at 0.2 and 0.5. Voice 1 takes the better score; voice 2 must beat 0.9, which it cannot.
    r.stage[0] = 4;
    r.position[0] = 0.9f;
    r.stage[1] = 5;
    r.position[1] = 0.2f;
    r.stage[2] = 5;
    r.position[2] = 0.5f;
    r.m.noteOn(1, 72, 100);
    EXPECT_EQ(r.noteOf(1), 72);
    EXPECT_EQ(r.noteOf(2), -1);

    // With the early voice less far along, the later one of the same score does win.
    Rig q(ModuleMidi::kPoly1);
    q.setPolyphony(3);
    q.newBlock();
    for (int v = 0; v < 3; ++v) q.m.noteOn(0, 60 + v, 100);
    q.m.noteOff(0, 61);
    q.m.noteOff(0, 62);
    q.stage[0] = 4;
    q.position[0] = 0.1f;
    q.stage[1] = 5;
    q.position[1] = 0.2f;
    q.stage[2] = 5;
    q.position[2] = 0.5f;
    q.m.noteOn(1, 72, 100);
    EXPECT_EQ(q.noteOf(2), 72);
}

TEST(ModuleMidiPoly, LoweringPolyphonyLeavesReleasingVoicesAlone) {
    Rig r(ModuleMidi::kPoly1);
    r.setPolyphony(4);
    r.newBlock();
    for (int v = 0; v < 4; ++v) r.m.noteOn(0, 60 + v, 100);
    for (int v = 0; v < 4; ++v) r.m.noteOff(10, 60 + v);
    r.render();
    for (int v = 0; v < 4; ++v) {
        r.stage[v] = 5;
        r.position[v] = 0.1f * static_cast<float>(v + 1);
    }
    r.setPolyphony(2);
    r.newBlock();
    r.m.noteOn(0, 70, 100);
    r.m.noteOn(0, 71, 100);
    r.render();
    // Only voices 0 and 1 are scanned; 2 and 3 finish their release untouched.
    EXPECT_TRUE(r.eventSamples(2).empty());
    EXPECT_TRUE(r.eventSamples(3).empty());
    EXPECT_EQ(r.noteOf(2), -1);
    EXPECT_EQ(r.noteOf(3), -1);
    EXPECT_TRUE(r.at(1, 0) == kStart); // released at 0.2, the furthest of the two
    EXPECT_EQ(r.noteOf(1), 70);
    // Voice 1 is now held (stage 1): voice 0, released, goes next.
    EXPECT_EQ(r.noteOf(0), 71);
}

TEST(ModuleMidiPoly, Poly2GlidesOnlyWhileAnotherKeyIsHeld) {
    Rig r(ModuleMidi::kPoly2);
    r.setPolyphony(4);
    r.set(ModuleMidi::kGlideLog, 0.0f);
    r.set(ModuleMidi::kGlide, 0.5f);
    r.render();
    r.newBlock();
    r.m.noteOn(0, 64, 100); // first of the phrase: no glide
    r.render(8);
    EXPECT_FLOAT_EQ(r.pitch(0, 0), 64.0f / 127.0f);
    r.newBlock();
    r.m.noteOn(0, 76, 100); // legato: glides from the last started note
    r.render(8);
    EXPECT_NEAR(r.pitch(1, 0), 64.0f / 127.0f, 1e-6f);
    EXPECT_GT(r.pitch(1, 7), 64.0f / 127.0f);
    EXPECT_LT(r.pitch(1, 7), 65.0f / 127.0f);

    // poly_1 glides even the first note, from the last started one.
    Rig p(ModuleMidi::kPoly1);
    p.set(ModuleMidi::kGlideLog, 0.0f);
    p.set(ModuleMidi::kGlide, 0.5f);
    p.render();
    p.newBlock();
    p.m.noteOn(0, 72, 100);
    p.render(8);
    EXPECT_NEAR(p.pitch(0, 0), 60.0f / 127.0f, 1e-6f);
}

// ---------------------------------------------------------------------------------------------
// Pitch, bend, glide and drift as measured in the streams.

TEST(ModuleMidiPitch, A4IsExactlySixtyNineOver127PlusShiftAndFine) {
    Rig r(ModuleMidi::kPoly1);
    r.newBlock();
    r.m.noteOn(0, 69, 100);
    r.render(16);
    EXPECT_EQ(r.pitch(0, 0), 69.0f / 127.0f);
    EXPECT_EQ(r.m.triggerTable()[0][0].pitch, 69.0f / 127.0f);
    EXPECT_NEAR(r.m.keyFollowTable()[0][5], 9.0f / 127.0f, 1e-6f);

    r.set(ModuleMidi::kPitchShift, 76.0f / 128.0f); // +12
    r.render(16);
    EXPECT_NEAR(r.pitch(0, 3), 81.0f / 127.0f, 1e-6f);
    r.set(ModuleMidi::kPitchShift, 0.0f); // -64
    r.render(16);
    EXPECT_NEAR(r.pitch(0, 3), 5.0f / 127.0f, 1e-6f);
    r.set(ModuleMidi::kPitchShift, 0.5f);
    r.set(ModuleMidi::kPitchFine, 1.0f); // +0.99 semitone
    r.render(16);
    EXPECT_NEAR(r.pitch(0, 3), 69.99f / 127.0f, 1e-6f);
    r.set(ModuleMidi::kPitchFine, 0.5f);
    r.render(16);
    EXPECT_EQ(r.pitch(0, 3), 69.0f / 127.0f);
}

TEST(ModuleMidiPitch, BendRangesScaleTheWheelInEachDirection) {
    struct Case {
        int up, down;
        float wheel, semitones;
    } cases[] = {{2, 12, 1.0f, 2.0f},   {2, 12, -1.0f, -12.0f}, {12, 2, 1.0f, 12.0f},
                 {12, 2, -1.0f, -2.0f}, {12, 12, 0.5f, 6.0f},   {2, 2, 0.0f, 0.0f}};
    for (const Case& c : cases) {
        Rig r(ModuleMidi::kPoly1);
        r.set(ModuleMidi::kBendUp, c.up * kThousandth);
        r.set(ModuleMidi::kBendDown, c.down * kThousandth);
        r.newBlock();
        r.m.noteOn(0, 60, 100);
        std::fill(r.wheel.begin(), r.wheel.end(), c.wheel);
        r.render(32);
        EXPECT_NEAR(r.pitch(0, 31), (60.0f + c.semitones) / 127.0f, 1e-6f)
            << c.up << " " << c.down << " " << c.wheel;
        // The mono voice bends alike.
        EXPECT_NEAR(r.pitch(kMonoVoice, 31), (60.0f + c.semitones) / 127.0f, 1e-6f);
    }
}

namespace {
/// Samples from a note start until the pitch stream first equals the target.
int glideSamples(float rate, float g, bool logCurve, float* halfWay) {
    Rig r(ModuleMidi::kPoly1, rate);
    r.set(ModuleMidi::kGlideLog, logCurve ? 1.0f : 0.0f);
    r.set(ModuleMidi::kGlide, g);
    r.render();
    r.newBlock();
    r.m.noteOn(0, 72, 100); // from the last started pitch, 60
    const float target = 72.0f / 127.0f;
    const float from = 60.0f / 127.0f;
    const float expectedSamples = 1.0f / r.m.glideStep;
    for (int block = 0; block < 400; ++block) {
        r.render();
        for (int i = 0; i < kFrames; ++i) {
            const int n = block * kFrames + i;
            if (n == static_cast<int>(expectedSamples / 2.0f))
                *halfWay = (r.pitch(0, i) - from) / (target - from);
            if (r.pitch(0, i) == target) return n;
        }
    }
    return -1;
}
} // namespace

TEST(ModuleMidiPitch, GlideReachesItsTargetInTheCurveTime) {
    // g = 0.5 reads the curve at 15.5: 0.0579 + 0.5 * (0.0687 - 0.0579) = 0.0633, so the glide
    // takes 0.0633 * 4 s = 253.2 ms.
    const float c = 0.0633f;
    for (float rate : {44100.0f, 96000.0f}) {
        float half = 0.0f;
        const int n = glideSamples(rate, 0.5f, false, &half);
        const float expected = c * rate * 4.0f + 1.0f;
        // The phase runs in single precision: allow 0.1 % of the glide.
        const float tolerance = std::max(2.0f, expected * 0.001f);
        EXPECT_NEAR(n, expected, tolerance) << rate;
        EXPECT_NEAR(half, 0.5f, 0.001f) << rate; // linear
        const int nLog = glideSamples(rate, 0.5f, true, &half);
        EXPECT_NEAR(nLog, expected, tolerance) << rate;
        // Logarithmic: at half time only C(0.5) = 0.08705 of the distance is left.
        EXPECT_NEAR(half, 1.0f - 0.08705f, 0.001f) << rate;
    }
    // The longest glide, g = 1: four seconds.
    float half = 0.0f;
    EXPECT_NEAR(glideSamples(44100.0f, 1.0f, false, &half), 4.0f * 44100.0f + 1.0f, 176.0f);
}

TEST(ModuleMidiPitch, DriftDeckDealsEveryOffsetOfATableBeforeTheNext) {
    DriftDeck deck;
    const float* tables[2] = {DriftDeck::kTableB, DriftDeck::kTableA}; // B first
    for (int round = 0; round < 6; ++round) {
        std::vector<float> dealt;
        for (int i = 0; i < 4; ++i) dealt.push_back(deck.next());
        std::vector<float> expected(tables[round % 2], tables[round % 2] + 4);
        std::sort(dealt.begin(), dealt.end());
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(dealt, expected) << round;
    }
}

TEST(ModuleMidiPitch, DriftOffsetsReachThePitchOfStartedNotes) {
    Rig r(ModuleMidi::kMono1);
    r.set(ModuleMidi::kDrift, 1.0f);
    r.newBlock();
    r.m.noteOn(0, 60, 100);
    r.render(8);
    // The mono stack draws the first card of table B.
    const float offset = r.pitch(kMonoVoice, 7) * 127.0f - 60.0f;
    const float* b = DriftDeck::kTableB;
    EXPECT_TRUE(std::any_of(b, b + 4, [&](float d) { return std::fabs(d - offset) < 1e-4f; }))
        << offset;
}

// ---------------------------------------------------------------------------------------------
// Velocity, random values and the settled-voice shortcut.

TEST(ModuleMidiVelocity, CurveSmoothingAndTheJumpForFreshVoices) {
    Rig r(ModuleMidi::kPoly1);
    r.newBlock();
    r.m.noteOn(0, 60, 127);
    r.m.noteOn(0, 62, 64);
    r.render(64);
    EXPECT_EQ(r.m.velocityTable()[0][0], 1.0f); // a silent voice jumps to its level
    EXPECT_EQ(r.m.inverseVelocityTable()[0][0], 0.0f);
    // 64 * 31 / 127 = 15.622: 0.1955 + 0.622 * (0.2191 - 0.1955).
    const float v64 = 0.1955f + (64.0f * 31.0f / 127.0f - 15.0f) * (0.2191f - 0.1955f);
    EXPECT_NEAR(r.m.velocityTable()[1][0], v64, 1e-5f);
    EXPECT_NEAR(r.m.inverseVelocityTable()[1][63], 1.0f - v64, 1e-5f);

    // A sounding voice moves from its old level: at 120 Hz with click removal on.
    Rig s(ModuleMidi::kPoly1);
    s.setPolyphony(1);
    s.m.setAnticlick(true);
    s.newBlock();
    s.m.noteOn(0, 60, 127);
    s.render(64);
    s.level[0] = 0.5f; // env1 still sounding
    s.newBlock();
    s.m.noteOn(0, 62, 64); // steals voice 0
    s.render(64);
    const float k = std::sin(static_cast<float>(M_PI) * 120.0f / 44100.0f);
    EXPECT_NEAR(s.m.velocityTable()[0][0], 1.0f + (v64 - 1.0f) * k, 1e-5f);
    EXPECT_GT(s.m.velocityTable()[0][63], v64 + 0.3f); // still far from the target
}

TEST(ModuleMidiVelocity, RandomValuesAreTwoGeneratorStepsPerNote) {
    Rig r(ModuleMidi::kPoly1);
    r.setPolyphony(2);
    r.newBlock();
    r.m.noteOn(0, 60, 100);
    r.m.noteOn(3, 62, 100);
    r.render(16);
    NoiseGenerator g;
    // One generator serves all voices, in voice order: voice 0 takes the first two steps.
    const float bi0 = g.next();
    const float uni0 = std::fabs(g.next());
    const float bi1 = g.next();
    const float uni1 = std::fabs(g.next());
    EXPECT_EQ(r.m.randomBipolarTable()[0][15], bi0);
    EXPECT_EQ(r.m.randomUnipolarTable()[0][15], uni0);
    EXPECT_EQ(r.m.randomBipolarTable()[1][15], bi1);
    EXPECT_EQ(r.m.randomUnipolarTable()[1][15], uni1);
    EXPECT_GE(uni1, 0.0f);
    EXPECT_LE(std::fabs(bi0), 1.0f);
}

TEST(ModuleMidiVelocity, SettledVoiceSkipsItsLoopUntilWheelOrEventWakesIt) {
    Rig r(ModuleMidi::kPoly1);
    r.newBlock();
    r.m.noteOn(0, 60, 100);
    r.render();
    r.render();
    r.render();
    ASSERT_EQ(r.m.noteVoice(0).busy, 0);
    float* pitch = r.m.pitchTable()[0];
    pitch[100] = -5.0f; // a settled voice does not touch its arrays
    r.render();
    EXPECT_EQ(pitch[100], -5.0f);
    EXPECT_TRUE(r.eventSamples(0).empty());
    // A wheel move wakes it.
    std::fill(r.wheel.begin(), r.wheel.end(), 1.0f);
    r.render();
    EXPECT_NEAR(pitch[100], 62.0f / 127.0f, 1e-6f);
    EXPECT_EQ(r.m.noteVoice(0).busy, 1);
    // A new event wakes it and its word lands on its sample.
    r.render();
    r.render();
    r.newBlock();
    r.m.noteOff(300, 60);
    r.render();
    EXPECT_EQ(r.eventSamples(0), std::vector<int>{300});
    // The block after, the words are cleared.
    r.render();
    EXPECT_TRUE(r.eventSamples(0).empty());
}

TEST(ModuleMidiVelocity, AVoiceThatClaimsNoTriggersHasNoneInItsRecords) {
    // Readers skip the scan of a voice's gates when it says there are none: that must never
    // hide a trigger, through notes, releases, cuts, wheel moves and block length changes.
    Rig r(ModuleMidi::kPoly1);
    r.setPolyphony(4);
    int claimedQuiet = 0;
    auto check = [&](int frames, const char* what) {
        for (int v = 0; v < kVoiceCount; ++v) {
            if (r.m.noteVoice(v).mayHaveTriggers()) continue;
            ++claimedQuiet;
            for (int i = 0; i < frames; ++i) {
                const TriggerRecord& rec = r.m.triggerTable()[v][i];
                ASSERT_EQ(rec.trigger1 | rec.trigger2 | rec.trigger3, 0)
                    << what << ": voice " << v << " sample " << i;
            }
        }
    };
    const int lengths[] = {kFrames, 100, 100, 33, kFrames, kFrames};
    for (int block = 0; block < 24; ++block) {
        const int frames = lengths[block % 6];
        r.newBlock();
        if (block % 4 == 0) r.m.noteOn(block % frames, 50 + block, 90);
        if (block % 5 == 2) r.m.noteOff(frames - 1, 50 + block - 2);
        if (block == 9) r.m.cutStreams();
        if (block == 13) std::fill(r.wheel.begin(), r.wheel.end(), 0.5f);
        r.render(frames);
        check(frames, "block");
        if (HasFatalFailure()) return;
    }
    // Most voices sit idle most of the time: the claim is made, not just never wrong.
    EXPECT_GT(claimedQuiet, 0);
}

TEST(ModuleMidiVelocity, BlockLengthChangeRefillsTheStreams) {
    Rig r(ModuleMidi::kPoly1);
    r.newBlock();
    r.m.noteOn(0, 64, 127);
    r.render(128);
    r.render(128);
    r.render(128);
    ASSERT_EQ(r.m.noteVoice(0).busy, 0);
    r.render(kFrames);
    EXPECT_FLOAT_EQ(r.pitch(0, kFrames - 1), 64.0f / 127.0f);
    EXPECT_EQ(r.m.velocityTable()[0][kFrames - 1], 1.0f);
}

TEST(ModuleMidiRing, EveryEventOfAFullBlockLandsOnItsSample) {
    Rig r(ModuleMidi::kMono3); // flow mode: words only at the start and the end
    r.m.setAnticlick(false);
    r.newBlock();
    // 255 events on voice 16: a start, 253 legato moves, an end.
    r.m.noteOn(0, 40, 100);
    for (int n = 1; n < 254; ++n) {
        r.m.noteOn(2 * n, 40 + n % 2, 100);
        r.m.noteOff(2 * n, 40 + (n - 1) % 2); // below the top: no event
    }
    EXPECT_EQ(r.m.monoStack().depth(), 1);
    r.m.noteOff(508, 41);
    r.render();
    EXPECT_EQ(r.eventSamples(kMonoVoice), (std::vector<int>{0, 508}));
    EXPECT_FLOAT_EQ(r.pitch(kMonoVoice, 5), 40.0f / 127.0f);   // note of offset 4
    EXPECT_FLOAT_EQ(r.pitch(kMonoVoice, 7), 41.0f / 127.0f);   // note of offset 6
    EXPECT_FLOAT_EQ(r.pitch(kMonoVoice, 505), 40.0f / 127.0f); // offset 504
    EXPECT_FLOAT_EQ(r.pitch(kMonoVoice, 507), 41.0f / 127.0f); // offset 506, the last move
}

TEST(ModuleMidiRing, AnEventWrittenOutOfOrderPlaysWithThePreviousOne) {
    Rig r(ModuleMidi::kPoly1);
    r.newBlock();
    r.m.noteOn(0, 60, 100);
    r.m.noteOff(63, 60);     // a cut at the block's end ...
    r.m.noteOn(10, 62, 100); // ... before a note of an earlier sample
    r.render(64);
    EXPECT_TRUE(r.at(0, 63) == kEnd);
    EXPECT_TRUE(r.at(1, 0) == kNothing);
    EXPECT_TRUE(r.at(1, 10) == kStart); // voice 1 has its own ring and time line
    // The next block starts clean.
    r.newBlock();
    r.m.noteOn(5, 64, 100);
    r.render(64);
    EXPECT_EQ(r.eventSamples(2, 64), std::vector<int>{5});
}

TEST(ModuleMidiRealTime, NotesAndBlocksDoNotAllocate) {
    Rig r(ModuleMidi::kPoly1);
    r.set(ModuleMidi::kDrift, 1.0f);
    r.setPolyphony(16);
    r.render();
    test::ScopedAllocCount allocs;
    for (int block = 0; block < 20; ++block) {
        r.newBlock();
        for (int n = 0; n < 40; ++n) r.m.noteOn(n * 3, 30 + (n * 7 + block) % 60, 1 + n * 3);
        for (int n = 0; n < 40; n += 2) r.m.noteOff(200 + n, 30 + (n * 7 + block) % 60);
        r.render();
    }
    EXPECT_EQ(allocs.count(), 0u);
}

// ---------------------------------------------------------------------------------------------
// Microtuning and concert pitch on the pitch stream.

TEST(ModuleMidiTuning, ScaleMapsKeysFromTheReferenceNoteAndConcertPitchShiftsAll) {
    // Twelve equal steps from C4: the identity.
    std::vector<float> equal;
    for (int i = 0; i <= 12; ++i) equal.push_back(static_cast<float>(i));
    Rig r(ModuleMidi::kPoly1);
    r.m.setReferenceNote(60);
    r.m.setScale(equal.data(), static_cast<int>(equal.size()));
    r.newBlock();
    r.m.noteOn(0, 55, 100);
    r.m.noteOn(0, 67, 100);
    r.render(8);
    EXPECT_NEAR(r.pitch(0, 7), 55.0f / 127.0f, 1e-5f);
    EXPECT_NEAR(r.pitch(1, 7), 67.0f / 127.0f, 1e-5f);

    // One entry 2/1: every key is an octave away from its neighbour.
    const float octave[2] = {0.0f, 12.0f};
    Rig s(ModuleMidi::kPoly1);
    s.m.setReferenceNote(69);
    s.m.setScale(octave, 2);
    s.newBlock();
    s.m.noteOn(0, 69, 100);
    s.m.noteOn(0, 70, 100);
    s.m.noteOn(0, 68, 100);
    s.render(8);
    EXPECT_NEAR(s.pitch(0, 7), 69.0f / 127.0f, 1e-5f);
    EXPECT_NEAR(s.pitch(1, 7), 81.0f / 127.0f, 1e-5f);
    EXPECT_NEAR(s.pitch(2, 7), 57.0f / 127.0f, 1e-5f);

    // 432 Hz is a plain shift of the whole stream, scale or not, also for settled voices.
    s.render(8);
    s.render(8);
    ASSERT_EQ(s.m.noteVoice(1).busy, 0);
    s.m.setA4Index(0);
    s.m.clearScale();
    s.render(8);
    EXPECT_NEAR(s.pitch(1, 7), 70.0f / 127.0f - 0.002462f, 1e-6f);
    EXPECT_NEAR(s.pitch(2, 7), 68.0f / 127.0f - 0.002462f, 1e-6f);
}

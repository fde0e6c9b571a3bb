// The arpeggiator: the note order of every mode over one to four octaves, wrap, the note
// ceiling, gate lengths, ties, swing in samples, the velocity modes, the step source and the
// switch between playing keys straight and arpeggiating them, alone and inside an engine.

#include "engine/aplugin.h"
#include "engine/modulemidi.h"
#include "engine/noisegenerator.h"
#include "modulators/modulearp.h"
#include "shell/paramtable.h"

#include "support/alloccounter.h"
#include "support/standalonemodule.h"
#include "support/testengine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

namespace torvo {
namespace {

constexpr int kBlock = 512;
/// "1/64": 32 steps a second at 120 bpm, 1378.125 samples a step at 44.1 kHz.
constexpr int kSpeed64th = 20;
/// "1/16": 5512.5 samples a step at 120 bpm.
constexpr int kSpeed16th = 16;

float listValue(int index) {
    return static_cast<float>(index) * kThousandth;
}

struct Played {
    long long at;
    int note;
    int velocity;
};

/// One arpeggiator on its own, clocked block by block; every event it lets out is kept with
/// its time in samples since the rig started.
struct ArpRig {
    explicit ArpRig(int mode = kArpUp, int octaves = 0) {
        list(ModuleArp::kLocalMode, mode);
        list(ModuleArp::kLocalOctave, octaves);
        list(ModuleArp::kLocalSpeed, kSpeed64th);
        list(ModuleArp::kLocalWrap, 16);
        set(ModuleArp::kLocalLength, 0.5f);
        set(ModuleArp::kLocalSwing, 0.5f);
        for (int c = 0; c < 16; ++c) {
            cellNote(c, 0);
            set(ModuleArp::kLocalVelocity + c, 0.78f);
        }
    }
    ModuleArp& m() { return arp.m; }
    void set(int local, float value) { arp.m.setParameter(local, value); }
    void list(int local, int index) { set(local, listValue(index)); }
    void cellNote(int cell, int semitones) {
        set(ModuleArp::kLocalNote + cell, static_cast<float>(semitones + 24) / 48.0f);
    }
    void cellVelocity(int cell, int velocity) {
        set(ModuleArp::kLocalVelocity + cell, static_cast<float>(velocity) / 127.0f);
    }
    /// Turns the arp on; the block of the switch plays nothing.
    void switchOn() {
        set(ModuleArp::kLocalOn, 1.0f);
        block();
    }
    void press(int offset, int note, int velocity = 100) {
        arp.m.queueNoteOn(offset, note, velocity);
    }
    void release(int offset, int note) { arp.m.queueNoteOff(offset, note); }
    void block(int use = 0, int frames = kBlock) {
        arp.m.process(frames, use);
        for (int i = 0; i < arp.m.eventCount(); ++i) {
            const ArpEvent& e = arp.m.event(i);
            const Played p{now + e.offset, e.pitch, e.velocity};
            (e.type == ArpEvent::kNoteOn ? ons : offs).push_back(p);
        }
        arp.m.clearEvents();
        now += frames;
    }
    /// Runs blocks until `count` notes have started.
    void runNotes(std::size_t count) {
        for (int guard = 0; ons.size() < count && guard < 4000; ++guard) block();
    }
    std::vector<int> notes(std::size_t count) {
        runNotes(count);
        std::vector<int> out;
        for (std::size_t i = 0; i < count && i < ons.size(); ++i) out.push_back(ons[i].note);
        return out;
    }
    /// Samples of one step at the speed and tempo in use.
    float stepSamples() const { return 1.0f / arp.m.clock.rateEven; }

    test::Standalone<ModuleArp> arp{kBlock, "ModuleArp::arp1"};
    std::vector<Played> ons, offs;
    long long now = 0;
};

/// A rig already on with keys 64, 60, 67 pressed in that order at sample 0.
ArpRig& withChord(ArpRig& r) {
    r.switchOn();
    r.press(0, 64, 90);
    r.press(0, 60, 100);
    r.press(0, 67, 110);
    return r;
}

std::vector<int> chordOrder(int mode, int octaves, std::size_t count) {
    ArpRig r(mode, octaves);
    return withChord(r).notes(count);
}

std::vector<int> keysOrder(int mode, int octaves, const std::vector<int>& keys, std::size_t count) {
    ArpRig r(mode, octaves);
    r.switchOn();
    for (int k : keys) r.press(0, k);
    return r.notes(count);
}

using Notes = std::vector<int>;

TEST(ArpModeOrder, UpAndDownRunThroughEveryOctave) {
    EXPECT_EQ(chordOrder(kArpUp, 0, 6), (Notes{60, 64, 67, 60, 64, 67}));
    EXPECT_EQ(chordOrder(kArpUp, 1, 7), (Notes{60, 64, 67, 72, 76, 79, 60}));
    EXPECT_EQ(chordOrder(kArpUp, 3, 13),
              (Notes{60, 64, 67, 72, 76, 79, 84, 88, 91, 96, 100, 103, 60}));
    EXPECT_EQ(chordOrder(kArpDown, 0, 4), (Notes{67, 64, 60, 67}));
    EXPECT_EQ(chordOrder(kArpDown, 2, 10), (Notes{91, 88, 84, 79, 76, 72, 67, 64, 60, 91}));
    EXPECT_EQ(keysOrder(kArpUp, 0, {62}, 3), (Notes{62, 62, 62}));
    EXPECT_EQ(keysOrder(kArpDown, 1, {62}, 3), (Notes{74, 62, 74}));
}

TEST(ArpModeOrder, UpDownTurnsWithoutRepeatingTheEnds) {
    // One key: the descent adds nothing, a single step.
    EXPECT_EQ(keysOrder(kArpUpDown, 0, {60}, 3), (Notes{60, 60, 60}));
    // With one key the top is not left out: over two octaves it sounds twice.
    EXPECT_EQ(keysOrder(kArpUpDown, 1, {60}, 4), (Notes{60, 72, 72, 60}));
    // Two keys in one octave: low, high, no doubling at the top.
    EXPECT_EQ(keysOrder(kArpUpDown, 0, {64, 60}, 4), (Notes{60, 64, 60, 64}));
    EXPECT_EQ(keysOrder(kArpUpDown, 1, {64, 60}, 7), (Notes{60, 64, 72, 76, 72, 64, 60}));
    EXPECT_EQ(chordOrder(kArpUpDown, 0, 5), (Notes{60, 64, 67, 64, 60}));
    EXPECT_EQ(chordOrder(kArpUpDown, 1, 11), (Notes{60, 64, 67, 72, 76, 79, 76, 72, 67, 64, 60}));
}

TEST(ArpModeOrder, UpDown2RepeatsBothEnds) {
    EXPECT_EQ(keysOrder(kArpUpDown2, 0, {64, 60}, 5), (Notes{60, 64, 64, 60, 60}));
    EXPECT_EQ(keysOrder(kArpUpDown2, 0, {60}, 2), (Notes{60, 60}));
    EXPECT_EQ(chordOrder(kArpUpDown2, 1, 13),
              (Notes{60, 64, 67, 72, 76, 79, 79, 76, 72, 67, 64, 60, 60}));
}

TEST(ArpModeOrder, DownUpAndDownUp2MirrorTheRisingTurns) {
    EXPECT_EQ(keysOrder(kArpDownUp, 0, {60}, 2), (Notes{60, 60}));
    EXPECT_EQ(keysOrder(kArpDownUp, 0, {60, 64}, 4), (Notes{64, 60, 64, 60}));
    EXPECT_EQ(chordOrder(kArpDownUp, 0, 5), (Notes{67, 64, 60, 64, 67}));
    EXPECT_EQ(chordOrder(kArpDownUp, 1, 11), (Notes{79, 76, 72, 67, 64, 60, 64, 67, 72, 76, 79}));
    EXPECT_EQ(chordOrder(kArpDownUp2, 0, 7), (Notes{67, 64, 60, 60, 64, 67, 67}));
    EXPECT_EQ(keysOrder(kArpDownUp2, 0, {60, 64}, 4), (Notes{64, 60, 60, 64}));
}

TEST(ArpModeOrder, OrderedFollowsThePressOrder) {
    EXPECT_EQ(chordOrder(kArpOrdered, 0, 4), (Notes{64, 60, 67, 64}));
    EXPECT_EQ(chordOrder(kArpOrdered, 1, 7), (Notes{64, 60, 67, 76, 72, 79, 64}));
    EXPECT_EQ(keysOrder(kArpOrdered, 3, {50}, 5), (Notes{50, 62, 74, 86, 50}));
}

TEST(ArpModeOrder, RandomDrawsFromThePressOrderWithTheEngineNoise) {
    const Notes played = chordOrder(kArpRandom, 2, 64);
    const Notes ordered{64, 60, 67, 76, 72, 79, 88, 84, 91};
    NoiseGenerator noise;
    for (std::size_t i = 0; i < played.size(); ++i) {
        const int index = static_cast<int>(9.0f * (noise.next() + 1.0f) * 0.5f);
        EXPECT_EQ(played[i], ordered[static_cast<std::size_t>(std::min(index, 8))]) << i;
    }
    for (int n : ordered) EXPECT_NE(std::find(played.begin(), played.end(), n), played.end()) << n;
}

TEST(ArpModeOrder, StepPlaysTheCellsFromTheNewestKey) {
    ArpRig r(kArpStep, 1);
    const int offsets[16] = {0, 7, 12, -5, 3, -24, 24, 0, 1, 2, 3, 4, 5, 6, 7, 8};
    for (int c = 0; c < 16; ++c) r.cellNote(c, offsets[c]);
    withChord(r); // 67 is the newest key
    const Notes played = r.notes(33);
    for (int i = 0; i < 32; ++i)
        EXPECT_EQ(played[i], 67 + offsets[i % 16] + (i >= 16 ? 12 : 0)) << i;
    EXPECT_EQ(played[32], 67);

    // Releasing the newest key hands the pattern to the key pressed before it.
    ArpRig low(kArpStep, 0);
    low.cellNote(1, 7);
    low.switchOn();
    low.press(0, 48);
    low.press(0, 55);
    low.release(0, 55);
    EXPECT_EQ(low.notes(2), (Notes{48, 55}));
}

TEST(ArpModeOrder, ChordStartsEveryKeyOnEachStep) {
    ArpRig r(kArpChord, 1);
    r.cellNote(0, 0);
    r.cellNote(1, 5);
    r.list(ModuleArp::kLocalWrap, 1); // two cells
    withChord(r);
    r.runNotes(12);
    ASSERT_GE(r.ons.size(), 12u);
    const Notes expected{60, 64, 67, 65, 69, 72, 72, 76, 79, 77, 81, 84};
    for (std::size_t i = 0; i < 12; ++i) {
        EXPECT_EQ(r.ons[i].note, expected[i]) << i;
        EXPECT_EQ(r.ons[i].at, r.ons[i / 3 * 3].at) << "a step starts its chord at once";
    }
    EXPECT_GT(r.ons[3].at, r.ons[0].at);
    // Key velocity doubled by the step entry's own: "Key" adds the key to the entry.
    EXPECT_EQ(r.ons[0].velocity, 127);
}

TEST(ArpEdges, NotesAboveTheTopAreHeldAt127) {
    EXPECT_EQ(keysOrder(kArpUp, 1, {120}, 3), (Notes{120, 127, 120}));
    EXPECT_EQ(keysOrder(kArpUp, 3, {110}, 5), (Notes{110, 122, 127, 127, 110}));
    ArpRig r(kArpStep, 0);
    r.cellNote(0, 24);
    r.switchOn();
    r.press(0, 120);
    EXPECT_EQ(r.notes(1), (Notes{127}));
}

TEST(ArpEdges, WrapRestartsStepsAndShortPatterns) {
    // At 15 ("16" or "no") a six-note pattern plays whole.
    EXPECT_EQ(chordOrder(kArpUp, 1, 7), (Notes{60, 64, 67, 72, 76, 79, 60}));
    // At 3 the cells and the pattern start over after four steps.
    ArpRig r(kArpUp, 1);
    r.list(ModuleArp::kLocalWrap, 3);
    withChord(r);
    std::vector<int> cells;
    while (r.ons.size() < 9) {
        const std::size_t before = r.ons.size();
        r.block();
        if (r.ons.size() > before) cells.push_back(r.m().currentStep());
    }
    EXPECT_EQ(r.notes(9), (Notes{60, 64, 67, 72, 60, 64, 67, 72, 60}));
    ASSERT_GE(cells.size(), 6u);
    EXPECT_EQ(cells[0], 0);
    EXPECT_EQ(cells[3], 3);
    EXPECT_EQ(cells[4], 0);
    // The last step is 15 even with "no": a pattern longer than 16 notes starts over at 16.
    EXPECT_EQ(keysOrder(kArpUp, 3, {60, 62, 64, 65, 67}, 17)[16], 60);
    // In "Step" the pattern holds only the cells up to the wrap, in every octave.
    ArpRig s(kArpStep, 1);
    for (int c = 0; c < 16; ++c) s.cellNote(c, c);
    s.list(ModuleArp::kLocalWrap, 3);
    s.switchOn();
    s.press(0, 60);
    EXPECT_EQ(s.notes(9), (Notes{60, 61, 62, 63, 72, 73, 74, 75, 60}));
}

TEST(ArpGate, LengthSetsTheGateAndATieOverlapsTheNextStep) {
    for (const float length : {1.0f, 0.5f}) {
        ArpRig r;
        r.set(ModuleArp::kLocalLength, length);
        r.switchOn();
        r.press(100, 60);
        r.runNotes(2);
        ASSERT_FALSE(r.offs.empty());
        EXPECT_EQ(r.ons[0].at, kBlock + 100) << "the first step falls on the key's sample";
        const float gate = length * r.stepSamples() * 0.99f;
        EXPECT_NEAR(static_cast<float>(r.offs[0].at - r.ons[0].at), gate, 1.0f) << length;
        EXPECT_NEAR(static_cast<float>(r.ons[1].at - r.ons[0].at), r.stepSamples(), 1.0f);
    }
    // A tie on the first cell: the second step of the same note extends it.
    ArpRig tie;
    tie.set(ModuleArp::kLocalHold, 1.0f);
    tie.switchOn();
    tie.press(0, 60);
    tie.runNotes(2);
    ASSERT_EQ(tie.offs.size(), 1u);
    EXPECT_NEAR(static_cast<float>(tie.ons[1].at - tie.ons[0].at), 2.0f * tie.stepSamples(), 1.0f);
    const float tied = 5.0f + std::floor(tie.stepSamples()) + 0.5f * tie.stepSamples() * 0.99f;
    EXPECT_NEAR(static_cast<float>(tie.offs[0].at - tie.ons[0].at), tied, 1.0f);
    // Two keys: the tied note ends five samples into the next.
    ArpRig legato;
    legato.set(ModuleArp::kLocalHold, 1.0f);
    legato.switchOn();
    legato.press(0, 60);
    legato.press(0, 64);
    legato.runNotes(2);
    ASSERT_FALSE(legato.offs.empty());
    EXPECT_EQ(legato.offs[0].note, 60);
    EXPECT_NEAR(static_cast<float>(legato.offs[0].at - legato.ons[1].at), 5.0f, 1.0f);
}

TEST(ArpClock, SwingStretchesEvenStepsAndShortensOddOnes) {
    struct Case {
        float tempo;
        float swing;
        double even;
        double odd;
    };
    // Step at "1/16": 44100 * 15 / tempo samples; swing s moves w = 0.6 s - 0.3 of it.
    const Case cases[] = {{120.0f, 1.0f, 7166.25, 3858.75},
                          {120.0f, 0.5f, 5512.5, 5512.5},
                          {120.0f, 0.0f, 3858.75, 7166.25},
                          {90.0f, 1.0f, 9555.0, 5145.0},
                          {90.0f, 0.75f, 8452.5, 6247.5}};
    for (const Case& c : cases) {
        ArpRig r;
        r.arp.shared.tempo = c.tempo;
        r.list(ModuleArp::kLocalSpeed, kSpeed16th);
        r.set(ModuleArp::kLocalSwing, c.swing);
        r.switchOn();
        r.press(0, 60);
        r.runNotes(7);
        for (int s = 0; s < 6; ++s) {
            const double gap = static_cast<double>(r.ons[s + 1].at - r.ons[s].at);
            EXPECT_NEAR(gap, s % 2 == 0 ? c.even : c.odd, 2.5)
                << c.tempo << " " << c.swing << " " << s;
        }
        EXPECT_NEAR(static_cast<double>(r.ons[6].at - r.ons[0].at), 3.0 * (c.even + c.odd), 4.0);
    }
}

TEST(ArpVelocity, EachModeTakesItsVelocity) {
    struct Case {
        int mode;
        std::vector<Played> expected; // at: 0, note, velocity
    };
    // Keys 60 at 100 then 64 at 50; cells 10, 0, 20, 40. A silent cell repeats the last note.
    const Case cases[] = {
        {kArpVelKey, {{0, 60, 100}, {0, 64, 50}, {0, 60, 100}, {0, 64, 50}}},
        {kArpVelHold, {{0, 60, 50}, {0, 64, 50}, {0, 60, 50}, {0, 64, 50}}},
        {kArpVelStep, {{0, 60, 10}, {0, 60, 0}, {0, 60, 20}, {0, 64, 40}}},
        {kArpVelStepKey, {{0, 60, 110}, {0, 60, 120}, {0, 64, 90}, {0, 60, 110}}},
        {kArpVelStepHold, {{0, 60, 60}, {0, 60, 70}, {0, 64, 90}, {0, 60, 60}}},
    };
    for (const Case& c : cases) {
        ArpRig r;
        r.list(ModuleArp::kLocalVelocityMode, c.mode);
        r.list(ModuleArp::kLocalWrap, 3);
        const int cells[4] = {10, 0, 20, 40};
        for (int i = 0; i < 4; ++i) r.cellVelocity(i, cells[i]);
        r.switchOn();
        r.press(0, 60, 100);
        r.press(0, 64, 50);
        r.runNotes(4);
        for (std::size_t i = 0; i < 4; ++i) {
            EXPECT_EQ(r.ons[i].note, c.expected[i].note) << c.mode << " " << i;
            EXPECT_EQ(r.ons[i].velocity, c.expected[i].velocity) << c.mode << " " << i;
        }
    }
    // Key plus step is capped at 127.
    ArpRig cap;
    cap.list(ModuleArp::kLocalVelocityMode, kArpVelStepKey);
    cap.cellVelocity(0, 120);
    cap.switchOn();
    cap.press(0, 60, 100);
    cap.runNotes(1);
    EXPECT_EQ(cap.ons[0].velocity, 127);
}

TEST(ArpVelocity, ASilentCellRestsInTheStepModes) {
    // "Step+Key": the cell of velocity 0 starts nothing; its step still passes.
    ArpRig r;
    r.list(ModuleArp::kLocalVelocityMode, kArpVelStepKey);
    r.cellVelocity(1, 0);
    r.switchOn();
    r.press(0, 60);
    r.press(0, 64);
    r.runNotes(2);
    const float step = r.stepSamples();
    EXPECT_EQ(r.ons[1].note, 60);
    EXPECT_NEAR(static_cast<float>(r.ons[1].at - r.ons[0].at), 2.0f * step, 1.0f);
    // "Step" mode with "Step" velocity: no note at all on a silent cell.
    ArpRig s(kArpStep, 0);
    s.list(ModuleArp::kLocalVelocityMode, kArpVelStep);
    s.cellVelocity(1, 0);
    s.switchOn();
    s.press(0, 60);
    s.runNotes(2);
    for (const Played& p : s.ons) EXPECT_GT(p.velocity, 0);
    EXPECT_NEAR(static_cast<float>(s.ons[1].at - s.ons[0].at), 2.0f * s.stepSamples(), 1.0f);
}

TEST(ArpStepSource, TheBufferHoldsTheCellDuringItsGate) {
    ArpRig r;
    r.set(ModuleArp::kLocalVelocity + 0, 0.25f);
    r.set(ModuleArp::kLocalVelocity + 1, 0.75f);
    r.switchOn();
    r.press(10, 60);
    r.block();
    const float* out = r.m().getOutputs(0)[0];
    const float* flags = r.m().stepSnapshot();
    EXPECT_EQ(out[9], 0.0f);
    EXPECT_EQ(out[10], 0.25f);
    EXPECT_EQ(out[kBlock - 1], 0.25f); // the gate lasts about 682 samples
    EXPECT_EQ(flags[10], ModuleArp::kStartFlags) << "a key press for the steppers";
    EXPECT_EQ(flags[9], 0.0f);
    EXPECT_EQ(flags[11], 0.0f);
    r.m().clearStepSnapshot();
    r.block();
    const int gateEnd = 10 + static_cast<int>(0.5f * r.stepSamples() * 0.99f) - kBlock;
    EXPECT_EQ(out[gateEnd - 1], 0.25f);
    EXPECT_EQ(out[gateEnd + 1], 0.0f);
    r.block();
    // The second step (cell 1) begins one step after sample 10, in the third block.
    const int second = 10 + static_cast<int>(std::ceil(r.stepSamples())) - 1 - 2 * kBlock;
    EXPECT_EQ(out[second - 2], 0.0f);
    EXPECT_EQ(out[second + 1], 0.75f);
    EXPECT_EQ(r.m().currentStep(), 1);
}

TEST(ArpSwitching, OffDrainsTheQueueAndOnReleasesTheKeysPlayedStraight) {
    ArpRig r;
    r.press(5, 60);
    r.press(6, 64);
    r.release(9, 60);
    r.block();
    EXPECT_EQ(r.m().queuedCount(), 0);
    EXPECT_TRUE(r.ons.empty() && r.offs.empty());
    EXPECT_EQ(r.m().heldNoteCount(), 2);
    // The switch: every key of the held list goes out as a note-off at sample 0, nothing else.
    r.set(ModuleArp::kLocalOn, 1.0f);
    r.block();
    ASSERT_EQ(r.offs.size(), 2u);
    EXPECT_EQ(r.offs[0].at, kBlock);
    EXPECT_EQ(r.m().heldNoteCount(), 0);
    // 64 is still down, but stays silent until played again.
    for (int b = 0; b < 8; ++b) r.block();
    EXPECT_TRUE(r.ons.empty());
    r.press(0, 67);
    r.runNotes(2);
    EXPECT_EQ(r.ons[0].note, 67);
    EXPECT_EQ(r.ons[1].note, 67);
    // Switching off ends the sounding note at sample 0 of that block.
    ASSERT_GT(r.m().engine.noteCount(), 0);
    const std::size_t before = r.offs.size();
    const long long switchAt = r.now;
    r.set(ModuleArp::kLocalOn, 0.0f);
    r.block();
    ASSERT_EQ(r.offs.size(), before + 1);
    EXPECT_EQ(r.offs.back().at, switchAt);
    EXPECT_EQ(r.offs.back().note, 67);
    EXPECT_EQ(r.m().engine.keyCount(), 0);
}

TEST(ArpSwitching, WithTheStepSourceInUseHeldKeysArpeggiateOnceOn) {
    ArpRig r;
    r.press(0, 60);
    r.press(0, 64);
    r.block(1); // off, but the matrix reads the step source
    EXPECT_TRUE(r.ons.empty());
    EXPECT_GT(r.m().getOutputs(0)[0][0], 0.0f) << "the step source moves while off";
    r.set(ModuleArp::kLocalOn, 1.0f);
    r.block(1);
    EXPECT_TRUE(r.ons.empty());
    EXPECT_EQ(r.offs.size(), 2u);
    r.runNotes(3);
    EXPECT_EQ(r.notes(3), (Notes{64, 60, 64}));
}

TEST(ArpSwitching, ABusyQueueWaitsForTheNextBlockInsteadOfBlocking) {
    ArpRig r;
    r.press(0, 60); // played straight while off
    r.block();
    r.set(ModuleArp::kLocalOn, 1.0f);
    std::promise<void> locked;
    std::promise<void> release;
    std::thread holder([&] {
        std::lock_guard<std::mutex> hold(r.m().queueMutex());
        locked.set_value();
        release.get_future().wait();
    });
    locked.get_future().wait();
    // The switch needs the held list: it is put off while another thread holds the mutex.
    r.block();
    EXPECT_TRUE(r.offs.empty());
    release.set_value();
    holder.join();
    r.block();
    ASSERT_EQ(r.offs.size(), 1u);
    EXPECT_EQ(r.offs[0].at, 2 * kBlock);

    std::promise<void> lockedAgain;
    std::promise<void> releaseAgain;
    r.press(30, 62);
    std::thread second([&] {
        std::lock_guard<std::mutex> hold(r.m().queueMutex());
        lockedAgain.set_value();
        releaseAgain.get_future().wait();
    });
    lockedAgain.get_future().wait();
    r.block();
    EXPECT_EQ(r.m().engine.keyCount(), 0);
    EXPECT_EQ(r.m().queuedCount(), 1) << "the key stays queued";
    releaseAgain.set_value();
    second.join();
    const long long taken = r.now;
    r.block();
    ASSERT_EQ(r.ons.size(), 1u);
    EXPECT_EQ(r.ons[0].at, taken + 30);
}

// --- Inside an engine: the arp in front of the allocators. ---

struct EngineArp {
    EngineArp() : engine(test::makeTestEngine(44100.0f, kBlock)), block(kBlock) {}
    void set(const char* name, float value) { engine->setParameter(findParamId(name), value, 1); }
    void render() {
        engine->render(block.pointers(), kBlock);
        const auto& poly = engine->midi()->polyAllocator();
        for (int v = 0; v < kVoiceCount; ++v) {
            const int n = poly.noteOfVoice[v];
            if (n >= 0 && n != last[v]) started.push_back(n);
            last[v] = n;
        }
    }
    void renderUntil(std::size_t count) {
        for (int guard = 0; started.size() < count && guard < 400; ++guard) render();
    }
    int voicesHolding(int note) const {
        int count = 0;
        for (int v = 0; v < kVoiceCount; ++v)
            count += engine->midi()->polyAllocator().noteOfVoice[v] == note;
        return count;
    }
    std::unique_ptr<APlugin> engine;
    test::StereoBlock block;
    std::vector<int> started;
    int last[kVoiceCount] = {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
};

TEST(ArpInEngine, SwitchingOnSilencesAHeldChordAndPlaysNewKeys) {
    EngineArp e;
    e.set("poly", 7 * kThousandth);
    e.engine->resetNoteState();
    for (int n : {60, 64, 67}) e.engine->noteOn(0, n, 100);
    e.render();
    EXPECT_EQ(e.started, (Notes{60, 64, 67}));
    e.set("arp_on", 1.0f);
    e.render();
    for (int n : {60, 64, 67}) EXPECT_EQ(e.voicesHolding(n), 0) << n;
    for (int b = 0; b < 30; ++b) e.render();
    EXPECT_EQ(e.started.size(), 3u) << "the chord stays silent";

    e.engine->resetNoteState();
    e.engine->noteOn(100, 72, 100);
    e.engine->noteOn(100, 48, 100);
    e.renderUntil(7);
    EXPECT_EQ(e.started, (Notes{60, 64, 67, 48, 72, 48, 72}));
    EXPECT_EQ(e.engine->arpStep(), 3);
}

TEST(ArpInEngine, TheStepSourceInUseCarriesAHeldChordIntoTheArpeggio) {
    EngineArp e;
    e.set("poly", 7 * kThousandth);
    e.set("slot1_Src1", listValue(kSrcArpStep));
    e.set("slot1_Trg1", listValue(45));
    e.engine->refreshMatrix();
    ASSERT_GT(e.engine->modMatrix().useOfSource(kSrcArpStep), 0);
    e.engine->resetNoteState();
    for (int n : {64, 60}) e.engine->noteOn(0, n, 100);
    e.render();
    e.set("arp_on", 1.0f);
    e.render();
    EXPECT_EQ(e.voicesHolding(60) + e.voicesHolding(64), 0);
    e.renderUntil(5);
    EXPECT_EQ(e.started, (Notes{64, 60, 64, 60, 64}));
}

TEST(ArpInEngine, ArpeggiatingDoesNotAllocate) {
    EngineArp e;
    e.set("arp_on", 1.0f);
    e.set("arp_speed", listValue(kSpeed64th));
    e.set("arp_mode", listValue(kArpRandom));
    e.set("arp_octave", listValue(3));
    e.render();
    test::ScopedAllocCount allocs;
    for (int b = 0; b < 40; ++b) {
        e.engine->resetNoteState();
        if (b % 8 == 0)
            for (int n = 0; n < 12; ++n) e.engine->noteOn(n, 40 + 3 * n + b % 5, 60 + n);
        if (b % 8 == 5)
            for (int n = 0; n < 12; n += 2) e.engine->noteOff(n, 40 + 3 * n + (b - 5) % 5);
        if (b == 20) e.set("arp_mode", listValue(kArpChord));
        e.engine->render(e.block.pointers(), kBlock);
    }
    e.set("arp_on", 0.0f);
    e.engine->render(e.block.pointers(), kBlock);
    EXPECT_EQ(allocs.count(), 0u);
}

} // namespace
} // namespace torvo

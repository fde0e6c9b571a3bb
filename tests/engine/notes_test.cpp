// Notes through the engine: the held lists, the hold pedal, all notes off and all sound off,
// the mode change that cuts notes, and the way host notes reach the allocators.

#include "engine/aplugin.h"
#include "engine/modulemidi.h"
#include "shell/paramtable.h"
#include "support/alloccounter.h"
#include "support/testengine.h"

#include <gtest/gtest.h>

#include <vector>

using namespace torvo;
using torvo::test::makeTestEngine;
using torvo::test::StereoBlock;

namespace {

constexpr int kBlock = 64;

struct EngineRig {
    EngineRig() : engine(makeTestEngine(44100.0f, 512)), block(512) {}

    /// The processor's head of a block that brings note events.
    void eventsFollow() { engine->resetNoteState(); }
    void render(int frames = kBlock) { engine->render(block.pointers(), frames); }
    ModuleMidi& midi() { return *engine->midi(); }
    /// The voice holding `note`, or -1.
    int voiceOf(int note) {
        for (int v = 0; v < kVoiceCount; ++v)
            if (midi().polyAllocator().noteOfVoice[v] == note) return v;
        return -1;
    }
    int voicesHolding(int note) {
        int n = 0;
        for (int v = 0; v < kVoiceCount; ++v) n += midi().polyAllocator().noteOfVoice[v] == note;
        return n;
    }
    int word(int voice, int i) { return midi().eventTable()[voice][i]; }
    void pedal(float value, int offset = 0) { engine->onController(64, value, offset, 0.0f); }

    std::unique_ptr<APlugin> engine;
    StereoBlock block;
};

} // namespace

TEST(NotesHoldPedal, KeysReleasedUnderThePedalEndWhenItLifts) {
    EngineRig r;
    ASSERT_EQ(r.engine->currentMode(), 4);
    r.eventsFollow();
    r.engine->noteOn(0, 60, 100);
    r.render();
    const int voice = r.voiceOf(60);
    ASSERT_GE(voice, 0);

    r.pedal(1.0f);
    EXPECT_TRUE(r.engine->holdPedalDown());
    r.eventsFollow();
    r.engine->noteOff(10, 60);
    EXPECT_EQ(r.engine->heldNoteCount(), 0);
    EXPECT_EQ(r.engine->releasedWhileHeldCount(), 1);
    r.render();
    EXPECT_EQ(r.voiceOf(60), voice); // still sounding
    EXPECT_EQ(r.word(voice, 10), 0);

    r.pedal(0.49f, 7); // below 0.5 is up
    EXPECT_FALSE(r.engine->holdPedalDown());
    EXPECT_EQ(r.engine->releasedWhileHeldCount(), 0);
    r.render();
    EXPECT_EQ(r.voiceOf(60), -1);
    EXPECT_EQ(r.word(voice, 7), VoiceNote::kNoteOffWord);
    EXPECT_EQ(r.word(kMonoVoice, 7), VoiceNote::kNoteOffWord);
}

TEST(NotesHoldPedal, AKeyPlayedAgainUnderThePedalIsNotReleasedByIt) {
    EngineRig r;
    r.pedal(0.5f); // 0.5 is down
    r.eventsFollow();
    r.engine->noteOn(0, 62, 100);
    r.engine->noteOff(5, 62);
    r.engine->noteOn(9, 62, 100); // a second voice for the same key
    EXPECT_EQ(r.engine->releasedWhileHeldCount(), 0);
    r.render();
    EXPECT_EQ(r.voicesHolding(62), 2);
    r.pedal(0.0f);
    r.render();
    EXPECT_EQ(r.voicesHolding(62), 2);
    // The key going up now ends both voices at once.
    r.eventsFollow();
    r.engine->noteOff(3, 62);
    EXPECT_EQ(r.voicesHolding(62), 0);
}

TEST(NotesPanic, AllNotesOffCutsEveryHeldNoteAtTheBlockEnd) {
    EngineRig r;
    r.eventsFollow();
    r.engine->noteOn(0, 60, 100);
    r.engine->noteOn(0, 64, 100);
    r.render();
    const int v60 = r.voiceOf(60);
    const int v64 = r.voiceOf(64);
    ASSERT_GE(v60, 0);
    ASSERT_GE(v64, 0);
    r.engine->onController(123, 1.0f, 0, 0.0f);
    EXPECT_TRUE(r.engine->panicIsPending());
    EXPECT_EQ(r.engine->clearCountdown(), 0);
    r.render();
    EXPECT_FALSE(r.engine->panicIsPending());
    EXPECT_EQ(r.engine->heldNoteCount(), 0);
    EXPECT_EQ(r.voiceOf(60), -1);
    EXPECT_EQ(r.voiceOf(64), -1);
    EXPECT_EQ(r.midi().monoStack().depth(), 0);
    EXPECT_EQ(r.word(v60, kBlock - 1), VoiceNote::kNoteOffWord);
    EXPECT_EQ(r.word(v64, kBlock - 1), VoiceNote::kNoteOffWord);
    EXPECT_EQ(r.word(kMonoVoice, kBlock - 1), VoiceNote::kNoteOffWord);
    EXPECT_EQ(r.word(v60, 0), 0);
}

TEST(NotesPanic, ANoteInTheSameBlockAsThePanicSurvives) {
    EngineRig r;
    r.eventsFollow();
    r.engine->noteOn(0, 60, 100);
    r.render();
    r.engine->onController(123, 1.0f, 0, 0.0f);
    r.eventsFollow();
    r.engine->noteOn(20, 67, 100);
    EXPECT_FALSE(r.engine->panicIsPending());
    r.render();
    EXPECT_GE(r.voiceOf(67), 0);
    EXPECT_GE(r.voiceOf(60), 0);
    EXPECT_EQ(r.engine->heldNoteCount(), 2);
    EXPECT_EQ(r.word(r.voiceOf(67), 20), 7);
}

TEST(NotesPanic, AllSoundOffAlsoArmsTheDelayedClearUnlessANoteFollows) {
    EngineRig r;
    r.eventsFollow();
    r.engine->noteOn(0, 60, 100);
    r.render();
    r.engine->onController(120, 1.0f, 0, 0.0f);
    EXPECT_TRUE(r.engine->panicIsPending());
    EXPECT_EQ(r.engine->clearCountdown(), 2);
    r.render();
    EXPECT_EQ(r.voiceOf(60), -1);
    EXPECT_EQ(r.engine->heldNoteCount(), 0);

    r.engine->onController(120, 1.0f, 0, 0.0f);
    r.eventsFollow();
    r.engine->noteOn(0, 72, 100);
    EXPECT_FALSE(r.engine->panicIsPending());
    EXPECT_EQ(r.engine->clearCountdown(), 0);
}

TEST(NotesModes, ChangeAcrossMonoAndPolyCutsNotesAtTheBlockEnd) {
    EngineRig r;
    r.eventsFollow();
    r.engine->noteOn(0, 60, 100);
    r.engine->noteOn(0, 64, 100);
    r.render();
    const int v60 = r.voiceOf(60);
    r.engine->setParameter(0, 1 * kThousandth, 1); // mono_2
    EXPECT_EQ(r.midi().mode, 4);                   // waits for the render
    r.render();
    EXPECT_EQ(r.engine->currentMode(), 1);
    EXPECT_EQ(r.midi().mode, 1);
    EXPECT_EQ(r.engine->heldNoteCount(), 0);
    EXPECT_EQ(r.voiceOf(60), -1);
    EXPECT_EQ(r.word(v60, kBlock - 1), VoiceNote::kNoteOffWord);

    // In a mono mode only voice 16 takes notes.
    r.render();
    r.eventsFollow();
    r.engine->noteOn(4, 67, 100);
    r.render();
    EXPECT_EQ(r.voiceOf(67), -1);
    EXPECT_EQ(r.midi().monoStack().top(), 67);
    EXPECT_EQ(r.word(kMonoVoice, 4), 7);
    for (int v = 0; v < 16; ++v) EXPECT_EQ(r.word(v, 4), 0) << v;

    // Within the mono family the change is immediate and keeps the notes.
    r.engine->setParameter(0, 3 * kThousandth, 1);
    EXPECT_EQ(r.midi().mode, 3);
    r.render();
    EXPECT_EQ(r.engine->heldNoteCount(), 1);
    EXPECT_EQ(r.midi().monoStack().top(), 67);
}

TEST(NotesModes, ClickRemovalIsOnOnlyAtExactlyOne) {
    EngineRig r;
    const int id = findParamId("anticlick");
    r.engine->setParameter(id, 0.999f, 1);
    EXPECT_FALSE(r.midi().anticlick);
    r.engine->setParameter(id, 1.0f, 1);
    EXPECT_TRUE(r.midi().anticlick);
}

TEST(NotesInput, VelocityZeroIsANoteOffAndTheHeldListIsBounded) {
    EngineRig r;
    r.eventsFollow();
    r.engine->noteOn(0, 60, 100);
    r.engine->noteOn(5, 60, 0);
    EXPECT_EQ(r.engine->heldNoteCount(), 0);
    EXPECT_EQ(r.voiceOf(60), -1);

    for (int i = 0; i < 300; ++i) r.engine->noteOn(0, i % 128, 100);
    EXPECT_EQ(r.engine->heldNoteCount(), 257);
}

TEST(NotesInput, ArpSwitchedOnPlaysHostNotesOnItsSteps) {
    EngineRig r;
    r.engine->setParameter(findParamId("arp_on"), 1.0f, 1);
    r.render(); // the block of the switch plays nothing
    r.eventsFollow();
    r.engine->noteOn(3, 60, 100);
    EXPECT_EQ(r.voiceOf(60), -1); // not yet: the arp's output plays it
    r.render();
    const int v = r.voiceOf(60);
    ASSERT_GE(v, 0);
    EXPECT_EQ(r.word(v, 3), 7); // the first step falls on the key's sample
    r.eventsFollow();
    r.engine->noteOff(9, 60);
    r.render();
    EXPECT_EQ(r.voiceOf(60), v) << "the step's gate ends the note, not the key";
    // Half a "1/16" step at 120 bpm, times 0.99: 2728 samples after sample 64 + 3.
    int blockStart = 3 * kBlock;
    for (; r.voiceOf(60) >= 0 && blockStart < 4000; blockStart += kBlock) r.render();
    EXPECT_EQ(blockStart, 2752 + kBlock);
    EXPECT_EQ(r.word(v, 2795 - 2752), VoiceNote::kNoteOffWord);
}

TEST(NotesRealTime, NotesPedalAndPanicDoNotAllocate) {
    EngineRig r;
    r.render();
    test::ScopedAllocCount allocs;
    for (int block = 0; block < 8; ++block) {
        r.eventsFollow();
        for (int n = 0; n < 20; ++n) r.engine->noteOn(n, 40 + n + block, 90);
        r.pedal(1.0f);
        for (int n = 0; n < 20; n += 2) r.engine->noteOff(30 + n, 40 + n + block);
        r.pedal(0.0f, 50);
        r.render();
        if (block % 3 == 2) r.engine->onController(123, 1.0f, 0, 0.0f);
    }
    EXPECT_EQ(allocs.count(), 0u);
}

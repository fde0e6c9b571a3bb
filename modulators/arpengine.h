#pragma once
// The arpeggiator's note logic: the keys held now, the pattern built from them, the notes it
// has started and the events it leaves for the voices. ModuleArp feeds it keys from its queue
// and tells it when the step clock moves on; each step picks a note and a velocity by the
// mode and the velocity mode, and every sounding note counts its gate down sample by sample.

#include "modulators/arppattern.h"

#include "engine/noisegenerator.h"

#include <array>

namespace torvo {

struct ArpEvent {
    enum Type { kNoteOn = 1, kNoteOff = 2 };
    int type = 0;
    int pitch = 0;
    int velocity = 0;
    /// Sample offset in the block.
    int offset = 0;
};

enum ArpVelocityMode { kArpVelKey = 0, kArpVelHold, kArpVelStep, kArpVelStepKey, kArpVelStepHold };

/// The decoded settings the note logic reads.
struct ArpSettings {
    int mode = kArpUp;
    int velocityMode = kArpVelKey;
    /// Extra octaves, 0..3.
    int octaves = 0;
    /// Last step before the cells (and short patterns) start over, 0..15.
    int wrap = 15;
    /// Per cell: note offset in semitones (-24..24), tie to the next step, velocity 0..127.
    std::array<int, ArpPattern::kCells> stepNotes{};
    std::array<bool, ArpPattern::kCells> stepHolds{};
    std::array<int, ArpPattern::kCells> stepVelocities{};
};

class ArpEngine {
public:
    static constexpr int kMaxActive = 256;
    static constexpr int kMaxPending = 1024;
    /// Samples by which a tied step outlasts its step, so that the next note starts under it.
    static constexpr int kTieOverlap = 5;

    /// What a fired step played: its cell and its gate in samples.
    struct Step {
        int cell = 0;
        int gate = 0;
    };

    /// Forgets keys, notes, events and counters.
    void reset();
    /// A new phrase starts from the first pattern entry and the first cell.
    void restart();

    // Keys, in the order of the note queue.
    void keyOn(int note, int velocity);
    void keyOff(int note);
    int keyCount() const { return heldCount; }
    /// Sorts the keys and rebuilds the pattern from them and the settings.
    void rebuild();

    /// Plays the next step at `sample`. The gate follows the rate of the step (even or odd
    /// cell) and the gate length 0..1.
    Step fireStep(int sample, float rateEven, float rateOdd, float length);
    /// Once per sample after stepping: starts pending notes and ends those whose gate ran out.
    void walk(int sample);

    /// Ends every sounding note at sample 0 and forgets keys, pattern and notes.
    void releaseAll();
    /// Forgets the notes without ending them: none of them ever reached the voices.
    void forgetNotes() { activeCount = 0; }

    int pendingCount() const { return pendingEventCount; }
    const ArpEvent& pending(int i) const { return pendingEvents[i]; }
    void clearPending() { pendingEventCount = 0; }

    /// Notes started and not yet ended.
    int noteCount() const { return activeCount; }
    const ArpPattern& currentPattern() const { return pattern; }

    ArpSettings settings;
    int lastKeyVelocity = 0;
    int topKey = 0;
    int patternIndex = 0;
    int stepIndex = 0;
    int playedStep = 0;
    int lastNote = 0;

private:
    enum NoteState { kPending = 0, kSounding = 1, kSilent = 2 };

    int noteOfStep(int& entryVelocity);
    void start(int note, int velocity, int sample, int gate, bool silent);
    void emit(int type, int note, int velocity, int sample);

    std::array<ArpNote, ArpPattern::kMaxKeys> heldKeys{};
    std::array<ArpNote, ArpPattern::kMaxKeys> sortedKeys{};
    int heldCount = 0;
    ArpPattern pattern;
    std::array<ArpNote, kMaxActive> activeNotes{};
    int activeCount = 0;
    std::array<ArpEvent, kMaxPending> pendingEvents{};
    int pendingEventCount = 0;
    NoiseGenerator generator;
};

} // namespace torvo

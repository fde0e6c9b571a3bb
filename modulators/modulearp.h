#pragma once
// The arpeggiator sits in front of voice allocation. Every host note is queued here first
// (under the queue mutex, since preset paths on the message thread may queue too). With the
// arpeggiator off, host notes also go straight to the allocators and the queue is only
// drained; with it on, each block takes the queue into the held keys, steps through the
// pattern on the shared step clock and leaves the notes the voices should play in its event
// list, which the render drains. Its modulation source is a per-sample buffer holding the
// played step's velocity cell for the length of its gate.

#include "engine/module.h"
#include "modulators/arpengine.h"
#include "modulators/stepclock.h"

#include <array>
#include <mutex>

namespace torvo {

class ModuleArp : public ModulePoly {
public:
    static constexpr int kQueueSize = 1024;
    static constexpr int kHeldListSize = 128;
    static constexpr int kStepCells = ArpPattern::kCells;
    /// Bytes of the step snapshot buffer that the steppers read.
    static constexpr int kStepSnapshotBytes = 16384;
    /// Flag word written into the snapshot at the start of a phrase: a key press for every
    /// modulator that follows the arpeggiator.
    static constexpr float kStartFlags = 7.0f;

    enum Local {
        kLocalNote = 0,
        kLocalHold = 16,
        kLocalVelocity = 32,
        kLocalOn = 48,
        kLocalLength,
        kLocalSpeed,
        kLocalSwing,
        kLocalMode,
        kLocalVelocityMode,
        kLocalOctave,
        kLocalWrap
    };

    void createVoices() override;
    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;
    /// One block; `use` is the matrix's use of the arp step source.
    void process(int frames, int use) override;
    /// All 17 entries point at the one step buffer.
    float* const* getOutputs(int index) override;

    /// The cell of the step played last, for the editor's display.
    int currentStep() const { return engine.playedStep; }
    bool isOn() const { return on; }

    // Output events of the last block, drained by the render.
    int eventCount() const { return events; }
    const ArpEvent& event(int i) const { return eventList[i]; }
    /// Empties the event list once the render has passed it on. The note queue stays: notes
    /// queued after this block's run (the note-offs of a cut) are taken in the next block.
    void clearEvents();

    std::mutex& queueMutex() { return queueLock; }
    /// Queue a host note; each takes the queue mutex itself, so call them without holding it.
    /// A full queue overwrites its last entry. A note-on also enters the held list.
    void queueNoteOn(int offset, int pitch, int velocity);
    void queueNoteOff(int offset, int pitch);
    int queuedCount() const { return queued; }

    // The held list: pitches played while the arp was fed, released by a switch-on or a cut.
    // Removal takes the queue mutex itself; read the list under queueMutex().
    void removeHeldNote(int pitch);
    int heldNoteCount() const { return heldCount; }
    int heldNote(int i) const { return heldList[i]; }

    /// The snapshot for writing: it counts as written from here on.
    float* stepSnapshot() {
        snapshotWritten = true;
        return snapshot;
    }
    /// The snapshot for reading, as the steppers do each block.
    const float* stepSnapshotView() const { return snapshot; }
    /// Zeroes the snapshot, if anything was written into it since the last clear.
    void clearStepSnapshot();

    // Decoded parameters; the note logic keeps the rest in engine.settings.
    /// Raw `arp_vel` values, which the step buffer outputs.
    std::array<float, kStepCells> stepVelocityLevels{};
    bool on = false;
    float length = 0.0f;
    int speedIndex = 0;
    float swing = 0.0f;

    ArpEngine engine;
    StepClock clock;

private:
    void queue(const ArpEvent& e);
    /// Takes the queued keys into the held keys; called with the queue mutex held.
    void takeQueue(int frames);
    /// The switch to on: the keys that played straight to the voices are released.
    void switchOn();
    void updateClock(int frames);
    void runSamples(int frames);
    float modulated(int local, float base, int frames) const;
    void passEvents();
    /// Zeroes the step buffer once when the arp stops writing it.
    void silenceStepBuffer();

    std::mutex queueLock;
    std::array<ArpEvent, kQueueSize> noteQueue{};
    int queued = 0;
    std::array<ArpEvent, kQueueSize> eventList{};
    int events = 0;
    std::array<int, kHeldListSize> heldList{};
    int heldCount = 0;

    /// `arp_on` as the last block saw it.
    bool wasOn = false;
    bool rebuildPending = true;
    /// Phrase start: samples until the first step, and the flag that asks the clock for it.
    bool startCounting = false;
    int startCountdown = 0;
    bool triggerFlag = false;
    /// The played step's velocity cell and the samples left of its gate.
    float stepLevel = 0.0f;
    int gateLeft = 0;
    bool stepBufferClean = true;

    int maxFrames = 0;
    float* stepBuffer = nullptr;
    float* snapshot = nullptr;
    /// Whether the snapshot may hold a flag: every block clears it, mostly with nothing in it.
    bool snapshotWritten = false;
    std::array<float*, kVoiceCount> outputTable{};
};

} // namespace torvo

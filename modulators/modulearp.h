#pragma once
// The arpeggiator sits in front of voice allocation. Every host note is queued here first
// (under the queue mutex, since preset paths on the message thread may queue too); each block
// the arpeggiator takes the queue and leaves the notes the voices should play in its event
// list, which the render drains. Its modulation source is a per-sample buffer holding the
// played step's velocity for the length of its gate.

#include "engine/module.h"
#include "modulators/stepclock.h"

#include <array>
#include <mutex>

namespace torvo {

struct ArpEvent {
    enum Type { kNoteOn = 1, kNoteOff = 2 };
    int type = 0;
    int pitch = 0;
    int velocity = 0;
    /// Sample offset in the block.
    int offset = 0;
};

class ModuleArp : public ModulePoly {
public:
    static constexpr int kQueueSize = 1024;
    static constexpr int kHeldListSize = 128;
    static constexpr int kStepCells = 16;
    /// Bytes of the step snapshot buffer that the steppers read.
    static constexpr int kStepSnapshotBytes = 16384;

    enum Mode {
        kUp = 0,
        kDown,
        kUpDown,
        kUpDown2,
        kDownUp,
        kDownUp2,
        kRandom,
        kOrdered,
        kStep,
        kChord
    };
    enum VelocityMode { kVelKey = 0, kVelHold, kVelStep, kVelStepKey, kVelStepHold };

    void createVoices() override;
    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;
    /// One block; `use` is the matrix's use of the arp step source.
    void process(int frames, int use) override;
    /// All 17 entries point at the one step buffer.
    float* const* getOutputs(int index) override;

    int currentStep() const { return playedStep; }
    bool isOn() const { return on; }

    // Output events of the last block, drained by the render.
    int eventCount() const { return events; }
    const ArpEvent& event(int i) const { return eventList[i]; }
    /// Empties the event list and the note queue, under the queue mutex.
    void clearEvents();

    std::mutex& queueMutex() { return queueLock; }
    /// Queue a host note; each takes the queue mutex itself, so call them without holding it.
    /// A full queue overwrites its last entry. A note-on also enters the held list.
    void queueNoteOn(int offset, int pitch, int velocity);
    void queueNoteOff(int offset, int pitch);

    // The held list: pitches played while the arp was fed, released by a switch-on or a cut.
    // Removal takes the queue mutex itself; read the list under queueMutex().
    void removeHeldNote(int pitch);
    int heldNoteCount() const { return heldCount; }
    int heldNote(int i) const { return heldList[i]; }

    float* stepSnapshot() { return snapshot; }
    void clearStepSnapshot();

    // Decoded parameters.
    std::array<int, kStepCells> stepNotes{};
    std::array<bool, kStepCells> stepHolds{};
    std::array<int, kStepCells> stepVelocities{};
    /// Raw `arp_vel` values, which the step buffer outputs.
    std::array<float, kStepCells> stepVelocityLevels{};
    bool on = false;
    float length = 0.0f;
    int speedIndex = 0;
    float swing = 0.0f;
    int mode = kUp;
    int velocityMode = kVelKey;
    int octaves = 0;
    int wrap = 15;

    StepClock clock;
    int playedStep = 0;
    bool startFlag = false;

private:
    void queue(const ArpEvent& e);

    std::mutex queueLock;
    std::array<ArpEvent, kQueueSize> noteQueue{};
    int queued = 0;
    std::array<ArpEvent, kQueueSize> eventList{};
    int events = 0;
    std::array<int, kHeldListSize> heldList{};
    int heldCount = 0;

    float* stepBuffer = nullptr;
    float* snapshot = nullptr;
    std::array<float*, kVoiceCount> outputTable{};
};

} // namespace torvo

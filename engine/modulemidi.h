#pragma once
// Note handling: turns note-on and note-off requests into per-voice, per-sample control
// streams. A mono note stack always drives voice 16; in the poly modes a poly allocator drives
// voices 0..15. Each note voice keeps a ring of pending events that the render turns into
// pitch, velocity and trigger streams.
//
// The allocators are still plain: notes are recorded in the rings and voices are picked
// round-robin, which is enough to carry events to the voices until the real allocator lands.

#include "engine/module.h"

#include <vector>

namespace torvo {

struct NoteEvent {
    int offset;
    int pitch;
    int velocity; // 0 for a note off
};

/// Per-voice note state and block streams.
class VoiceNote : public Voice {
public:
    static constexpr int kRingSize = 64;
    void reset() override;
    /// Drops pending events (the rings are cleared when a block carries new notes).
    void clearRing() { ringCount = 0; }
    bool push(const NoteEvent& e);

    NoteEvent ring[kRingSize] = {};
    int ringCount = 0;
    int note = -1;
    float pitch = 60.0f / 127.0f;
    float velocity = 0.0f;
    float* pitchBuffer = nullptr;
    float* velocityBuffer = nullptr;
    float* inverseVelocityBuffer = nullptr;
    float* keyFollowBuffer = nullptr;
    float* randomBipolarBuffer = nullptr;
    float* randomUnipolarBuffer = nullptr;
};

class ModuleMidi : public ModulePoly {
public:
    ModuleMidi();
    ~ModuleMidi() override;

    void createVoices() override;
    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;

    void noteOn(int offset, int pitch, int velocity);
    void noteOff(int offset, int pitch);
    /// Cuts every note at once (mode change across mono/poly, panic).
    void allNotesCut(int offset);
    /// Clears the event rings of all voices and the current event marker.
    void resetNoteState();
    /// Turns each voice's ring into its per-sample streams for this block.
    void processVoices(int frames, const float* pitchWheel);

    void setWheelOffset(float offset) { wheelOffset = offset; }
    float bendUpRange() const { return bendUp; }
    float bendDownRange() const { return bendDown; }

    // Microtuning hand-over from the processor.
    void setReferenceNote(int note) { referenceNote = note; }
    void setA4Index(int index) { a4Index = index; }
    void setScale(const float* cents, int count);
    void clearScale() { scale.clear(); }

    /// Per-voice stream tables (17 entries each).
    float* const* velocityTable() { return velocityPtrs; }
    float* const* inverseVelocityTable() { return inverseVelocityPtrs; }
    float* const* pitchTable() { return pitchPtrs; }
    float* const* keyFollowTable() { return keyFollowPtrs; }
    float* const* randomBipolarTable() { return randomBipolarPtrs; }
    float* const* randomUnipolarTable() { return randomUnipolarPtrs; }
    float* const* constantTenthTable() { return constTenthPtrs; }
    float* const* constantHalfTable() { return constHalfPtrs; }

    int mode = 4;
    int polyphony = 4;
    bool glideLog = true;
    bool driftOn = true;
    float glideValue = 0.0f;
    float bendUp = 2.0f / 127.0f;
    float bendDown = 2.0f / 127.0f;
    float wheelOffset = 0.0f;
    int pitchShift = 64;
    int pitchFine = 99;
    int lastEventOffset = -1;

private:
    VoiceNote* noteVoice(int i) { return static_cast<VoiceNote*>(voices[i]); }
    int pickVoice(int pitch);

    int nextVoice = 0;
    int referenceNote = 69;
    int a4Index = 4;
    std::vector<float> scale;
    float* constTenth = nullptr;
    float* constHalf = nullptr;
    float* velocityPtrs[kVoiceCount] = {};
    float* inverseVelocityPtrs[kVoiceCount] = {};
    float* pitchPtrs[kVoiceCount] = {};
    float* keyFollowPtrs[kVoiceCount] = {};
    float* randomBipolarPtrs[kVoiceCount] = {};
    float* randomUnipolarPtrs[kVoiceCount] = {};
    float* constTenthPtrs[kVoiceCount] = {};
    float* constHalfPtrs[kVoiceCount] = {};
};

} // namespace torvo

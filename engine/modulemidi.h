#pragma once
// Note handling: turns note-on and note-off requests into per-voice, per-sample control
// streams. A mono note stack always drives voice 16; in the poly modes a poly allocator drives
// voices 0..15 as well. Each of the 17 note voices keeps a ring of pending events that the
// render turns into pitch, velocity, key follow, random and trigger streams.
//
// Everything here runs on the audio thread; nothing allocates after setMaxBlockSize().

#include "engine/driftdeck.h"
#include "engine/microtuning.h"
#include "engine/module.h"
#include "engine/monostack.h"
#include "engine/noisegenerator.h"
#include "engine/notevoice.h"
#include "engine/polyallocator.h"

#include <array>
#include <cstdint>

namespace torvo {

class ModuleMidi : public ModulePoly {
public:
    enum Local {
        kMode,
        kPoly,
        kGlideLog,
        kGlide,
        kDrift,
        kBendUp,
        kBendDown,
        kPitchShift,
        kPitchFine
    };
    enum PlayMode { kMono1 = 0, kMono2, kMono3, kMono4, kPoly1, kPoly2 };

    ModuleMidi();
    ~ModuleMidi() override;

    void createVoices() override;
    void setParameter(int localIndex, float value) override;
    void setSampleRate(float rate) override;
    void setMaxBlockSize(int frames) override;

    void noteOn(int offset, int pitch, int velocity);
    void noteOff(int offset, int pitch);
    /// Poly and mono note-off without any mode test, as a cut needs.
    void noteOffAll(int offset, int pitch);
    /// Zeroes velocity and random streams, holds pitch and key follow, drops all triggers.
    void cutStreams();
    /// Empties the rings of all 17 voices and forgets this block's first stack offset.
    void resetRings();
    /// Old name of resetRings(), kept for the processor.
    void resetNoteState() { resetRings(); }
    /// Turns each voice's ring into its per-sample streams for this block. The pitch wheel is
    /// -1..1 per sample (null: no wheel).
    void processVoices(int frames, const float* pitchWheel);

    void setWheelOffset(float offset);
    float bendUpRange() const { return bendUp; }
    float bendDownRange() const { return bendDown; }
    void setAnticlick(bool on) { anticlick = on; }

    // Microtuning hand-over from the processor. The table (count values in semitones, the
    // first 0) stays owned by the caller.
    // Each wakes the settled voices so that their pitch streams follow the new tuning.
    void setReferenceNote(int note) {
        tuning.setReference(note);
        wakeVoices();
    }
    void setA4Index(int index) {
        tuning.setA4(index);
        wakeVoices();
    }
    void setScale(const float* semitones, int count) {
        tuning.setTable(semitones, count - 1);
        wakeVoices();
    }
    void clearScale() {
        tuning.clear();
        wakeVoices();
    }

    /// Per-voice stream tables (17 entries each).
    float* const* velocityTable() { return velocityPtrs.data(); }
    float* const* inverseVelocityTable() { return inverseVelocityPtrs.data(); }
    float* const* pitchTable() { return pitchPtrs.data(); }
    float* const* keyFollowTable() { return keyFollowPtrs.data(); }
    float* const* randomBipolarTable() { return randomBipolarPtrs.data(); }
    float* const* randomUnipolarTable() { return randomUnipolarPtrs.data(); }
    float* const* constantTenthTable() { return constTenthPtrs.data(); }
    float* const* constantHalfTable() { return constHalfPtrs.data(); }
    int32_t* const* eventTable() { return eventPtrs.data(); }
    TriggerRecord* const* triggerTable() { return triggerPtrs.data(); }

    VoiceNote& noteVoice(int i) { return noteVoices[i]; }
    const MonoNoteStack& monoStack() const { return stack; }
    const PolyAllocator& polyAllocator() const { return poly; }
    DriftDeck& driftDeck() { return deck; }

    int mode = kPoly1;
    int polyphony = 4;
    bool glideLog = true;
    bool driftOn = true;
    float glideValue = 0.0f;
    float bendUp = 2.0f / 127.0f;
    float bendDown = 2.0f / 127.0f;
    float wheelOffset = 0.0f;
    int shiftSemitones = 0;
    float fineSemitones = 0.0f;
    bool anticlick = true;
    /// Per-sample phase step of a glide, from the modulated `glide` of the mono voice.
    float glideStep = 0.0f;

private:
    struct Start {
        int voice;
        int offset;
        int note;
        float drift;
        int velocity;
        float glide;
        bool log;
        float from;
        int t1, t2, t3;
    };
    void startNote(const Start& s);
    void applyMonoAction(const MonoAction& a, int offset, float drift);
    void claimVoice(int voice);
    void releaseNote(int offset, int pitch, bool polyToo);
    float nextDrift() { return driftOn ? deck.next() : 0.0f; }
    void updateShiftFine();
    void wakeVoices() {
        for (VoiceNote& v : noteVoices) v.busy = 2;
    }

    std::array<VoiceNote, kVoiceCount> noteVoices;
    MonoNoteStack stack;
    PolyAllocator poly;
    DriftDeck deck;
    NoiseGenerator noise;
    MicroTuning tuning;
    /// The glide value the step was last computed from; -1 forces a computation.
    float lastGlide = -1.0f;
    int maxFrames = 0;

    float* constTenth = nullptr;
    float* constHalf = nullptr;
    std::array<float*, kVoiceCount> velocityPtrs{};
    std::array<float*, kVoiceCount> inverseVelocityPtrs{};
    std::array<float*, kVoiceCount> pitchPtrs{};
    std::array<float*, kVoiceCount> keyFollowPtrs{};
    std::array<float*, kVoiceCount> randomBipolarPtrs{};
    std::array<float*, kVoiceCount> randomUnipolarPtrs{};
    std::array<float*, kVoiceCount> constTenthPtrs{};
    std::array<float*, kVoiceCount> constHalfPtrs{};
    std::array<int32_t*, kVoiceCount> eventPtrs{};
    std::array<TriggerRecord*, kVoiceCount> triggerPtrs{};
};

} // namespace torvo

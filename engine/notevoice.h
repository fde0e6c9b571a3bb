#pragma once
// One note voice: a ring of pending note events and the per-sample streams it turns them into
// each block: pitch (with glide, bend, shift and tuning), velocity and its inverse, key follow,
// two random values, event words and trigger records. A voice with nothing to do, neither
// event nor wheel move nor glide nor velocity smoothing, skips its loop: its arrays keep the
// last values.

#include "engine/module.h"
#include "engine/noisegenerator.h"

#include <cstdint>

namespace torvo {

class MicroTuning;

/// One sample of the note stream as the oscillators, envelopes and LFOs read it: 16 bytes,
/// pitch at byte 0, then retrigger (1 start, 2 end), gate and LFO retrigger.
struct TriggerRecord {
    float pitch;
    int32_t trigger1;
    int32_t trigger2;
    int32_t trigger3;
};
static_assert(sizeof(TriggerRecord) == 16, "the note stream has a 16-byte stride");

struct NoteEvent {
    /// Samples after the previous event of the ring; -1 marks an empty slot.
    int32_t countdown = -1;
    int32_t note = 0;
    /// 0 is a note off.
    int32_t velocity = 0;
    float drift = 0.0f;
    float glideStep = 0.0f;
    int32_t glideLog = 0;
    int32_t trigger1 = 0;
    int32_t trigger2 = 0;
    int32_t trigger3 = 0;
};

/// What a block render of a note voice needs from its module.
struct NoteBlockContext {
    int frames = 0;
    /// The pitch wheel, -1..1 per sample.
    const float* wheel = nullptr;
    float bendUp = 0.0f;
    float bendDown = 0.0f;
    /// Velocity smoothing coefficient.
    float k = 1.0f;
    /// env1's current level of this voice, or null (taken as 0).
    const float* envLevel = nullptr;
    const MicroTuning* tuning = nullptr;
    NoiseGenerator* noise = nullptr;
};

class VoiceNote : public Voice {
public:
    static constexpr int kRingSize = 256;
    static constexpr int32_t kNoteOffWord = 112;
    static constexpr float kKeyCentre = 60.0f / 127.0f;

    void reset() override;

    /// Writes an event at sample `offset` of the coming block.
    void push(int offset, const NoteEvent& e);
    /// Writes a note off at sample `offset`.
    void pushNoteOff(int offset);
    /// Empties the ring; the next event counts from sample 0.
    void clearRing();
    /// Renders one block of streams.
    void process(const NoteBlockContext& c);
    /// After a cut: velocity and random streams 0, pitch and key follow held, no triggers.
    void cutStreams(int frames);
    /// False when no record of the last rendered block carries a trigger word, so readers
    /// of the gates may skip the scan; true is only a maybe.
    bool mayHaveTriggers() const { return wordsWritten; }
    /// Takes new shift and fine values and wakes the voice so its pitch stream follows.
    void setShiftFine(float value);

    // Ring.
    NoteEvent ring[kRingSize];
    int writeIndex = 0;
    int readIndex = 0;
    int lastOffset = 0;
    /// 2 after any change, counted down by settled blocks; 0 skips the loop.
    int busy = 0;

    // State.
    float targetPitch = 60.0f / 127.0f;
    float currentPitch = 60.0f / 127.0f;
    float glideFrom = 60.0f / 127.0f;
    int lastNote = 60;
    float glidePhase = 0.0f;
    float glideStep = 0.0f;
    bool glideLog = false;
    bool isMono = false;
    float velocityTarget = 0.0f;
    float velocitySmooth = 0.0f;
    float inverseVelocity = 1.0f;
    float randBipolar = 0.0f;
    float randUnipolar = 0.0f;
    float wheelValue = 0.0f;
    float wheelOffset = 0.0f;
    float shiftFine = 0.0f;
    /// The last total pitch written to the pitch stream.
    float lastTotal = 60.0f / 127.0f;

    // Streams, each at least one block long (from the pool).
    float* velocity = nullptr;
    float* inverseVelocityStream = nullptr;
    float* pitch = nullptr;
    float* keyFollow = nullptr;
    float* randomBipolar = nullptr;
    float* randomUnipolar = nullptr;
    int32_t* eventWords = nullptr;
    TriggerRecord* records = nullptr;
    int capacity = 0;

private:
    void refill(int frames);
    void clearTriggers(int frames);
    void consume(const NoteEvent& e, TriggerRecord& rec, int32_t& word, NoiseGenerator* noise);
    /// Samples from..to-1, with this block's events of sample `from` already consumed.
    void renderRun(const NoteBlockContext& c, int from, int to, const TriggerRecord& first,
                   int32_t word);

    int lastFrames = 0;
    /// The last rendered block set event words that a skipped block must clear.
    bool wordsWritten = false;
};

} // namespace torvo

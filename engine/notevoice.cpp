#include "engine/notevoice.h"

#include "engine/microtuning.h"
#include "engine/notecurves.h"

#include <algorithm>
#include <cmath>

namespace torvo {

void VoiceNote::reset() {
    clearRing();
    busy = 2;
}

void VoiceNote::clearRing() {
    for (NoteEvent& e : ring) e.countdown = -1;
    readIndex = writeIndex = 0;
    lastOffset = 0;
}

void VoiceNote::push(int offset, const NoteEvent& e) {
    NoteEvent& slot = ring[writeIndex];
    slot = e;
    // Events come in time order; one that does not (a cut at the block's end before late arp
    // notes) plays at the sample of the one before instead of blocking the ring.
    slot.countdown = std::max(0, offset - lastOffset);
    lastOffset = std::max(offset, lastOffset);
    writeIndex = (writeIndex + 1) % kRingSize;
    ring[writeIndex].countdown = -1;
    busy = 2;
}

void VoiceNote::pushNoteOff(int offset) {
    NoteEvent e;
    e.note = lastNote;
    e.velocity = 0;
    push(offset, e);
}

void VoiceNote::setShiftFine(float value) {
    if (value == shiftFine) return;
    shiftFine = value;
    busy = 2;
}

void VoiceNote::refill(int frames) {
    const float vel = velocitySmooth;
    for (int i = 0; i < frames; ++i) {
        pitch[i] = lastTotal;
        keyFollow[i] = lastTotal - kKeyCentre;
        velocity[i] = vel;
        inverseVelocityStream[i] = 1.0f - vel;
        randomBipolar[i] = 0.0f;
        randomUnipolar[i] = 0.0f;
        eventWords[i] = 0;
        records[i] = TriggerRecord{lastTotal, 0, 0, 0};
    }
}

void VoiceNote::clearTriggers(int frames) {
    for (int i = 0; i < frames; ++i) {
        eventWords[i] = 0;
        records[i].trigger1 = records[i].trigger2 = records[i].trigger3 = 0;
    }
}

void VoiceNote::cutStreams(int frames) {
    if (!pitch) return;
    frames = std::min(frames, capacity);
    for (int i = 0; i < frames; ++i) {
        velocity[i] = 0.0f;
        randomBipolar[i] = 0.0f;
        randomUnipolar[i] = 0.0f;
        pitch[i] = lastTotal;
        keyFollow[i] = lastTotal - kKeyCentre;
        records[i] = TriggerRecord{lastTotal, 0, 0, 0};
        eventWords[i] = 0;
    }
}

void VoiceNote::consume(const NoteEvent& e, TriggerRecord& rec, int32_t& word,
                        NoiseGenerator* noise) {
    if (e.velocity == 0) {
        rec.trigger1 = rec.trigger2 = rec.trigger3 = 2;
        word = kNoteOffWord;
        return;
    }
    targetPitch = (static_cast<float>(e.note) + e.drift) / 127.0f;
    velocityTarget = velocityLevel(e.velocity);
    glideStep = e.glideStep;
    glideLog = e.glideLog != 0;
    if (noise) {
        randBipolar = noise->next();
        randUnipolar = std::fabs(noise->next());
    }
    if (glideStep == 0.0f) {
        glidePhase = 0.0f;
        lastNote = e.note;
    } else if (isMono) {
        // A mono line glides from wherever the pitch is now, and only when the key changes.
        if (e.note != lastNote) {
            glidePhase = 1.0f;
            lastNote = e.note;
            glideFrom = currentPitch;
        }
    } else if (glidePhase == 0.0f) {
        // A poly voice glides from the last started note, set when the event was written.
        glidePhase = 1.0f;
        lastNote = e.note;
    }
    rec.trigger1 = e.trigger1;
    rec.trigger2 = e.trigger2;
    rec.trigger3 = e.trigger3;
    word = e.trigger1 + 2 * e.trigger2 + 4 * e.trigger3;
}

void VoiceNote::process(const NoteBlockContext& c) {
    if (!pitch || c.frames <= 0) return;
    const int frames = std::min(c.frames, capacity);
    if (frames != lastFrames) {
        refill(frames);
        lastFrames = frames;
    }
    if (c.wheel && c.wheel[0] != wheelValue) {
        busy = 2;
    } else if (busy == 0) {
        if (wordsWritten) {
            clearTriggers(frames);
            wordsWritten = false;
        }
        lastOffset = 0;
        return;
    }

    bool wrote = false;
    int i = 0;
    while (i < frames) {
        // Events due at this sample, then a run of samples up to the next one.
        TriggerRecord first{0.0f, 0, 0, 0};
        int32_t word = 0;
        while (ring[readIndex].countdown == 0) {
            NoteEvent& e = ring[readIndex];
            e.countdown = -1;
            consume(e, first, word, c.noise);
            readIndex = (readIndex + 1) % kRingSize;
        }
        int end = frames;
        NoteEvent& next = ring[readIndex];
        if (next.countdown > 0) {
            end = std::min(frames, i + next.countdown);
            next.countdown -= end - i;
        }
        wrote |= word != 0 || (first.trigger1 | first.trigger2 | first.trigger3) != 0;
        renderRun(c, i, end, first, word);
        i = end;
    }
    inverseVelocity = 1.0f - velocitySmooth;
    wordsWritten = wrote;
    lastOffset = 0;
    if (glidePhase == 0.0f && std::fabs(velocitySmooth - velocityTarget) < 0.0001f && busy > 0)
        --busy;
}

void VoiceNote::renderRun(const NoteBlockContext& c, int from, int to, const TriggerRecord& first,
                          int32_t word) {
    // The state lives in locals for the run: the stream stores could otherwise alias it.
    const float* w = c.wheel;
    const float k = c.k;
    const float bendUp = c.bendUp;
    const float bendDown = c.bendDown;
    const bool tuned = c.tuning && c.tuning->isOn();
    const float a4 = c.tuning ? c.tuning->concertOffset() : 0.0f;
    const float target = targetPitch;
    const float step = glideStep;
    const float sf = shiftFine;
    const float velTarget = velocityTarget;
    const float rb = randBipolar;
    const float ru = randUnipolar;
    const bool logCurve = glideLog;
    float wv = wheelValue;
    float wo = wheelOffset;
    float phase = glidePhase;
    float fromPitch = glideFrom;
    float cp = currentPitch;
    float vs = velocitySmooth;
    float total = lastTotal;

    // A voice starting from silence takes its new level at once instead of fading in from the
    // old one.
    if (word != 0 && (c.envLevel ? *c.envLevel : 0.0f) == 0.0f) vs = velTarget;

    for (int i = from; i < to; ++i) {
        if (w && w[i] != wv) {
            wv = w[i];
            wo = wv > 0.0f ? wv * bendUp : wv < 0.0f ? wv * bendDown : 0.0f;
        }
        if (phase != 0.0f) {
            float p = target;
            if (logCurve)
                p -= curveAt(kGlideLogCurve, phase * 31.0f) * (p - fromPitch);
            else
                p -= (p - fromPitch) * phase;
            cp = p;
            phase -= step;
            if (phase < 0.0f) {
                fromPitch = cp;
                phase = 0.0f;
            }
        } else {
            cp = target;
        }
        total = wo + cp + sf;
        if (tuned) total = c.tuning->map(total);
        total += a4;
        vs += (velTarget - vs) * k;

        pitch[i] = total;
        keyFollow[i] = total - kKeyCentre;
        velocity[i] = vs;
        inverseVelocityStream[i] = 1.0f - vs;
        randomBipolar[i] = rb;
        randomUnipolar[i] = ru;
        eventWords[i] = 0;
        records[i] = TriggerRecord{total, 0, 0, 0};
    }
    if (from < to) {
        eventWords[from] = word;
        records[from] = TriggerRecord{pitch[from], first.trigger1, first.trigger2, first.trigger3};
    }
    wheelValue = wv;
    wheelOffset = wo;
    glidePhase = phase;
    glideFrom = fromPitch;
    currentPitch = cp;
    velocitySmooth = vs;
    lastTotal = total;
}

} // namespace torvo

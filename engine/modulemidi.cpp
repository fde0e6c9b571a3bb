#include "engine/modulemidi.h"

#include "engine/engineshared.h"
#include "engine/pool.h"

namespace torvo {

namespace {
enum Local { kMode, kPoly, kGlideLog, kGlide, kDrift, kBendUp, kBendDown, kPitchShift, kPitchFine };
constexpr float kCentrePitch = 60.0f / 127.0f;
} // namespace

void VoiceNote::reset() {
    ringCount = 0;
    note = -1;
}

bool VoiceNote::push(const NoteEvent& e) {
    if (ringCount >= kRingSize) return false;
    ring[ringCount++] = e;
    return true;
}

ModuleMidi::ModuleMidi() = default;

ModuleMidi::~ModuleMidi() {
    for (Voice*& v : voices) {
        delete v;
        v = nullptr;
    }
}

void ModuleMidi::createVoices() {
    for (Voice*& v : voices)
        if (!v) v = new VoiceNote();
}

void ModuleMidi::setParameter(int localIndex, float value) {
    switch (localIndex) {
    case kMode:
        mode = decodeList(value);
        break;
    case kPoly:
        polyphony = decodeList(value) + 1;
        break;
    case kGlideLog:
        glideLog = decodeOnOff(value);
        break;
    case kGlide:
        glideValue = value;
        break;
    case kDrift:
        driftOn = decodeOnOff(value);
        break;
    case kBendUp:
        bendUp = decodeList(value) / 127.0f;
        break;
    case kBendDown:
        bendDown = decodeList(value) / 127.0f;
        break;
    case kPitchShift:
        pitchShift = static_cast<int>(value * (129 - 0.01f));
        break;
    case kPitchFine:
        pitchFine = static_cast<int>(value * (199 - 0.01f));
        break;
    default:
        break;
    }
    if (polyphony < 1) polyphony = 1;
    if (polyphony > 16) polyphony = 16;
}

void ModuleMidi::setMaxBlockSize(int frames) {
    Pool& pool = *shared->pool;
    constTenth = pool.get("mid", frames);
    constHalf = pool.get("mid", frames);
    for (int i = 0; i < frames + 4; ++i) {
        constTenth[i] = 0.1f;
        constHalf[i] = 0.5f;
    }
    for (int v = 0; v < kVoiceCount; ++v) {
        VoiceNote* nv = noteVoice(v);
        nv->pitchBuffer = pitchPtrs[v] = pool.get("mid", frames);
        nv->velocityBuffer = velocityPtrs[v] = pool.get("mid", frames);
        nv->inverseVelocityBuffer = inverseVelocityPtrs[v] = pool.get("mid", frames);
        nv->keyFollowBuffer = keyFollowPtrs[v] = pool.get("mid", frames);
        nv->randomBipolarBuffer = randomBipolarPtrs[v] = pool.get("mid", frames);
        nv->randomUnipolarBuffer = randomUnipolarPtrs[v] = pool.get("mid", frames);
        constTenthPtrs[v] = constTenth;
        constHalfPtrs[v] = constHalf;
    }
}

int ModuleMidi::pickVoice(int pitch) {
    if (mode < 4) return kMonoVoice;
    for (int i = 0; i < polyphony; ++i)
        if (noteVoice(i)->note == pitch) return i;
    const int v = nextVoice % polyphony;
    nextVoice = (nextVoice + 1) % polyphony;
    return v;
}

void ModuleMidi::noteOn(int offset, int pitch, int velocity) {
    const int v = pickVoice(pitch);
    VoiceNote* nv = noteVoice(v);
    nv->note = pitch;
    nv->push(NoteEvent{offset, pitch, velocity});
    lastEventOffset = offset;
}

void ModuleMidi::noteOff(int offset, int pitch) {
    for (int v = 0; v < kVoiceCount; ++v) {
        VoiceNote* nv = noteVoice(v);
        if (nv->note != pitch) continue;
        nv->push(NoteEvent{offset, pitch, 0});
        nv->note = -1;
    }
}

void ModuleMidi::allNotesCut(int offset) {
    for (int v = 0; v < kVoiceCount; ++v) {
        VoiceNote* nv = noteVoice(v);
        if (nv->note >= 0) nv->push(NoteEvent{offset, nv->note, 0});
        nv->note = -1;
    }
}

void ModuleMidi::resetNoteState() {
    for (int v = 0; v < kVoiceCount; ++v) noteVoice(v)->clearRing();
    lastEventOffset = -1;
}

void ModuleMidi::processVoices(int frames, const float* pitchWheel) {
    for (int v = 0; v < kVoiceCount; ++v) {
        VoiceNote* nv = noteVoice(v);
        if (!nv->pitchBuffer) continue;
        for (int e = 0; e < nv->ringCount; ++e) {
            const NoteEvent& ev = nv->ring[e];
            if (ev.velocity > 0) {
                nv->pitch = ev.pitch / 127.0f;
                nv->velocity = ev.velocity / 127.0f;
            }
        }
        nv->ringCount = 0;
        const float vel = nv->velocity;
        for (int i = 0; i < frames; ++i) {
            nv->pitchBuffer[i] = nv->pitch + wheelOffset;
            nv->velocityBuffer[i] = vel;
            nv->inverseVelocityBuffer[i] = 1.0f - vel;
            nv->keyFollowBuffer[i] = nv->pitch - kCentrePitch;
        }
    }
    (void)pitchWheel;
}

void ModuleMidi::setScale(const float* cents, int count) {
    // Called from the message thread before activation or with the engine muted.
    scale.assign(cents, cents + (count > 0 ? count : 0));
}

} // namespace torvo

#include "engine/modulemidi.h"

#include "engine/engineshared.h"
#include "engine/modulematrix.h"
#include "engine/notecurves.h"
#include "engine/pool.h"

#include <algorithm>

namespace torvo {

namespace {
/// Velocity smoothing corner with click removal on, and off (a near-instant follow).
constexpr float kSmoothAnticlickHz = 120.0f;
constexpr float kSmoothFastHz = 20000.0f;
/// Phase step per second of the click-removal pitch ramp: about 100 samples at 44.1 kHz.
constexpr float kAnticlickRampRate = 441.0f;
constexpr int kMaxBendRange = 36;
} // namespace

ModuleMidi::ModuleMidi() {
    noteVoices[kMonoVoice].isMono = true;
}

ModuleMidi::~ModuleMidi() = default;

void ModuleMidi::createVoices() {
    for (int v = 0; v < kVoiceCount; ++v) voices[v] = &noteVoices[v];
}

void ModuleMidi::setParameter(int localIndex, float value) {
    switch (localIndex) {
    case kMode:
        mode = std::clamp(decodeList(value), 0, static_cast<int>(kPoly2));
        break;
    case kPoly:
        polyphony = std::clamp(decodeList(value) + 1, 1, PolyAllocator::kPlayVoices);
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
        bendUp = static_cast<float>(std::clamp(decodeList(value), 0, kMaxBendRange)) / 127.0f;
        break;
    case kBendDown:
        bendDown = static_cast<float>(std::clamp(decodeList(value), 0, kMaxBendRange)) / 127.0f;
        break;
    case kPitchShift:
        // 129 entries, -64..64 semitones.
        shiftSemitones = std::clamp(static_cast<int>(value * 128.99f), 0, 128) - 64;
        updateShiftFine();
        break;
    case kPitchFine:
        // -0.99..0.99 semitone in hundredths.
        fineSemitones = value * 1.98f - 0.99f;
        updateShiftFine();
        break;
    default:
        break;
    }
}

void ModuleMidi::updateShiftFine() {
    const float sf = (static_cast<float>(shiftSemitones) + fineSemitones) / 127.0f;
    for (VoiceNote& v : noteVoices) v.setShiftFine(sf);
}

void ModuleMidi::setSampleRate(float rate) {
    Module::setSampleRate(rate);
    lastGlide = -1.0f;
}

void ModuleMidi::setMaxBlockSize(int frames) {
    if (!shared || !shared->pool) return;
    Pool& pool = *shared->pool;
    frames = std::clamp(frames, 1, kMaxBlockFrames);
    maxFrames = frames;
    if (!constTenth) {
        constTenth = pool.get("mid", kMaxBlockFrames);
        constHalf = pool.get("mid", kMaxBlockFrames);
        if (constTenth && constHalf) {
            std::fill(constTenth, constTenth + kMaxBlockFrames + 4, 0.1f);
            std::fill(constHalf, constHalf + kMaxBlockFrames + 4, 0.5f);
        }
    }
    for (int v = 0; v < kVoiceCount; ++v) {
        VoiceNote& nv = noteVoices[v];
        nv.pitch = pitchPtrs[v] = pool.get("mid", frames);
        nv.velocity = velocityPtrs[v] = pool.get("mid", frames);
        nv.inverseVelocityStream = inverseVelocityPtrs[v] = pool.get("mid", frames);
        nv.keyFollow = keyFollowPtrs[v] = pool.get("mid", frames);
        nv.randomBipolar = randomBipolarPtrs[v] = pool.get("mid", frames);
        nv.randomUnipolar = randomUnipolarPtrs[v] = pool.get("mid", frames);
        nv.eventWords = eventPtrs[v] =
            static_cast<int32_t*>(pool.getBytes("mid", (frames + 4) * sizeof(int32_t)));
        nv.records = triggerPtrs[v] =
            static_cast<TriggerRecord*>(pool.getBytes("mid", (frames + 4) * sizeof(TriggerRecord)));
        const bool ok = nv.pitch && nv.velocity && nv.inverseVelocityStream && nv.keyFollow &&
                        nv.randomBipolar && nv.randomUnipolar && nv.eventWords && nv.records;
        nv.capacity = ok ? frames : 0;
        if (!ok) nv.pitch = nullptr;
        constTenthPtrs[v] = constTenth;
        constHalfPtrs[v] = constHalf;
    }
}

void ModuleMidi::setWheelOffset(float offset) {
    wheelOffset = offset;
    for (VoiceNote& v : noteVoices) {
        v.wheelOffset = offset;
        v.busy = 2;
    }
}

void ModuleMidi::claimVoice(int voice) {
    // env1's stage word as of the last block: marking it at once keeps further notes of the
    // same block off this voice, and tells env1 the voice is alive.
    if (shared && shared->env1Stage[voice]) *shared->env1Stage[voice] = 1;
}

void ModuleMidi::startNote(const Start& s) {
    VoiceNote& nv = noteVoices[s.voice];
    if (s.from > -1.0f) nv.glideFrom = s.from;
    NoteEvent e;
    e.note = s.note;
    e.velocity = s.velocity;
    e.drift = s.drift;
    e.glideStep = s.glide;
    e.glideLog = s.log ? 1 : 0;
    e.trigger1 = s.t1;
    e.trigger2 = s.t2;
    e.trigger3 = s.t3;
    // Click removal for pitch: in the mono modes a jump without glide still ramps over about
    // 100 samples at 44.1 kHz.
    if (mode < kPoly1 && anticlick && s.glide == 0.0f)
        e.glideStep = kAnticlickRampRate / sampleRate;
    nv.push(s.offset, e);
}

void ModuleMidi::applyMonoAction(const MonoAction& a, int offset, float drift) {
    if (a.kind == MonoAction::kStop) {
        noteVoices[kMonoVoice].pushNoteOff(offset);
    } else if (a.kind == MonoAction::kStart) {
        startNote(Start{kMonoVoice, offset, a.note, drift, a.velocity, a.glide ? glideStep : 0.0f,
                        glideLog, -1.0f, a.trigger1, a.trigger2, a.trigger3});
        if (a.opened) claimVoice(kMonoVoice);
    }
}

void ModuleMidi::noteOn(int offset, int pitch, int velocity) {
    pitch &= 127;
    velocity = std::clamp(velocity, 0, 127);
    if (velocity == 0) {
        noteOff(offset, pitch);
        return;
    }
    offset = std::max(0, offset);
    if (mode >= kPoly1) {
        const float drift = nextDrift();
        const PolyAllocator::Choice c = poly.choose(polyphony, shared ? shared->env1Stage : nullptr,
                                                    shared ? shared->env1Position : nullptr);
        const float glide = mode == kPoly1 || poly.heldCount > 0 ? glideStep : 0.0f;
        startNote(Start{c.voice, offset, pitch, drift, velocity, glide, glideLog, poly.lastPitch, 1,
                        1, 1});
        poly.assign(c, pitch, drift);
        claimVoice(c.voice);
    }
    const float drift = nextDrift();
    applyMonoAction(stack.noteOn(mode, offset, pitch, velocity), offset, drift);
}

void ModuleMidi::noteOff(int offset, int pitch) {
    releaseNote(offset, pitch, mode >= kPoly1);
}

void ModuleMidi::noteOffAll(int offset, int pitch) {
    releaseNote(offset, pitch, true);
}

void ModuleMidi::releaseNote(int offset, int pitch, bool polyToo) {
    pitch &= 127;
    offset = std::max(0, offset);
    if (polyToo) poly.release(pitch, [&](int v) { noteVoices[v].pushNoteOff(offset); });
    if (stack.depth() == 0) return;
    const float drift = nextDrift();
    applyMonoAction(stack.noteOff(mode, pitch), offset, drift);
}

void ModuleMidi::cutStreams() {
    for (VoiceNote& v : noteVoices) v.cutStreams(maxFrames);
}

void ModuleMidi::resetRings() {
    for (VoiceNote& v : noteVoices) v.clearRing();
    stack.newBlock();
}

void ModuleMidi::processVoices(int frames, const float* pitchWheel) {
    frames = std::min(frames, maxFrames);
    if (frames <= 0) return;
    float g = glideValue;
    const int glideId = paramId(kGlide);
    if (matrix && glideId >= 0) g = matrix->modulated(glideId, glideValue, frames, kMonoVoice);
    if (g != lastGlide) {
        lastGlide = g;
        glideStep = glideStepFor(g, sampleRate);
    }
    NoteBlockContext c;
    c.frames = frames;
    c.wheel = pitchWheel;
    c.bendUp = bendUp;
    c.bendDown = bendDown;
    c.k = sinPiTable((anticlick ? kSmoothAnticlickHz : kSmoothFastHz) / sampleRate);
    c.tuning = &tuning;
    c.noise = &noise;
    for (int v = 0; v < kVoiceCount; ++v) {
        c.envLevel = shared ? shared->env1Level[v] : nullptr;
        noteVoices[v].process(c);
    }
}

} // namespace torvo

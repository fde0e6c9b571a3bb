#include "sources/moduleoscillator.h"

#include "engine/engineshared.h"
#include "engine/pool.h"

#include <algorithm>

namespace torvo {

namespace {
/// Fine tuning curve in semitones; the upper half mirrors the lower with the sign changed.
constexpr float kFineCurve[32] = {
    -0.99f,   -0.7222f, -0.576f,  -0.4733f, -0.3936f, -0.3298f, -0.2774f, -0.2327f,
    -0.1941f, -0.1602f, -0.1301f, -0.1029f, -0.0779f, -0.0545f, -0.0323f, -0.0107f,
    0.0107f,  0.0323f,  0.0545f,  0.0779f,  0.1029f,  0.1301f,  0.1602f,  0.1941f,
    0.2327f,  0.2774f,  0.3298f,  0.3936f,  0.4733f,  0.576f,   0.7222f,  0.99f};
constexpr int kLastUnisonCount = 8;
constexpr int kLastUnisonChord = 17;
constexpr int kLastWave = 48;
} // namespace

float ModuleOscillator::fineCurve(float v) {
    const float x = std::clamp(v, 0.0f, 1.0f) * 31.0f;
    const int i = static_cast<int>(x);
    const float next = i < 31 ? kFineCurve[i + 1] : kFineCurve[0];
    return kFineCurve[i] + (next - kFineCurve[i]) * (x - i);
}

void ModuleOscillator::createVoices() {
    for (int v = 0; v < kVoiceCount; ++v) voices[v] = &oscVoices[v];
}

void ModuleOscillator::setParameter(int localIndex, float value) {
    switch (localIndex) {
    case 0:
        type = decodeList(value);
        dirty = true;
        break;
    case 1:
        octave = static_cast<int>(value * 8.99f) - 4;
        updatePitchOffset();
        break;
    case 2:
        note = static_cast<int>(value * 22.99f) - 11;
        updatePitchOffset();
        break;
    case 3:
        fine = value;
        updatePitchOffset();
        break;
    case 4:
        ctrlA.set(value);
        break;
    case 5:
        ctrlB.set(value);
        break;
    case 6:
        phase = value;
        updatePhaseMode();
        break;
    case 7:
        wave = std::clamp(decodeList(value), 0, kLastWave);
        break;
    case 8:
        wtmix.set(value);
        break;
    case 9:
        unisonDetune = value;
        break;
    case 10:
        unisonDensity = value;
        break;
    case 11:
        unisonCount = std::clamp(decodeList(value), 0, kLastUnisonCount);
        break;
    case 12:
        unisonOctave = std::clamp(decodeList(value), 0, kLastUnisonChord);
        break;
    case 13:
        unisonWidth = value;
        break;
    case 14:
        analog = decodeOnOff(value);
        updatePhaseMode();
        break;
    case 15:
        invert = decodeOnOff(value);
        break;
    case 16:
        keyTrack = decodeOnOff(value);
        break;
    default:
        break;
    }
}

void ModuleOscillator::updatePitchOffset() {
    pitchOffset = static_cast<float>(octave * 12 + note) + fineCurve(fine);
}

void ModuleOscillator::updatePhaseMode() {
    if (phase >= 0.06f) {
        phaseMode = kPhaseFixed;
        phaseValue = std::clamp(phase * 1.137f - 0.06f, 0.0f, 1.0f);
    } else if (phase >= 0.03f) {
        phaseMode = kPhaseFixed;
        phaseValue = 0.0001f;
    } else {
        phaseMode = analog ? kPhaseAnalog : kPhaseFree;
        phaseValue = 0.0f;
    }
}

void ModuleOscillator::setMaxBlockSize(int frames) {
    if (!shared || !shared->pool) return;
    Pool& pool = *shared->pool;
    ctrlA.allocate(pool, frames);
    ctrlB.allocate(pool, frames);
    wtmix.allocate(pool, frames);
    for (int v = 0; v < kVoiceCount; ++v) {
        VoiceOscillator& o = oscVoices[v];
        o.oscL = pool.get("osc L", frames);
        o.oscR = pool.get("osc R", frames);
        o.oscFltL = pool.get("osc flt L", frames);
        o.oscFltR = pool.get("osc flt R", frames);
        o.pitchBuf = pool.get("pitchBuf", frames);
        o.retrigBuf = pool.get("retrigBuf", frames);
        o.ctrlBBuf = pool.get("ctrlBBuf", frames);
        o.calcCut = pool.get("osc calc cut", frames);
        o.calcRes = pool.get("osc calc res", frames);
        monoTable[v] = o.oscL;
        stereoTable[v] = {o.oscL, o.oscR};
    }
}

void ModuleOscillator::process(int frames, int use) {}

float* const* ModuleOscillator::getOutputs(int index) {
    return index == 0 ? monoTable.data() : nullptr;
}

const StereoPtr* ModuleOscillator::getStereoOutputs(int index) {
    return index == 0 ? stereoTable.data() : nullptr;
}

} // namespace torvo

#include "sources/moduleoscillator.h"

#include "engine/engineshared.h"
#include "engine/modulematrix.h"
#include "engine/pool.h"
#include "sources/pitchincrement.h"
#include "sources/wavebank.h"

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
constexpr int kLastWave = kWaveCount - 1;
/// Every crossfade of a reader lasts 1 / 220.5 s.
constexpr float kFadeRate = 220.5f;

// Local indices of the parameters read with modulation.
constexpr int kLocalNote = 2;
constexpr int kLocalCtrlA = 4;
constexpr int kLocalCtrlB = 5;
constexpr int kLocalPhase = 6;
constexpr int kLocalWave = 7;
constexpr int kLocalWtmix = 8;
constexpr int kLocalUdet = 9;
constexpr int kLocalUden = 10;
constexpr int kLocalUwid = 13;
} // namespace

float ModuleOscillator::fineCurve(float v) {
    const float x = std::clamp(v, 0.0f, 1.0f) * 31.0f;
    const int i = static_cast<int>(x);
    const float next = i < 31 ? kFineCurve[i + 1] : kFineCurve[0];
    return kFineCurve[i] + (next - kFineCurve[i]) * (x - i);
}

float ModuleOscillator::phaseValueFor(float p) {
    if (p >= 0.06f) return std::clamp(p * 1.137f - 0.06f, 0.0f, 1.0f);
    if (p >= 0.03f) return 0.0001f;
    return 0.0f;
}

int ModuleOscillator::startModeFor(float value, int count) const {
    const bool monoLike = (shared && shared->monoMode) || inputs.polyphony == 1;
    // A mono oscillator runs free unless a unison stack needs spreading.
    if (monoLike && value == 0.0f)
        return phaseMode != kPhaseFree || count == 1 ? kStartFree : kStartRandom;
    return phaseMode;
}

void ModuleOscillator::createVoices() {
    buildWaveBanks();
    for (int i = 0; i < kUnisonSlots; ++i) {
        firstPhases[i] = startPhaseBag.draw();
        lastReaderPhase[i] = &firstPhases[i];
    }
    for (int v = 0; v < kVoiceCount; ++v) {
        VoiceOscillator& o = oscVoices[v];
        o.owner = this;
        o.index = v;
        for (float& p : o.startPhases) p = startPhaseBag.draw();
        o.classic.seedPhases(o.startPhases.data());
        o.noise.seedPhases(o.startPhases.data());
        o.fm.seedPhases(o.startPhases.data());
        o.amSync.seedPhases(o.startPhases.data());
        o.sawPwm.seedPhases(o.startPhases.data());
        o.hardFm.seedPhases(o.startPhases.data());
        o.vowel.seedPhases(o.startPhases.data());
        voices[v] = &o;
    }
}

void ModuleOscillator::setParameter(int localIndex, float value) {
    switch (localIndex) {
    case 0:
        type = decodeList(value);
        dirty = true;
        for (int v = 0; v < kVoiceCount; ++v) {
            stereoTable[v] = oscVoices[v].outputs();
            monoTable[v] = stereoTable[v].left;
        }
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
    if (phase >= 0.03f) {
        phaseMode = kPhaseFixed;
    } else {
        phaseMode = analog ? kPhaseAnalog : kPhaseFree;
    }
    phaseValue = phaseValueFor(phase);
}

void ModuleOscillator::setSampleRate(float rate) {
    Module::setSampleRate(rate);
    setPitchIncrementRate(rate);
}

void ModuleOscillator::setMaxBlockSize(int frames) {
    if (!shared || !shared->pool) return;
    Pool& pool = *shared->pool;
    setPitchIncrementRate(sampleRate);
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
        o.ctrlBBuf = static_cast<int*>(
            pool.getBytes("ctrlBBuf", sizeof(int) * static_cast<std::size_t>(frames + 4)));
        o.calcCut = pool.get("osc calc cut", frames);
        o.calcRes = pool.get("osc calc res", frames);
        o.classic.allocate(pool, frames);
        o.noise.allocate(pool, frames);
        o.fm.allocate(pool, frames);
        o.amSync.allocate(pool, frames);
        o.sawPwm.allocate(pool, frames);
        o.hardFm.allocate(pool, frames);
        o.vowel.allocate(pool, frames);
        stereoTable[v] = o.outputs();
        monoTable[v] = stereoTable[v].left;
    }
}

void ModuleOscillator::process(int frames, int use) {
    if (frames <= 0 || !shared || !oscVoices[0].oscL) return;
    if (dirty) {
        for (int v = 0; v < kVoiceCount; ++v)
            if (Voice* voice = getVoice(v)) voice->reset();
        dirty = false;
    }
    ctrlA.process(frames, sampleRate);
    ctrlB.process(frames, sampleRate);
    wtmix.process(frames, sampleRate);
    auto render = [&](int v) {
        const float* pitch = inputs.pitch ? inputs.pitch[v] : nullptr;
        const float* retrig = inputs.retrigger ? inputs.retrigger[v] : nullptr;
        const TriggerRecord* stream = inputs.noteStream ? inputs.noteStream[v] : nullptr;
        oscVoices[v].renderVoice(frames, sampleRate, pitch, retrig, stream);
    };
    if (shared->monoMode) {
        if (shared->active[kMonoVoice]) render(kMonoVoice);
        return;
    }
    for (int v = 0; v < kMonoVoice; ++v)
        if (shared->active[v]) render(v);
    if (use == 2) render(kMonoVoice);
}

float* const* ModuleOscillator::getOutputs(int index) {
    return index == 0 ? monoTable.data() : nullptr;
}

const StereoPtr* ModuleOscillator::getStereoOutputs(int index) {
    return index == 0 ? stereoTable.data() : nullptr;
}

// ---------------------------------------------------------------------------------------------

StereoPtr VoiceOscillator::outputs() const {
    const int type = owner ? owner->type : 0;
    switch (type) {
    case ModuleOscillator::kClassic:
        return {classic.left(), classic.right()};
    case ModuleOscillator::kFM:
        return {fm.left(), fm.right()};
    case ModuleOscillator::kAMSync:
        return {amSync.left(), amSync.right()};
    case ModuleOscillator::kSawPwm:
        return {sawPwm.left(), sawPwm.right()};
    case ModuleOscillator::kHardFM:
        return {hardFm.left(), hardFm.right()};
    case ModuleOscillator::kVowel:
        return {vowel.left(), vowel.right()};
    default:
        return {oscL, oscR};
    }
}

bool VoiceOscillator::prepareStreams(int frames, const float* pitchStream,
                                     const float* retrigStream, const TriggerRecord* noteStream,
                                     const float* ctrlB) {
    const ModuleOscillator& m = *owner;
    const int padded = (frames + 3) & ~3;
    const __m128 cells = _mm_set1_ps(4096.0f);
    for (int i = 0; i < padded; i += 4) {
        const __m128i whole = _mm_cvttps_epi32(_mm_mul_ps(_mm_loadu_ps(ctrlB + i), cells));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(ctrlBBuf + i), _mm_add_epi32(whole, whole));
    }
    if (noteStream) {
        // Only the start of a retrigger (1) restarts the readers; its end (2) does not. Four
        // records at a time: their first two words, transposed, are four pitches and four
        // retrigger flags.
        const __m128i start = _mm_set1_epi32(1);
        const __m128 one = _mm_set1_ps(1.0f);
        const float* words = &noteStream[0].pitch;
        __m128 anyStart = _mm_setzero_ps();
        int i = 0;
        for (; i + 4 <= frames; i += 4) {
            const float* r = words + 4 * i;
            const __m128 low = _mm_unpacklo_ps(_mm_loadu_ps(r), _mm_loadu_ps(r + 4));
            const __m128 high = _mm_unpacklo_ps(_mm_loadu_ps(r + 8), _mm_loadu_ps(r + 12));
            _mm_storeu_ps(pitchBuf + i, _mm_movelh_ps(low, high));
            const __m128i trigger = _mm_castps_si128(_mm_movehl_ps(high, low));
            const __m128 starts = _mm_castsi128_ps(_mm_cmpeq_epi32(trigger, start));
            anyStart = _mm_or_ps(anyStart, starts);
            _mm_storeu_ps(retrigBuf + i, _mm_and_ps(starts, one));
        }
        bool retriggers = _mm_movemask_ps(anyStart) != 0;
        for (; i < frames; ++i) {
            retriggers |= noteStream[i].trigger1 == 1;
            retrigBuf[i] = noteStream[i].trigger1 == 1 ? 1.0f : 0.0f;
            pitchBuf[i] = noteStream[i].pitch;
        }
        std::fill(retrigBuf + frames, retrigBuf + padded, 0.0f);
        if (m.keyTrack)
            std::fill(pitchBuf + frames, pitchBuf + padded, pitchBuf[frames - 1]);
        else
            std::fill(pitchBuf, pitchBuf + padded, ModuleOscillator::kUntrackedPitch);
        return retriggers;
    }
    if (retrigStream) {
        std::copy(retrigStream, retrigStream + frames, retrigBuf);
        std::fill(retrigBuf + frames, retrigBuf + padded, 0.0f);
    } else {
        std::fill(retrigBuf, retrigBuf + padded, 0.0f);
    }
    if (m.keyTrack && pitchStream) {
        std::copy(pitchStream, pitchStream + frames, pitchBuf);
        std::fill(pitchBuf + frames, pitchBuf + padded, pitchBuf[frames - 1]);
    } else {
        std::fill(pitchBuf, pitchBuf + padded, ModuleOscillator::kUntrackedPitch);
    }
    return holdsValue(retrigBuf, frames, 1.0f);
}

void VoiceOscillator::applyPitchModulation(int frames) {
    ModuleMatrix* matrix = owner->matrix;
    if (!matrix) return;
    // Both targets add on the 0..1 pitch scale: each answer is the base plus its routes.
    const float* p =
        matrix->modulatedBuffer(ModuleOscillator::kOscAllPitchParam, pitchBuf, frames, index);
    p = matrix->modulatedBuffer(owner->paramId(kLocalNote), p, frames, index);
    if (p != pitchBuf) std::copy(p, p + frames, pitchBuf);
}

void VoiceOscillator::renderVoice(int frames, float sampleRate, const float* pitchStream,
                                  const float* retrigStream, const TriggerRecord* noteStream) {
    ModuleOscillator& m = *owner;
    EngineShared* shared = m.shared;
    ModuleMatrix* matrix = m.matrix;
    if (frames != lastFrames) {
        clearBlock(oscL, frames);
        clearBlock(oscR, frames);
        clearBlock(oscFltL, frames);
        clearBlock(oscFltR, frames);
        lastFrames = frames;
    }

    // Modulated controls: buffers for the three smoothed ones, block values for the rest.
    auto block = [&](int local, float base) {
        return matrix ? matrix->modulated(m.paramId(local), base, frames, index) : base;
    };
    auto buffer = [&](int local, const float* base) {
        return matrix ? matrix->modulatedBuffer(m.paramId(local), base, frames, index) : base;
    };
    OscBlock b;
    b.frames = frames;
    b.sampleRate = sampleRate;
    b.width = block(kLocalUwid, m.unisonWidth);
    b.ctrlA = buffer(kLocalCtrlA, m.ctrlA.data());
    b.ctrlB = buffer(kLocalCtrlB, m.ctrlB.data());
    b.wtmix = buffer(kLocalWtmix, m.wtmix.data());
    b.ctrlAModulated = b.ctrlA != m.ctrlA.data();
    b.wtmixModulated = b.wtmix != m.wtmix.data();
    b.ctrlAValue = m.ctrlA.value();

    UnisonSettings us;
    us.count = m.unisonCount;
    us.chord = m.unisonOctave;
    us.detune = block(kLocalUdet, m.unisonDetune);
    us.density = block(kLocalUden, m.unisonDensity);
    us.width = b.width;
    us.pitchOffset = m.pitchOffset;
    us.invert = m.invert;
    UnisonSpread spread;
    computeUnison(us, spread);
    detune = spread.detune;
    levelL = spread.levelL;
    levelR = spread.levelR;

    const bool retriggers = prepareStreams(frames, pitchStream, retrigStream, noteStream, b.ctrlB);

    const float mod = block(kLocalWave, 0.0f);
    if (mod != waveModulation || m.wave != waveParam || !wave) {
        waveModulation = mod;
        waveParam = m.wave;
        waveIndex = std::min(m.wave + static_cast<int>(mod * 48.0f), kLastWave);
        wave = waveAddress(waveIndex);
    }
    applyPitchModulation(frames);
    const float phaseMod = block(kLocalPhase, m.phase);

    b.pitch = pitchBuf;
    b.retrig = retrigBuf;
    b.shift = ctrlBBuf;
    b.count = m.unisonCount + 1;
    b.detune = detune.data();
    b.levelL = levelL.data();
    b.levelR = levelR.data();
    b.waveIndex = waveIndex;
    b.phaseValue = phaseMod;
    b.keyTrack = m.keyTrack;
    const int v = index > kMonoVoice || index < 0 ? 0 : index;
    b.envAtRetrig = shared && shared->env1ValueAtRetrig[v] ? *shared->env1ValueAtRetrig[v] : 0.0f;

    ReaderBlock& rb = b.reader;
    const float startValue = ModuleOscillator::phaseValueFor(phaseMod);
    rb.startMode = m.startModeFor(startValue, b.count);
    rb.phaseValue = startValue;
    rb.count = b.count;
    rb.fadeStep = kFadeRate / sampleRate;
    rb.fadeAllowed = m.inputs.heldNote;
    rb.voiceFresh = shared ? shared->env1FreshStart[v] : nullptr;
    rb.voiceIndex = v;
    rb.secondsSinceNoteOn = m.inputs.secondsSinceNoteOn;
    rb.bag = &m.startPhaseBag;
    rb.lastReaderPhase = m.lastReaderPhase.data();
    rb.wave = wave;
    rb.noRetrigger = !retriggers;
    rb.notesSteady = isConstant(pitchBuf, frames);

    switch (m.type) {
    case ModuleOscillator::kClassic:
        classic.render(b);
        break;
    case ModuleOscillator::kNoise:
        noise.render(b, oscL, oscR, calcCut, calcRes);
        break;
    case ModuleOscillator::kFM:
        fm.render(b);
        break;
    case ModuleOscillator::kAMSync:
        amSync.render(b);
        break;
    case ModuleOscillator::kSawPwm:
        sawPwm.render(b);
        break;
    case ModuleOscillator::kHardFM:
        hardFm.render(b);
        break;
    case ModuleOscillator::kVowel:
        vowel.render(b);
        break;
    default:
        break;
    }
}

} // namespace torvo

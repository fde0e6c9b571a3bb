#include "modulators/modulelfo.h"

#include "engine/aplugin.h"
#include "engine/engineshared.h"
#include "engine/modulematrix.h"
#include "engine/modulemidi.h"
#include "engine/notevoice.h"
#include "engine/pool.h"
#include "sources/wavebank.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace torvo {

namespace {

/// Seconds since the library was loaded.
const auto clockOrigin = std::chrono::steady_clock::now();
double processClock() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - clockOrigin).count();
}

// A note after a pause longer than this restarts a free-phase LFO at a fresh phase.
constexpr double kPhaseKeepSeconds = 1.0;
constexpr float kDriftDepth = 0.01f;
constexpr float kRandomScale = 1.0f / 4294967296.0f;
constexpr int kLastTimeIndex = kTimeDivisionCount - 1;

} // namespace

void VoiceLfo::reset() {
    phase = 0.0;
    driftOffset = 0.0f;
    fadePosition = 1.0f;
    wrapFlag = false;
    holdValue = slewValue = slewBase = slewDelta = 0.0f;
}

float VoiceLfo::nextRandom() {
    const uint32_t t = randomB;
    randomA ^= t;
    randomB = randomA + t;
    return static_cast<float>(static_cast<int32_t>(t)) * kRandomScale + 0.5f;
}

float ModuleLfo::phaseValueOf(float knob) {
    if (knob < 0.03f) return 0.0f;
    if (knob < 0.06f) return 0.25f;
    const float q = (knob - 0.06f) * 1.137f;
    if (q > 0.95f) return 0.193895f;
    const float p = q + 0.243895f;
    return p > 1.0f ? p - 1.0f : p;
}

void ModuleLfo::createVoices() {
    for (int v = 0; v < kVoiceCount; ++v) voices[v] = &lfoVoices[v];
    if (!clock) clock = processClock;
    // The bank is built once per process; building it here keeps that off the audio thread.
    buildWaveBanks();
}

void ModuleLfo::setParameter(int localIndex, float value) {
    switch (localIndex) {
    case 0:
        rate = value;
        break;
    case 1:
        timeIndex = decodeList(value);
        if (timeIndex >= kTimeDivisionCount || timeIndex < 0) timeIndex = 0;
        break;
    case 2:
        symmetry.set(value);
        break;
    case 3:
        sync = decodeOnOff(value);
        break;
    case 4:
        mono = decodeOnOff(value);
        break;
    case 5:
        morph.set(value);
        break;
    case 6:
        phase = value;
        phaseValue = phaseValueOf(value);
        break;
    case 7:
        form = decodeList(value);
        if (form >= kFormCount || form < 0) form = kFormSin;
        break;
    case 8:
        amp = value;
        break;
    case 9:
        fadeIn = value;
        break;
    case 10:
        drift = decodeOnOff(value);
        break;
    default:
        break;
    }
}

void ModuleLfo::setMaxBlockSize(int frames) {
    if (!shared || !shared->pool) return;
    symmetry.allocate(*shared->pool, frames);
    morph.allocate(*shared->pool, frames);
    for (int v = 0; v < kVoiceCount; ++v) {
        lfoVoices[v].output = shared->pool->get("lfo", frames);
        polyTable[v] = lfoVoices[v].output;
    }
    monoTable.fill(lfoVoices[kMonoVoice].output);
}

void ModuleLfo::resetVoices() {
    for (VoiceLfo& v : lfoVoices) v.reset();
}

bool ModuleLfo::isMono() const {
    return mono || (shared && shared->monoMode);
}

float ModuleLfo::modulation(int paramIdValue, int frames, int v) const {
    if (!matrix || paramIdValue < 0) return 0.0f;
    return matrix->modulated(paramIdValue, 0.5f, frames, v) - 0.5f;
}

float ModuleLfo::modulatedLocal(int localIndex, float base, int frames, int v) const {
    const int id = paramId(localIndex);
    if (!matrix || id < 0) return base;
    return matrix->modulated(id, base, frames, v);
}

int ModuleLfo::syncedTimeIndex(int base, float allRateModulation, float ownRateModulation) {
    const float whole = static_cast<float>(static_cast<int>(allRateModulation * 20.0f));
    const int shift = static_cast<int>(whole + ownRateModulation * 20.0f);
    return std::clamp(base + shift, 0, kLastTimeIndex);
}

double ModuleLfo::frequencyOf(int v, int frames) const {
    const float allRate = modulation(kParamAllLfoRate, frames, v);
    if (sync) {
        const int index = syncedTimeIndex(timeIndex, allRate, modulation(paramId(0), frames, v));
        const float tempo = shared ? shared->tempo : 120.0f;
        return static_cast<double>(tempo / kTimeDivisors[index]);
    }
    const float r = modulatedLocal(0, rate, frames, v) + allRate;
    const float x = std::max(0.0f, r + lfoVoices[v].driftOffset) * 11.0f;
    return static_cast<double>(readLfoRate(x));
}

void ModuleLfo::process(int frames, int use) {
    if (frames <= 0) return;
    if (plugin) {
        if (ModuleMidi* midi = plugin->midi()) triggers = midi->triggerTable();
    }
    const float sr = sampleRate > 0.0f ? sampleRate : 44100.0f;
    symmetry.process(frames, sr);
    morph.process(frames, sr);
    if (isMono()) {
        renderVoice(kMonoVoice, frames);
        return;
    }
    for (int v = 0; v < kMonoVoice; ++v)
        if (!shared || shared->active[v] != 0) renderVoice(v, frames);
    if (use == 2) renderVoice(kMonoVoice, frames);
}

void ModuleLfo::renderVoice(int v, int frames) {
    VoiceLfo& lv = lfoVoices[v];
    if (!lv.output || !symmetry.data() || !morph.data()) return;
    const float sr = sampleRate > 0.0f ? sampleRate : 44100.0f;
    Block b;
    b.increment = frequencyOf(v, frames) / static_cast<double>(sr);
    b.morph = morph.data();
    b.sym = symmetry.data();
    if (matrix) {
        const int morphId = paramId(5);
        const int symId = paramId(2);
        if (morphId >= 0) b.morph = matrix->modulatedBuffer(morphId, morph.data(), frames, v);
        if (symId >= 0) b.sym = matrix->modulatedBuffer(symId, symmetry.data(), frames, v);
    }
    b.startPhase = matrix ? phaseValueOf(modulatedLocal(6, phase, frames, v)) : phaseValue;
    b.amp = modulatedLocal(8, amp, frames, v);
    const float fadeSeconds = readLfoFadeTable(LfoTables::fadeTime, fadeIn * 31.0f);
    b.fadeStep = fadeSeconds > 0.0f ? 1.0f / (fadeSeconds * sr + 1.0f) : 0.0f;
    if (form >= kLfoFirstWaveForm) {
        const LfoWaveSet w = lfoWavesOf(form);
        b.morphStart = b.morph[0];
        const bool upper = b.morphStart > 0.5f;
        b.waveA = waveAddress(upper ? w.current : w.previous);
        b.waveB = waveAddress(upper ? w.next : w.current);
    }

    const TriggerRecord* notes = triggers ? triggers[v] : nullptr;
    // A note stream without any trigger this block needs no scan for one.
    ModuleMidi* midi = plugin ? plugin->midi() : nullptr;
    if (midi && !midi->noteVoice(v).mayHaveTriggers()) notes = nullptr;
    int from = 0;
    for (int i = 0; notes && i < frames; ++i) {
        if (notes[i].trigger3 != 1) continue;
        finishSegment(lv, b, from, i);
        retrigger(v, b.startPhase);
        from = i;
    }
    finishSegment(lv, b, from, frames);
}

void ModuleLfo::retrigger(int v, float startPhase) {
    VoiceLfo& lv = lfoVoices[v];
    lv.fadePosition = 0.0f;
    if (startPhase != 0.0f) {
        lv.phase = startPhase;
        lv.driftOffset = 0.0f;
        return;
    }
    const double now = clock ? clock() : 0.0;
    const bool fresh = !shared || !shared->env1FreshStart[v] || *shared->env1FreshStart[v];
    if (fresh) {
        const double dt = now - lv.lastRetrigTime;
        lv.lastRetrigTime = now;
        if (dt > kPhaseKeepSeconds) lv.phase = bag.draw();
    } else {
        lv.lastRetrigTime = now;
    }
    if (drift) lv.driftOffset = bag.draw() * kDriftDepth;
}

void ModuleLfo::finishSegment(VoiceLfo& lv, const Block& b, int from, int to) {
    if (to <= from) return;
    renderShape(lv, b, from, to);
    float* out = lv.output;
    // The symmetry is a bias: at 0.5 the output swings around 0, at 1 it lies above 0.
    for (int i = from; i < to; ++i) out[i] = (out[i] - 1.0f + b.sym[i]) * b.amp;
    if (b.fadeStep == 0.0f || lv.fadePosition >= 1.0f) return;
    float fade = lv.fadePosition;
    for (int i = from; i < to; ++i) {
        fade = std::min(1.0f, fade + b.fadeStep);
        out[i] *= readLfoFadeTable(LfoTables::fadeCurve, fade * 31.0f);
    }
    lv.fadePosition = fade;
}

void ModuleLfo::renderShape(VoiceLfo& lv, const Block& b, int from, int to) {
    float* out = lv.output;
    const float* m = b.morph;
    double p = lv.phase;
    const double inc = b.increment;
    // Advances the phase after a sample; a wrap is noted for the random shapes.
    auto advance = [&]() {
        p += inc;
        if (p >= 1.0) {
            p -= 1.0;
            lv.wrapFlag = true;
        }
    };
    switch (form) {
    case kFormSin: {
        // The sine turns by a fixed angle each sample: a rotation in double precision instead
        // of a sine call, taken afresh from the phase at each wrap.
        const double step = lfoSineAngle(1.0) - lfoSineAngle(0.0);
        const double turnSin = std::sin(step * inc);
        const double turnCos = std::cos(step * inc);
        double s = std::sin(lfoSineAngle(p));
        double c = std::cos(lfoSineAngle(p));
        for (int i = from; i < to; ++i) {
            out[i] = lfoSineMorph(p, m[i], (s + 1.0) * 0.5);
            advance();
            if (lv.wrapFlag) {
                lv.wrapFlag = false;
                s = std::sin(lfoSineAngle(p));
                c = std::cos(lfoSineAngle(p));
            } else {
                const double turned = s * turnCos + c * turnSin;
                c = c * turnCos - s * turnSin;
                s = turned;
            }
        }
        break;
    }
    case kFormTri:
        for (int i = from; i < to; ++i) {
            out[i] = lfoTriangle(p, m[i]);
            advance();
        }
        break;
    case kFormSqr:
        for (int i = from; i < to; ++i) {
            out[i] = lfoSquare(p, m[i]);
            advance();
        }
        break;
    case kFormSampleHold:
        for (int i = from; i < to; ++i) {
            if (lv.wrapFlag) {
                lv.holdValue = lv.nextRandom();
                lv.wrapFlag = false;
            }
            out[i] = lv.holdValue;
            advance();
        }
        break;
    case kFormSampleGlide:
        for (int i = from; i < to; ++i) {
            if (lv.wrapFlag) {
                lv.slewBase += lv.slewDelta;
                lv.slewDelta = lv.nextRandom() - lv.slewBase;
                lv.wrapFlag = false;
            }
            lv.slewValue = lv.slewBase + lv.slewDelta * static_cast<float>(p);
            out[i] = lv.slewValue;
            advance();
        }
        break;
    default: {
        // The weight runs over the whole cross-fade: with morph 0.5 throughout it is all the
        // current wave.
        const float m0 = b.morphStart;
        const float shift = m0 > 0.5f ? m0 - 1.0f : m0;
        for (int i = from; i < to; ++i) {
            const float g = m[i] + shift;
            const int index = static_cast<int>(p * kTablePoints) & (kTablePoints - 1);
            const float a = b.waveA[2 * index];
            const float c = b.waveB[2 * index];
            out[i] = ((1.0f - g) * a + g * c + 1.0f) * 0.5f;
            advance();
        }
        break;
    }
    }
    lv.phase = p;
}

float* const* ModuleLfo::getOutputs(int index) {
    if (index != 0) return nullptr;
    return isMono() ? monoTable.data() : polyTable.data();
}

} // namespace torvo

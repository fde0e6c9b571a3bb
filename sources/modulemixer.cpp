#include "sources/modulemixer.h"

#include "engine/engineshared.h"
#include "engine/modulematrix.h"
#include "engine/pool.h"

#include <algorithm>

namespace torvo {

namespace {
/// Adds one oscillator to the two buses. Pan and split share one law: flat up to the centre,
/// then a linear fall on the far side.
void mixOne(int frames, const float* __restrict inL, const float* __restrict inR,
            const float* __restrict a, const float* __restrict p, const float* __restrict to,
            float* __restrict b1L, float* __restrict b1R, float* __restrict b2L,
            float* __restrict b2R) {
    const int padded = (frames + 3) & ~3;
    for (int j = 0; j < padded; ++j) {
        const float panL = std::min(2.0f - 2.0f * p[j], 1.0f);
        const float panR = std::min(2.0f * p[j], 1.0f);
        const float toOne = std::min(2.0f - 2.0f * to[j], 1.0f);
        const float toTwo = std::min(2.0f * to[j], 1.0f);
        const float left = a[j] * inL[j] * panL;
        const float right = a[j] * inR[j] * panR;
        b1L[j] += toOne * left;
        b1R[j] += toOne * right;
        b2L[j] += toTwo * left;
        b2R[j] += toTwo * right;
    }
}
} // namespace

void ModuleMixer::createVoices() {
    for (int v = 0; v < kVoiceCount; ++v) voices[v] = &mixVoices[v];
}

void ModuleMixer::setParameter(int localIndex, float value) {
    if (localIndex < 0 || localIndex >= 4 * kMixerInputs) return;
    const int osc = localIndex % kMixerInputs;
    switch (localIndex / kMixerInputs) {
    case 0:
        pan[osc].set(value);
        break;
    case 1:
        setLevel(osc, value);
        break;
    case 2:
        mixTo[osc].set(value);
        break;
    default:
        oscOn[osc] = !decodeOnOff(value);
        break;
    }
}

void ModuleMixer::setLevel(int osc, float value) {
    levels[osc] = value;
    // A true off position: the target is 0 below the dead zone, and only exactly 0 is silent.
    if (value >= kLevelDeadZone) {
        levelSmoother[osc].set(value - kLevelDeadZone);
        sounding[osc] = true;
    } else {
        levelSmoother[osc].set(0.0f);
        sounding[osc] = value != 0.0f;
    }
}

void ModuleMixer::setMaxBlockSize(int frames) {
    if (!shared || !shared->pool) return;
    Pool& pool = *shared->pool;
    for (int i = 0; i < kMixerInputs; ++i) {
        pan[i].allocate(pool, frames);
        levelSmoother[i].allocate(pool, frames);
        mixTo[i].allocate(pool, frames);
    }
    for (int v = 0; v < kVoiceCount; ++v) {
        VoiceMixer& m = mixVoices[v];
        m.bus1L = pool.get("mix", frames);
        m.bus1R = pool.get("mix", frames);
        m.bus2L = pool.get("mix", frames);
        m.bus2R = pool.get("mix", frames);
        busOne[v] = {m.bus1L, m.bus1R};
        busTwo[v] = {m.bus2L, m.bus2R};
    }
}

void ModuleMixer::updateSmoothers(int frames) {
    for (int i = 0; i < kMixerInputs; ++i) {
        pan[i].process(frames, sampleRate);
        levelSmoother[i].process(frames, sampleRate);
        mixTo[i].process(frames, sampleRate);
    }
}

void ModuleMixer::wireVoice(int voice, const StereoPtr osc[kMixerInputs]) {
    if (voice < 0 || voice >= kVoiceCount) return;
    for (int i = 0; i < kMixerInputs; ++i) mixVoices[voice].osc[i] = osc[i];
}

void ModuleMixer::renderVoice(int voice, int frames) {
    VoiceMixer& m = mixVoices[voice];
    const int padded = (frames + 3) & ~3;
    float* b1L = m.bus1L;
    float* b1R = m.bus1R;
    float* b2L = m.bus2L;
    float* b2R = m.bus2R;
    std::fill(b1L, b1L + padded, 0.0f);
    std::fill(b1R, b1R + padded, 0.0f);
    std::fill(b2L, b2L + padded, 0.0f);
    std::fill(b2R, b2R + padded, 0.0f);
    auto buffer = [&](int local, const float* base) {
        return matrix ? matrix->modulatedBuffer(paramId(local), base, frames, voice) : base;
    };
    for (int o = 0; o < kMixerInputs; ++o) {
        if (!sounding[o] || !oscOn[o]) continue;
        const float* inL = m.osc[o].left;
        const float* inR = m.osc[o].right;
        if (!inL || !inR) break;
        const float* a = buffer(kMixerInputs + o, levelSmoother[o].data());
        const float* p = buffer(o, pan[o].data());
        const float* to = buffer(2 * kMixerInputs + o, mixTo[o].data());
        mixOne(frames, inL, inR, a, p, to, b1L, b1R, b2L, b2R);
    }
}

void ModuleMixer::process(int frames, int use) {
    updateSmoothers(frames);
    if (frames <= 0 || !shared || !mixVoices[0].bus1L) return;
    if (shared->monoMode) {
        if (shared->active[kMonoVoice]) renderVoice(kMonoVoice, frames);
        return;
    }
    for (int v = 0; v < kMonoVoice; ++v)
        if (shared->active[v]) renderVoice(v, frames);
    if (use == 2) renderVoice(kMonoVoice, frames);
}

const StereoPtr* ModuleMixer::getStereoOutputs(int index) {
    if (index == 0) return busOne.data();
    if (index == 1) return busTwo.data();
    return nullptr;
}

} // namespace torvo

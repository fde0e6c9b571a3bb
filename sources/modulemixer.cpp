#include "sources/modulemixer.h"

#include "engine/engineshared.h"
#include "engine/pool.h"

namespace torvo {

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

void ModuleMixer::process(int frames, int use) {
    updateSmoothers(frames);
}

const StereoPtr* ModuleMixer::getStereoOutputs(int index) {
    if (index == 0) return busOne.data();
    if (index == 1) return busTwo.data();
    return nullptr;
}

} // namespace torvo

#include "modulators/modulelfo.h"

#include "engine/engineshared.h"
#include "engine/pool.h"

namespace torvo {

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

void ModuleLfo::process(int frames, int use) {}

float* const* ModuleLfo::getOutputs(int index) {
    if (index != 0) return nullptr;
    return mono ? monoTable.data() : polyTable.data();
}

} // namespace torvo

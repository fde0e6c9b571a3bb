#include "engine/moduleperfomance.h"

#include "engine/engineshared.h"
#include "engine/modulematrix.h"
#include "engine/pool.h"

#include <algorithm>

namespace torvo {

void ModulePerfomance::createVoices() {
    for (int v = 0; v < kVoiceCount; ++v) components[v].index = v;
}

void ModulePerfomance::setParameter(int localIndex, float value) {
    if (localIndex >= 0 && localIndex < kMacroCount) macros[localIndex].set(value);
}

void ModulePerfomance::setMaxBlockSize(int frames) {
    if (!shared || !shared->pool) return;
    for (ParamSmoother& m : macros) m.allocate(*shared->pool, frames);
    for (ComponentPerfomance& c : components)
        for (float*& own : c.own) own = shared->pool->get("prf", frames);
    for (int v = 0; v < kVoiceCount; ++v) pointVoiceAtSmoothers(v);
}

int ModulePerfomance::macroParam(int m) const {
    const int id = paramId(m);
    return id >= 0 ? id : kFirstMacroParam + m;
}

void ModulePerfomance::pointVoiceAtSmoothers(int voice) {
    for (int m = 0; m < kMacroCount; ++m) {
        components[voice].outputs[m] = macros[m].data();
        outputTables[m][voice] = macros[m].data();
    }
}

void ModulePerfomance::renderVoice(int voice, int frames) {
    ComponentPerfomance& c = components[voice];
    for (int m = 0; m < kMacroCount; ++m) {
        float* smoothed = macros[m].data();
        float* out = smoothed;
        if (matrix && c.own[m]) {
            const float* mod = matrix->modulatedBuffer(macroParam(m), smoothed, frames, voice);
            // The matrix's result is shared by all voices of the target; keep this voice's.
            if (mod != smoothed) {
                std::copy(mod, mod + frames, c.own[m]);
                out = c.own[m];
            }
        }
        c.outputs[m] = out;
        outputTables[m][voice] = out;
    }
}

void ModulePerfomance::process(int frames, int use) {
    for (ParamSmoother& m : macros) m.process(frames, sampleRate);
    const bool mono = shared && shared->monoMode;
    for (int v = 0; v < kMonoVoice; ++v) {
        if (!mono && shared && shared->active[v])
            renderVoice(v, frames);
        else
            pointVoiceAtSmoothers(v);
    }
    if (use == 2 || mono)
        renderVoice(kMonoVoice, frames);
    else
        pointVoiceAtSmoothers(kMonoVoice);
}

float* const* ModulePerfomance::getOutputs(int index) {
    return index >= 0 && index < kMacroCount ? outputTables[index].data() : nullptr;
}

} // namespace torvo

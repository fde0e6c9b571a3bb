#include "engine/moduleperfomance.h"

#include "engine/engineshared.h"

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
    pointOutputsAtSmoothers();
}

void ModulePerfomance::process(int frames, int use) {
    for (ParamSmoother& m : macros) m.process(frames, sampleRate);
    pointOutputsAtSmoothers();
}

float* const* ModulePerfomance::getOutputs(int index) {
    return index >= 0 && index < kMacroCount ? outputTables[index].data() : nullptr;
}

void ModulePerfomance::pointOutputsAtSmoothers() {
    for (int v = 0; v < kVoiceCount; ++v) {
        for (int m = 0; m < kMacroCount; ++m) {
            components[v].outputs[m] = macros[m].data();
            outputTables[m][v] = macros[m].data();
        }
    }
}

} // namespace torvo

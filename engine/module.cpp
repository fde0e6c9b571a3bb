#include "engine/module.h"

namespace torvo {

Module::Module() {
    paramIds.fill(-1);
}

void Module::bindParameter(int localIndex, int id) {
    if (localIndex >= 0 && localIndex < kMaxLocalParams) paramIds[localIndex] = id;
}

void Module::init(APlugin* owner, EngineShared* sharedBlock, ModuleMatrix* modMatrix,
                  const char* moduleName) {
    plugin = owner;
    shared = sharedBlock;
    matrix = modMatrix;
    name = moduleName;
    dirty = false;
    sampleRate = 44100.0f;
}

void ModulePoly::resetVoices() {
    if (!dirty) return;
    for (Voice* v : voices)
        if (v) v->reset();
    dirty = false;
}

Voice* ModulePoly::getVoice(int i) {
    return i >= 0 && i < kVoiceCount ? voices[i] : nullptr;
}

} // namespace torvo

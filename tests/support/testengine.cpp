#include "support/testengine.h"

#include "shell/paramtable.h"

namespace torvo::test {

std::unique_ptr<APlugin> makeTestEngine(float sampleRate, int maxBlock) {
    auto engine = std::make_unique<APlugin>();
    engine->setMaxBlockSize(maxBlock);
    engine->setSampleRate(sampleRate);
    engine->setTempo(120.0f);
    const float* defaults = defaultParamValues();
    for (int i = 0; i < kParamCount; ++i) engine->setParameter(i, defaults[i], 0);
    engine->refreshMatrix();
    return engine;
}

} // namespace torvo::test

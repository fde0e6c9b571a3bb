// Cost of the engine's fixed work: a block with no notes sounding, and a preset-sized burst of
// parameter writes followed by the one matrix refresh it causes.

#include "engine/aplugin.h"
#include "engine/denormals.h"
#include "shell/paramtable.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

namespace {

std::unique_ptr<torvo::APlugin> makeEngine(int frames) {
    auto engine = std::make_unique<torvo::APlugin>();
    engine->setMaxBlockSize(frames);
    engine->setSampleRate(44100.0f);
    engine->setTempo(120.0f);
    const float* defaults = torvo::defaultParamValues();
    for (int i = 0; i < torvo::kParamCount; ++i) engine->setParameter(i, defaults[i], 0);
    engine->refreshMatrix();
    return engine;
}

void BM_RenderIdleBlock(benchmark::State& state) {
    const int frames = static_cast<int>(state.range(0));
    auto engine = makeEngine(frames);
    std::vector<float> left(frames), right(frames);
    float* stereo[2] = {left.data(), right.data()};
    torvo::ScopedFlushDenormals flush;
    for (auto _ : state) {
        engine->render(stereo, frames);
        benchmark::DoNotOptimize(left.data());
    }
    state.SetItemsProcessed(state.iterations() * frames);
}
BENCHMARK(BM_RenderIdleBlock)->Arg(256)->Arg(1024);

void BM_ParameterBurstAndRefresh(benchmark::State& state) {
    auto engine = makeEngine(256);
    const float* defaults = torvo::defaultParamValues();
    float nudge = 0.0f;
    for (auto _ : state) {
        nudge = nudge > 0.5f ? 0.0f : nudge + 0.01f;
        for (int i = 0; i < torvo::kParamCount; ++i)
            engine->setParameter(i, defaults[i] * (1.0f - nudge) + 0.5f * nudge, 1);
        engine->refreshMatrix();
    }
    state.SetItemsProcessed(state.iterations() * torvo::kParamCount);
}
BENCHMARK(BM_ParameterBurstAndRefresh);

} // namespace

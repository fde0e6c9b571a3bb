// Cost of the amp envelope over a block: 17 voices, 16 of them sounding through attack, decay,
// slope and sustain with the gate stream read every sample.

#include "engine/engineshared.h"
#include "engine/notevoice.h"
#include "engine/pool.h"
#include "modulators/moduleenvelope.h"

#include <benchmark/benchmark.h>

#include <array>
#include <vector>

namespace {

void BM_EnvelopeBlock(benchmark::State& state) {
    const int frames = static_cast<int>(state.range(0));
    torvo::Pool pool;
    torvo::EngineShared shared;
    shared.pool = &pool;
    torvo::ModuleEnvelope env;
    env.init(nullptr, &shared, nullptr, "env1");
    env.createVoices();
    env.setMaxBlockSize(frames);
    env.setAmpEnvelope(true);
    env.setParameter(0, 0.3f);
    env.setParameter(1, 0.4f);
    env.setParameter(2, 0.6f);
    env.setParameter(3, 0.5f);
    env.setParameter(4, 0.3f);
    env.setParameter(7, 1.0f); // the decay with the overshoot, the dearest curve
    std::array<std::vector<torvo::TriggerRecord>, torvo::kVoiceCount> gates;
    std::array<torvo::TriggerRecord*, torvo::kVoiceCount> table{};
    for (int v = 0; v < torvo::kVoiceCount; ++v) {
        gates[v].assign(frames, torvo::TriggerRecord{0.0f, 0, 0, 0});
        table[v] = gates[v].data();
    }
    env.setTriggerSources(table.data());
    int block = 0;
    for (auto _ : state) {
        // A fresh note on every voice each 64 blocks keeps the moving stages in play.
        const bool start = (block++ & 63) == 0;
        for (int v = 0; v < 16; ++v) {
            gates[v][0].trigger2 = start ? 1 : 0;
            if (start) env.voice(v).stage = torvo::kStageAttack;
        }
        env.process(frames, 1);
        benchmark::DoNotOptimize(env.getOutputs(0)[0][frames - 1]);
    }
    state.SetItemsProcessed(state.iterations() * frames);
}
BENCHMARK(BM_EnvelopeBlock)->Arg(256)->Arg(1024);

} // namespace

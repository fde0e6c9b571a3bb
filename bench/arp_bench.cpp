// Cost of the arpeggiator's block: a four-key chord stepping at "1/64" over four octaves, in
// a plain mode and in "Chord" with every key sounding on each step.

#include "engine/engineshared.h"
#include "engine/pool.h"
#include "modulators/modulearp.h"
#include "shell/paramtable.h"

#include <benchmark/benchmark.h>

namespace {

void runArp(benchmark::State& state, int mode) {
    const int frames = static_cast<int>(state.range(0));
    torvo::Pool pool;
    torvo::EngineShared shared;
    shared.pool = &pool;
    torvo::ModuleArp arp;
    arp.init(nullptr, &shared, nullptr, "ModuleArp::arp1");
    arp.createVoices();
    arp.setMaxBlockSize(frames);
    arp.setParameter(torvo::ModuleArp::kLocalSpeed, 20 * torvo::kThousandth);
    arp.setParameter(torvo::ModuleArp::kLocalMode, static_cast<float>(mode) * torvo::kThousandth);
    arp.setParameter(torvo::ModuleArp::kLocalOctave, 3 * torvo::kThousandth);
    arp.setParameter(torvo::ModuleArp::kLocalLength, 0.5f);
    arp.setParameter(torvo::ModuleArp::kLocalOn, 1.0f);
    arp.process(frames, 0);
    for (int note : {60, 64, 67, 71}) arp.queueNoteOn(0, note, 100);
    for (auto _ : state) {
        arp.process(frames, 1);
        benchmark::DoNotOptimize(arp.getOutputs(0)[0]);
        arp.clearEvents();
    }
    state.SetItemsProcessed(state.iterations() * frames);
}

void BM_ArpBlockUp(benchmark::State& state) {
    runArp(state, torvo::kArpUp);
}
BENCHMARK(BM_ArpBlockUp)->Arg(256)->Arg(1024);

void BM_ArpBlockChord(benchmark::State& state) {
    runArp(state, torvo::kArpChord);
}
BENCHMARK(BM_ArpBlockChord)->Arg(256)->Arg(1024);

} // namespace

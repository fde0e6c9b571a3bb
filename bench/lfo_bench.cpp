// Moving modulation at full polyphony: four LFOs and two step sequencers rendering 16 voices
// per 256-frame block, each LFO a different shape (sine, triangle, sample-and-glide, a bank
// wave), with a note start in every voice once a block.

#include "engine/engineshared.h"
#include "engine/notevoice.h"
#include "engine/pool.h"
#include "modulators/modulelfo.h"
#include "modulators/modulestepper.h"
#include "shell/paramtable.h"

#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <vector>

namespace torvo {
namespace {

constexpr int kFrames = 256;

struct Rig {
    Rig() {
        shared.pool = &pool;
        for (int v = 0; v < kVoiceCount; ++v) {
            notes[v].assign(kFrames, TriggerRecord{0.0f, 0, 0, 0});
            notes[v][(v * 37) % kFrames].trigger3 = 1;
            table[v] = notes[v].data();
            shared.active[v] = v < 16;
        }
        const int forms[4] = {0, 1, 4, 12};
        for (int l = 0; l < 4; ++l) {
            lfos[l] = std::make_unique<ModuleLfo>();
            ModuleLfo& m = *lfos[l];
            m.init(nullptr, &shared, nullptr, "lfo");
            m.createVoices();
            m.setMaxBlockSize(kFrames);
            m.setTriggerSources(table.data());
            m.setParameter(0, 0.6f + 0.05f * l);
            m.setParameter(5, 0.3f);
            m.setParameter(7, forms[l] * kThousandth);
            m.setParameter(8, 1.0f);
            m.setParameter(9, 0.3f);
        }
        for (int s = 0; s < 2; ++s) {
            steppers[s] = std::make_unique<ModuleStepper>();
            ModuleStepper& m = *steppers[s];
            m.init(nullptr, &shared, nullptr, "stepper");
            m.createVoices();
            m.setMaxBlockSize(kFrames);
            m.setTriggerSources(table.data());
            for (int n = 0; n < kStepCount; ++n) {
                m.setParameter(n, 0.1f * (n % 8));
                m.setParameter(ModuleStepper::kLocalCurveX + n, 0.3f);
            }
            m.setParameter(83, 1 * kThousandth);
            m.setParameter(81, 16 * kThousandth);
        }
    }
    void block() {
        for (auto& s : steppers) s->process(kFrames, 1);
        for (auto& l : lfos) l->process(kFrames, 1);
    }

    Pool pool;
    EngineShared shared;
    std::array<std::vector<TriggerRecord>, kVoiceCount> notes;
    std::array<TriggerRecord*, kVoiceCount> table{};
    std::array<std::unique_ptr<ModuleLfo>, 4> lfos;
    std::array<std::unique_ptr<ModuleStepper>, 2> steppers;
};

void BM_LfosAndSteppers16Voices(benchmark::State& state) {
    Rig r;
    for (auto _ : state) {
        r.block();
        benchmark::DoNotOptimize(r.lfos[3]->getOutputs(0)[15][kFrames - 1]);
    }
    state.SetItemsProcessed(state.iterations() * kFrames);
}
BENCHMARK(BM_LfosAndSteppers16Voices)->Unit(benchmark::kMicrosecond);

void BM_OneLfo16Voices(benchmark::State& state) {
    Rig r;
    for (auto _ : state) {
        r.lfos[static_cast<size_t>(state.range(0))]->process(kFrames, 1);
        benchmark::DoNotOptimize(r.lfos[0]->getOutputs(0)[15][kFrames - 1]);
    }
}
BENCHMARK(BM_OneLfo16Voices)->Arg(0)->Arg(1)->Arg(2)->Arg(3)->Unit(benchmark::kMicrosecond);

void BM_OneStepper16Voices(benchmark::State& state) {
    Rig r;
    for (auto _ : state) {
        r.steppers[0]->process(kFrames, 1);
        benchmark::DoNotOptimize(r.steppers[0]->getOutputs(0)[15][kFrames - 1]);
    }
}
BENCHMARK(BM_OneStepper16Voices)->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace torvo

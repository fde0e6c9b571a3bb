// Cost of the reverb per 256-frame block in each mode, the cost of a decaying tail against a
// block of true silence (a denormal slowdown would show here), and a one-minute run of every
// mode at the longest decay over noise, reporting the peak it reached.

#include "effects/modulefxrever.h"
#include "shell/paramtable.h"

#include "fxbench.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

using torvo::ModuleFxRever;
using torvo::bench::kFrames;
namespace bench = torvo::bench;

struct Reverb {
    Reverb(float rate, int mode, float decay) {
        host.prepare({&m}, rate, "ModuleFxRever::fx_rever");
        m.setParameter(0, static_cast<float>(mode) * torvo::kThousandth);
        m.wet.reset(1.0f);
        m.decay.reset(decay);
        m.damp.reset(0.15f);
        m.wide.reset(1.0f);
        m.color.reset(0.65f);
        m.preTime.reset(0.02f);
    }
    void block(float* l, float* r) {
        float* ptrs[2] = {l, r};
        m.processFx(kFrames, ptrs);
    }
    void clear() { m.clear(); }
    bench::Standalone host;
    ModuleFxRever m;
};

/// range(0): mode; range(1): sample rate.
void BM_ReverbBlock(benchmark::State& state) {
    Reverb rv(static_cast<float>(state.range(1)), static_cast<int>(state.range(0)), 0.635742f);
    std::vector<float> inL, inR;
    bench::noiseBlock(inL, inR, 0.5f);
    bench::timeBlocks(state, inL, inR, [&](float* l, float* r) { rv.block(l, r); });
    state.SetItemsProcessed(state.iterations() * kFrames);
}
BENCHMARK(BM_ReverbBlock)
    ->ArgsProduct({{0, 1, 2, 3, 4, 5, 6}, {44100, 96000}})
    ->Unit(benchmark::kMicrosecond);

/// range(0): mode; range(1): 1 to measure the decaying tail after two seconds of noise, 0 to
/// measure a reverb that was cleared and hears only silence.
void BM_ReverbTailAgainstSilence(benchmark::State& state) {
    Reverb rv(44100.0f, static_cast<int>(state.range(0)), 0.3f);
    bench::timeTailAgainstSilence(state, rv, state.range(1) == 0);
    state.counters["subnormalState"] = rv.m.component.holdsSubnormals() ? 1 : 0;
}
BENCHMARK(BM_ReverbTailAgainstSilence)
    ->ArgsProduct({{0, 2, 3, 6}, {1, 0}})
    ->Unit(benchmark::kMicrosecond);

/// One minute of noise at the longest decay, no damping: the peak and the level of the last
/// second against the first show whether the loop stays bounded.
void BM_ReverbMinuteAtLongestDecay(benchmark::State& state) {
    const float rate = 44100.0f;
    for (auto _ : state) {
        Reverb rv(rate, static_cast<int>(state.range(0)), 1.0f);
        rv.m.damp.reset(0.0f);
        bench::minuteOfNoise(state, rv, rate);
    }
}
BENCHMARK(BM_ReverbMinuteAtLongestDecay)
    ->DenseRange(0, 6)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

} // namespace

// The effect chain per 256-frame block: everything off (only the output stage works), and
// the shaper in both quality modes with the band equaliser and colour filters on.

#include "effects/fxchain.h"
#include "effects/modulefxequalizer.h"
#include "effects/modulefxshaper.h"

#include "fxbench.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

namespace {

using namespace torvo;

constexpr int kBlock = bench::kFrames;
constexpr float kRate = 44100.0f;

struct Bench {
    Bench() {
        host.prepare({&shaper, &eq}, kRate);
        chain.shaper = &shaper;
        chain.equalizer = &eq;
        eq.volume.reset(0.5f);
        eq.warm = false;
        shaper.wet.reset(0.0f);
        for (int i = 0; i < kBlock; ++i) {
            left[i] = 0.5f * std::sin(0.031f * float(i));
            right[i] = 0.5f * std::sin(0.017f * float(i));
        }
    }
    void shaperOn(bool hq) {
        shaper.mode = ModuleFxShaper::kWarm;
        shaper.hq = hq;
        shaper.band = false;
        shaper.drive.reset(0.6f);
        shaper.bits.reset(1.0f);
        shaper.rate.reset(1.0f);
        shaper.hiCut.reset(0.8f);
        shaper.lowCut.reset(0.1f);
        shaper.wet.reset(0.7f);
        eq.power = true;
        eq.warm = true;
        eq.soft = true;
        const float bands[9] = {0.2f, 0.54f, 0.6f, 0.5f, 0.45f, 0.4f, 0.53f, 0.4f, 0.6f};
        for (int b = 0; b < 9; ++b) eq.bands[b].reset(bands[b]);
    }
    void eqOnly() {
        shaperOn(false);
        shaper.wet.reset(0.0f);
    }
    void shaperOnly(bool hq) {
        shaperOn(hq);
        eq.power = eq.warm = eq.soft = false;
    }
    void run(benchmark::State& state) {
        bench::timeBlocks(state, left, right, [&](float* l, float* r) {
            float* st[2] = {l, r};
            chain.run(kBlock, st, false, false);
        });
    }
    bench::Standalone host;
    ModuleFxShaper shaper;
    ModuleFxEqualizer eq;
    FxChain chain;
    std::vector<float> left = std::vector<float>(kBlock), right = std::vector<float>(kBlock);
};

void BM_FxChainAllOff(benchmark::State& state) {
    Bench b;
    b.run(state);
}
BENCHMARK(BM_FxChainAllOff);

void BM_FxChainShaperAndEq(benchmark::State& state) {
    Bench b;
    b.shaperOn(false);
    b.run(state);
}
BENCHMARK(BM_FxChainShaperAndEq);

void BM_FxChainShaperOversampledAndEq(benchmark::State& state) {
    Bench b;
    b.shaperOn(true);
    b.run(state);
}
BENCHMARK(BM_FxChainShaperOversampledAndEq);

void BM_FxChainEqOnly(benchmark::State& state) {
    Bench b;
    b.eqOnly();
    b.run(state);
}
BENCHMARK(BM_FxChainEqOnly);

void BM_FxChainShaperOnly(benchmark::State& state) {
    Bench b;
    b.shaperOnly(state.range(0) != 0);
    b.run(state);
}
BENCHMARK(BM_FxChainShaperOnly)->Arg(0)->Arg(1);

} // namespace

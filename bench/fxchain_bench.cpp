// The effect chain per 256-frame block: everything off (only the output stage works), and
// the shaper in both quality modes with the band equaliser and colour filters on.

#include "effects/fxchain.h"
#include "effects/modulefxequalizer.h"
#include "effects/modulefxshaper.h"
#include "engine/engineshared.h"
#include "engine/pool.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

namespace {

using namespace torvo;

constexpr int kBlock = 256;
constexpr float kRate = 44100.0f;

struct Bench {
    Bench() {
        shared.pool = &pool;
        for (Module* m : {static_cast<Module*>(&shaper), static_cast<Module*>(&eq)}) {
            m->init(nullptr, &shared, nullptr, "bench");
            m->createVoices();
            m->setSampleRate(kRate);
            m->setMaxBlockSize(kBlock);
        }
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
        std::vector<float> l(kBlock), r(kBlock);
        float* st[2] = {l.data(), r.data()};
        for (auto _ : state) {
            std::copy(left, left + kBlock, l.begin());
            std::copy(right, right + kBlock, r.begin());
            chain.run(kBlock, st, false, false);
            benchmark::DoNotOptimize(l.data());
        }
    }
    Pool pool;
    EngineShared shared;
    ModuleFxShaper shaper;
    ModuleFxEqualizer eq;
    FxChain chain;
    float left[kBlock] = {}, right[kBlock] = {};
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

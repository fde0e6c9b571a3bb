// Cost of the reverb per 256-frame block in each mode, the cost of a decaying tail against a
// block of true silence (a denormal slowdown would show here), and a one-minute run of every
// mode at the longest decay over noise, reporting the peak it reached.

#include "effects/modulefxrever.h"
#include "engine/engineshared.h"
#include "engine/pool.h"
#include "shell/paramtable.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

namespace {

using torvo::ModuleFxRever;

constexpr int kFrames = 256;

struct Reverb {
    Reverb(float rate, int mode, float decay) {
        shared.pool = &pool;
        m.init(nullptr, &shared, nullptr, "ModuleFxRever::fx_rever");
        m.createVoices();
        m.setMaxBlockSize(kFrames);
        m.setSampleRate(rate);
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
    torvo::Pool pool;
    torvo::EngineShared shared;
    ModuleFxRever m;
};

struct Noise {
    uint32_t seed = 1u;
    void fill(float* x, int n, float level) {
        for (int i = 0; i < n; ++i) {
            seed = seed * 1664525u + 1013904223u;
            x[i] = level * (static_cast<float>(seed >> 8) / 8388608.0f - 1.0f);
        }
    }
};

/// range(0): mode; range(1): sample rate.
void BM_ReverbBlock(benchmark::State& state) {
    Reverb rv(static_cast<float>(state.range(1)), static_cast<int>(state.range(0)), 0.635742f);
    std::vector<float> inL(kFrames), inR(kFrames), l(kFrames), r(kFrames);
    Noise noise;
    noise.fill(inL.data(), kFrames, 0.5f);
    noise.fill(inR.data(), kFrames, 0.5f);
    for (auto _ : state) {
        std::copy(inL.begin(), inL.end(), l.begin());
        std::copy(inR.begin(), inR.end(), r.begin());
        rv.block(l.data(), r.data());
        benchmark::DoNotOptimize(l.data());
    }
    state.SetItemsProcessed(state.iterations() * kFrames);
}
BENCHMARK(BM_ReverbBlock)
    ->ArgsProduct({{0, 1, 2, 3, 4, 5, 6}, {44100, 96000}})
    ->Unit(benchmark::kMicrosecond);

/// range(0): mode; range(1): 1 to measure the decaying tail after two seconds of noise, 0 to
/// measure a reverb that was cleared and hears only silence.
void BM_ReverbTailAgainstSilence(benchmark::State& state) {
    Reverb rv(44100.0f, static_cast<int>(state.range(0)), 0.3f);
    std::vector<float> l(kFrames), r(kFrames);
    Noise noise;
    for (int b = 0; b < 2 * 44100 / kFrames; ++b) {
        noise.fill(l.data(), kFrames, 0.5f);
        noise.fill(r.data(), kFrames, 0.5f);
        rv.block(l.data(), r.data());
    }
    if (state.range(1) == 0) rv.m.clear();
    // Let the tail fall far, into the range where unflushed arithmetic would turn subnormal.
    for (int b = 0; b < 20 * 44100 / kFrames; ++b) {
        std::fill(l.begin(), l.end(), 0.0f);
        std::fill(r.begin(), r.end(), 0.0f);
        rv.block(l.data(), r.data());
    }
    for (auto _ : state) {
        std::fill(l.begin(), l.end(), 0.0f);
        std::fill(r.begin(), r.end(), 0.0f);
        rv.block(l.data(), r.data());
        benchmark::DoNotOptimize(l.data());
    }
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
        std::vector<float> l(kFrames), r(kFrames);
        Noise noise;
        float peak = 0.0f;
        double first = 0.0, last = 0.0;
        const int blocks = static_cast<int>(60 * rate) / kFrames;
        const int second = static_cast<int>(rate) / kFrames;
        for (int b = 0; b < blocks; ++b) {
            noise.fill(l.data(), kFrames, 0.5f);
            noise.fill(r.data(), kFrames, 0.5f);
            rv.block(l.data(), r.data());
            double e = 0.0;
            for (int i = 0; i < kFrames; ++i) {
                peak = std::max({peak, std::fabs(l[i]), std::fabs(r[i])});
                e += double(l[i]) * l[i] + double(r[i]) * r[i];
            }
            if (b >= second && b < 2 * second) first += e;
            if (b >= blocks - second) last += e;
        }
        state.counters["peak"] = peak;
        state.counters["lastToSecondSecond_dB"] = 10.0 * std::log10(last / first);
    }
}
BENCHMARK(BM_ReverbMinuteAtLongestDecay)
    ->DenseRange(0, 6)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

} // namespace

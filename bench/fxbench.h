#pragma once
// Shared pieces of the effect benchmarks: a repeatable noise source, modules set up on a
// standalone pool, the timed loop over one block of fixed input, the cost of a decaying tail
// against true silence, and a minute of noise reporting whether a loop stays bounded.

#include "engine/engineshared.h"
#include "engine/module.h"
#include "engine/pool.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <vector>

namespace torvo::bench {

constexpr int kFrames = 256;

/// Uniform noise in [-level, level) from a linear congruential generator, so every run hears
/// the same signal.
struct Noise {
    uint32_t seed = 1u;
    void fill(float* x, int n, float level) {
        for (int i = 0; i < n; ++i) {
            seed = seed * 1664525u + 1013904223u;
            x[i] = level * (static_cast<float>(seed >> 8) / 8388608.0f - 1.0f);
        }
    }
};

/// A pool and shared block that the modules of one benchmark draw their buffers from.
struct Standalone {
    Standalone() { shared.pool = &pool; }
    /// Initialises each module for blocks of kFrames at `rate`.
    void prepare(std::initializer_list<Module*> modules, float rate, const char* name = "bench") {
        for (Module* m : modules) {
            m->init(nullptr, &shared, nullptr, name);
            m->createVoices();
            m->setMaxBlockSize(kFrames);
            m->setSampleRate(rate);
        }
    }
    Pool pool;
    EngineShared shared;
};

/// Times `process(l, r)` on a fresh copy of the same input block each iteration.
template <typename Process>
void timeBlocks(benchmark::State& state, const std::vector<float>& inL,
                const std::vector<float>& inR, Process process) {
    std::vector<float> l(kFrames), r(kFrames);
    for (auto _ : state) {
        std::copy(inL.begin(), inL.end(), l.begin());
        std::copy(inR.begin(), inR.end(), r.begin());
        process(l.data(), r.data());
        benchmark::DoNotOptimize(l.data());
    }
}

/// Fills a stereo input block with noise at `level`.
inline void noiseBlock(std::vector<float>& l, std::vector<float>& r, float level) {
    l.assign(kFrames, 0.0f);
    r.assign(kFrames, 0.0f);
    Noise noise;
    noise.fill(l.data(), kFrames, level);
    noise.fill(r.data(), kFrames, level);
}

/// Two seconds of noise, then (when `clear` is set) a clear, then 20 s of silence so the tail
/// falls far, into the range where unflushed arithmetic would turn subnormal; then times a
/// silent block. `rig` has block(l, r) and clear().
template <typename Rig> void timeTailAgainstSilence(benchmark::State& state, Rig& rig, bool clear) {
    std::vector<float> l(kFrames), r(kFrames);
    Noise noise;
    for (int b = 0; b < 2 * 44100 / kFrames; ++b) {
        noise.fill(l.data(), kFrames, 0.5f);
        noise.fill(r.data(), kFrames, 0.5f);
        rig.block(l.data(), r.data());
    }
    if (clear) rig.clear();
    for (int b = 0; b < 20 * 44100 / kFrames; ++b) {
        std::fill(l.begin(), l.end(), 0.0f);
        std::fill(r.begin(), r.end(), 0.0f);
        rig.block(l.data(), r.data());
    }
    for (auto _ : state) {
        std::fill(l.begin(), l.end(), 0.0f);
        std::fill(r.begin(), r.end(), 0.0f);
        rig.block(l.data(), r.data());
        benchmark::DoNotOptimize(l.data());
    }
}

/// One minute of noise through `rig.block(l, r)`: reports the peak reached and the energy of
/// the last second against the second one.
template <typename Rig> void minuteOfNoise(benchmark::State& state, Rig& rig, float rate) {
    std::vector<float> l(kFrames), r(kFrames);
    Noise noise;
    float peak = 0.0f;
    double first = 0.0, last = 0.0;
    const int blocks = static_cast<int>(60 * rate) / kFrames;
    const int second = static_cast<int>(rate) / kFrames;
    for (int b = 0; b < blocks; ++b) {
        noise.fill(l.data(), kFrames, 0.5f);
        noise.fill(r.data(), kFrames, 0.5f);
        rig.block(l.data(), r.data());
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

} // namespace torvo::bench

// Start-up cost of the wave store (both banks built from their spectral recipes) and the
// per-sample cost of a table read, alone and as the two-level mix of a wave.

#include "engine/globaltables.h"
#include "sources/wavebank.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>

namespace {

struct FreeDeleter {
    void operator()(float* p) const { std::free(p); }
};
using Buffer = std::unique_ptr<float, FreeDeleter>;

Buffer buffer(int floats) {
    return Buffer(static_cast<float*>(std::aligned_alloc(4096, floats * sizeof(float))));
}

void BM_BuildWaveBank(benchmark::State& state) {
    Buffer dest = buffer(torvo::kWaveBankFloats);
    for (auto _ : state) {
        torvo::fillWaveBank(dest.get());
        benchmark::DoNotOptimize(dest.get()[12345]);
    }
}
BENCHMARK(BM_BuildWaveBank)->Unit(benchmark::kMillisecond);

void BM_BuildSawBank(benchmark::State& state) {
    Buffer dest = buffer(torvo::kSawBankFloats);
    for (auto _ : state) {
        torvo::fillSawBank(dest.get());
        benchmark::DoNotOptimize(dest.get()[12345]);
    }
}
BENCHMARK(BM_BuildSawBank)->Unit(benchmark::kMillisecond);

void BM_RefillRateTables(benchmark::State& state) {
    float rate = 44100.0f;
    for (auto _ : state) {
        rate = rate == 44100.0f ? 48000.0f : 44100.0f;
        torvo::setGlobalSampleRate(rate);
        benchmark::DoNotOptimize(torvo::phaseIncrementTable()[1000]);
    }
    torvo::setGlobalSampleRate(44100.0f);
}
BENCHMARK(BM_RefillRateTables)->Unit(benchmark::kMicrosecond);

constexpr int kFrames = 256;

/// One table read per sample at an advancing phase: the saw reader's inner work.
void BM_TableReadPerSample(benchmark::State& state) {
    const float* table = torvo::sawAddress(60);
    float out[kFrames];
    float phase = 0.0f;
    const float inc = torvo::phaseIncrementTable()[60 * torvo::kPitchStepsPerNote];
    for (auto _ : state) {
        for (int i = 0; i < kFrames; ++i) {
            out[i] = torvo::readTable(table, phase);
            phase += inc;
            if (phase >= 4096.0f) phase -= 4096.0f;
        }
        benchmark::DoNotOptimize(out);
    }
    state.SetItemsProcessed(state.iterations() * kFrames);
}
BENCHMARK(BM_TableReadPerSample);

/// The wave reader's inner work: two levels read and mixed by the note's weight.
void BM_LevelReadPerSample(benchmark::State& state) {
    const int note = 65;
    const float* wave = torvo::waveAddress(30);
    const float* a = wave + torvo::levelOffsetA[note];
    const float* b = wave + torvo::levelOffsetB[note];
    const float wb = torvo::levelWeightB[note];
    float out[kFrames];
    float phase = 0.0f;
    const float inc = torvo::phaseIncrementTable()[note * torvo::kPitchStepsPerNote];
    for (auto _ : state) {
        for (int i = 0; i < kFrames; ++i) {
            out[i] = torvo::readLevels(a, b, 1.0f - wb, wb, phase);
            phase += inc;
            if (phase >= 4096.0f) phase -= 4096.0f;
        }
        benchmark::DoNotOptimize(out);
    }
    state.SetItemsProcessed(state.iterations() * kFrames);
}
BENCHMARK(BM_LevelReadPerSample);

} // namespace

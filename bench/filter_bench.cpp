// Cost of the filter section per voice and 256-frame block, for each model, with settled
// controls and with a cut-off sweeping every sample.

#include "engine/denormals.h"
#include "engine/engineshared.h"
#include "engine/pool.h"
#include "filters/modulefilter.h"
#include "shell/paramtable.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <utility>
#include <vector>

namespace {

using namespace torvo;

constexpr int kFrames = 256;

struct FilterRig {
    FilterRig(int type, int mode, bool sweep, bool defaultRouting = false) : sweeping(sweep) {
        shared.pool = &pool;
        filter.init(nullptr, &shared, nullptr, "ModuleFilter::filter");
        filter.createVoices();
        filter.setMaxBlockSize(kFrames);
        for (auto* b : {&inL, &inR, &zero}) b->assign(kFrames + 4, 0.0f);
        for (int i = 0; i < kFrames; ++i) {
            inL[i] = 0.3f * std::sin(0.05f * i) + 0.1f * std::sin(0.31f * i);
            inR[i] = 0.3f * std::sin(0.07f * i);
        }
        filter.setParameter(0, 1.0f); // parallel
        filter.setParameter(2, type * kThousandth);
        filter.setParameter(3, mode * kThousandth);
        filter.setParameter(5, 0.4f);
        filter.res1.reset(0.4f);
        filter.setParameter(4, 0.6f);
        filter.cut1.reset(0.6f);
        filter.setParameter(11, 0.0f);
        filter.balance.reset(0.0f);
        if (defaultRouting) {
            // The default patch: serial, slot two off, balance at slot two.
            filter.setParameter(0, 0.0f);
            filter.setParameter(11, 1.0f);
            filter.balance.reset(1.0f);
            filter.setParameter(5, 0.0f);
            filter.res1.reset(0.0f);
            filter.setParameter(4, 1.0f);
            filter.cut1.reset(1.0f);
        }
    }
    void block() {
        if (sweeping) {
            // A new target each block keeps the smoother gliding: per-sample coefficients.
            target = target > 0.5f ? 0.2f : 0.8f;
            filter.cut1.set(target);
        }
        filter.updateSmoothers(kFrames);
        filter.renderVoice(0, kFrames, {inL.data(), inR.data()}, {zero.data(), zero.data()});
    }

    Pool pool;
    EngineShared shared;
    ModuleFilter filter;
    std::vector<float> inL, inR, zero;
    bool sweeping;
    float target = 0.2f;
};

void runRig(benchmark::State& state, int type, int mode, bool sweep, bool defaults = false) {
    ScopedFlushDenormals flush;
    FilterRig rig(type, mode, sweep, defaults);
    for (auto _ : state) {
        rig.block();
        benchmark::DoNotOptimize(rig.filter.getStereoOutputs(0)[0].left[7]);
    }
}

void BM_FilterOff(benchmark::State& s) {
    runRig(s, 0, 0, false);
}
void BM_DefaultSection(benchmark::State& s) {
    runRig(s, 1, 0, false, true);
}
void BM_PerfectoLP4(benchmark::State& s) {
    runRig(s, 1, 0, false);
}
void BM_PerfectoLP4Sweep(benchmark::State& s) {
    runRig(s, 1, 0, true);
}
void BM_PerfectoBP4(benchmark::State& s) {
    runRig(s, 1, 1, false);
}
void BM_AcidoLP4(benchmark::State& s) {
    runRig(s, 2, 3, false);
}
void BM_InfectoLP2(benchmark::State& s) {
    runRig(s, 3, 0, false);
}
void BM_InfectoLP2Sweep(benchmark::State& s) {
    runRig(s, 3, 0, true);
}
void BM_ScorpioRedLP4(benchmark::State& s) {
    runRig(s, 4, 1, false);
}
void BM_ScorpioBlackLP4(benchmark::State& s) {
    runRig(s, 4, 3, false);
}
void BM_ScorpioBlackBP4(benchmark::State& s) {
    runRig(s, 4, 5, false);
}
void BM_ScorpioSweep(benchmark::State& s) {
    runRig(s, 4, 3, true);
}
void BM_ComboStereo(benchmark::State& s) {
    runRig(s, 5, 2, false);
}
void BM_ComboSweep(benchmark::State& s) {
    runRig(s, 5, 2, true);
}
void BM_ShaperSaturate(benchmark::State& s) {
    runRig(s, 6, 0, false);
}
void BM_ShaperFoldback(benchmark::State& s) {
    runRig(s, 6, 1, false);
}

/// The section of the instrument's unison voice for many voices: the ladder into "Scorpio"
/// (RedLP2), serially, heard from slot two. Arg 1 picks how the voices are handed over: 0 two
/// at a time, 1 all in one call; arg 2 set keeps slot one's cut-off gliding. `us_per_voice` is
/// the time of one block per voice.
struct VoicesRig {
    explicit VoicesRig(int count) : voices(count) {
        shared.pool = &pool;
        filter.init(nullptr, &shared, nullptr, "ModuleFilter::filter");
        filter.createVoices();
        filter.setSampleRate(48000.0f);
        filter.setMaxBlockSize(kFrames);
        for (int v = 0; v < kVoiceCount; ++v) {
            in[v].assign(kFrames + 4, 0.0f);
            for (int i = 0; i < kFrames; ++i)
                in[v][i] = 0.3f * std::sin(0.01f * (v + 3) * i) + 0.1f * std::sin(0.17f * i);
            retrig[v] = 1.0f;
            shared.env1ValueAtRetrig[v] = &retrig[v];
        }
        zero.assign(kFrames + 4, 0.0f);
        const std::pair<int, float> settings[] = {
            {0, 0.0f}, {2, 1 * kThousandth}, {3, 0.0f}, {4, 0.7f},
            {5, 0.3f}, {6, 4 * kThousandth}, {7, 0.0f}, {8, 0.8f},
            {9, 0.2f}, {10, 0.5f},           {11, 1.0f}};
        for (const auto& [local, value] : settings) filter.setParameter(local, value);
        for (ParamSmoother* p : {&filter.cut1, &filter.res1, &filter.cut2, &filter.res2})
            p->reset(p->targetValue());
        filter.balance.reset(1.0f);
        for (int v = 0; v < voices; ++v) {
            list[v] = v;
            bus1[v] = {in[v].data(), in[v].data()};
            bus2[v] = {zero.data(), zero.data()};
        }
    }
    void block(bool together, bool sweep) {
        if (sweep) {
            // A new target each block keeps slot one's cut-off gliding: per-sample coefficients.
            target = target > 0.5f ? 0.3f : 0.8f;
            filter.cut1.set(target);
        }
        filter.updateSmoothers(kFrames);
        if (together) {
            filter.renderVoices(list, voices, bus1, bus2, kFrames);
            return;
        }
        for (int v = 0; v + 1 < voices; v += 2)
            filter.renderVoicePair(v, bus1[v], bus2[v], v + 1, bus1[v + 1], bus2[v + 1], kFrames);
        if (voices % 2) filter.renderVoice(voices - 1, kFrames, bus1[voices - 1], bus2[voices - 1]);
    }

    int voices;
    float target = 0.3f;
    Pool pool;
    EngineShared shared;
    ModuleFilter filter;
    std::vector<float> in[kVoiceCount], zero;
    float retrig[kVoiceCount] = {};
    int list[kVoiceCount] = {};
    StereoPtr bus1[kVoiceCount] = {}, bus2[kVoiceCount] = {};
};

void BM_UnisonSectionVoices(benchmark::State& state) {
    ScopedFlushDenormals flush;
    const int voices = int(state.range(0));
    VoicesRig rig(voices);
    for (auto _ : state) {
        rig.block(state.range(1) != 0, state.range(2) != 0);
        benchmark::DoNotOptimize(rig.filter.getStereoOutputs(0)[0].left[7]);
    }
    state.counters["us_per_voice"] =
        benchmark::Counter(double(state.iterations()) * voices * 1e-6,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

BENCHMARK(BM_FilterOff);
BENCHMARK(BM_DefaultSection);
BENCHMARK(BM_PerfectoLP4);
BENCHMARK(BM_PerfectoLP4Sweep);
BENCHMARK(BM_PerfectoBP4);
BENCHMARK(BM_AcidoLP4);
BENCHMARK(BM_InfectoLP2);
BENCHMARK(BM_InfectoLP2Sweep);
BENCHMARK(BM_ScorpioRedLP4);
BENCHMARK(BM_ScorpioBlackLP4);
BENCHMARK(BM_ScorpioBlackBP4);
BENCHMARK(BM_ScorpioSweep);
BENCHMARK(BM_ComboStereo);
BENCHMARK(BM_ComboSweep);
BENCHMARK(BM_ShaperSaturate);
BENCHMARK(BM_ShaperFoldback);
BENCHMARK(BM_UnisonSectionVoices)
    ->Args({16, 0, 0})
    ->Args({16, 1, 0})
    ->Args({6, 1, 0})
    ->Args({3, 1, 0})
    ->Args({16, 0, 1})
    ->Args({16, 1, 1});

} // namespace

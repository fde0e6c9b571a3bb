// Cost of the filter section per voice and 256-frame block, for each model, with settled
// controls and with a cut-off sweeping every sample.

#include "engine/denormals.h"
#include "engine/engineshared.h"
#include "engine/pool.h"
#include "filters/modulefilter.h"
#include "shell/paramtable.h"

#include <benchmark/benchmark.h>

#include <cmath>
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

} // namespace

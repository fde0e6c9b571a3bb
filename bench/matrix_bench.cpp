// Cost of the modulation matrix for a patch with all 15 user slots in use (two sources and four
// targets each, two of them depth targets) plus the envelopes' and LFOs' own pairs: the route
// table rebuild, and the queries of one block for every modulated parameter of one voice.

#include "engine/modulematrix.h"
#include "shell/paramtable.h"

#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <vector>

namespace {

using namespace torvo;

constexpr int kFrames = 512;

struct FullPatch {
    FullPatch() {
        for (int s = 0; s < kSourceCount; ++s) {
            for (int v = 0; v < kVoiceCount; ++v) {
                auto& b = buffers[s][v];
                b.resize(kFrames + 8);
                for (int i = 0; i < kFrames; ++i) b[i] = 0.001f * float((i * (s + 3) + v) % 997);
                tables[s][v] = b.data();
            }
            matrix.setSource(s + 1, tables[s].data());
        }
        matrix.setVelocityTables(tables[kSrcVelocity - 1].data(), tables[kSrcLfo1 - 1].data());
        const int sources[] = {kSrcModWheel, kSrcVelocity,  kSrcLfo1,       kSrcEnv1 + 1,
                               kSrcMod1,     kSrcKeyFollow, kSrcAftertouch, kSrcStepper1};
        for (int s = 0; s < kUserSlots; ++s) {
            matrix.setUserSlotItem(s, 0, float(sources[s % 8]) * kThousandth);
            matrix.setUserSlotItem(s, 1, float(sources[(s + 3) % 8]) * kThousandth);
            for (int k = 0; k < 4; ++k) {
                // Item 3 of every other slot scales item 0 of the slot before it.
                const int target = (k == 3 && s > 0 && s % 2 == 0) ? 155 + (s - 1) * 4
                                                                   : 1 + (s * 17 + k * 29) % 154;
                matrix.setUserSlotItem(s, 3 + 2 * k, float(target) * kThousandth);
                matrix.setUserSlotItem(s, 2 + 2 * k, 0.2f + 0.15f * float(k));
            }
        }
        for (int m = 0; m < 8; ++m) {
            matrix.setSlotValue(kEnvSlotBase + m, 0, float(45 + m % 5) * kThousandth);
            matrix.setSlotValue(kEnvSlotBase + m, 1, 0.8f);
            matrix.setSlotValue(kEnvSlotBase + m, 2, 0.7f);
        }
        matrix.refresh();
        base.assign(kFrames + 8, 0.5f);
        for (int id = 0; id < kParamCount; ++id)
            if (matrix.modulatedBuffer(id, base.data(), kFrames, 0) != base.data())
                modulatedParams.push_back(id);
    }
    ModuleMatrix matrix;
    std::array<std::array<std::vector<float>, kVoiceCount>, kSourceCount> buffers;
    std::array<std::array<float*, kVoiceCount>, kSourceCount> tables{};
    std::vector<float> base;
    std::vector<int> modulatedParams;
};

FullPatch& patch() {
    static auto* p = new FullPatch();
    return *p;
}

void BM_MatrixRefresh(benchmark::State& state) {
    FullPatch& p = patch();
    for (auto _ : state) {
        p.matrix.refresh();
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_MatrixRefresh)->Unit(benchmark::kMicrosecond);

/// Every modulated parameter of one voice, per sample, for one block of 512.
void BM_MatrixPerSampleBlock(benchmark::State& state) {
    FullPatch& p = patch();
    int voice = 0;
    for (auto _ : state) {
        for (int id : p.modulatedParams)
            benchmark::DoNotOptimize(p.matrix.modulatedBuffer(id, p.base.data(), kFrames, voice));
        voice = (voice + 1) % kVoiceCount;
    }
    state.counters["params"] = double(p.modulatedParams.size());
}
BENCHMARK(BM_MatrixPerSampleBlock)->Unit(benchmark::kMicrosecond);

/// The same parameters, one number per block.
void BM_MatrixBlockValues(benchmark::State& state) {
    FullPatch& p = patch();
    int voice = 0;
    for (auto _ : state) {
        float sum = 0.0f;
        for (int id : p.modulatedParams) sum += p.matrix.modulated(id, 0.5f, kFrames, voice);
        benchmark::DoNotOptimize(sum);
        voice = (voice + 1) % kVoiceCount;
    }
}
BENCHMARK(BM_MatrixBlockValues)->Unit(benchmark::kMicrosecond);

/// A parameter nothing modulates: the lookup and the flag test.
void BM_MatrixUnmodulatedQuery(benchmark::State& state) {
    FullPatch& p = patch();
    const int fine = findParamId("osc1_fine");
    for (auto _ : state)
        benchmark::DoNotOptimize(p.matrix.modulatedBuffer(fine, p.base.data(), kFrames, 3));
}
BENCHMARK(BM_MatrixUnmodulatedQuery);

} // namespace

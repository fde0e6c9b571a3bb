// Cost of the filtered and oversampled oscillator engines ("Noise", "HardFM", "Vowel") for one
// voice of one oscillator per 256-frame block at 48 kHz, with one copy and with the full
// unison stack of nine, at the default controls (arg 2 = 0) or mid-range ones (arg 2 = 1).

#include "engine/denormals.h"
#include "engine/engineshared.h"
#include "engine/pool.h"
#include "shell/paramtable.h"
#include "sources/moduleoscillator.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using namespace torvo;

constexpr int kFrames = 256;
constexpr float kRate = 48000.0f;

/// One oscillator module with one sounding voice holding a note.
struct EngineBench {
    EngineBench() {
        shared.pool = &pool;
        shared.sampleRate = kRate;
        for (int v = 0; v < kVoiceCount; ++v) {
            pitch[v].assign(kFrames + 4, (48.0f + 2.0f * v) / 127.0f);
            retrig[v].assign(kFrames + 4, 0.0f);
            pitchPtrs[v] = pitch[v].data();
            retrigPtrs[v] = retrig[v].data();
            shared.active[v] = v == 0 ? 1 : 0;
            shared.env1FreshStart[v] = &fresh;
            shared.env1ValueAtRetrig[v] = &envAtRetrig;
        }
        inputs.pitch = pitchPtrs;
        inputs.retrigger = retrigPtrs;
        osc = std::make_unique<ModuleOscillator>();
        osc->init(nullptr, &shared, nullptr, "ModuleOscillator::osc");
        osc->createVoices();
        osc->setSampleRate(kRate);
        osc->setMaxBlockSize(kFrames);
        // The default row values of osc1, in local order.
        const float* defaults = defaultParamValues();
        const char* rows[] = {"type",  "oct",  "note",  "fine", "ctrlA", "ctrlB",
                              "phase", "wave", "wtmix", "udet", "uden",  "ucnt",
                              "uoct",  "uwid", "ana",   "inv",  "key"};
        for (int l = 0; l < 17; ++l) {
            const int id = findParamId(std::string("osc1_") + rows[l]);
            if (id >= 0) osc->setParameter(l, defaults[id]);
        }
        osc->setInputs(inputs);
    }

    Pool pool;
    EngineShared shared;
    bool fresh = true;
    float envAtRetrig = 0.0f;
    std::vector<float> pitch[kVoiceCount];
    std::vector<float> retrig[kVoiceCount];
    float* pitchPtrs[kVoiceCount] = {};
    float* retrigPtrs[kVoiceCount] = {};
    OscillatorInputs inputs;
    std::unique_ptr<ModuleOscillator> osc;
};

/// Engine `type` (1 Noise, 5 HardFM, 6 Vowel) with range(1) copies; range(2) picks mid-range
/// controls, a wave with two levels and a blend towards it.
void BM_EngineCopies(benchmark::State& state) {
    EngineBench b;
    b.osc->setParameter(0, static_cast<float>(state.range(0)) * kThousandth);
    b.osc->setParameter(11, static_cast<float>(state.range(1) - 1) * kThousandth);
    b.osc->setParameter(9, 0.6f);
    b.osc->setParameter(13, 1.0f);
    if (state.range(2)) {
        b.osc->setParameter(4, 0.4f);
        b.osc->setParameter(5, 0.3f);
        b.osc->setParameter(8, 0.3f);
        b.osc->setParameter(7, 12 * kThousandth);
    }
    ScopedFlushDenormals flush;
    for (int i = 0; i < 8; ++i) b.osc->process(kFrames, 1);
    for (auto _ : state) {
        b.osc->process(kFrames, 1);
        benchmark::ClobberMemory();
    }
    state.SetLabel("type " + std::to_string(state.range(0)) + ", " +
                   std::to_string(state.range(1)) + " copies");
}
BENCHMARK(BM_EngineCopies)->ArgsProduct({{1, 5, 6}, {1, 9}, {0, 1}})->Unit(benchmark::kMicrosecond);

} // namespace

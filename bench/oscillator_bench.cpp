// Cost of the oscillators and the mixer per 256-frame block at 48 kHz: one voice of each
// engine with one copy, the costliest engines with nine, and the heavy case of 16 voices with
// 4 oscillators of 9 copies each.
// Divide the reported time by the voices rendered to get the cost per voice.

#include "engine/denormals.h"
#include "engine/engineshared.h"
#include "engine/pool.h"
#include "shell/paramtable.h"
#include "sources/modulemixer.h"
#include "sources/moduleoscillator.h"

#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <vector>

namespace {

using namespace torvo;

constexpr int kFrames = 256;
constexpr float kRate = 48000.0f;

/// A few oscillator slots and a mixer sharing one pool, with their own note streams.
struct OscBench {
    explicit OscBench(int slots, int voices) : slotCount(slots) {
        shared.pool = &pool;
        shared.sampleRate = kRate;
        for (int v = 0; v < kVoiceCount; ++v) {
            pitch[v].assign(kFrames + 4, (48.0f + 2.0f * v) / 127.0f);
            retrig[v].assign(kFrames + 4, 0.0f);
            pitchPtrs[v] = pitch[v].data();
            retrigPtrs[v] = retrig[v].data();
            shared.active[v] = v < voices ? 1 : 0;
            shared.env1FreshStart[v] = &fresh;
            shared.env1ValueAtRetrig[v] = &envAtRetrig;
        }
        inputs.pitch = pitchPtrs;
        inputs.retrigger = retrigPtrs;
        const float* defaults = defaultParamValues();
        for (int s = 0; s < slots; ++s) {
            auto& o = osc[s];
            o = std::make_unique<ModuleOscillator>();
            o->init(nullptr, &shared, nullptr, "ModuleOscillator::osc");
            o->createVoices();
            o->setSampleRate(kRate);
            o->setMaxBlockSize(kFrames);
            // The default row values of osc1, in local order.
            const char* rows[] = {"type",  "oct",  "note",  "fine", "ctrlA", "ctrlB",
                                  "phase", "wave", "wtmix", "udet", "uden",  "ucnt",
                                  "uoct",  "uwid", "ana",   "inv",  "key"};
            for (int l = 0; l < 17; ++l) {
                const int id = findParamId(std::string("osc1_") + rows[l]);
                if (id >= 0) o->setParameter(l, defaults[id]);
            }
            o->setInputs(inputs);
        }
        mixer.init(nullptr, &shared, nullptr, "ModuleMixer::mix");
        mixer.createVoices();
        mixer.setSampleRate(kRate);
        mixer.setMaxBlockSize(kFrames);
        for (int s = 0; s < 4; ++s) mixer.setParameter(4 + s, s < slots ? 0.5f : 0.0f);
    }
    void set(int local, float value) {
        for (int s = 0; s < slotCount; ++s) osc[s]->setParameter(local, value);
    }
    void block() {
        for (int s = 0; s < slotCount; ++s) osc[s]->process(kFrames, 1);
        for (int v = 0; v < kVoiceCount; ++v) {
            StereoPtr in[4];
            for (int s = 0; s < slotCount; ++s) in[s] = osc[s]->getStereoOutputs(0)[v];
            mixer.wireVoice(v, in);
        }
        mixer.process(kFrames, 1);
    }

    int slotCount;
    Pool pool;
    EngineShared shared;
    bool fresh = true;
    float envAtRetrig = 0.0f;
    std::array<std::vector<float>, kVoiceCount> pitch;
    std::array<std::vector<float>, kVoiceCount> retrig;
    float* pitchPtrs[kVoiceCount] = {};
    float* retrigPtrs[kVoiceCount] = {};
    OscillatorInputs inputs;
    std::array<std::unique_ptr<ModuleOscillator>, 4> osc;
    ModuleMixer mixer;
};

void run(benchmark::State& state, OscBench& b) {
    ScopedFlushDenormals flush;
    for (int i = 0; i < 8; ++i) b.block();
    for (auto _ : state) {
        b.block();
        benchmark::ClobberMemory();
    }
}

/// One voice, one oscillator, one copy of engine `type`, with mid-range controls (arg 1) or
/// the default controls (arg 0).
void BM_OneVoiceEngine(benchmark::State& state) {
    OscBench b(1, 1);
    b.set(0, static_cast<float>(state.range(0)) * kThousandth);
    if (state.range(1)) {
        b.set(4, 0.4f);
        b.set(5, 0.3f);
        b.set(8, 0.3f);
        b.set(7, 12 * kThousandth);
    }
    run(state, b);
    state.SetLabel("type " + std::to_string(state.range(0)));
}
BENCHMARK(BM_OneVoiceEngine)
    ->ArgsProduct({{0, 1, 2, 3, 4, 5, 6}, {0, 1}})
    ->Unit(benchmark::kMicrosecond);

/// Engine `type` with range(1) copies for one voice; range(2) picks mid-range controls, a wave
/// with two levels and a blend towards it. Run for the engines that filter or oversample
/// ("Noise", "HardFM", "Vowel"), whose copies cost the most.
void BM_EngineCopies(benchmark::State& state) {
    OscBench b(1, 1);
    b.set(0, static_cast<float>(state.range(0)) * kThousandth);
    b.set(11, static_cast<float>(state.range(1) - 1) * kThousandth);
    b.set(9, 0.6f);
    b.set(13, 1.0f);
    if (state.range(2)) {
        b.set(4, 0.4f);
        b.set(5, 0.3f);
        b.set(8, 0.3f);
        b.set(7, 12 * kThousandth);
    }
    run(state, b);
    state.SetLabel("type " + std::to_string(state.range(0)) + ", " +
                   std::to_string(state.range(1)) + " copies");
}
BENCHMARK(BM_EngineCopies)->ArgsProduct({{1, 5, 6}, {1, 9}, {0, 1}})->Unit(benchmark::kMicrosecond);

/// The default patch: one oscillator of the default row values, per voice.
void BM_DefaultPatchPerVoice(benchmark::State& state) {
    OscBench b(1, 16);
    run(state, b);
    state.counters["us_per_voice"] = benchmark::Counter(
        16.0 * state.iterations(), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_DefaultPatchPerVoice)->Unit(benchmark::kMicrosecond);

/// 16 voices x 4 oscillators x 9 copies; arg 0: plain saws, arg 1: saw, pulse and wave mixed.
void BM_SixteenVoicesFourOscNineCopies(benchmark::State& state) {
    OscBench b(4, 16);
    b.set(11, 8 * kThousandth);
    b.set(9, 0.6f);
    b.set(13, 1.0f);
    if (state.range(0)) {
        b.set(4, 0.5f);
        b.set(5, 0.3f);
        b.set(8, 0.4f);
        b.set(7, 20 * kThousandth);
    }
    run(state, b);
    state.counters["us_per_voice"] = benchmark::Counter(
        16.0 * state.iterations(), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_SixteenVoicesFourOscNineCopies)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

} // namespace

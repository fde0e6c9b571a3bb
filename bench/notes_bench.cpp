// Cost of the note block: ModuleMidi turning its rings into per-sample streams for all 17
// voices. Sixteen sounding voices that have settled should cost next to nothing; a block full of
// events, or with a moving wheel, runs the per-sample loop of each voice.

#include "engine/denormals.h"
#include "engine/engineshared.h"
#include "engine/modulemidi.h"
#include "engine/pool.h"
#include "shell/paramtable.h"

#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <vector>

namespace {

using torvo::kVoiceCount;
using torvo::ModuleMidi;

/// A ModuleMidi outside the engine with env1 words of its own.
struct NoteRig {
    explicit NoteRig(int frames) : wheel(frames + 4, 0.0f) {
        shared.pool = &pool;
        for (int v = 0; v < kVoiceCount; ++v) {
            shared.env1Stage[v] = &stage[v];
            shared.env1Position[v] = &position[v];
            shared.env1Level[v] = &level[v];
        }
        m.init(nullptr, &shared, nullptr, "midi");
        m.createVoices();
        m.setMaxBlockSize(frames);
        m.setSampleRate(44100.0f);
        m.setParameter(ModuleMidi::kMode, ModuleMidi::kPoly1 * torvo::kThousandth);
        m.setParameter(ModuleMidi::kPoly, 15 * torvo::kThousandth);
    }
    void playSixteen(int frames) {
        m.resetRings();
        for (int v = 0; v < 16; ++v) m.noteOn(v, 48 + v, 100);
        m.processVoices(frames, wheel.data());
    }

    torvo::Pool pool;
    torvo::EngineShared shared;
    ModuleMidi m;
    std::array<int, kVoiceCount> stage{};
    std::array<float, kVoiceCount> position{};
    std::array<float, kVoiceCount> level{};
    std::vector<float> wheel;
};

void BM_NoteBlockSettledVoices(benchmark::State& state) {
    const int frames = static_cast<int>(state.range(0));
    NoteRig rig(frames);
    rig.playSixteen(frames);
    for (int i = 0; i < 4; ++i) rig.m.processVoices(frames, rig.wheel.data());
    torvo::ScopedFlushDenormals flush;
    for (auto _ : state) {
        rig.m.processVoices(frames, rig.wheel.data());
        benchmark::DoNotOptimize(rig.m.pitchTable()[0]);
    }
    state.SetItemsProcessed(state.iterations() * frames);
}
BENCHMARK(BM_NoteBlockSettledVoices)->Arg(256)->Arg(1024);

void BM_NoteBlockWithEvents(benchmark::State& state) {
    const int frames = static_cast<int>(state.range(0));
    NoteRig rig(frames);
    torvo::ScopedFlushDenormals flush;
    int base = 0;
    for (auto _ : state) {
        // Sixteen notes start and sixteen end in every block.
        rig.m.resetRings();
        for (int v = 0; v < 16; ++v) rig.m.noteOn(v * 4, 36 + (base + v) % 48, 100);
        for (int v = 0; v < 16; ++v) rig.m.noteOff(frames / 2 + v, 36 + (base + v) % 48);
        rig.m.processVoices(frames, rig.wheel.data());
        benchmark::DoNotOptimize(rig.m.pitchTable()[0]);
        base += 5;
    }
    state.SetItemsProcessed(state.iterations() * frames);
}
BENCHMARK(BM_NoteBlockWithEvents)->Arg(256)->Arg(1024);

void BM_NoteBlockWheelMoving(benchmark::State& state) {
    // A moving pitch wheel wakes every voice: the full per-sample loop without events.
    const int frames = static_cast<int>(state.range(0));
    NoteRig rig(frames);
    rig.playSixteen(frames);
    torvo::ScopedFlushDenormals flush;
    float w = 0.25f;
    for (auto _ : state) {
        w = -w;
        rig.wheel[0] = w;
        rig.m.processVoices(frames, rig.wheel.data());
        benchmark::DoNotOptimize(rig.m.pitchTable()[0]);
    }
    state.SetItemsProcessed(state.iterations() * frames);
}
BENCHMARK(BM_NoteBlockWheelMoving)->Arg(256)->Arg(1024);

} // namespace

// Cost of the whole instrument per sounding voice: 256-frame blocks at 48 kHz with held notes,
// with a new patch, with the unison voice (four oscillators of nine unison voices each into both
// filters) and with a heavy patch (that voice with every envelope and LFO and all fifteen slots
// routed and every effect on). The figure that matters is the counter `us_per_voice`: the time
// of one block divided by the voice count. The goals: a new patch at 6 us per voice, the unison
// voice at 15, both with 16 voices held.

#include "engine/aplugin.h"
#include "engine/denormals.h"
#include "engine/matrixtargets.h"
#include "shell/paramtable.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr int kFrames = 256;
constexpr float kRate = 48000.0f;

int idOf(const char* name) {
    const int id = torvo::findParamId(name);
    if (id < 0) throw std::runtime_error(std::string("no parameter row ") + name);
    return id;
}

/// The normalised value of list index `index` in the encoding of row `id`.
float listValue(int id, int index) {
    const torvo::ParamRecord& row = torvo::defaultParamRecord(id);
    if (row.scale == 1000) return float(index) * torvo::kThousandth;
    return row.choiceCount > 1 ? float(index) / float(row.choiceCount - 1) : 0.0f;
}

void setList(torvo::APlugin& engine, const char* name, int index) {
    const int id = idOf(name);
    engine.setParameter(id, listValue(id, index), 0);
}

void setValue(torvo::APlugin& engine, const char* name, float value) {
    engine.setParameter(idOf(name), value, 0);
}

/// The matrix target that moves parameter `name`; target rows store the id as a list index.
int targetOf(const char* name) {
    const int target = torvo::targetOfParam(idOf(name));
    if (target <= 0) throw std::runtime_error(std::string("no target moves ") + name);
    return target;
}

void route(torvo::APlugin& engine, const std::string& row, const char* param) {
    setList(engine, row.c_str(), targetOf(param));
}

std::unique_ptr<torvo::APlugin> makeEngine() {
    auto engine = std::make_unique<torvo::APlugin>();
    engine->setMaxBlockSize(kFrames);
    engine->setSampleRate(kRate);
    engine->setTempo(120.0f);
    const float* defaults = torvo::defaultParamValues();
    for (int i = 0; i < torvo::kParamCount; ++i) engine->setParameter(i, defaults[i], 0);
    return engine;
}

/// Poly mode with room for `voices` notes.
void setPolyphony(torvo::APlugin& engine, int voices) {
    setList(engine, "mode", 4);
    setList(engine, "poly", voices - 1);
}

/// The voice of the speed goal: four oscillators of nine unison voices each, all in the mix,
/// into both filters (a four-pole ladder into the second model, serially); everything else
/// stays as a new patch has it. The oscillators keep their new-patch sound (a pulse) unless
/// `engineMix` asks for four different engines and waves with their controls off centre.
void loadUnisonVoice(torvo::APlugin& engine, bool engineMix) {
    const int types[4] = {0, 4, 2, 0}; // Classic, SawPwm, FM, Classic
    const int waves[4] = {0, 0, 0, 9};
    for (int o = 0; o < 4; ++o) {
        const std::string stem = "osc" + std::to_string(o + 1) + "_";
        setList(engine, (stem + "ucnt").c_str(), 8);
        setValue(engine, (stem + "udet").c_str(), 0.3f);
        setValue(engine, (stem + "uwid").c_str(), 0.7f);
        setValue(engine, ("mix_osc" + std::to_string(o + 1)).c_str(), 0.5f);
        if (!engineMix) continue;
        setList(engine, (stem + "type").c_str(), types[o]);
        setList(engine, (stem + "wave").c_str(), waves[o]);
        setValue(engine, (stem + "ctrlA").c_str(), 0.3f);
    }
    setList(engine, "flt1_type", 1);
    setList(engine, "flt2_type", 4);
    setValue(engine, "flt1_cut", 0.7f);
    setValue(engine, "flt1_res", 0.3f);
    setValue(engine, "flt2_cut", 0.8f);
    setValue(engine, "flt2_res", 0.2f);
}

/// The heavy patch: the unison voice above, and every other module of the voice and of the
/// effect chain has work to do.
void loadWorkloadB(torvo::APlugin& engine) {
    loadUnisonVoice(engine, true);

    // Envelopes 2 and 4 get their own targets (3 moves the first cutoff in a new patch).
    route(engine, "env2_target1", "osc2_ctrlA");
    setValue(engine, "env2_amt1", 0.7f);
    setValue(engine, "env2_dec", 0.4f);
    setValue(engine, "env2_sus", 0.3f);
    route(engine, "env4_target1", "flt2_cut");
    setValue(engine, "env4_amt1", 0.65f);
    setValue(engine, "env4_att", 0.2f);

    // Four LFOs, each on an oscillator parameter.
    const char* lfoTargets[4] = {"osc1_ctrlA", "osc3_ctrlA", "osc4_wtmix", "osc2_pan"};
    for (int l = 0; l < 4; ++l) {
        const std::string stem = "lfo" + std::to_string(l + 1) + "_";
        route(engine, stem + "target1", lfoTargets[l]);
        setValue(engine, (stem + "amt1").c_str(), 0.6f);
    }

    // All fifteen slots from per-voice and global sources to real targets.
    const int sources[15] = {17, 13, 14, 5, 6, 9, 10, 11, 12, 23, 15, 7, 8, 24, 30};
    const char* slotTargets[15] = {"flt1_res",   "osc1_pan",   "osc3_pan",   "osc4_pan",
                                   "osc1_uwid",  "osc2_uwid",  "osc3_uden",  "osc4_ctrlA",
                                   "flt2_res",   "osc1_wtmix", "osc3_ctrlB", "flt_balance",
                                   "osc2_ctrlB", "osc4_uwid",  "osc1_udet"};
    for (int s = 0; s < 15; ++s) {
        const std::string stem = "slot" + std::to_string(s + 1) + "_";
        setList(engine, (stem + "Src1").c_str(), sources[s]);
        route(engine, stem + "Trg1", slotTargets[s]);
        setValue(engine, (stem + "Amt1").c_str(), 0.6f);
    }
    // Slot 1 reads the mod wheel, which must stand off zero; slots 10 and 14 read the two step
    // sequencers, so both of them run too.
    setValue(engine, "mod_wheel", 0.4f);

    // Every effect of the chain wet.
    setValue(engine, "shp_wet", 0.5f);
    setValue(engine, "shp_drive", 0.4f);
    setValue(engine, "phs_wet", 0.5f);
    setValue(engine, "chr_wet", 0.5f);
    setValue(engine, "del_wet", 0.4f);
    setValue(engine, "rev_wet", 0.4f);
    setList(engine, "eq_power", 1);
}

void runHeld(benchmark::State& state, torvo::APlugin& engine, int voices) {
    engine.refreshMatrix();
    std::vector<float> left(kFrames), right(kFrames);
    float* stereo[2] = {left.data(), right.data()};
    torvo::ScopedFlushDenormals flush;
    for (int v = 0; v < voices; ++v) engine.noteOn(0, 40 + 2 * v, 100);
    // Settle: attacks done, smoothers at rest, a second of audio through the effects.
    for (int b = 0; b < 200; ++b) engine.render(stereo, kFrames);
    for (auto _ : state) {
        engine.render(stereo, kFrames);
        benchmark::DoNotOptimize(left.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kFrames);
    state.counters["us_per_voice"] =
        benchmark::Counter(double(state.iterations()) * voices * 1e-6,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_DefaultPatchHeldNotes(benchmark::State& state) {
    const int voices = static_cast<int>(state.range(0));
    auto engine = makeEngine();
    setPolyphony(*engine, voices);
    runHeld(state, *engine, voices);
}
BENCHMARK(BM_DefaultPatchHeldNotes)->Arg(16)->Arg(1)->Unit(benchmark::kMicrosecond);

void BM_UnisonVoiceHeldNotes(benchmark::State& state) {
    const int voices = static_cast<int>(state.range(0));
    auto engine = makeEngine();
    setPolyphony(*engine, voices);
    loadUnisonVoice(*engine, state.range(1) != 0);
    runHeld(state, *engine, voices);
}
/// The unison voice with vibrato: LFO 1 moves every oscillator's pitch, so no block holds one
/// pitch and every reader takes its sample-by-sample loop.
void BM_UnisonVibratoHeldNotes(benchmark::State& state) {
    const int voices = static_cast<int>(state.range(0));
    auto engine = makeEngine();
    setPolyphony(*engine, voices);
    loadUnisonVoice(*engine, state.range(1) != 0);
    route(*engine, "lfo1_target1", "osc_all_pt");
    setValue(*engine, "lfo1_amt1", 0.52f);
    runHeld(state, *engine, voices);
}
BENCHMARK(BM_UnisonVibratoHeldNotes)->Args({16, 0})->Args({16, 1})->Unit(benchmark::kMicrosecond);

/// Args: voices held; 0 for the new-patch oscillators, 1 for the mix of engines.
BENCHMARK(BM_UnisonVoiceHeldNotes)
    ->Args({16, 0})
    ->Args({16, 1})
    ->Args({1, 0})
    ->Unit(benchmark::kMicrosecond);

void BM_WorkloadBHeldNotes(benchmark::State& state) {
    const int voices = static_cast<int>(state.range(0));
    auto engine = makeEngine();
    setPolyphony(*engine, voices);
    loadWorkloadB(*engine);
    runHeld(state, *engine, voices);
}
BENCHMARK(BM_WorkloadBHeldNotes)->Arg(16)->Arg(1)->Unit(benchmark::kMicrosecond);

} // namespace

// Costs of the sound formats on the message thread: a preset file saved and loaded, a full
// bank saved and loaded, the host state saved and restored, and the content hash.
#include "presets/bank.h"
#include "presets/chunk.h"
#include "presets/presetjson.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

namespace {

std::unique_ptr<torvo::Bank> filledBank() {
    auto bank = std::make_unique<torvo::Bank>();
    bank->initAllPresets();
    for (int p = 0; p < torvo::Bank::kPresetCount; ++p)
        for (int i = 0; i < torvo::kParamCount; ++i)
            bank->preset(p).params()[i] = float((i * 31 + p * 7) % 1000) / 1000.0f * 0.004f;
    bank->applyCurrent();
    return bank;
}

std::string tempPath(const char* name) {
    return (std::filesystem::temp_directory_path() / name).string();
}

void BM_PresetFileSave(benchmark::State& state) {
    auto bank = filledBank();
    const std::string path = tempPath("torvo_bench.tpf2");
    for (auto _ : state)
        benchmark::DoNotOptimize(torvo::writePresetFile(path, bank->preset(0), *bank));
    std::remove(path.c_str());
}
BENCHMARK(BM_PresetFileSave)->Unit(benchmark::kMicrosecond);

void BM_PresetFileLoad(benchmark::State& state) {
    auto bank = filledBank();
    const std::string path = tempPath("torvo_bench_load.tpf2");
    torvo::writePresetFile(path, bank->preset(0), *bank);
    std::string error;
    for (auto _ : state) {
        auto preset = torvo::loadPresetFile(path, *bank, error);
        benchmark::DoNotOptimize(preset.get());
    }
    std::remove(path.c_str());
}
BENCHMARK(BM_PresetFileLoad)->Unit(benchmark::kMicrosecond);

void BM_BankFileSave(benchmark::State& state) {
    auto bank = filledBank();
    const std::string path = tempPath("torvo_bench.tbf");
    for (auto _ : state) benchmark::DoNotOptimize(bank->saveBankFile(path, false));
    std::remove(path.c_str());
}
BENCHMARK(BM_BankFileSave)->Unit(benchmark::kMicrosecond);

void BM_BankFileLoad(benchmark::State& state) {
    auto bank = filledBank();
    const std::string path = tempPath("torvo_bench_load.tbf");
    bank->saveBankFile(path, false);
    for (auto _ : state) benchmark::DoNotOptimize(bank->loadBankFile(path, true));
    std::remove(path.c_str());
}
BENCHMARK(BM_BankFileLoad)->Unit(benchmark::kMicrosecond);

void BM_StateSave(benchmark::State& state) {
    auto bank = filledBank();
    torvo::Chunk chunk(*bank);
    const uint8_t* out = nullptr;
    for (auto _ : state) benchmark::DoNotOptimize(chunk.save(&out));
}
BENCHMARK(BM_StateSave)->Unit(benchmark::kMicrosecond);

void BM_StateRestore(benchmark::State& state) {
    auto bank = filledBank();
    torvo::Chunk chunk(*bank);
    const uint8_t* out = nullptr;
    const std::size_t size = chunk.save(&out);
    const std::vector<uint8_t> bytes(out, out + size);
    for (auto _ : state) benchmark::DoNotOptimize(chunk.load(bytes.data(), bytes.size()));
}
BENCHMARK(BM_StateRestore)->Unit(benchmark::kMicrosecond);

void BM_ContentHash(benchmark::State& state) {
    auto bank = filledBank();
    for (auto _ : state) benchmark::DoNotOptimize(bank->preset(0).contentHash());
}
BENCHMARK(BM_ContentHash)->Unit(benchmark::kMicrosecond);

} // namespace

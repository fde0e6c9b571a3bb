// Costs of the workspace index on a library of 10,000 presets generated in a temporary folder:
// a full index from scratch, a rescan that finds nothing changed, and the browser's queries
// (search, one folder, the whole tree, a tag, the tree's children).
#include "presets/bank.h"
#include "workspace/metadatastorage.h"

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr int kFolders = 66;
constexpr int kPresetsPerFolder = 136;
constexpr int kBanks = 8;

const char* const kWords[] = {"Deep",  "Bass", "Lead", "Pad",    "Pluck", "Keys",  "Arp",  "Seq",
                              "Glass", "Warm", "Dark", "Bright", "Acid",  "Atmos", "Stab", "FX"};
const char* const kTags[] = {"Bass",      "Lead", "Pad",  "Pluck",  "Keys", "Arpeggio",
                             "Sequenced", "FX",   "Dark", "Bright", "Soft", "Hard"};
const char* const kAuthors[] = {"Ana Reyes", "Mo Tran", "Halden", "Kit Moss", "Ola Berg"};

/// The library: 66 folders of 136 .tpf2 files and 8 banks of 128 presets, 10,000 in all.
class GeneratedLibrary {
public:
    GeneratedLibrary() {
        char pattern[] = "/tmp/torvo-ws-bench-XXXXXX";
        root = ::mkdtemp(pattern) != nullptr ? std::string(pattern) : std::string();
        bank = std::make_unique<torvo::Bank>();
        bank->initAllPresets();
        workspace = root + "/ws";
        factory = root + "/factory";
        fs::create_directories(factory);
        int n = 0;
        for (int f = 0; f < kFolders; ++f) {
            const std::string folder =
                workspace + "/Group " + std::to_string(f) + "/" + kWords[f % 16] + " Sounds";
            fs::create_directories(folder);
            for (int p = 0; p < kPresetsPerFolder; ++p, ++n) writePreset(folder, n);
        }
        auto writer = std::make_unique<torvo::Bank>();
        writer->initAllPresets();
        for (int b = 0; b < kBanks; ++b) {
            for (int i = 0; i < torvo::Bank::kPresetCount; ++i)
                writer->preset(i).setName(std::string(kWords[(i + b) % 16]) + " " +
                                          kWords[(i * 3 + b) % 16] + " " + std::to_string(i));
            fs::create_directories(workspace + "/Banks");
            writer->saveBankFile(workspace + "/Banks/Bank " + std::to_string(b) + ".tbf", false);
        }
    }
    ~GeneratedLibrary() {
        std::error_code ec;
        if (!root.empty()) fs::remove_all(root, ec);
    }

    /// A compact .tpf2: metadata and the few parameters a sound of the library changes; the
    /// reader gives every other parameter its default.
    void writePreset(const std::string& folder, int n) {
        const std::string name =
            std::string(kWords[n % 16]) + " " + kWords[(n / 16) % 16] + " " + std::to_string(n);
        std::ofstream out(folder + "/" + name + ".tpf2");
        out << "{\n    \"author\": \"" << kAuthors[n % 5] << "\",\n    \"vendor\": \"\",\n"
            << "    \"bank\": \"\",\n    \"notes\": \"generated\",\n    \"icon\": \"\",\n"
            << "    \"favorite\": \"" << (n % 50 == 0 ? "yes" : "no") << "\",\n"
            << "    \"tags\": [\"" << kTags[n % 12] << "\", \"" << kTags[(n / 12) % 12]
            << "\"],\n    \"parameters\": {\n        \"glide\": " << (n % 10) / 10.0
            << ",\n        \"velocity\": 0.5\n    }\n}\n";
    }

    std::string root;
    std::string workspace;
    std::string factory;
    std::unique_ptr<torvo::Bank> bank;
};

GeneratedLibrary& library() {
    static GeneratedLibrary instance;
    return instance;
}

/// The indexed library, built once for the query benchmarks.
torvo::MetadataStorage& indexedStore() {
    static torvo::MetadataStorage store;
    static bool ready = false;
    if (!ready) {
        torvo::StorageStatus status;
        store.setRoots(*library().bank, library().workspace, library().factory, status);
        ready = true;
    }
    return store;
}

int64_t firstId(const char* sql) {
    torvo::MetadataStorage& store = indexedStore();
    torvo::StorageStatus status;
    store.open(status, false);
    int64_t id = -1;
    sqlite3* db = store.handle();
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db, sql, -1, &stmt, nullptr) == SQLITE_OK &&
        sqlite3_step(stmt) == SQLITE_ROW)
        id = sqlite3_column_int64(stmt, 0);
    sqlite3_finalize(stmt);
    store.close();
    return id;
}

void BM_IndexFromScratch10k(benchmark::State& state) {
    GeneratedLibrary& lib = library();
    std::size_t presets = 0;
    for (auto _ : state) {
        state.PauseTiming();
        fs::remove(lib.workspace + "/workspace.db");
        state.ResumeTiming();
        torvo::MetadataStorage store;
        torvo::StorageStatus status;
        if (!store.setRoots(*lib.bank, lib.workspace, lib.factory, status))
            state.SkipWithError(status.message.c_str());
        std::vector<torvo::PresetListRow> rows;
        state.PauseTiming();
        store.searchAll(status, rows, "%");
        presets = rows.size();
        state.ResumeTiming();
    }
    state.counters["presets"] = double(presets);
}
BENCHMARK(BM_IndexFromScratch10k)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_RescanUnchanged10k(benchmark::State& state) {
    torvo::MetadataStorage& store = indexedStore();
    for (auto _ : state) {
        torvo::StorageStatus status;
        if (!store.reindex(status, true, true)) state.SkipWithError(status.message.c_str());
    }
}
BENCHMARK(BM_RescanUnchanged10k)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_SearchAll(benchmark::State& state) {
    torvo::MetadataStorage& store = indexedStore();
    std::vector<torvo::PresetListRow> rows;
    for (auto _ : state) {
        torvo::StorageStatus status;
        store.searchAll(status, rows, "%lead%");
        benchmark::DoNotOptimize(rows.data());
    }
    state.counters["rows"] = double(rows.size());
}
BENCHMARK(BM_SearchAll)->Unit(benchmark::kMicrosecond);

void BM_BrowseOneFolder(benchmark::State& state) {
    torvo::MetadataStorage& store = indexedStore();
    const int64_t folder = firstId("SELECT id FROM vst_dir_tree WHERE name='Pad Sounds'");
    std::vector<torvo::PresetListRow> rows;
    for (auto _ : state) {
        torvo::StorageStatus status;
        store.presetsInFolderTree(status, rows, folder, "", false, false);
        benchmark::DoNotOptimize(rows.data());
    }
    state.counters["rows"] = double(rows.size());
}
BENCHMARK(BM_BrowseOneFolder)->Unit(benchmark::kMicrosecond);

void BM_BrowseWholeTreeFiltered(benchmark::State& state) {
    torvo::MetadataStorage& store = indexedStore();
    const int64_t root = firstId("SELECT id FROM vst_dir_tree WHERE path='/' AND is_factory=0");
    std::vector<torvo::PresetListRow> rows;
    for (auto _ : state) {
        torvo::StorageStatus status;
        store.presetsInFolderTree(status, rows, root, "%deep%", true, false);
        benchmark::DoNotOptimize(rows.data());
    }
    state.counters["rows"] = double(rows.size());
}
BENCHMARK(BM_BrowseWholeTreeFiltered)->Unit(benchmark::kMicrosecond);

void BM_BrowseTag(benchmark::State& state) {
    torvo::MetadataStorage& store = indexedStore();
    const int64_t tag = firstId("SELECT id FROM vst_metadata WHERE value='Pad' AND type=0");
    std::vector<torvo::FolderRow> folders;
    std::vector<torvo::PresetListRow> rows;
    for (auto _ : state) {
        torvo::StorageStatus status;
        store.foldersOfMetadata(status, folders, tag, -1, true);
        rows.clear();
        std::vector<torvo::PresetListRow> part;
        std::vector<torvo::FolderRow> level = folders;
        for (const torvo::FolderRow& folder : level) {
            std::vector<torvo::FolderRow> below;
            store.foldersOfMetadata(status, below, tag, folder.id, true);
            for (const torvo::FolderRow& inner : below) {
                store.presetsOfMetadata(status, part, inner.id, tag, false);
                rows.insert(rows.end(), part.begin(), part.end());
            }
        }
        benchmark::DoNotOptimize(rows.data());
    }
    state.counters["rows"] = double(rows.size());
}
BENCHMARK(BM_BrowseTag)->Unit(benchmark::kMillisecond);

void BM_ListChildrenOfRoot(benchmark::State& state) {
    torvo::MetadataStorage& store = indexedStore();
    const int64_t root = firstId("SELECT id FROM vst_dir_tree WHERE path='/' AND is_factory=0");
    std::vector<torvo::FolderRow> rows;
    for (auto _ : state) {
        torvo::StorageStatus status;
        store.listChildren(status, rows, root, false);
        benchmark::DoNotOptimize(rows.data());
    }
    state.counters["rows"] = double(rows.size());
}
BENCHMARK(BM_ListChildrenOfRoot)->Unit(benchmark::kMicrosecond);

} // namespace

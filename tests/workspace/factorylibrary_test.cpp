// The factory presets shipped in resources/Factory Presets: every file reads back as a sound
// with its author, notes and tags, every sound plays at a sane level and dies away after its
// release, the library covers the usual categories, and it indexes as the factory tree of a
// workspace. Set TORVO_FACTORY_LEVELS to print what each sound measured.

#include "presets/presetjson.h"
#include "support/testengine.h"
#include "workspace/metadatastorage.h"
#include "workspace/taginference.h"
#include "workspacefixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>

namespace torvo {
namespace {

namespace fs = std::filesystem;

std::string factoryFolder() {
    return (fs::path(__FILE__).parent_path().parent_path().parent_path() / "resources" /
            "Factory Presets")
        .string();
}

std::vector<fs::path> factoryFiles() {
    std::vector<fs::path> out;
    for (const auto& entry : fs::recursive_directory_iterator(factoryFolder()))
        if (entry.path().extension() == ".tpf2") out.push_back(entry.path());
    std::sort(out.begin(), out.end());
    return out;
}

TEST(FactoryLibrary, EveryPresetReadsBackWithItsDescription) {
    auto bank = test::makeReadingBank();
    const std::vector<fs::path> files = factoryFiles();
    ASSERT_GE(files.size(), 48u);
    const TagInference rules;
    const int mixOsc1 = findParamId("mix_osc1");
    const int volume = findParamId("volume");
    std::map<std::string, int> perFolder;
    for (const fs::path& file : files) {
        std::string error;
        std::unique_ptr<Preset> preset = readPresetForIndexing(file.string(), *bank, error);
        ASSERT_TRUE(preset) << file << " " << error;
        EXPECT_EQ(preset->author(), "HaldenWorks") << file;
        EXPECT_GT(preset->notes().size(), 40u) << file;
        EXPECT_GE(preset->tags().size(), 1u) << file;
        EXPECT_LE(preset->tags().size(), 5u) << file;
        EXPECT_FALSE(preset->isFavorite()) << "the user's favourites start empty";
        for (int i = 0; i < kParamCount; ++i) {
            EXPECT_GE(preset->params()[i], 0.0f) << file << " row " << i;
            EXPECT_LE(preset->params()[i], 1.0f) << file << " row " << i;
        }
        // Every sound makes some: the first oscillator in the mix and the volume up.
        EXPECT_GT(preset->params()[mixOsc1], 0.0f) << file;
        EXPECT_GT(preset->params()[volume], 0.2f) << file;
        // The name says the category, so the browser's search by word finds it too.
        const std::string folder = file.parent_path().filename().string();
        ++perFolder[folder];
        if (folder != "Sequence") {
            EXPECT_EQ(rules.inferTag(file.stem().string()), folder) << file;
            EXPECT_EQ(preset->tags().front(), folder) << file;
        }
    }
    for (const char* folder : {"Bass", "Lead", "Pad", "Keys", "Pluck", "Sequence", "FX"})
        EXPECT_GE(perFolder[folder], 5) << folder;
    EXPECT_EQ(perFolder.size(), 7u) << "a folder outside the usual categories";
}

// How a sound of a category is played and how long its tail may ring once the keys are up.
struct PlayingStyle {
    std::vector<int> keys;
    double tailSeconds;
};

PlayingStyle styleFor(const std::string& category) {
    if (category == "Bass") return {{36}, 3.0};
    if (category == "Pad") return {{60, 63, 67}, 8.0};
    if (category == "Keys") return {{60, 64, 67}, 4.0};
    if (category == "FX") return {{48}, 8.0};
    return {{60}, 4.0};
}

// What one sound measured: level while held, loudest sample, and how long it took to fall
// silent after the keys were let go (negative when it never did within its allowance).
struct SoundLevels {
    double rmsDb = -200.0;
    float peak = 0.0f;
    bool finite = true;
    double silentAfter = -1.0;
    float lastPeak = 0.0f;
};

double toDb(double value) {
    return 20.0 * std::log10(std::max(value, 1e-10));
}

SoundLevels playSound(const Preset& preset, const PlayingStyle& style) {
    constexpr float kRate = 48000.0f;
    constexpr int kBlock = 4096;
    constexpr int kHeldBlocks = 12;   // about a second with the keys down
    constexpr float kSilence = 1e-3f; // -60 dBFS, where a reverb tail counts as gone
    auto engine = test::makeTestEngine(kRate, kBlock);
    for (int i = 0; i < kParamCount; ++i) engine->setParameter(i, preset.params()[i], 0);
    engine->refreshMatrix();
    test::StereoBlock block(kBlock);
    engine->render(block.pointers(), kBlock);
    SoundLevels levels;
    auto scan = [&](double* energy) {
        float blockPeak = 0.0f;
        for (int i = 0; i < kBlock; ++i) {
            for (float v : {block.left[std::size_t(i)], block.right[std::size_t(i)]}) {
                levels.finite = levels.finite && std::isfinite(v);
                blockPeak = std::max(blockPeak, std::fabs(v));
                if (energy) *energy += double(v) * double(v);
            }
        }
        levels.peak = std::max(levels.peak, blockPeak);
        return blockPeak;
    };
    for (int key : style.keys) engine->noteOn(0, key, 100);
    double energy = 0.0;
    for (int b = 0; b < kHeldBlocks; ++b) {
        engine->render(block.pointers(), kBlock);
        scan(&energy);
    }
    levels.rmsDb = toDb(std::sqrt(energy / (2.0 * kBlock * kHeldBlocks)));
    for (int key : style.keys) engine->noteOff(0, key);
    const int tailBlocks = int(style.tailSeconds * kRate / kBlock) + 1;
    for (int b = 0; b < tailBlocks && levels.finite; ++b) {
        engine->render(block.pointers(), kBlock);
        levels.lastPeak = scan(nullptr);
        if (levels.lastPeak < kSilence) {
            levels.silentAfter = double(b + 1) * kBlock / kRate;
            break;
        }
    }
    return levels;
}

// Every sound, played as its category is played at 48 kHz: audible but never clipping while
// the keys are held, finite, and silent within its allowance once they are let go.
TEST(FactoryLibrary, EverySoundIsAudibleUnclippedAndFallsSilent) {
    auto bank = test::makeReadingBank();
    const bool report = std::getenv("TORVO_FACTORY_LEVELS") != nullptr;
    double quietest = 0.0;
    double loudest = -200.0;
    for (const fs::path& file : factoryFiles()) {
        std::string error;
        std::unique_ptr<Preset> preset = readPresetForIndexing(file.string(), *bank, error);
        ASSERT_TRUE(preset) << file;
        const PlayingStyle style = styleFor(file.parent_path().filename().string());
        const SoundLevels levels = playSound(*preset, style);
        quietest = std::min(quietest, levels.rmsDb);
        loudest = std::max(loudest, levels.rmsDb);
        if (report)
            std::printf("%-36s rms %6.1f dB  peak %5.3f  silent after %4.2f s (last %.5f)\n",
                        file.stem().string().c_str(), levels.rmsDb, double(levels.peak),
                        levels.silentAfter, double(levels.lastPeak));
        EXPECT_TRUE(levels.finite) << file;
        EXPECT_GT(levels.rmsDb, -40.0) << file << " is too quiet";
        EXPECT_LT(levels.peak, 1.0f) << file << " clips";
        EXPECT_GT(levels.silentAfter, 0.0)
            << file << " still sounds " << style.tailSeconds << " s after the release";
    }
    if (report) std::printf("held level from %.1f to %.1f dB RMS\n", quietest, loudest);
}

TEST(FactoryLibrary, CoversTheUsualCategoriesAndIndexesAsTheFactoryTree) {
    test::TempFolder temp;
    auto bank = test::makeReadingBank();
    MetadataStorage store;
    StorageStatus status;
    ASSERT_TRUE(store.setRoots(*bank, temp.path("ws"), factoryFolder(), status)) << status.message;
    const std::string db = temp.path("ws") + "/workspace.db";
    const long long presets = test::queryInt(
        db, "SELECT COUNT(*) FROM vst_preset p JOIN vst_dir_tree d ON p.dir_id=d.id WHERE "
            "d.is_factory=1");
    EXPECT_EQ(presets, static_cast<long long>(factoryFiles().size()));
    EXPECT_EQ(test::queryText(db, "SELECT name FROM vst_dir_tree WHERE is_factory=1 AND "
                                  "parent_id=-1"),
              "Factory Sounds");

    std::vector<MetadataRow> tags;
    ASSERT_TRUE(store.listMetadata(status, 0, tags));
    std::map<std::string, int> counts;
    for (const MetadataRow& row : tags) counts[row.value] = row.presetCount;
    for (const char* category :
         {"Bass", "Lead", "Pad", "Keys", "Pluck", "Sequenced", "Arpeggio", "FX"})
        EXPECT_GE(counts[category], 1) << category;
    EXPECT_GE(counts["Bass"], 2);
    EXPECT_GE(counts["Lead"], 2);
    EXPECT_GE(counts["Pad"], 2);
    EXPECT_GE(counts["Keys"], 2);

    std::vector<MetadataRow> authors;
    ASSERT_TRUE(store.listMetadata(status, 1, authors));
    ASSERT_EQ(authors.size(), 1u);
    EXPECT_EQ(authors[0].presetCount, int(presets));
}

} // namespace
} // namespace torvo

// The factory presets shipped in resources/Factory Presets: every file reads back as a sound
// with its author, notes and tags, the library covers the usual categories, and it indexes as
// the factory tree of a workspace.

#include "presets/presetjson.h"
#include "support/testengine.h"
#include "workspace/metadatastorage.h"
#include "workspace/taginference.h"
#include "workspacefixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

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
    ASSERT_GE(files.size(), 12u);
    const TagInference rules;
    const int mixOsc1 = findParamId("mix_osc1");
    const int volume = findParamId("volume");
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
        if (folder != "Sequence") {
            EXPECT_EQ(rules.inferTag(file.stem().string()), folder) << file;
            EXPECT_EQ(preset->tags().front(), folder) << file;
        }
    }
}

TEST(FactoryLibrary, EverySoundPlaysANoteAudiblyAndStaysBounded) {
    auto bank = test::makeReadingBank();
    constexpr int kBlock = 512;
    constexpr int kBlocks = 86; // one second at 44.1 kHz
    for (const fs::path& file : factoryFiles()) {
        std::string error;
        std::unique_ptr<Preset> preset = readPresetForIndexing(file.string(), *bank, error);
        ASSERT_TRUE(preset) << file;
        auto engine = test::makeTestEngine(44100.0f, kBlock);
        for (int i = 0; i < kParamCount; ++i) engine->setParameter(i, preset->params()[i], 0);
        engine->refreshMatrix();
        test::StereoBlock block(kBlock);
        engine->render(block.pointers(), kBlock);
        const bool bass = file.parent_path().filename() == "Bass";
        engine->noteOn(0, bass ? 36 : 60, 100);
        if (!bass) engine->noteOn(0, 64, 100);
        double energy = 0.0;
        float peak = 0.0f;
        bool finite = true;
        for (int b = 0; b < kBlocks; ++b) {
            engine->render(block.pointers(), kBlock);
            for (int i = 0; i < kBlock; ++i) {
                for (float v : {block.left[std::size_t(i)], block.right[std::size_t(i)]}) {
                    finite = finite && std::isfinite(v);
                    peak = std::max(peak, std::fabs(v));
                    energy += double(v) * double(v);
                }
            }
        }
        const double rms = std::sqrt(energy / (2.0 * kBlock * kBlocks));
        EXPECT_TRUE(finite) << file;
        EXPECT_GT(rms, 0.005) << file << " is too quiet";
        EXPECT_LT(peak, 2.0f) << file << " is far too loud";
    }
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

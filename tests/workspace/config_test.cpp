// The configuration file: defaults, reading rules, the legacy binary files, a broken file, and
// several instances sharing one file.

#include "presets/codec.h"
#include "workspace/config.h"
#include "workspace/legacyconfig.h"
#include "workspace/metadatastorage.h"
#include "workspace/workspacestartup.h"
#include "workspace/xdgpaths.h"
#include "workspacefixture.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

namespace torvo {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

class ConfigFiles : public ::testing::Test {
protected:
    std::string folder() const { return temp.path("config"); }
    std::string file() const { return folder() + "/torvo_config.json"; }
    std::unique_ptr<Config> make() {
        return std::make_unique<Config>(folder(), temp.path("cache"), temp.path("data/Banks"));
    }
    void writeJson(const std::string& text) { test::writeText(file(), text); }
    Json readJson() {
        std::ifstream in(file());
        return Json::parse(in, nullptr, false);
    }
    void writeLegacy(const std::string& name, std::vector<int32_t> head, const std::string& dir) {
        std::vector<uint8_t> bytes;
        for (int32_t v : head)
            for (int b = 0; b < 4; ++b) bytes.push_back(uint8_t(uint32_t(v) >> (8 * b)));
        bytes.insert(bytes.end(), dir.begin(), dir.end());
        if (!dir.empty()) bytes.push_back(0);
        fs::create_directories(folder());
        std::ofstream(folder() + "/" + name, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    }

    test::TempFolder temp;
};

TEST_F(ConfigFiles, MissingFileGivesDefaultsAndWritesThemInKeyOrder) {
    auto config = make();
    ASSERT_TRUE(config->load(false));
    const ConfigValues& v = config->values();
    EXPECT_EQ(v.guiScaleIndex, 1);
    EXPECT_EQ(v.showPerfPanel, 1);
    EXPECT_EQ(v.themeId, 0);
    EXPECT_EQ(v.expandFactory, -1);
    EXPECT_EQ(v.workspaceDir, temp.path("data/Banks") + "/") << "empty means the default";
    EXPECT_FALSE(v.confirmSavingChanges);
    EXPECT_FALSE(v.saveChangesWithoutConfirm);
    EXPECT_EQ(v.applyInitToCurrent, 1);
    EXPECT_EQ(v.convertLegacyOnImport, 1);
    EXPECT_EQ(v.ai.presetCount, 16);
    EXPECT_DOUBLE_EQ(v.ai.weight, 50.0);
    for (int seed : {v.ai.s0, v.ai.s1, v.ai.s2, v.ai.s3}) {
        EXPECT_GE(seed, 0);
        EXPECT_LE(seed, 255);
    }
    EXPECT_EQ(config->catalogueVersion(), "1.0");
    EXPECT_TRUE(fs::is_directory(temp.path("cache")));
    EXPECT_EQ(config->cacheFilePath(),
              temp.path("cache") + "/E6DAD759A2812F3CE108A4E717AF21A6.dat");

    ASSERT_TRUE(fs::exists(file()));
    std::ifstream in(file());
    std::stringstream text;
    text << in.rdbuf();
    const std::string keys[] = {"gui_scale_index",
                                "show_perf_panel",
                                "theme_id",
                                "expand_factory",
                                "workspace_dir",
                                "default_author",
                                "default_vendor",
                                "confirm_saving_changes",
                                "save_changes_wo_confirm",
                                "apply_init_to_current",
                                "convert_legacy_on_import",
                                "sale_check_time",
                                "sale_end_time",
                                "default_preset",
                                "ai"};
    std::size_t last = 0;
    for (const std::string& key : keys) {
        const std::size_t at = text.str().find("\"" + key + "\"");
        ASSERT_NE(at, std::string::npos) << key;
        EXPECT_GT(at, last) << key << " out of order";
        last = at;
    }
    EXPECT_NE(text.str().find("\n    \"theme_id\""), std::string::npos) << "pretty-printed";
    // Nothing changed on disk: the next load does not re-read.
    EXPECT_FALSE(config->load(false));
    EXPECT_TRUE(config->load(true));
}

TEST_F(ConfigFiles, ReadingRulesBringValuesIntoRange) {
    writeJson(R"({"gui_scale_index": 6, "show_perf_panel": 2, "theme_id": 5,
                  "expand_factory": 7, "confirm_saving_changes": true,
                  "save_changes_wo_confirm": true, "apply_init_to_current": 7,
                  "workspace_dir": "/music/banks", "unknown": [1, 2],
                  "ai": {"s0": 300, "s1": -3, "s2": 17, "s3": 255, "presetCount": 4,
                         "weight": 12.5, "net": "n1"}})");
    auto config = make();
    ASSERT_TRUE(config->load(false));
    const ConfigValues& v = config->values();
    EXPECT_EQ(v.guiScaleIndex, 0);
    EXPECT_EQ(v.showPerfPanel, 1);
    EXPECT_EQ(v.themeId, 0);
    EXPECT_EQ(v.expandFactory, -1);
    EXPECT_FALSE(v.confirmSavingChanges) << "the two saving choices are exclusive";
    EXPECT_TRUE(v.saveChangesWithoutConfirm);
    EXPECT_EQ(v.applyInitToCurrent, 1);
    EXPECT_EQ(v.convertLegacyOnImport, 1) << "missing key";
    EXPECT_EQ(v.workspaceDir, "/music/banks");
    EXPECT_EQ(v.ai.s0, 255);
    EXPECT_EQ(v.ai.s1, 0);
    EXPECT_EQ(v.ai.s2, 17);
    EXPECT_EQ(v.ai.presetCount, 4);
    EXPECT_DOUBLE_EQ(v.ai.weight, 12.5);
    EXPECT_EQ(v.ai.net, "n1");

    writeJson(R"({"gui_scale_index": 5, "expand_factory": 0, "apply_init_to_current": 0,
                  "convert_legacy_on_import": 0, "theme_id": 4, "show_perf_panel": 0})");
    ASSERT_TRUE(config->load(false)) << "another instance's write is picked up";
    EXPECT_EQ(config->values().guiScaleIndex, 5);
    EXPECT_EQ(config->values().expandFactory, 0);
    EXPECT_EQ(config->values().applyInitToCurrent, 0);
    EXPECT_EQ(config->values().convertLegacyOnImport, 0);
    EXPECT_EQ(config->values().themeId, 4);
    EXPECT_EQ(config->values().showPerfPanel, 0);
}

TEST_F(ConfigFiles, DefaultPresetRoundTripsAndBadDataZeroesIt) {
    auto config = make();
    ASSERT_TRUE(config->load(false));
    ConfigValues& v = config->values();
    for (int i = 0; i < kParamCount; ++i) v.defaultPresetParams[std::size_t(i)] = float(i) / 1000;
    v.defaultPresetName = "My Own Start";
    v.defaultAuthor = "Ana";
    v.saleCheckTime = 1700000000.0;
    v.saleEndTime = "1700086400";
    ASSERT_TRUE(config->save());

    // The stored form: 2,900 raw little-endian bytes, deflated, base64.
    const Json json = readJson();
    std::vector<uint8_t> packed;
    std::vector<uint8_t> raw;
    const std::string text = json["default_preset"]["params"].get<std::string>();
    ASSERT_TRUE(codec::base64Decode(text.data(), text.size(), packed));
    ASSERT_TRUE(codec::rawInflate(packed.data(), packed.size(), raw));
    EXPECT_EQ(raw.size(), 2900u);

    auto other = make();
    ASSERT_TRUE(other->load(false));
    EXPECT_EQ(other->values().defaultPresetName, "My Own Start");
    EXPECT_EQ(other->values().defaultPresetParams, v.defaultPresetParams);
    EXPECT_EQ(other->values().defaultAuthor, "Ana");
    EXPECT_DOUBLE_EQ(other->values().saleCheckTime, 1700000000.0);
    EXPECT_EQ(other->values().saleEndTime, "1700086400");

    // A 30-character name keeps 24; a short params block fills what it has.
    std::vector<uint8_t> few(8);
    const float a = 0.25f;
    const float b = 0.5f;
    std::memcpy(few.data(), &a, 4);
    std::memcpy(few.data() + 4, &b, 4);
    std::vector<uint8_t> deflated;
    ASSERT_TRUE(codec::rawDeflate(few.data(), few.size(), deflated));
    Json edited = readJson();
    edited["default_preset"]["name"] = "abcdefghijklmnopqrstuvwxyz1234";
    edited["default_preset"]["params"] = codec::base64Encode(deflated.data(), deflated.size());
    writeJson(edited.dump());
    ASSERT_TRUE(other->load(true));
    EXPECT_EQ(other->values().defaultPresetName, "abcdefghijklmnopqrstuvwx");
    EXPECT_FLOAT_EQ(other->values().defaultPresetParams[0], 0.25f);
    EXPECT_FLOAT_EQ(other->values().defaultPresetParams[1], 0.5f);
    EXPECT_FLOAT_EQ(other->values().defaultPresetParams[2], 0.0f);

    edited["default_preset"]["params"] = "*** not base64 ***";
    writeJson(edited.dump());
    ASSERT_TRUE(other->load(true));
    EXPECT_EQ(other->values().defaultPresetName, "");
    EXPECT_EQ(other->values().defaultPresetParams, std::vector<float>(kParamCount, 0.0f));
    edited["default_preset"] = Json{{"params", text}};
    writeJson(edited.dump());
    ASSERT_TRUE(other->load(true));
    EXPECT_EQ(other->values().defaultPresetParams, std::vector<float>(kParamCount, 0.0f))
        << "no name, no preset";
}

TEST_F(ConfigFiles, LegacyFilesAreConvertedOnceAndLaterFilesWin) {
    writeLegacy("torvo.cfg", {2, 3, 5, 7, 9}, "/old/banks");
    writeLegacy("torvo2.cfg", {2, 2}, "");
    writeLegacy("torvo3.cfg", {1, 4, 0, 0, 0}, "/never");
    auto config = make();
    ASSERT_TRUE(config->load(false));
    const ConfigValues& v = config->values();
    EXPECT_EQ(v.guiScaleIndex, 2) << "torvo2.cfg overrides the scale only: it is that short";
    EXPECT_EQ(v.showPerfPanel, 1) << "non-zero means 1";
    EXPECT_EQ(v.themeId, 0) << "7 is beyond the themes";
    EXPECT_EQ(v.expandFactory, -1) << "9 is no tree state";
    EXPECT_EQ(v.workspaceDir, "/old/banks");
    ASSERT_TRUE(fs::exists(file()));
    EXPECT_TRUE(fs::exists(folder() + "/torvo.cfg")) << "the old files stay";

    // The next start finds the JSON and ignores the legacy files.
    writeLegacy("torvo.cfg", {2, 4, 0, 1, 1}, "/changed");
    auto next = make();
    ASSERT_TRUE(next->load(false));
    EXPECT_EQ(next->values().guiScaleIndex, 2);
    EXPECT_EQ(next->values().workspaceDir, "/old/banks");

    std::vector<uint8_t> raw = {2, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, 1, 0, 0, 0};
    ConfigValues parsed;
    ASSERT_TRUE(readLegacyConfig(raw.data(), raw.size(), parsed));
    EXPECT_EQ(parsed.showPerfPanel, 0);
    EXPECT_EQ(parsed.themeId, 3);
    EXPECT_EQ(parsed.expandFactory, 1);
    raw[0] = 3;
    EXPECT_FALSE(readLegacyConfig(raw.data(), raw.size(), parsed)) << "only version 2 is read";
}

TEST_F(ConfigFiles, LegacyFolderInAnOldCodePageIsStoredWithoutFailing) {
    writeLegacy("torvo.cfg", {2, 1, 1, 0, 0}, "/old/b\xe4nke");
    auto config = make();
    ASSERT_TRUE(config->load(false));
    ASSERT_FALSE(readJson().is_discarded());
    auto next = make();
    ASSERT_TRUE(next->load(false));
    EXPECT_EQ(next->values().workspaceDir, "/old/b\xef\xbf\xbdnke") << "the odd byte is replaced";
}

TEST_F(ConfigFiles, BrokenJsonLeavesDefaultsAndIsKeptAside) {
    const std::string broken = "{\"gui_scale_index\": 3, \"theme_id\": ";
    writeJson(broken);
    auto config = make();
    ASSERT_TRUE(config->load(false));
    EXPECT_EQ(config->values().guiScaleIndex, 1);
    EXPECT_EQ(config->lastBrokenFile(), file() + ".broken");
    std::ifstream kept(file() + ".broken");
    std::stringstream text;
    text << kept.rdbuf();
    EXPECT_EQ(text.str(), broken) << "the user's file is never silently lost";
    EXPECT_FALSE(readJson().is_discarded()) << "a sound file took its place";

    writeJson("[1, 2, 3]");
    ASSERT_TRUE(config->load(false));
    EXPECT_EQ(config->lastBrokenFile(), file() + ".broken2") << "an older one is not overwritten";
}

TEST_F(ConfigFiles, UnwritableFolderKeepsValuesAndReportsFalse) {
    Config config("/proc/torvo-config", temp.path("cache"), temp.path("banks"));
    EXPECT_TRUE(config.load(false));
    EXPECT_EQ(config.values().guiScaleIndex, 1);
    EXPECT_FALSE(config.save());
}

TEST_F(ConfigFiles, ConcurrentWritersAlwaysLeaveAWholeFile) {
    auto seed = make();
    ASSERT_TRUE(seed->load(false));
    constexpr int kWrites = 150;
    auto writer = [&](const std::string& author) {
        auto config = make();
        config->load(false);
        int failures = 0;
        for (int i = 0; i < kWrites; ++i) {
            config->values().defaultAuthor = author + std::to_string(i);
            if (!config->save()) ++failures;
            config->load(false);
        }
        return failures;
    };
    const pid_t child = ::fork();
    ASSERT_NE(child, -1);
    if (child == 0) ::_exit(writer("child") == 0 ? 0 : 1);

    int threadFailures = -1;
    std::thread other([&] { threadFailures = writer("thread"); });
    // A reader meanwhile only ever sees complete files.
    int partial = 0;
    for (int i = 0; i < 300; ++i) {
        std::ifstream in(file());
        std::stringstream text;
        text << in.rdbuf();
        if (Json::parse(text.str(), nullptr, false).is_discarded()) ++partial;
    }
    const int ownFailures = writer("parent");
    other.join();
    int state = 0;
    ASSERT_EQ(::waitpid(child, &state, 0), child);
    EXPECT_TRUE(WIFEXITED(state) && WEXITSTATUS(state) == 0);
    EXPECT_EQ(ownFailures, 0);
    EXPECT_EQ(threadFailures, 0);
    EXPECT_EQ(partial, 0);
    const std::string last = readJson()["default_author"].get<std::string>();
    EXPECT_TRUE(last == "parent" + std::to_string(kWrites - 1) ||
                last == "thread" + std::to_string(kWrites - 1) ||
                last == "child" + std::to_string(kWrites - 1))
        << last;
    std::size_t leftovers = 0;
    for (const auto& entry : fs::directory_iterator(folder()))
        if (entry.path().extension() == ".tmp") ++leftovers;
    EXPECT_EQ(leftovers, 0u);
}

TEST(ConfigPaths, FoldersFollowTheXdgVariablesAndTheirDefaults) {
    const char* saved[] = {std::getenv("XDG_CONFIG_HOME"), std::getenv("XDG_DATA_HOME"),
                           std::getenv("XDG_CACHE_HOME"), std::getenv("HOME")};
    const std::string copies[] = {saved[0] ? saved[0] : "", saved[1] ? saved[1] : "",
                                  saved[2] ? saved[2] : "", saved[3] ? saved[3] : ""};
    ::setenv("XDG_CONFIG_HOME", "/x/config", 1);
    ::setenv("XDG_DATA_HOME", "/x/data/", 1);
    ::setenv("XDG_CACHE_HOME", "/x/cache", 1);
    EXPECT_EQ(paths::configFolder(), "/x/config/HaldenWorks/");
    EXPECT_EQ(paths::defaultWorkspaceFolder(), "/x/data/HaldenWorks/Banks/");
    EXPECT_EQ(paths::cacheFolder(), "/x/cache/HaldenWorks/Torvo/");
    ::unsetenv("XDG_CONFIG_HOME");
    ::unsetenv("XDG_DATA_HOME");
    ::setenv("XDG_CACHE_HOME", "relative/is/ignored", 1);
    ::setenv("HOME", "/home/u", 1);
    EXPECT_EQ(paths::configFolder(), "/home/u/.config/HaldenWorks/");
    EXPECT_EQ(paths::defaultWorkspaceFolder(), "/home/u/.local/share/HaldenWorks/Banks/");
    EXPECT_EQ(paths::cacheFolder(), "/home/u/.cache/HaldenWorks/Torvo/");
    EXPECT_EQ(paths::factoryPresetFolderFor("/b/Torvo.vst3/Contents/x86_64-linux/Torvo.so"),
              "/b/Torvo.vst3/Contents/Resources/Factory Presets/");
    const char* names[] = {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "HOME"};
    for (int i = 0; i < 4; ++i) {
        if (saved[i] != nullptr)
            ::setenv(names[i], copies[i].c_str(), 1);
        else
            ::unsetenv(names[i]);
    }
}

TEST(ConfigStartup, AFirstRunCreatesConfigurationAndIndexedWorkspaceUnderTheXdgFolders) {
    test::TempFolder temp;
    const char* names[] = {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"};
    std::string saved[3];
    bool had[3] = {};
    for (int i = 0; i < 3; ++i) {
        const char* value = std::getenv(names[i]);
        had[i] = value != nullptr;
        if (had[i]) saved[i] = value;
    }
    ::setenv("XDG_CONFIG_HOME", temp.path("config").c_str(), 1);
    ::setenv("XDG_DATA_HOME", temp.path("data").c_str(), 1);
    ::setenv("XDG_CACHE_HOME", temp.path("cache").c_str(), 1);
    {
        auto bank = test::makeReadingBank();
        test::writeTpf2(*bank, temp.path("factory/Bass/Low.tpf2"), "Halden", {"Bass"});
        Config config;
        MetadataStorage store;
        StorageStatus status;
        ASSERT_TRUE(startWorkspace(config, *bank, store, status, temp.path("factory")))
            << status.message;
        EXPECT_TRUE(fs::exists(temp.path("config/HaldenWorks/torvo_config.json")));
        EXPECT_TRUE(fs::is_directory(temp.path("cache/HaldenWorks/Torvo")));
        EXPECT_EQ(config.values().workspaceDir, temp.path("data/HaldenWorks/Banks/"));
        EXPECT_EQ(store.databasePath(), temp.path("data/HaldenWorks/Banks/workspace.db"));
        EXPECT_EQ(test::queryInt(store.databasePath(), "SELECT COUNT(*) FROM vst_preset"), 1);
    }
    for (int i = 0; i < 3; ++i) {
        if (had[i])
            ::setenv(names[i], saved[i].c_str(), 1);
        else
            ::unsetenv(names[i]);
    }
}

TEST(ConfigSaleNotice, CheckDelaySpreadsInstancesOverTwentySeconds) {
    EXPECT_EQ(Config::saleCheckDelay(200000.0, 0.0, 0), 1);
    EXPECT_EQ(Config::saleCheckDelay(200000.0, 0.0, 39), 20);
    EXPECT_EQ(Config::saleCheckDelay(86000.0, 0.0, 5), 86005) << "not more than 86,000 passed";
    EXPECT_EQ(Config::saleCheckDelay(86001.0, 0.0, 5), 6);
}

} // namespace
} // namespace torvo

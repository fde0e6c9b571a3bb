#pragma once
// A workspace on disk for the store, indexer and configuration tests: a temporary folder that
// is removed afterwards, preset and bank files written through the preset library's own
// writers, and a few direct SQL helpers to look at the database file.

#include "presets/bank.h"
#include "presets/preset.h"
#include "presets/presetjson.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace torvo::test {

namespace fs = std::filesystem;

/// A fresh folder below the system's temporary folder, removed with its content.
class TempFolder {
public:
    TempFolder() {
        std::string pattern = (fs::temp_directory_path() / "torvo-ws-XXXXXX").string();
        std::vector<char> buffer(pattern.begin(), pattern.end());
        buffer.push_back('\0');
        const char* made = ::mkdtemp(buffer.data());
        root = made != nullptr ? std::string(made) : std::string();
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    ~TempFolder() {
        std::error_code ec;
        if (!root.empty()) fs::remove_all(root, ec);
    }
    std::string path(const std::string& relative = {}) const {
        return relative.empty() ? root : root + "/" + relative;
    }

private:
    std::string root;
};

inline std::unique_ptr<Bank> makeReadingBank() {
    auto bank = std::make_unique<Bank>();
    bank->initAllPresets();
    return bank;
}

inline void writeText(const std::string& path, const std::string& text) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

/// A .tpf2 file; the preset's name is the file name.
inline void writeTpf2(Bank& bank, const std::string& path, const std::string& author,
                      const std::vector<std::string>& tags, bool favorite = false) {
    fs::create_directories(fs::path(path).parent_path());
    Preset preset;
    preset.setAllParams(bank.defaults());
    preset.setName(presetNameFromPath(path));
    preset.setAuthor(author);
    preset.setTags(tags);
    preset.setFavorite(favorite);
    ASSERT_TRUE(writePresetFile(path, preset, bank)) << path;
}

/// A legacy .tpf record named `name`.
inline void writeTpf(Bank& bank, const std::string& path, const std::string& name) {
    fs::create_directories(fs::path(path).parent_path());
    bank.selectPreset(0);
    bank.setCurrentPresetName(name);
    std::size_t size = 0;
    const uint8_t* bytes = bank.currentToLegacyRecord(size, false);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes), std::streamsize(size));
}

/// A .tbf bank whose first presets carry `names`; the rest keep their init names.
inline void writeTbf(Bank& bank, const std::string& path, const std::vector<std::string>& names) {
    fs::create_directories(fs::path(path).parent_path());
    bank.initAllPresets();
    for (std::size_t i = 0; i < names.size(); ++i) bank.preset(int(i)).setName(names[i]);
    ASSERT_TRUE(bank.saveBankFile(path, false)) << path;
}

/// One integer a query answers on a separate connection (-1 on failure).
inline long long queryInt(const std::string& dbPath, const std::string& sql) {
    sqlite3* db = nullptr;
    long long value = -1;
    if (sqlite3_open_v2(dbPath.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
        sqlite3_busy_timeout(db, 5000);
        sqlite3_stmt* stmt = nullptr;
        if (sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt, nullptr) == SQLITE_OK &&
            sqlite3_step(stmt) == SQLITE_ROW)
            value = sqlite3_column_int64(stmt, 0);
        sqlite3_finalize(stmt);
    }
    sqlite3_close(db);
    return value;
}

/// One text a query answers on a separate connection.
inline std::string queryText(const std::string& dbPath, const std::string& sql) {
    sqlite3* db = nullptr;
    std::string value;
    if (sqlite3_open_v2(dbPath.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
        sqlite3_stmt* stmt = nullptr;
        if (sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt, nullptr) == SQLITE_OK &&
            sqlite3_step(stmt) == SQLITE_ROW && sqlite3_column_text(stmt, 0) != nullptr)
            value = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0));
        sqlite3_finalize(stmt);
    }
    sqlite3_close(db);
    return value;
}

inline bool execOn(const std::string& dbPath, const std::string& sql) {
    sqlite3* db = nullptr;
    bool done = false;
    if (sqlite3_open_v2(dbPath.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) ==
        SQLITE_OK)
        done = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_close(db);
    return done;
}

/// The fixture library:
///   ws/Bass/Deep Sub.tpf2      author "Ana Reyes", tags Bass, Dark (favourite in the file)
///   ws/Bass/Wobble.tpf2        author "  Ana Reyes  ", tag "bass" (reuses Bass)
///   ws/Leads/Hard Lead.tpf     legacy, inferred Lead
///   ws/Leads/Dr. Evil.tpf      legacy, no tag
///   ws/Leads2/Saw-LD.tpf2      author "   ", tag Lead
///   ws/Banks/Vault.tbf         128 presets: "Big Lead", "Soft Pad", "BS Growl", then init
///   ws/readme.txt              not a preset
///   factory/Pads/Warm Pad.tpf2 author "Halden", tag Pad
///   factory/Keys/E Piano.tpf2  author "Halden", tags Keys, Soft
struct FixtureLibrary {
    static constexpr int kBankPresets = 128;
    static constexpr int kWorkspacePresets = 5 + kBankPresets;
    static constexpr int kFactoryPresets = 2;

    explicit FixtureLibrary(const TempFolder& temp)
        : workspace(temp.path("ws")), factory(temp.path("factory")), bank(makeReadingBank()) {}

    void write() {
        writeTpf2(*bank, workspace + "/Bass/Deep Sub.tpf2", "Ana Reyes", {"Bass", "Dark"}, true);
        writeTpf2(*bank, workspace + "/Bass/Wobble.tpf2", "  Ana Reyes  ", {"bass", " "});
        writeTpf(*bank, workspace + "/Leads/Hard Lead.tpf", "Hard Lead");
        writeTpf(*bank, workspace + "/Leads/Dr. Evil.tpf", "Dr. Evil");
        writeTpf2(*bank, workspace + "/Leads2/Saw-LD.tpf2", "   ", {"Lead"});
        auto bankWriter = makeReadingBank();
        writeTbf(*bankWriter, workspace + "/Banks/Vault.tbf", {"Big Lead", "Soft Pad", "BS Growl"});
        writeText(workspace + "/readme.txt", "not a preset");
        writeTpf2(*bank, factory + "/Pads/Warm Pad.tpf2", "Halden", {"Pad"});
        writeTpf2(*bank, factory + "/Keys/E Piano.tpf2", "Halden", {"Keys", "Soft"});
    }

    std::string workspace;
    std::string factory;
    std::unique_ptr<Bank> bank;
};

} // namespace torvo::test

// The workspace database's start sequence on real files: a fresh file's layout, each migration
// of an older file, the version check, and the cure of a damaged or vanished file.

#include "workspace/metadatastorage.h"
#include "workspace/migrations.h"
#include "workspace/schema.h"
#include "workspace/storagestatus.h"
#include "workspacefixture.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>

namespace torvo {
namespace {

using test::execOn;
using test::queryInt;
using test::queryText;

std::set<std::string> namesOf(const std::string& db, const std::string& type) {
    std::set<std::string> out;
    sqlite3* handle = nullptr;
    sqlite3_open(db.c_str(), &handle);
    sqlite3_stmt* stmt = nullptr;
    sqlite3_prepare_v2(handle, "SELECT name FROM sqlite_master WHERE type=?", -1, &stmt, nullptr);
    sqlite3_bind_text(stmt, 1, type.c_str(), -1, SQLITE_TRANSIENT);
    while (sqlite3_step(stmt) == SQLITE_ROW)
        out.insert(reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0)));
    sqlite3_finalize(stmt);
    sqlite3_close(handle);
    return out;
}

struct StoreOnDisk {
    test::TempFolder temp;
    test::FixtureLibrary library{temp};
    MetadataStorage store;
    std::string db() const { return library.workspace + "/workspace.db"; }
    bool start(StorageStatus& status) {
        return store.setRoots(*library.bank, library.workspace, library.factory, status);
    }
};

TEST(WorkspaceStatus, TextsFollowTheResultCode) {
    StorageStatus status;
    for (int code : {0, 100, 101}) {
        status.set(code);
        EXPECT_TRUE(status.ok());
        EXPECT_EQ(status.message, "");
    }
    status.set(5);
    EXPECT_FALSE(status.ok());
    EXPECT_EQ(status.message, "Workspace is locked by another Torvo. Please try later.");
    status.set(6);
    EXPECT_EQ(status.message, "Workspace is locked by another Torvo. Please try later.");
    status.set(11);
    EXPECT_EQ(status.message, "Workspace index file error (11). Please rescan workspace.");
    // Extended codes report their primary code.
    status.set(SQLITE_BUSY_SNAPSHOT);
    EXPECT_EQ(status.code, 5);
}

TEST(WorkspaceSchema, FreshFileHasEveryTableIndexAndRootRow) {
    StoreOnDisk s;
    StorageStatus status;
    ASSERT_TRUE(s.start(status)) << status.message;
    const std::set<std::string> tables = namesOf(s.db(), "table");
    for (const char* name :
         {"vst_dir_tree", "vst_metadata", "vst_metadata_dir", "vst_preset", "vst_preset_metadata",
          "vst_preset_history", "reindex_state", "workspace_uuid", "ai_task_state"})
        EXPECT_EQ(tables.count(name), 1u) << name;
    const std::set<std::string> indices = namesOf(s.db(), "index");
    for (const char* name :
         {"vst_dir_tree_path_idx", "vst_dir_tree_is_factory_idx", "vst_dir_tree_parent_id_idx",
          "vst_preset_name_idx", "vst_preset_filename_idx", "vst_preset_dir_id_idx",
          "vst_preset_type_idx", "vst_preset_index_idx", "vst_preset_is_favorite_idx",
          "vst_preset_metadata_preset_id_idx", "vst_preset_metadata_metadata_id_idx",
          "vst_metadata_value_idx", "vst_metadata_type_idx"})
        EXPECT_EQ(indices.count(name), 1u) << name;

    // Two roots after the first index, one per tree, and no reindex wanted any more.
    EXPECT_EQ(queryInt(s.db(), "SELECT COUNT(*) FROM vst_dir_tree WHERE parent_id=-1"), 2);
    EXPECT_FALSE(s.store.needReindex());
    EXPECT_EQ(queryText(s.db(), "SELECT plug_version FROM reindex_state WHERE platform='vst'"),
              "1.5.18");
    EXPECT_EQ(queryInt(s.db(), "SELECT need_reindex FROM reindex_state WHERE platform='vst'"), 0);
    EXPECT_EQ(s.store.workspaceUuid().size(), 36u);
    EXPECT_FALSE(s.store.isOpen()) << "no handle outlives the start";

    // Defaults and constraints as declared: UNIQUE(path, is_factory) replaces the old row.
    ASSERT_TRUE(execOn(s.db(), "INSERT INTO vst_dir_tree (name, path) VALUES ('x', '/dup')"));
    EXPECT_EQ(queryInt(s.db(), "SELECT parent_id FROM vst_dir_tree WHERE path='/dup'"), -1);
    const long long first = queryInt(s.db(), "SELECT id FROM vst_dir_tree WHERE path='/dup'");
    ASSERT_TRUE(execOn(s.db(), "INSERT INTO vst_dir_tree (name, path) VALUES ('y', '/dup')"));
    EXPECT_EQ(queryInt(s.db(), "SELECT COUNT(*) FROM vst_dir_tree WHERE path='/dup'"), 1);
    EXPECT_NE(queryInt(s.db(), "SELECT id FROM vst_dir_tree WHERE path='/dup'"), first);
    EXPECT_FALSE(execOn(s.db(), "INSERT INTO ai_task_state (task_uuid, plug_uuid) "
                                "VALUES ('t', 'p')"))
        << "payload is NOT NULL";
}

TEST(WorkspaceSchema, UuidIsStableAndSurvivesARebuild) {
    StoreOnDisk s;
    StorageStatus status;
    ASSERT_TRUE(s.start(status));
    const std::string uuid = s.store.workspaceUuid();
    ASSERT_TRUE(s.store.addTask(status, {"task-1", "{}", "plug-a"}));

    MetadataStorage again;
    ASSERT_TRUE(again.setRoots(*s.library.bank, s.library.workspace, s.library.factory, status));
    EXPECT_EQ(again.workspaceUuid(), uuid);

    // Dropping the index tables (what a failed integrity check does) keeps UUID and tasks.
    ASSERT_TRUE(execOn(s.db(), "DROP TABLE vst_preset_metadata; DROP TABLE vst_preset; "
                               "DROP TABLE vst_metadata_dir; DROP TABLE vst_metadata; "
                               "DROP TABLE vst_dir_tree;"));
    MetadataStorage rebuilt;
    ASSERT_TRUE(rebuilt.setRoots(*s.library.bank, s.library.workspace, s.library.factory, status));
    EXPECT_EQ(rebuilt.workspaceUuid(), uuid);
    int64_t tasks = 0;
    ASSERT_TRUE(rebuilt.countTasks(status, tasks));
    EXPECT_EQ(tasks, 1);
}

TEST(WorkspaceMigrations, OlderReindexStateGainsThePlugVersionColumn) {
    StoreOnDisk s;
    std::filesystem::create_directories(s.library.workspace);
    ASSERT_TRUE(execOn(s.db(), "CREATE TABLE `reindex_state` (`platform` TEXT NOT NULL PRIMARY "
                               "KEY, `need_reindex` INTEGER NOT NULL);"
                               "INSERT INTO reindex_state VALUES ('vst', 0);"));
    StorageStatus status;
    MetadataStorage& store = s.store;
    ASSERT_TRUE(store.setRoots(*s.library.bank, s.library.workspace, s.library.factory, status))
        << status.message;
    EXPECT_EQ(queryInt(s.db(), "SELECT COUNT(*) FROM sqlite_master WHERE tbl_name = "
                               "'reindex_state' AND sql LIKE '%plug_version%'"),
              1);
    EXPECT_EQ(queryText(s.db(), "SELECT plug_version FROM reindex_state WHERE platform='vst'"),
              "1.5.18");
}

TEST(WorkspaceMigrations, VersionCheckAsksForAnUpgradeBelow1_5_11) {
    EXPECT_LT(migrations::compareVersions("1.5.9", "1.5.11"), 0) << "numeric, not text";
    EXPECT_EQ(migrations::compareVersions("1.5.11", "1.5.11"), 0);
    EXPECT_GT(migrations::compareVersions("1.5.18", "1.5.11"), 0);
    EXPECT_GT(migrations::compareVersions("2", "1.5.11"), 0);
    EXPECT_LT(migrations::compareVersions("1.5", "1.5.11"), 0);

    struct Case {
        const char* stored;
        bool upgrade;
    };
    for (const Case& c : {Case{"1.5.10", true}, Case{"", true}, Case{"1.5.9", true},
                          Case{"1.5.11", false}, Case{"1.6.0", false}}) {
        StoreOnDisk s;
        StorageStatus status;
        ASSERT_TRUE(s.start(status));
        ASSERT_TRUE(execOn(s.db(), std::string("UPDATE reindex_state SET plug_version='") +
                                       c.stored + "'"));
        MetadataStorage again;
        ASSERT_TRUE(
            again.setRoots(*s.library.bank, s.library.workspace, s.library.factory, status));
        EXPECT_EQ(again.needsUpgrade(), c.upgrade) << c.stored;
    }
    // A file without a row for this platform needs one too.
    StoreOnDisk s;
    StorageStatus status;
    ASSERT_TRUE(s.start(status));
    ASSERT_TRUE(execOn(s.db(), "DELETE FROM reindex_state"));
    MetadataStorage again;
    ASSERT_TRUE(again.setRoots(*s.library.bank, s.library.workspace, s.library.factory, status));
    EXPECT_TRUE(again.needsUpgrade());
}

TEST(WorkspaceMigrations, AnotherPlatformsRequestTriggersAReindex) {
    StoreOnDisk s;
    StorageStatus status;
    ASSERT_TRUE(s.start(status));
    ASSERT_TRUE(execOn(s.db(), "INSERT INTO reindex_state VALUES ('au', 0, '1.5.18')"));
    ASSERT_TRUE(s.store.requestReindexOtherPlatforms(status));
    EXPECT_EQ(queryInt(s.db(), "SELECT need_reindex FROM reindex_state WHERE platform='au'"), 1);
    EXPECT_EQ(queryInt(s.db(), "SELECT need_reindex FROM reindex_state WHERE platform='vst'"), 0);

    ASSERT_TRUE(execOn(s.db(), "UPDATE reindex_state SET need_reindex=1 WHERE platform='vst'"));
    // A file that appeared meanwhile is found only if the start runs the reindex asked for.
    test::writeTpf2(*s.library.bank, s.library.workspace + "/New/Late.tpf2", "A", {"Pad"});
    MetadataStorage again;
    ASSERT_TRUE(again.setRoots(*s.library.bank, s.library.workspace, s.library.factory, status));
    EXPECT_EQ(queryInt(s.db(), "SELECT COUNT(*) FROM vst_preset WHERE name='Late'"), 1);
    EXPECT_EQ(queryInt(s.db(), "SELECT need_reindex FROM reindex_state WHERE platform='vst'"), 0);
    // Without the request, a start leaves the index alone.
    test::writeTpf2(*s.library.bank, s.library.workspace + "/New/Later.tpf2", "A", {"Pad"});
    MetadataStorage third;
    ASSERT_TRUE(third.setRoots(*s.library.bank, s.library.workspace, s.library.factory, status));
    EXPECT_EQ(queryInt(s.db(), "SELECT COUNT(*) FROM vst_preset WHERE name='Later'"), 0);
}

TEST(WorkspaceMigrations, OlderPlatformTablesHandOverFavouritesAndHistory) {
    StoreOnDisk s;
    s.library.write();
    StorageStatus status;
    ASSERT_TRUE(s.start(status));
    // An index of the older generation: other row ids, same paths and names.
    ASSERT_TRUE(execOn(
        s.db(), "CREATE TABLE vst3_dir_tree (id INTEGER PRIMARY KEY, path TEXT);"
                "CREATE TABLE vst3_preset (id INTEGER PRIMARY KEY, name TEXT, dir_id INTEGER,"
                " is_favorite INTEGER);"
                "CREATE TABLE vst3_preset_history (hid INTEGER PRIMARY KEY, preset_id INTEGER,"
                " timestamp DATE);"
                "CREATE TABLE vst3_metadata (id INTEGER PRIMARY KEY);"
                "INSERT INTO vst3_dir_tree VALUES (70, '/Bass'), (71, '/Leads');"
                "INSERT INTO vst3_preset VALUES (900, 'Wobble', 70, 1), (901, 'Hard Lead', 71, 0);"
                "INSERT INTO vst3_preset_history VALUES (1, 901, '2020-01-02 03:04:05');"));
    ASSERT_EQ(queryInt(s.db(), "SELECT is_favorite FROM vst_preset WHERE name='Wobble'"), 0);

    MetadataStorage again;
    ASSERT_TRUE(again.setRoots(*s.library.bank, s.library.workspace, s.library.factory, status))
        << status.message;
    EXPECT_EQ(queryInt(s.db(), "SELECT is_favorite FROM vst_preset WHERE name='Wobble'"), 1);
    EXPECT_EQ(queryInt(s.db(), "SELECT COUNT(*) FROM vst_preset_history h JOIN vst_preset p ON "
                               "p.id=h.preset_id WHERE p.name='Hard Lead' AND "
                               "h.timestamp='2020-01-02 03:04:05'"),
              1);
    EXPECT_EQ(queryInt(s.db(), "SELECT COUNT(*) FROM sqlite_master WHERE name LIKE 'vst3_%'"), 0);
}

TEST(WorkspaceRecovery, DeletedFileIsRebuiltFromTheFiles) {
    StoreOnDisk s;
    s.library.write();
    StorageStatus status;
    ASSERT_TRUE(s.start(status));
    const long long presets = queryInt(s.db(), "SELECT COUNT(*) FROM vst_preset");
    ASSERT_EQ(presets,
              test::FixtureLibrary::kWorkspacePresets + test::FixtureLibrary::kFactoryPresets);

    std::filesystem::remove(s.db());
    MetadataStorage again;
    ASSERT_TRUE(again.setRoots(*s.library.bank, s.library.workspace, s.library.factory, status));
    EXPECT_EQ(queryInt(s.db(), "SELECT COUNT(*) FROM vst_preset"), presets);
    EXPECT_EQ(queryInt(s.db(), "SELECT COUNT(*) FROM vst_dir_tree WHERE parent_id=-1"), 2);
}

TEST(WorkspaceRecovery, FileThatIsNoDatabaseIsSetAsideAndRebuilt) {
    StoreOnDisk s;
    s.library.write();
    StorageStatus status;
    ASSERT_TRUE(s.start(status));
    const long long presets = queryInt(s.db(), "SELECT COUNT(*) FROM vst_preset");
    {
        std::ofstream garbage(s.db(), std::ios::binary | std::ios::trunc);
        for (int i = 0; i < 8192; ++i) garbage.put(char(i * 7 + 3));
    }
    MetadataStorage again;
    ASSERT_TRUE(again.setRoots(*s.library.bank, s.library.workspace, s.library.factory, status))
        << status.message;
    EXPECT_EQ(queryInt(s.db(), "SELECT COUNT(*) FROM vst_preset"), presets);
    EXPECT_TRUE(std::filesystem::exists(s.db() + ".corrupt"));
}

TEST(WorkspaceRecovery, DamagedPagesFailTheIntegrityCheckAndTheIndexIsRebuilt) {
    StoreOnDisk s;
    s.library.write();
    StorageStatus status;
    ASSERT_TRUE(s.start(status));
    const long long presets = queryInt(s.db(), "SELECT COUNT(*) FROM vst_preset");
    ASSERT_TRUE(s.store.addTask(status, {"kept", "{}", "p"}));
    const auto size = std::filesystem::file_size(s.db());
    ASSERT_GT(size, 8192u);
    {
        // Overwrite the middle of every page after the first: the header stays readable.
        std::fstream file(s.db(), std::ios::binary | std::ios::in | std::ios::out);
        for (std::uintmax_t page = 4096; page + 4096 <= size; page += 4096) {
            file.seekp(std::streamoff(page + 100));
            for (int i = 0; i < 64; ++i) file.put(char(0xA5));
        }
    }
    MetadataStorage again;
    ASSERT_TRUE(again.setRoots(*s.library.bank, s.library.workspace, s.library.factory, status))
        << status.message;
    EXPECT_EQ(queryText(s.db(), "PRAGMA integrity_check"), "ok");
    EXPECT_EQ(queryInt(s.db(), "SELECT COUNT(*) FROM vst_preset"), presets);
    EXPECT_EQ(queryInt(s.db(), "SELECT COUNT(*) FROM vst_dir_tree WHERE parent_id=-1"), 2);
}

TEST(WorkspaceRecovery, UnwritableFolderIsReportedNotThrown) {
    MetadataStorage store;
    auto bank = test::makeReadingBank();
    StorageStatus status;
    EXPECT_FALSE(store.setRoots(*bank, "/proc/torvo-no-such-folder", "/proc/none", status));
    EXPECT_FALSE(status.ok());
    EXPECT_EQ(status.message, "Workspace index file error (" + std::to_string(status.code) +
                                  "). Please rescan workspace.");
    std::vector<FolderRow> rows;
    EXPECT_FALSE(store.listChildren(status, rows, -1, false));
}

} // namespace
} // namespace torvo

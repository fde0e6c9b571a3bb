// Every query and update of the workspace store on an indexed fixture library: the tree and
// its counters, presets by folder, search, tags and authors, favourites, history, edits and the
// generator's tasks.

#include "workspace/metadatalinks.h"
#include "workspace/metadatastorage.h"
#include "workspacefixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>

namespace torvo {
namespace {

using test::queryInt;

class IndexedLibrary : public ::testing::Test {
protected:
    void SetUp() override {
        library.write();
        StorageStatus status;
        ASSERT_TRUE(store.setRoots(*library.bank, library.workspace, library.factory, status))
            << status.message;
    }

    std::string db() const { return library.workspace + "/workspace.db"; }

    int64_t folderId(const std::string& path, bool factory = false) {
        return queryInt(db(), "SELECT id FROM vst_dir_tree WHERE path='" + path +
                                  "' AND is_factory=" + (factory ? "1" : "0"));
    }
    int64_t presetId(const std::string& name) {
        return queryInt(db(), "SELECT id FROM vst_preset WHERE name='" + name + "'");
    }
    int64_t metadataId(const std::string& value, int type) {
        // Whichever spelling the walk met first owns the row.
        return queryInt(db(), "SELECT id FROM vst_metadata WHERE value='" + value +
                                  "' COLLATE NOCASE AND type=" + std::to_string(type));
    }
    static std::vector<std::string> names(const std::vector<PresetListRow>& rows) {
        std::vector<std::string> out;
        for (const PresetListRow& row : rows) out.push_back(row.name);
        std::sort(out.begin(), out.end());
        return out;
    }
    FolderRow folder(int64_t id) {
        FolderRow row;
        StorageStatus status;
        EXPECT_TRUE(store.folderById(status, id, row));
        return row;
    }

    test::TempFolder temp;
    test::FixtureLibrary library{temp};
    MetadataStorage store;
};

TEST_F(IndexedLibrary, TreeListsFoldersBanksAndStoredCounters) {
    StorageStatus status;
    std::vector<FolderRow> roots;
    ASSERT_TRUE(store.listChildren(status, roots, -1, false));
    ASSERT_EQ(roots.size(), 1u);
    EXPECT_EQ(roots[0].name, "User Library");
    EXPECT_EQ(roots[0].path, "/");
    EXPECT_EQ(roots[0].presetCount, test::FixtureLibrary::kWorkspacePresets);
    EXPECT_EQ(roots[0].favPresetCount, 1) << "Deep Sub is a favourite in its file";
    EXPECT_TRUE(roots[0].isExpandable);

    std::vector<FolderRow> children;
    ASSERT_TRUE(store.listChildren(status, children, roots[0].id, false));
    std::vector<std::string> order;
    for (const FolderRow& row : children) order.push_back(row.name);
    EXPECT_EQ(order, (std::vector<std::string>{"Banks", "Bass", "Leads", "Leads2"}));

    std::vector<FolderRow> banks;
    ASSERT_TRUE(store.listChildren(status, banks, folderId("/Banks"), false));
    ASSERT_EQ(banks.size(), 1u);
    EXPECT_EQ(banks[0].type, 1);
    EXPECT_EQ(banks[0].path, "/Banks/Vault.tbf");
    EXPECT_EQ(banks[0].presetCount, 128);
    EXPECT_FALSE(banks[0].isExpandable);

    EXPECT_EQ(folder(folderId("/Bass")).presetCount, 2);
    EXPECT_EQ(folder(folderId("/Bass")).favPresetCount, 1);
    EXPECT_EQ(folder(folderId("/Banks")).presetCount, 128);
    EXPECT_EQ(folder(folderId("/", true)).presetCount, test::FixtureLibrary::kFactoryPresets);
    EXPECT_EQ(folder(folderId("/", true)).name, "Factory Sounds");

    // The factory test hides the factory tree's rows on request.
    FolderRow hidden;
    ASSERT_TRUE(store.folderById(status, folderId("/Pads", true), hidden, false));
    EXPECT_EQ(status.code, 100);
    EXPECT_EQ(hidden.id, -1);

    FolderRow ofPreset;
    ASSERT_TRUE(store.folderOfPreset(status, presetId("Wobble"), ofPreset));
    EXPECT_EQ(ofPreset.path, "/Bass");
    EXPECT_EQ(ofPreset.id, folderId("/Bass"));
}

TEST_F(IndexedLibrary, PresetsByFolderSearchAndIds) {
    StorageStatus status;
    std::vector<PresetListRow> rows;
    const int64_t root = folderId("/");
    ASSERT_TRUE(store.presetsInFolderTree(status, rows, root, "", false, false));
    EXPECT_TRUE(rows.empty()) << "no preset lies directly in the root";
    ASSERT_TRUE(store.presetsInFolderTree(status, rows, root, "", true, false));
    EXPECT_EQ(int(rows.size()), test::FixtureLibrary::kWorkspacePresets);
    ASSERT_TRUE(store.presetsInFolderTree(status, rows, root, "", true, true));
    EXPECT_EQ(names(rows), (std::vector<std::string>{"Deep Sub"}));
    ASSERT_TRUE(store.presetsInFolderTree(status, rows, folderId("/Bass"), "%WOB%", false, false));
    EXPECT_EQ(names(rows), (std::vector<std::string>{"Wobble"}));

    ASSERT_TRUE(store.searchAll(status, rows, "%lead%"));
    EXPECT_EQ(names(rows), (std::vector<std::string>{"1. Big Lead", "Hard Lead"}));
    ASSERT_TRUE(store.searchAll(status, rows, "%pad%"));
    EXPECT_EQ(names(rows), (std::vector<std::string>{"2. Soft Pad", "Warm Pad"}));
    ASSERT_TRUE(store.searchAll(status, rows, "%pad%", false));
    EXPECT_EQ(names(rows), (std::vector<std::string>{"2. Soft Pad"}));

    ASSERT_TRUE(
        store.presetsByIds(status, {presetId("Wobble"), presetId("Deep Sub"), 99999}, rows, false));
    EXPECT_EQ(names(rows), (std::vector<std::string>{"Deep Sub", "Wobble"}));
    ASSERT_TRUE(store.presetsByIds(status, {presetId("Wobble"), presetId("Deep Sub")}, rows, true));
    EXPECT_EQ(names(rows), (std::vector<std::string>{"Deep Sub"}));
}

TEST_F(IndexedLibrary, RowsOfEachFileKindFindTheirFileAgain) {
    StorageStatus status;
    PresetRecord record;
    ASSERT_TRUE(store.presetRow(status, presetId("2. Soft Pad"), record));
    EXPECT_EQ(record.type, 2);
    EXPECT_EQ(record.index, 1);
    EXPECT_EQ(record.filename, "Vault.tbf");
    EXPECT_EQ(record.dirPath, "/Banks/Vault.tbf");
    EXPECT_FALSE(record.isFactory);

    ASSERT_TRUE(store.presetRow(status, presetId("Hard Lead"), record));
    EXPECT_EQ(record.type, 1);
    EXPECT_EQ(record.filename, "Hard Lead.tpf");
    EXPECT_EQ(record.dirPath, "/Leads");

    ASSERT_TRUE(store.presetRow(status, presetId("Warm Pad"), record));
    EXPECT_EQ(record.type, 0);
    EXPECT_EQ(record.filename, "Warm Pad.tpf2");
    EXPECT_TRUE(record.isFactory);

    ASSERT_TRUE(store.presetRow(status, 99999, record));
    EXPECT_EQ(status.code, 100);
    EXPECT_EQ(record.id, -1);

    int64_t id = -1;
    ASSERT_TRUE(store.findPreset(status, {"/Bass", false, "Wobble", "Wobble.tpf2", 0, 0}, id));
    EXPECT_EQ(id, presetId("Wobble"));
    ASSERT_TRUE(store.findPreset(status, {"/Bass", true, "Wobble", "Wobble.tpf2", 0, 0}, id));
    EXPECT_EQ(id, -1) << "the other tree";
    ASSERT_TRUE(store.findPreset(
        status, {"/Banks/Vault.tbf", false, "3. BS Growl", "Vault.tbf", 2, 2}, id));
    EXPECT_EQ(id, presetId("3. BS Growl"));
}

TEST_F(IndexedLibrary, TagsAndAuthorsWithTheirCounts) {
    StorageStatus status;
    std::vector<MetadataRow> tags;
    ASSERT_TRUE(store.listMetadata(status, kMetadataTag, tags));
    std::map<std::string, int> counts;
    for (const MetadataRow& row : tags)
        counts[row.value == "bass" ? "Bass" : row.value] = row.presetCount;
    // "bass" of Wobble reuses "Bass"; the blank tag is skipped; legacy names give inferred tags.
    EXPECT_EQ(counts,
              (std::map<std::string, int>{
                  {"Bass", 3}, {"Dark", 1}, {"Keys", 1}, {"Lead", 3}, {"Pad", 2}, {"Soft", 1}}));

    std::vector<MetadataRow> authors;
    ASSERT_TRUE(store.listMetadata(status, kMetadataAuthor, authors));
    counts.clear();
    for (const MetadataRow& row : authors) counts[row.value] = row.presetCount;
    EXPECT_EQ(counts, (std::map<std::string, int>{{"Ana Reyes", 2}, {"Halden", 2}}))
        << "trimmed, and a blank author makes no row";

    const int64_t bass = metadataId("Bass", kMetadataTag);
    std::vector<FolderRow> folders;
    ASSERT_TRUE(store.foldersOfMetadata(status, folders, bass, -1, true));
    ASSERT_EQ(folders.size(), 2u);
    EXPECT_EQ(folders[0].path, "/Banks");
    EXPECT_EQ(folders[0].presetCount, 1);
    EXPECT_EQ(folders[1].path, "/Bass");
    EXPECT_EQ(folders[1].presetCount, 2);
    ASSERT_TRUE(store.foldersOfMetadata(status, folders, bass, folderId("/Banks"), true));
    ASSERT_EQ(folders.size(), 1u);
    EXPECT_EQ(folders[0].type, 1);

    std::vector<PresetListRow> rows;
    ASSERT_TRUE(store.presetsOfMetadata(status, rows, folderId("/Bass"), bass, false));
    EXPECT_EQ(names(rows), (std::vector<std::string>{"Deep Sub", "Wobble"}));
    ASSERT_TRUE(store.presetsOfMetadata(status, rows, folderId("/Bass"), bass, true));
    EXPECT_EQ(names(rows), (std::vector<std::string>{"Deep Sub"}));
}

TEST_F(IndexedLibrary, FavouritesUpdateTheCountersOfEveryAncestor) {
    StorageStatus status;
    ASSERT_TRUE(store.setFavorite(
        status, {presetId("Wobble"), presetId("7. init7"), presetId("Hard Lead")}, true))
        << status.message;
    EXPECT_EQ(folder(folderId("/")).favPresetCount, 4);
    EXPECT_EQ(folder(folderId("/Bass")).favPresetCount, 2);
    EXPECT_EQ(folder(folderId("/Banks")).favPresetCount, 1);
    EXPECT_EQ(folder(folderId("/Banks/Vault.tbf")).favPresetCount, 1);
    ASSERT_TRUE(store.setFavorite(status, {presetId("Deep Sub"), presetId("Wobble")}, false));
    EXPECT_EQ(folder(folderId("/Bass")).favPresetCount, 0);
    EXPECT_EQ(folder(folderId("/")).favPresetCount, 2);
    EXPECT_FALSE(store.inTransaction());
    EXPECT_FALSE(store.isOpen());
}

TEST_F(IndexedLibrary, HistoryNewestFirstWithDisplayColumns) {
    StorageStatus status;
    ASSERT_TRUE(store.addHistory(status, -1));
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_preset_history"), 0) << "-1 is ignored";
    ASSERT_TRUE(store.addHistory(status, presetId("Wobble")));
    ASSERT_TRUE(store.addHistory(status, presetId("Warm Pad")));
    ASSERT_TRUE(store.addHistory(status, presetId("Wobble")));
    std::vector<HistoryRow> history;
    ASSERT_TRUE(store.listHistory(status, history));
    ASSERT_EQ(history.size(), 3u);
    EXPECT_EQ(history[0].name, "Wobble");
    EXPECT_EQ(history[1].name, "Warm Pad");
    EXPECT_GT(history[0].hid, history[1].hid);
    EXPECT_EQ(history[1].filename, "Warm Pad.tpf2");
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    EXPECT_EQ(std::stoi(history[0].year), local.tm_year + 1900);
    EXPECT_EQ(history[0].time.size(), 5u);
    EXPECT_EQ(history[0].time[2], ':');
    EXPECT_GT(history[0].seconds, 1600000000);

    ASSERT_TRUE(store.clearHistory(status));
    ASSERT_TRUE(store.listHistory(status, history));
    EXPECT_TRUE(history.empty());
}

TEST_F(IndexedLibrary, FolderCreationNamingAndRenameRewriteDescendants) {
    StorageStatus status;
    const int64_t root = folderId("/");
    std::string name;
    ASSERT_TRUE(store.makeNewFolderName(root, name));
    EXPECT_EQ(name, "New Folder");
    std::string path;
    int64_t id = -1;
    ASSERT_TRUE(store.createFolder(status, root, name, path, id));
    EXPECT_EQ(path, "/New Folder");
    ASSERT_TRUE(store.makeNewFolderName(root, name));
    EXPECT_EQ(name, "New Folder (2)");
    bool exists = false;
    ASSERT_TRUE(store.folderNameExists(status, root, "BASS", exists));
    EXPECT_TRUE(exists) << "names compare without case";
    ASSERT_TRUE(store.presetNameExists(status, folderId("/Bass"), "wobble", exists));
    EXPECT_TRUE(exists);
    ASSERT_TRUE(store.presetNameExists(status, folderId("/Bass"), "Wub", exists));
    EXPECT_FALSE(exists);

    const int64_t leads = folderId("/Leads");
    int64_t sub = -1;
    ASSERT_TRUE(store.createFolder(status, leads, "Sub", path, sub));
    EXPECT_EQ(path, "/Leads/Sub");
    EXPECT_TRUE(folder(leads).isExpandable);
    std::string renamed;
    ASSERT_TRUE(store.renameFolder(status, leads, "Solo", renamed)) << status.message;
    EXPECT_EQ(renamed, "/Solo");
    EXPECT_EQ(folder(leads).name, "Solo");
    EXPECT_EQ(folder(sub).path, "/Solo/Sub");
    EXPECT_NE(folderId("/Leads2"), -1) << "a sibling that starts with the old name stays";
}

TEST_F(IndexedLibrary, PresetEditsKeepBankFileNamesAndDropDeletedRows) {
    StorageStatus status;
    const int64_t bankItem = presetId("2. Soft Pad");
    ASSERT_TRUE(store.renamePreset(status, bankItem, "Pad Two"));
    PresetRecord record;
    ASSERT_TRUE(store.presetRow(status, bankItem, record));
    EXPECT_EQ(record.name, "Pad Two");
    EXPECT_EQ(record.filename, "Vault.tbf");
    const int64_t wobble = presetId("Wobble");
    ASSERT_TRUE(store.renamePreset(status, wobble, "Wub"));
    ASSERT_TRUE(store.presetRow(status, wobble, record));
    EXPECT_EQ(record.filename, "Wub.tpf2");
    const int64_t legacy = presetId("Hard Lead");
    ASSERT_TRUE(store.renamePreset(status, legacy, "Soft Lead"));
    ASSERT_TRUE(store.presetRow(status, legacy, record));
    EXPECT_EQ(record.filename, "Soft Lead.tpf");

    int64_t added = -1;
    ASSERT_TRUE(
        store.addPresetFile(status, folderId("/Bass"), "Fresh", "Fresh.tpf2", true, 0, added));
    ASSERT_TRUE(store.presetRow(status, added, record));
    EXPECT_EQ(record.index, -1);
    EXPECT_TRUE(record.isFavorite);

    ASSERT_TRUE(store.deletePresets(status, {added, wobble}));
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_preset WHERE id IN (" +
                                 std::to_string(added) + "," + std::to_string(wobble) + ")"),
              0);
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_preset_metadata WHERE preset_id=" +
                                 std::to_string(wobble)),
              0);

    const int64_t leads = folderId("/Leads");
    std::string path;
    int64_t sub = -1;
    int64_t subsub = -1;
    ASSERT_TRUE(store.createFolder(status, leads, "Sub", path, sub));
    ASSERT_TRUE(store.createFolder(status, sub, "Deeper", path, subsub));
    ASSERT_TRUE(store.deleteFolders(status, {leads}));
    for (int64_t id : {leads, sub, subsub})
        EXPECT_EQ(
            queryInt(db(), "SELECT COUNT(*) FROM vst_dir_tree WHERE id=" + std::to_string(id)), 0);
    EXPECT_EQ(presetId("Dr. Evil"), -1) << "presets of a removed folder go with it";
    EXPECT_NE(folderId("/Leads2"), -1);
}

TEST_F(IndexedLibrary, ReplacingMetadataRelinksAndDropsOrphans) {
    StorageStatus status;
    const int64_t wobble = presetId("Wobble");
    ASSERT_TRUE(store.replaceMetadata(status, wobble, " Mo Tran ", {"BASS", "Growl", ""}))
        << status.message;
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_preset_metadata WHERE preset_id=" +
                                 std::to_string(wobble)),
              3);
    EXPECT_EQ(metadataId("Growl", kMetadataTag) > 0, true);
    EXPECT_GT(metadataId("Mo Tran", kMetadataAuthor), 0);
    EXPECT_GT(metadataId("Ana Reyes", kMetadataAuthor), 0) << "still Deep Sub's author";

    const int64_t deep = presetId("Deep Sub");
    ASSERT_TRUE(store.replaceMetadata(status, deep, "", {}));
    EXPECT_EQ(metadataId("Ana Reyes", kMetadataAuthor), -1) << "orphan removed";
    EXPECT_EQ(metadataId("Dark", kMetadataTag), -1);
    EXPECT_GT(metadataId("Bass", kMetadataTag), 0);
}

TEST_F(IndexedLibrary, GeneratorTasksBelongToAnInstanceUntilTakenOver) {
    StorageStatus status;
    int64_t count = -1;
    ASSERT_TRUE(store.countTasks(status, count));
    EXPECT_EQ(count, 0);
    bool any = true;
    ASSERT_TRUE(store.tasksOfOtherPlugs(status, "plug-a", any));
    EXPECT_FALSE(any);
    ASSERT_TRUE(store.addTask(status, {"t1", "{\"n\":1}", "plug-a"}));
    ASSERT_TRUE(store.addTask(status, {"t2", "{\"n\":2}", "plug-b"}));
    EXPECT_FALSE(store.addTask(status, {"t2", "{}", "plug-a"})) << "task ids are unique";
    EXPECT_EQ(status.code, SQLITE_CONSTRAINT);
    ASSERT_TRUE(store.countTasks(status, count));
    EXPECT_EQ(count, 2);
    ASSERT_TRUE(store.tasksOfOtherPlugs(status, "plug-a", any));
    EXPECT_TRUE(any);
    AITaskRow task;
    bool found = false;
    ASSERT_TRUE(store.taskById(status, "t2", task, found));
    ASSERT_TRUE(found);
    EXPECT_EQ(task.payload, "{\"n\":2}");
    ASSERT_TRUE(store.takeOverTasks(status, "plug-a"));
    ASSERT_TRUE(store.tasksOfOtherPlugs(status, "plug-a", any));
    EXPECT_FALSE(any);
    ASSERT_TRUE(store.deleteTask(status, "t1"));
    std::vector<AITaskRow> tasks;
    ASSERT_TRUE(store.listTasks(status, tasks));
    ASSERT_EQ(tasks.size(), 1u);
    EXPECT_EQ(tasks[0].taskUuid, "t2");
    EXPECT_EQ(tasks[0].plugUuid, "plug-a");
}

} // namespace
} // namespace torvo

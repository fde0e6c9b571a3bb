// The browsing queries of the workspace store: tree, presets, search, tags and history.

#include "workspace/metadatastorage.h"

#include "workspace/schema.h"
#include "workspace/sqlstatement.h"
#include "workspace/storagesession.h"

#include <sqlite3.h>

#include <unordered_map>

namespace torvo {

namespace {

/// Appends the rows of a preset list query: id, name, favourite, type, index, factory.
void readPresetListRows(SqlStatement& rows, std::vector<PresetListRow>& out) {
    while (rows.step()) {
        PresetListRow row;
        row.id = rows.int64At(0);
        row.name = rows.textAt(1);
        row.isFavorite = rows.intAt(2) != 0;
        row.type = rows.intAt(3);
        row.index = rows.intAt(4);
        row.isFactory = rows.intAt(5) != 0;
        out.push_back(std::move(row));
    }
}

const std::string& presetColumns() {
    static const std::string text = "SELECT p.`id`, p.`name`, p.`is_favorite`, p.`type`, "
                                    "p.`index`, d.`is_factory` FROM " +
                                    schema::table("preset") + " p INNER JOIN " +
                                    schema::table("dir_tree") + " d ON p.`dir_id` = d.`id`";
    return text;
}

void readFolder(const SqlStatement& row, FolderRow& out) {
    out.name = row.textAt(0);
    out.type = row.intAt(1);
    out.path = row.textAt(2);
    out.presetCount = row.intAt(3);
    out.parentId = row.int64At(4);
    out.isFactory = row.intAt(5) != 0;
    out.favPresetCount = row.intAt(6);
    out.isExpandable = row.intAt(7) != 0;
}

} // namespace

std::string MetadataStorage::factoryTest(bool showFactory) const {
    return std::string(" AND (d.`is_factory` = 0 OR d.`is_factory` = ") +
           (showFactory ? "1" : "0") + ")";
}

bool MetadataStorage::listChildren(StorageStatus& status, std::vector<FolderRow>& out,
                                   int64_t parentId, bool isFactory) {
    out.clear();
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    SqlStatement rows(db,
                      "SELECT `id`, `name`, `type`, `path`, `preset_count`, `fav_preset_count`, "
                      "`is_expandable`, `parent_id`, `is_factory` FROM " +
                          schema::table("dir_tree") +
                          " WHERE `parent_id` = ? AND `is_factory`= ? ORDER BY `type` DESC, "
                          "LOWER(`name`) ASC",
                      status);
    rows.bind(1, parentId).bind(2, isFactory ? 1 : 0);
    while (rows.step()) {
        FolderRow row;
        row.id = rows.int64At(0);
        row.name = rows.textAt(1);
        row.type = rows.intAt(2);
        row.path = rows.textAt(3);
        row.presetCount = rows.intAt(4);
        row.favPresetCount = rows.intAt(5);
        row.isExpandable = rows.intAt(6) != 0;
        row.parentId = rows.int64At(7);
        row.isFactory = rows.intAt(8) != 0;
        out.push_back(std::move(row));
    }
    return status.ok();
}

bool MetadataStorage::folderQuery(StorageStatus& status, const std::string& sql, int64_t id,
                                  bool withId, FolderRow& out) {
    out = FolderRow{};
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    SqlStatement row(db, sql, status);
    row.bind(1, id);
    if (row.step()) {
        readFolder(row, out);
        out.id = withId ? row.int64At(8) : id;
        return true;
    }
    if (!status.ok()) return false;
    status.set(SQLITE_ROW);
    return true;
}

bool MetadataStorage::folderById(StorageStatus& status, int64_t id, FolderRow& out,
                                 bool showFactory) {
    return folderQuery(status,
                       "SELECT d.`name`, d.`type`, d.`path`, d.`preset_count`, d.`parent_id`, "
                       "d.`is_factory`, d.`fav_preset_count`, d.`is_expandable` FROM " +
                           schema::table("dir_tree") + " d WHERE d.`id` = ?" +
                           factoryTest(showFactory),
                       id, false, out);
}

bool MetadataStorage::folderOfPreset(StorageStatus& status, int64_t presetId, FolderRow& out,
                                     bool showFactory) {
    return folderQuery(status,
                       "SELECT d.`name`, d.`type`, d.`path`, d.`preset_count`, d.`parent_id`, "
                       "d.`is_factory`, d.`fav_preset_count`, d.`is_expandable`, d.`id` FROM " +
                           schema::table("dir_tree") + " d INNER JOIN " + schema::table("preset") +
                           " p ON p.`dir_id` = d.`id` WHERE p.`id`=?" + factoryTest(showFactory),
                       presetId, true, out);
}

bool MetadataStorage::presetList(StorageStatus& status, const std::string& sql, int64_t bindId,
                                 const std::string* filter, std::vector<PresetListRow>& out) {
    SqlStatement rows(db, sql, status);
    int position = 1;
    if (bindId != INT64_MIN) rows.bind(position++, bindId);
    if (filter != nullptr) rows.bind(position++, *filter);
    readPresetListRows(rows, out);
    return status.ok();
}

bool MetadataStorage::presetsByIds(StorageStatus& status, const std::vector<int64_t>& ids,
                                   std::vector<PresetListRow>& out, bool favOnly) {
    out.clear();
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    std::string sql = presetColumns() + " WHERE p.`id`=?";
    if (favOnly) sql += " AND p.`is_favorite`=1;";
    for (int64_t id : ids)
        if (!presetList(status, sql, id, nullptr, out)) return false;
    return true;
}

bool MetadataStorage::presetsInFolderTree(StorageStatus& status, std::vector<PresetListRow>& out,
                                          int64_t folderId, const std::string& filter,
                                          bool recursive, bool favOnly, bool showFactory) {
    out.clear();
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    std::vector<int64_t> folders{folderId};
    if (recursive) {
        std::unordered_multimap<int64_t, int64_t> children;
        SqlStatement pairs(db, "SELECT `id`, `parent_id` FROM " + schema::table("dir_tree"),
                           status);
        while (pairs.step()) children.emplace(pairs.int64At(1), pairs.int64At(0));
        if (!status.ok()) return false;
        for (std::size_t i = 0; i < folders.size(); ++i) {
            auto range = children.equal_range(folders[i]);
            for (auto it = range.first; it != range.second; ++it) folders.push_back(it->second);
        }
    }
    std::string sql = presetColumns() + " WHERE `dir_id`= ?" + factoryTest(showFactory);
    if (!filter.empty()) sql += " AND p.`name` LIKE ? ";
    if (favOnly) sql += " AND `is_favorite`=1;";
    for (int64_t id : folders)
        if (!presetList(status, sql, id, filter.empty() ? nullptr : &filter, out)) return false;
    return true;
}

bool MetadataStorage::searchAll(StorageStatus& status, std::vector<PresetListRow>& out,
                                const std::string& filter, bool showFactory) {
    out.clear();
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    return presetList(status, presetColumns() + " WHERE p.`name` LIKE ?" + factoryTest(showFactory),
                      INT64_MIN, &filter, out);
}

bool MetadataStorage::presetsOfMetadata(StorageStatus& status, std::vector<PresetListRow>& out,
                                        int64_t folderId, int64_t metadataId, bool favOnly,
                                        bool showFactory) {
    out.clear();
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    std::string sql = "SELECT p.`id`, p.`name`, p.`is_favorite`, p.`type`, p.`index`, "
                      "d.`is_factory` FROM " +
                      schema::table("preset") + " p INNER JOIN " + schema::table("dir_tree") +
                      " d ON p.`dir_id` = d.`id` INNER JOIN " + schema::table("preset_metadata") +
                      " pm ON pm.`preset_id` = p.`id` WHERE p.`dir_id`= ? AND "
                      "pm.`metadata_id`=?" +
                      factoryTest(showFactory);
    if (favOnly) sql += " AND `p`.is_favorite = 1; ";
    SqlStatement rows(db, sql, status);
    rows.bind(1, folderId).bind(2, metadataId);
    readPresetListRows(rows, out);
    return status.ok();
}

bool MetadataStorage::presetRow(StorageStatus& status, int64_t id, PresetRecord& out) {
    out = PresetRecord{};
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    SqlStatement row(db,
                     "SELECT p.`name`, p.`filename`, p.`is_favorite`, p.`type`, p.`index`, "
                     "d.`path`, d.`is_factory`, p.`dir_id` FROM " +
                         schema::table("preset") + " p INNER JOIN " + schema::table("dir_tree") +
                         " d ON p.`dir_id` = d.`id` WHERE p.`id`=?",
                     status);
    row.bind(1, id);
    if (row.step()) {
        out.id = id;
        out.name = row.textAt(0);
        out.filename = row.textAt(1);
        out.isFavorite = row.intAt(2) != 0;
        out.type = row.intAt(3);
        out.index = row.intAt(4);
        out.dirPath = row.textAt(5);
        out.isFactory = row.intAt(6) != 0;
        out.dirId = row.int64At(7);
        return true;
    }
    if (!status.ok()) return false;
    status.set(SQLITE_ROW);
    return true;
}

bool MetadataStorage::findPreset(StorageStatus& status, const PresetKey& key, int64_t& id) {
    id = -1;
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    SqlStatement row(db,
                     "SELECT p.`id` FROM " + schema::table("preset") + " p INNER JOIN " +
                         schema::table("dir_tree") +
                         " d ON p.`dir_id` = d.`id` WHERE d.`path`=? AND d.`is_factory`=? AND "
                         "p.`name`=? AND p.`filename`=? AND p.`type`=? AND p.`index`=?",
                     status);
    row.bind(1, key.dirPath).bind(2, key.isFactory ? 1 : 0).bind(3, key.name);
    row.bind(4, key.filename).bind(5, key.type).bind(6, key.index);
    if (row.step()) id = row.int64At(0);
    return status.ok();
}

bool MetadataStorage::folderNameExists(StorageStatus& status, int64_t parentId,
                                       const std::string& name, bool& exists) {
    exists = false;
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    SqlStatement row(db,
                     "SELECT EXISTS(SELECT 1 FROM " + schema::table("dir_tree") +
                         " WHERE `parent_id` = ? AND `is_factory`= 0 AND `name`= ? COLLATE "
                         "NOCASE LIMIT 1)",
                     status);
    row.bind(1, parentId).bind(2, name);
    if (row.step()) exists = row.int64At(0) != 0;
    return status.ok();
}

bool MetadataStorage::presetNameExists(StorageStatus& status, int64_t dirId,
                                       const std::string& name, bool& exists) {
    exists = false;
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    SqlStatement row(db,
                     "SELECT EXISTS(SELECT 1 FROM " + schema::table("preset") +
                         " WHERE `dir_id` = ? AND `name`= ? COLLATE NOCASE LIMIT 1)",
                     status);
    row.bind(1, dirId).bind(2, name);
    if (row.step()) exists = row.int64At(0) != 0;
    return status.ok();
}

bool MetadataStorage::makeNewFolderName(int64_t parentId, std::string& name) {
    StorageStatus status;
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    for (int n = 1; n <= 10000; ++n) {
        const std::string candidate =
            n == 1 ? std::string("New Folder") : "New Folder (" + std::to_string(n) + ")";
        bool exists = true;
        if (!folderNameExists(status, parentId, candidate, exists)) return false;
        if (!exists) {
            name = candidate;
            return true;
        }
    }
    return false;
}

bool MetadataStorage::listMetadata(StorageStatus& status, int type, std::vector<MetadataRow>& out) {
    out.clear();
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    SqlStatement rows(db,
                      "SELECT `id`, `value`, `preset_count` FROM " + schema::table("metadata") +
                          " WHERE `type` = ?",
                      status);
    rows.bind(1, type);
    while (rows.step()) out.push_back({rows.int64At(0), rows.textAt(1), rows.intAt(2)});
    return status.ok();
}

bool MetadataStorage::foldersOfMetadata(StorageStatus& status, std::vector<FolderRow>& out,
                                        int64_t metadataId, int64_t parentId, bool isFactory) {
    out.clear();
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    const std::string tree = schema::table("dir_tree");
    std::string sql = "SELECT d.`id`, d.`name`, d.`path`, d.`parent_id`, d.`is_factory`, "
                      "d.`type`, m.`preset_count`, d.`is_expandable` FROM " +
                      tree + " d INNER JOIN " + schema::table("metadata_dir") +
                      " m ON m.`dir_id` = d.`id` WHERE m.`metadata_id` = ?";
    sql += parentId == -1
               ? " AND d.`parent_id` IN (SELECT `id` FROM " + tree + " WHERE `parent_id` = -1)"
               : std::string(" AND d.`parent_id` = ?");
    sql += factoryTest(isFactory) + " ORDER BY d.`type` DESC, LOWER(d.`name`) ASC";
    SqlStatement rows(db, sql, status);
    rows.bind(1, metadataId);
    if (parentId != -1) rows.bind(2, parentId);
    while (rows.step()) {
        FolderRow row;
        row.id = rows.int64At(0);
        row.name = rows.textAt(1);
        row.path = rows.textAt(2);
        row.parentId = rows.int64At(3);
        row.isFactory = rows.intAt(4) != 0;
        row.type = rows.intAt(5);
        row.presetCount = rows.intAt(6);
        row.isExpandable = rows.intAt(7) != 0;
        out.push_back(std::move(row));
    }
    return status.ok();
}

bool MetadataStorage::listHistory(StorageStatus& status, std::vector<HistoryRow>& out) {
    out.clear();
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    SqlStatement rows(db,
                      "SELECT h.`hid`, strftime('%s', h.`timestamp`), strftime('%d', "
                      "h.`timestamp`), strftime('%m', h.`timestamp`), strftime('%Y', "
                      "h.`timestamp`), strftime('%H:%M', h.`timestamp`), p.`id`, p.`name`, "
                      "p.`filename`, p.`dir_id`, p.`is_favorite`, p.`type`, p.`index` FROM " +
                          schema::table("preset_history") + " h INNER JOIN " +
                          schema::table("preset") +
                          " p ON p.`id` = h.`preset_id` ORDER BY h.`hid` DESC",
                      status);
    while (rows.step()) {
        HistoryRow row;
        row.hid = rows.int64At(0);
        row.seconds = rows.int64At(1);
        row.day = rows.textAt(2);
        row.month = rows.textAt(3);
        row.year = rows.textAt(4);
        row.time = rows.textAt(5);
        row.presetId = rows.int64At(6);
        row.name = rows.textAt(7);
        row.filename = rows.textAt(8);
        row.dirId = rows.int64At(9);
        row.isFavorite = rows.intAt(10) != 0;
        row.type = rows.intAt(11);
        row.index = rows.intAt(12);
        out.push_back(std::move(row));
    }
    return status.ok();
}

} // namespace torvo

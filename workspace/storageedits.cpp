// Single changes of the workspace store, made after the file operation on disk succeeded:
// favourites, folders, presets, their tags and authors, and the load history.

#include "workspace/metadatastorage.h"

#include "workspace/metadatalinks.h"
#include "workspace/schema.h"
#include "workspace/sqlstatement.h"
#include "workspace/storagesession.h"

#include <set>
#include <utility>

namespace torvo {

bool MetadataStorage::setFavorite(StorageStatus& status, const std::vector<int64_t>& ids,
                                  bool favorite) {
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    {
        StorageBatch batch(*this, status);
        if (!batch.ready()) return false;
        for (int64_t id : ids) {
            SqlStatement update(
                db, "UPDATE " + schema::table("preset") + " SET `is_favorite`= ? WHERE `id`=?",
                status);
            update.bind(1, favorite ? 1 : 0).bind(2, id);
            if (!update.run()) break;
        }
        if (!batch.finish()) return false;
    }
    return rebuildCounters(status);
}

bool MetadataStorage::createFolder(StorageStatus& status, int64_t parentId, const std::string& name,
                                   std::string& path, int64_t& id, int type) {
    id = -1;
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    FolderRow parent;
    if (!folderById(status, parentId, parent) || parent.path.empty()) {
        if (status.ok()) status.set(1);
        return false;
    }
    path = (parent.path == "/" ? std::string() : parent.path) + "/" + name;
    const std::string tree = schema::table("dir_tree");
    SqlStatement insert(db,
                        "INSERT INTO " + tree +
                            " (`path`, `name`, `is_factory`, `type`, `parent_id`) "
                            "VALUES(?,?,?,?,?)",
                        status);
    insert.bind(1, path).bind(2, name).bind(3, parent.isFactory ? 1 : 0).bind(4, type);
    insert.bind(5, parentId);
    if (!insert.run()) return false;
    id = lastInsertId(db);
    SqlStatement expand(db, "UPDATE " + tree + " SET `is_expandable`=1 WHERE `id`= ?", status);
    expand.bind(1, parentId);
    return expand.run();
}

bool MetadataStorage::renameFolder(StorageStatus& status, int64_t id, const std::string& newName,
                                   std::string& newPath) {
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    FolderRow folder;
    if (!folderById(status, id, folder) || folder.path.empty() || folder.path == "/") {
        if (status.ok()) status.set(1);
        return false;
    }
    const std::size_t cut = folder.path.find_last_of("/\\");
    newPath = folder.path.substr(0, cut + 1) + newName;
    const std::string tree = schema::table("dir_tree");
    StorageBatch batch(*this, status);
    if (!batch.ready()) return false;
    {
        SqlStatement update(db, "UPDATE " + tree + " SET `path`=?, `name`=? WHERE `id`=?", status);
        update.bind(1, newPath).bind(2, newName).bind(3, id);
        update.run();
    }
    if (status.ok()) {
        // The match text ends with a separator, so a sibling whose name merely starts with the
        // old name keeps its path.
        const std::string oldPrefix = folder.path + "/";
        SqlStatement descendants(db,
                                 "UPDATE " + tree +
                                     " SET `path`=? || SUBSTR(`path`, ?) WHERE INSTR(`path`, ?) "
                                     "= 1 AND `is_factory` = ?",
                                 status);
        descendants.bind(1, newPath + "/").bind(2, int64_t(oldPrefix.size() + 1));
        descendants.bind(3, oldPrefix).bind(4, folder.isFactory ? 1 : 0);
        descendants.run();
    }
    return batch.finish();
}

bool MetadataStorage::addPresetFile(StorageStatus& status, int64_t dirId, const std::string& name,
                                    const std::string& filename, bool isFavorite, int type,
                                    int64_t& id) {
    id = -1;
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    SqlStatement insert(db,
                        "INSERT INTO " + schema::table("preset") +
                            " (`name`, `filename`, `dir_id`, `is_favorite`, `type`, `index`) "
                            "VALUES(?, ?, ?, ?, ?, -1)",
                        status);
    insert.bind(1, name).bind(2, filename).bind(3, dirId).bind(4, isFavorite ? 1 : 0);
    insert.bind(5, type);
    if (!insert.run()) return false;
    id = lastInsertId(db);
    return true;
}

bool MetadataStorage::replaceMetadata(StorageStatus& status, int64_t presetId,
                                      const std::string& author,
                                      const std::vector<std::string>& tags) {
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    std::set<std::pair<int, std::string>> wanted;
    std::vector<std::pair<int, std::string>> toAdd;
    auto want = [&](int type, const std::string& text) {
        const std::string clean = trimmed(text);
        if (clean.empty()) return;
        if (wanted.insert({type, foldedCase(clean)}).second) toAdd.emplace_back(type, clean);
    };
    want(kMetadataAuthor, author);
    for (const std::string& tag : tags) want(kMetadataTag, tag);

    StorageBatch batch(*this, status);
    if (!batch.ready()) return false;
    const std::string links = schema::table("preset_metadata");
    const std::string metadata = schema::table("metadata");
    std::vector<int64_t> stale;
    std::set<std::pair<int, std::string>> present;
    {
        SqlStatement current(db,
                             "SELECT pm.`id`, m.`type`, m.`value` FROM " + links +
                                 " pm INNER JOIN " + metadata +
                                 " m ON m.`id` = pm.`metadata_id` WHERE pm.`preset_id`=?",
                             status);
        current.bind(1, presetId);
        while (current.step()) {
            const std::pair<int, std::string> key{current.intAt(1), foldedCase(current.textAt(2))};
            if (wanted.count(key) != 0 && present.insert(key).second) continue;
            stale.push_back(current.int64At(0));
        }
    }
    for (int64_t id : stale) {
        if (!status.ok()) break;
        SqlStatement remove(db, "DELETE FROM " + links + " WHERE `id`=?", status);
        remove.bind(1, id);
        remove.run();
    }
    for (const auto& [type, value] : toAdd) {
        if (!status.ok()) break;
        if (present.count({type, foldedCase(value)}) != 0) continue;
        int64_t metadataId = -1;
        int64_t linkId = -1;
        bool inserted = false;
        if (findOrAddMetadata(db, status, type, value, metadataId, inserted))
            findOrAddLink(db, status, presetId, metadataId, linkId);
    }
    if (status.ok())
        execSql(db,
                "DELETE FROM " + metadata +
                    " WHERE `id` NOT IN (SELECT DISTINCT(`metadata_id`) "
                    "FROM " +
                    links + ")",
                status);
    if (status.ok())
        execSql(db,
                "DELETE FROM " + schema::table("metadata_dir") +
                    " WHERE `metadata_id` NOT IN (SELECT `id` FROM " + metadata + ")",
                status);
    return batch.finish();
}

bool MetadataStorage::deletePresets(StorageStatus& status, const std::vector<int64_t>& ids) {
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    StorageBatch batch(*this, status);
    if (!batch.ready()) return false;
    for (int64_t id : ids) {
        // Foreign keys are not enforced on this connection: links go explicitly.
        SqlStatement remove(db, "DELETE FROM " + schema::table("preset") + " WHERE `id`=?", status);
        remove.bind(1, id);
        SqlStatement unlink(
            db, "DELETE FROM " + schema::table("preset_metadata") + " WHERE `preset_id`=?", status);
        unlink.bind(1, id);
        if (!remove.run() || !unlink.run()) break;
    }
    return batch.finish();
}

bool MetadataStorage::renamePreset(StorageStatus& status, int64_t id, const std::string& newName) {
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    // A bank item keeps its bank's file name.
    SqlStatement update(db,
                        "UPDATE " + schema::table("preset") +
                            " SET `name`= ?, `filename`= CASE WHEN `type`=0 THEN ? || '.tpf2' "
                            "WHEN `type`=1 THEN ? || '.tpf' ELSE `filename` END WHERE `id`=?",
                        status);
    update.bind(1, newName).bind(2, newName).bind(3, newName).bind(4, id);
    return update.run();
}

bool MetadataStorage::deleteFolders(StorageStatus& status, const std::vector<int64_t>& ids) {
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    StorageBatch batch(*this, status);
    if (!batch.ready()) return false;
    const std::string tree = schema::table("dir_tree");
    for (int64_t id : ids) {
        SqlStatement remove(db, "DELETE FROM " + tree + " WHERE `id`=?", status);
        remove.bind(1, id);
        if (!remove.run()) break;
    }
    // Descendants go level by level until no orphan is left.
    while (status.ok()) {
        if (!execSql(db,
                     "DELETE FROM " + tree + " WHERE `parent_id` NOT IN (SELECT `id` FROM " + tree +
                         ") AND `parent_id`>=0",
                     status))
            break;
        if (changedRows(db) == 0) break;
    }
    // The presets of the removed folders and their links, explicitly again.
    const std::string presets = schema::table("preset");
    if (status.ok())
        execSql(db,
                "DELETE FROM " + presets + " WHERE `dir_id` NOT IN (SELECT `id` FROM " + tree + ")",
                status);
    if (status.ok())
        execSql(db,
                "DELETE FROM " + schema::table("preset_metadata") +
                    " WHERE `preset_id` NOT IN (SELECT `id` FROM " + presets + ")",
                status);
    return batch.finish();
}

bool MetadataStorage::addHistory(StorageStatus& status, int64_t presetId) {
    status.clear();
    if (presetId == -1) return true;
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    SqlStatement insert(
        db, "INSERT INTO " + schema::table("preset_history") + " (`preset_id`) VALUES (?)", status);
    insert.bind(1, presetId);
    return insert.run();
}

bool MetadataStorage::clearHistory(StorageStatus& status) {
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    return execSql(db, "DELETE FROM " + schema::table("preset_history"), status);
}

bool MetadataStorage::addTask(StorageStatus& status, const AITaskRow& task) {
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    SqlStatement insert(db,
                        "INSERT INTO `ai_task_state` (`task_uuid`, `payload`, `plug_uuid`) "
                        "VALUES(?,?,?)",
                        status);
    insert.bind(1, task.taskUuid).bind(2, task.payload).bind(3, task.plugUuid);
    return insert.run();
}

bool MetadataStorage::listTasks(StorageStatus& status, std::vector<AITaskRow>& out) {
    out.clear();
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    SqlStatement rows(db, "SELECT `task_uuid`, `payload`, `plug_uuid` FROM `ai_task_state`",
                      status);
    while (rows.step()) out.push_back({rows.textAt(0), rows.textAt(1), rows.textAt(2)});
    return status.ok();
}

bool MetadataStorage::countTasks(StorageStatus& status, int64_t& count) {
    count = 0;
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    SqlStatement row(db, "SELECT COUNT(1) FROM `ai_task_state`", status);
    if (row.step()) count = row.int64At(0);
    return status.ok();
}

bool MetadataStorage::taskById(StorageStatus& status, const std::string& taskUuid, AITaskRow& out,
                               bool& found) {
    found = false;
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    SqlStatement row(db,
                     "SELECT `task_uuid`, `payload`, `plug_uuid` FROM `ai_task_state` WHERE "
                     "`task_uuid`=?",
                     status);
    row.bind(1, taskUuid);
    if (row.step()) {
        out = {row.textAt(0), row.textAt(1), row.textAt(2)};
        found = true;
    }
    return status.ok();
}

bool MetadataStorage::deleteTask(StorageStatus& status, const std::string& taskUuid) {
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    SqlStatement remove(db, "DELETE FROM `ai_task_state` WHERE `task_uuid`=?", status);
    remove.bind(1, taskUuid);
    return remove.run();
}

bool MetadataStorage::takeOverTasks(StorageStatus& status, const std::string& plugUuid) {
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    SqlStatement update(db, "UPDATE `ai_task_state` SET `plug_uuid`=?", status);
    update.bind(1, plugUuid);
    return update.run();
}

bool MetadataStorage::tasksOfOtherPlugs(StorageStatus& status, const std::string& plugUuid,
                                        bool& any) {
    any = false;
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    SqlStatement row(db,
                     "SELECT (SELECT COUNT(1) FROM `ai_task_state`) * (SELECT COUNT(1) FROM "
                     "`ai_task_state` WHERE `plug_uuid`!=?)",
                     status);
    row.bind(1, plugUuid);
    if (row.step()) any = row.int64At(0) != 0;
    return status.ok();
}

} // namespace torvo

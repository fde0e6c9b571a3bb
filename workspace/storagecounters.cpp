// The stored counters of the workspace tree: how many presets (and favourites) lie below each
// folder, and how many carry each tag or author, per folder and in all. They are stored rather
// than computed so that the browser's tree needs no aggregate query.

#include "workspace/metadatastorage.h"

#include "workspace/schema.h"
#include "workspace/sqlstatement.h"
#include "workspace/storagesession.h"

#include <map>
#include <unordered_map>
#include <utility>

namespace torvo {

bool MetadataStorage::rebuildCounters(StorageStatus& status) {
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    StorageBatch batch(*this, status);
    if (!batch.ready()) return false;
    const std::string tree = schema::table("dir_tree");
    const std::string metadata = schema::table("metadata");
    const std::string links = schema::table("preset_metadata");
    const std::string presets = schema::table("preset");

    std::unordered_map<int64_t, int64_t> parents;
    {
        SqlStatement pairs(db, "SELECT `id`, `parent_id` FROM " + tree, status);
        while (pairs.step()) parents[pairs.int64At(0)] = pairs.int64At(1);
    }
    // Walks from a folder up to its root; a damaged tree with a cycle stops after its size.
    auto forEachUp = [&](int64_t folder, auto&& visit) {
        std::size_t guard = parents.size() + 1;
        while (folder >= 0 && guard-- > 0) {
            visit(folder);
            const auto up = parents.find(folder);
            if (up == parents.end()) break;
            folder = up->second;
        }
    };

    std::map<std::pair<int64_t, int64_t>, int64_t> perFolder;
    std::map<int64_t, int64_t> totals;
    if (status.ok()) {
        SqlStatement rows(db,
                          "SELECT m.`id`, p.`dir_id`, COUNT(*) FROM " + metadata + " m JOIN " +
                              links + " pm ON pm.`metadata_id` = m.`id` JOIN " + presets +
                              " p ON pm.`preset_id` = p.`id` GROUP BY m.`id`, m.`value`, "
                              "p.`dir_id`",
                          status);
        while (rows.step()) {
            const int64_t id = rows.int64At(0);
            const int64_t count = rows.int64At(2);
            forEachUp(rows.int64At(1), [&](int64_t folder) { perFolder[{id, folder}] += count; });
            totals[id] += count;
        }
    }
    std::map<int64_t, std::pair<int64_t, int64_t>> folderCounts;
    if (status.ok()) {
        SqlStatement rows(db,
                          "SELECT d.`id`, COUNT(*), SUM(CASE WHEN p.`is_favorite` = '0' THEN 0 "
                          "ELSE 1 END), d.`parent_id` FROM " +
                              tree + " d JOIN " + presets +
                              " p on p.`dir_id` = d.`id` GROUP BY d.`id`, d.`parent_id`",
                          status);
        while (rows.step()) {
            const int64_t count = rows.int64At(1);
            const int64_t favourites = rows.int64At(2);
            forEachUp(rows.int64At(0), [&](int64_t folder) {
                folderCounts[folder].first += count;
                folderCounts[folder].second += favourites;
            });
        }
    }

    const std::string metadataDir = schema::table("metadata_dir");
    if (status.ok()) execSql(db, "DELETE FROM " + metadataDir, status);
    for (const auto& [key, count] : perFolder) {
        if (!status.ok()) break;
        SqlStatement insert(db,
                            "INSERT INTO " + metadataDir +
                                "(`metadata_id`,`dir_id`,`preset_count`) VALUES (?,?,?)",
                            status);
        insert.bind(1, key.first).bind(2, key.second).bind(3, count);
        insert.run();
    }
    if (status.ok()) execSql(db, "UPDATE " + metadata + " SET `preset_count` = 0", status);
    for (const auto& [id, count] : totals) {
        if (!status.ok()) break;
        SqlStatement update(db, "UPDATE " + metadata + " SET `preset_count` = ? WHERE `id`=?",
                            status);
        update.bind(1, count).bind(2, id);
        update.run();
    }
    if (status.ok())
        execSql(db, "UPDATE " + tree + " SET `preset_count` = 0, `fav_preset_count` = 0", status);
    for (const auto& [id, counts] : folderCounts) {
        if (!status.ok()) break;
        SqlStatement update(
            db, "UPDATE " + tree + " SET `preset_count`=?, `fav_preset_count`=? WHERE `id`=?",
            status);
        update.bind(1, counts.first).bind(2, counts.second).bind(3, id);
        update.run();
    }
    return batch.finish();
}

} // namespace torvo

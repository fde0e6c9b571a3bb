#include "workspace/migrations.h"

#include "workspace/schema.h"
#include "workspace/sqlstatement.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <sstream>
#include <vector>

namespace torvo::migrations {

bool checkIntegrity(sqlite3* db, StorageStatus& status, bool& intact) {
    intact = false;
    SqlStatement check(db, "PRAGMA integrity_check;", status);
    if (!check.valid()) return false;
    while (check.step())
        if (check.textAt(0) == "ok") intact = true;
    return status.ok();
}

bool dropIndexTables(sqlite3* db, StorageStatus& status) {
    for (const std::string& name : schema::droppedOnRebuild())
        if (!execSql(db, "DROP TABLE IF EXISTS " + name, status)) return false;
    return true;
}

bool createSchema(sqlite3* db, StorageStatus& status) {
    for (const std::string& sql : schema::createTables())
        if (!execSql(db, sql, status)) return false;
    for (const std::string& sql : schema::createIndices())
        if (!execSql(db, sql, status)) return false;
    return execSql(db, schema::createTaskTable(), status);
}

bool seedPlannerStatistics(sqlite3* db, StorageStatus& status) {
    // "ANALYZE sqlite_master" creates the statistics table without scanning any table of ours.
    if (!execSql(db, "ANALYZE sqlite_master", status)) return false;
    int64_t rows = 0;
    {
        SqlStatement count(db,
                           "SELECT COUNT(*) FROM sqlite_stat1 WHERE tbl LIKE '" +
                               std::string(schema::kPrefix) + "%'",
                           status);
        rows = count.step() ? count.int64At(0) : 0;
        if (!status.ok()) return false;
    }
    if (rows > 0) return true;
    // Rows per table, then the rows one value of the indexed column selects on average.
    struct Stat {
        const char* table;
        const char* column;
        const char* figures;
    };
    static const Stat stats[] = {
        {"dir_tree", "path", "1000 1"},
        {"dir_tree", "is_factory", "1000 500"},
        {"dir_tree", "parent_id", "1000 10"},
        {"preset", "name", "100000 2"},
        {"preset", "filename", "100000 2"},
        {"preset", "dir_id", "100000 100"},
        {"preset", "type", "100000 40000"},
        {"preset", "index", "100000 50000"},
        {"preset", "is_favorite", "100000 50000"},
        {"preset_metadata", "preset_id", "300000 3"},
        {"preset_metadata", "metadata_id", "300000 1000"},
        {"metadata", "value", "300 1"},
        {"metadata", "type", "300 150"},
    };
    for (const Stat& stat : stats) {
        SqlStatement insert(db, "INSERT INTO sqlite_stat1 (tbl, idx, stat) VALUES (?, ?, ?)",
                            status);
        insert.bind(1, schema::table(stat.table));
        insert.bind(2, schema::table(stat.table) + "_" + stat.column + "_idx");
        insert.bind(3, std::string(stat.figures));
        if (!insert.run()) return false;
    }
    return true;
}

bool addPlugVersionColumn(sqlite3* db, StorageStatus& status) {
    bool present = false;
    {
        // Finalized before the schema changes: an open statement would lock the table.
        SqlStatement probe(db,
                           "SELECT EXISTS(SELECT * FROM sqlite_master WHERE tbl_name = "
                           "'reindex_state' AND sql LIKE '%plug_version%')",
                           status);
        if (!probe.valid()) return false;
        present = probe.step() && probe.int64At(0) != 0;
        if (!status.ok()) return false;
    }
    if (present) return true;
    return execSql(db,
                   "ALTER TABLE `reindex_state` ADD COLUMN `plug_version` char(32) NOT NULL "
                   "DEFAULT ''",
                   status);
}

bool readNeedReindex(sqlite3* db, StorageStatus& status, bool& needReindex) {
    SqlStatement rows(db, "SELECT COUNT(*) FROM " + schema::table("dir_tree"), status);
    if (!rows.valid()) return false;
    const int64_t count = rows.step() ? rows.int64At(0) : 0;
    if (!status.ok()) return false;
    if (count < 2) {
        needReindex = true;
        return true;
    }
    SqlStatement asked(db,
                       "SELECT COUNT(1) FROM `reindex_state` WHERE `need_reindex`=1 AND "
                       "`platform`=?",
                       status);
    if (!asked.valid()) return false;
    asked.bind(1, std::string(schema::kPlatform));
    needReindex = asked.step() && asked.int64At(0) > 0;
    return status.ok();
}

bool migrateOlderTables(sqlite3* db, StorageStatus& status) {
    if (std::string(schema::kPlatform) != "vst") return true;
    int64_t found = 0;
    {
        SqlStatement probe(db,
                           "SELECT count(1) FROM sqlite_master WHERE type='table' AND name in "
                           "('vst3_dir_tree', 'vst3_preset', 'vst3_preset_history')",
                           status);
        if (!probe.valid()) return false;
        found = probe.step() ? probe.int64At(0) : 0;
        if (!status.ok()) return false;
    }
    if (found != 3) return true;

    // The user's state is matched by folder path and preset name: row ids of the two index
    // generations have nothing in common.
    const char* favourites =
        "UPDATE `vst_preset` SET `is_favorite`=1 WHERE `id` IN ( SELECT p.`id` FROM "
        "`vst_preset` AS p INNER JOIN `vst_dir_tree` dt ON p.`dir_id` = dt.`id` INNER JOIN "
        "`vst3_dir_tree` dt3 ON dt3.`path` = dt.`path` INNER JOIN `vst3_preset` p3 ON "
        "p3.`dir_id` = dt3.`id` AND p3.`is_favorite`=1 AND p.`name`=p3.`name` )";
    const char* history =
        "INSERT INTO `vst_preset_history`(`preset_id`,`timestamp`) SELECT p.`id`, "
        "h3.`timestamp` FROM `vst_preset` p INNER JOIN `vst_dir_tree` dt ON p.`dir_id` = "
        "dt.`id` INNER JOIN `vst3_dir_tree` dt3 ON dt3.`path` = dt.`path` INNER JOIN "
        "`vst3_preset` p3 ON p3.`dir_id` = dt3.`id` AND p.`name`=p3.`name` INNER JOIN "
        "`vst3_preset_history` h3 ON h3.`preset_id`=p3.`id` WHERE p.`id` NOT IN (SELECT "
        "h.`preset_id` from vst_preset_history h)";
    if (!execSql(db, favourites, status) || !execSql(db, history, status)) return false;
    static const char* const older[] = {"vst3_dir_tree",       "vst3_metadata",
                                        "vst3_metadata_dir",   "vst3_preset",
                                        "vst3_preset_history", "vst3_preset_metadata"};
    for (const char* name : older)
        if (!execSql(db, std::string("DROP TABLE IF EXISTS `") + name + "`", status)) return false;
    return true;
}

bool readNeedsUpgrade(sqlite3* db, StorageStatus& status, bool& needsUpgrade) {
    SqlStatement version(
        db, "SELECT `plug_version` FROM `reindex_state` WHERE `platform`=? LIMIT 1", status);
    if (!version.valid()) return false;
    version.bind(1, std::string(schema::kPlatform));
    std::string text;
    const bool found = version.step();
    if (found) text = version.textAt(0);
    if (!status.ok()) return false;
    needsUpgrade =
        !found || text.empty() || compareVersions(text, schema::kOldestCurrentVersion) < 0;
    return true;
}

bool insertReindexState(sqlite3* db, StorageStatus& status) {
    SqlStatement insert(db,
                        "INSERT OR IGNORE INTO `reindex_state`(`platform`, `need_reindex`, "
                        "`plug_version`) VALUES (?,'0',?)",
                        status);
    insert.bind(1, std::string(schema::kPlatform)).bind(2, std::string(schema::kBuildVersion));
    return insert.run();
}

bool loadOrCreateUuid(sqlite3* db, StorageStatus& status, std::string& uuid) {
    {
        SqlStatement first(db, "SELECT `uuid` FROM `workspace_uuid` ORDER BY id ASC", status);
        if (!first.valid()) return false;
        if (first.step()) {
            uuid = first.textAt(0);
            return true;
        }
        if (!status.ok()) return false;
    }
    uuid = makeUuid();
    SqlStatement insert(db, "INSERT INTO `workspace_uuid`(`uuid`) VALUES (?)", status);
    insert.bind(1, uuid);
    return insert.run();
}

int compareVersions(const std::string& a, const std::string& b) {
    auto parts = [](const std::string& text) {
        std::vector<long> out;
        std::stringstream in(text);
        std::string item;
        while (std::getline(in, item, '.')) out.push_back(std::strtol(item.c_str(), nullptr, 10));
        return out;
    };
    const std::vector<long> x = parts(a);
    const std::vector<long> y = parts(b);
    for (std::size_t i = 0; i < std::max(x.size(), y.size()); ++i) {
        const long u = i < x.size() ? x[i] : 0;
        const long v = i < y.size() ? y[i] : 0;
        if (u != v) return u < v ? -1 : 1;
    }
    return 0;
}

std::string makeUuid() {
    std::random_device seed;
    std::mt19937_64 gen((uint64_t(seed()) << 32) ^ seed());
    uint8_t bytes[16];
    for (uint8_t& b : bytes) b = uint8_t(gen());
    bytes[6] = uint8_t((bytes[6] & 0x0f) | 0x40);
    bytes[8] = uint8_t((bytes[8] & 0x3f) | 0x80);
    char text[37];
    std::snprintf(text, sizeof text,
                  "%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x", bytes[0],
                  bytes[1], bytes[2], bytes[3], bytes[4], bytes[5], bytes[6], bytes[7], bytes[8],
                  bytes[9], bytes[10], bytes[11], bytes[12], bytes[13], bytes[14], bytes[15]);
    return text;
}

} // namespace torvo::migrations

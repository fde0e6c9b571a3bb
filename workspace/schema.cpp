#include "workspace/schema.h"

namespace torvo::schema {

std::string table(const char* base) {
    return std::string(kPrefix) + base;
}

std::vector<std::string> createTables() {
    const std::string dirTree = table("dir_tree");
    const std::string metadata = table("metadata");
    const std::string preset = table("preset");
    return {
        "CREATE TABLE IF NOT EXISTS " + dirTree +
            " (`id` INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,"
            " `parent_id` INTEGER NOT NULL DEFAULT -1,"
            " `name` TEXT NOT NULL,"
            " `path` TEXT NOT NULL,"
            " `is_factory` INTEGER DEFAULT 0,"
            " `type` INTEGER DEFAULT 0,"
            " `preset_count` INTEGER NOT NULL DEFAULT 0,"
            " `fav_preset_count` INTEGER NOT NULL DEFAULT 0,"
            " `is_expandable` INTEGER NOT NULL DEFAULT 0,"
            " UNIQUE(`path`, `is_factory`) ON CONFLICT REPLACE)",
        "CREATE TABLE IF NOT EXISTS " + metadata +
            " (`id` INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,"
            " `type` INTEGER NOT NULL,"
            " `value` TEXT NOT NULL,"
            " `preset_count` INTEGER NOT NULL DEFAULT 0)",
        "CREATE TABLE IF NOT EXISTS " + table("metadata_dir") +
            " (`id` INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,"
            " `metadata_id` INTEGER NOT NULL,"
            " `dir_id` INTEGER NOT NULL,"
            " `preset_count` INTEGER NOT NULL DEFAULT 0,"
            " FOREIGN KEY(`metadata_id`) REFERENCES " +
            metadata +
            "(`id`) ON DELETE CASCADE,"
            " FOREIGN KEY(`dir_id`) REFERENCES " +
            dirTree +
            "(`id`) ON DELETE CASCADE,"
            " UNIQUE(`metadata_id`, `dir_id`) ON CONFLICT REPLACE)",
        "CREATE TABLE IF NOT EXISTS " + preset +
            " (`id` INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,"
            " `name` TEXT NOT NULL,"
            " `filename` TEXT NOT NULL,"
            " `dir_id` INTEGER NOT NULL,"
            " `is_favorite` INTEGER NOT NULL DEFAULT 0,"
            " `type` INTEGER NOT NULL,"
            " `index` INTEGER NOT NULL DEFAULT 0,"
            " FOREIGN KEY(`dir_id`) REFERENCES " +
            dirTree + "(`id`) ON DELETE CASCADE)",
        "CREATE TABLE IF NOT EXISTS " + table("preset_metadata") +
            " (`id` INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,"
            " `preset_id` INTEGER NOT NULL,"
            " `metadata_id` INTEGER NOT NULL,"
            " FOREIGN KEY(`preset_id`) REFERENCES " +
            preset +
            "(`id`) ON DELETE CASCADE,"
            " FOREIGN KEY(`metadata_id`) REFERENCES " +
            metadata + "(`id`) ON DELETE CASCADE)",
        "CREATE TABLE IF NOT EXISTS " + table("preset_history") +
            " (`hid` INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,"
            " `preset_id` INTEGER NOT NULL,"
            " `timestamp` DATE DEFAULT (datetime('now','localtime')))",
        "CREATE TABLE IF NOT EXISTS `reindex_state`"
        " (`platform` TEXT NOT NULL PRIMARY KEY,"
        " `need_reindex` INTEGER NOT NULL,"
        " `plug_version` char(32) NOT NULL DEFAULT '')",
        "CREATE TABLE IF NOT EXISTS `workspace_uuid`"
        " (`id` INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,"
        " `uuid` char(36) NOT NULL)",
    };
}

std::vector<std::string> createIndices() {
    struct IndexDef {
        const char* table;
        const char* column;
    };
    static const IndexDef defs[] = {
        {"dir_tree", "path"},
        {"dir_tree", "is_factory"},
        {"dir_tree", "parent_id"},
        {"preset", "name"},
        {"preset", "filename"},
        {"preset", "dir_id"},
        {"preset", "type"},
        {"preset", "index"},
        {"preset", "is_favorite"},
        {"preset_metadata", "preset_id"},
        {"preset_metadata", "metadata_id"},
        {"metadata", "value"},
        {"metadata", "type"},
    };
    std::vector<std::string> out;
    for (const IndexDef& def : defs) {
        const std::string name = table(def.table) + "_" + def.column + "_idx";
        out.push_back("CREATE INDEX IF NOT EXISTS `" + name + "` ON " + table(def.table) + " (`" +
                      def.column + "`)");
    }
    return out;
}

std::string createTaskTable() {
    // The doubled NULL is how the table was first declared; files in the wild carry it.
    return "CREATE TABLE IF NOT EXISTS `ai_task_state`"
           " (`task_uuid` char(36) NOT NULL PRIMARY KEY,"
           " `payload` TEXT NOT NULL NULL,"
           " `plug_uuid` char(36) NOT NULL)";
}

std::vector<std::string> droppedOnRebuild() {
    return {table("preset_metadata"), table("preset"), table("metadata_dir"), table("metadata"),
            table("dir_tree")};
}

std::vector<std::string> indexedTables() {
    return {table("dir_tree"), table("metadata"), table("metadata_dir"), table("preset"),
            table("preset_metadata")};
}

} // namespace torvo::schema

#pragma once
// The workspace database's layout as data: table and index statements in creation order. Index
// tables carry the platform word and an underscore as prefix; the three tables that must outlive
// a rebuild of the index (reindex state, workspace UUID, generator tasks) carry none.

#include <string>
#include <vector>

namespace torvo::schema {

/// The platform word of this build; tables of other builds share the file under their own word.
constexpr const char* kPlatform = "vst";
constexpr const char* kPrefix = "vst_";
/// The version this build writes into `reindex_state`, and the oldest that needs no rescan.
constexpr const char* kBuildVersion = "1.5.18";
constexpr const char* kOldestCurrentVersion = "1.5.11";
constexpr const char* kDatabaseFileName = "workspace.db";

/// "vst_" + base.
std::string table(const char* base);

/// CREATE TABLE IF NOT EXISTS statements of `dir_tree`, `metadata`, `metadata_dir`, `preset`,
/// `preset_metadata`, `preset_history`, `reindex_state` and `workspace_uuid`, in that order.
std::vector<std::string> createTables();
/// CREATE INDEX IF NOT EXISTS statements, in their fixed order.
std::vector<std::string> createIndices();
/// The generator's task table, created last.
std::string createTaskTable();
/// The five tables a rebuild drops, in dropping order (links before what they link).
std::vector<std::string> droppedOnRebuild();
/// The five tables the indexer tracks stale rows of, prefixed.
std::vector<std::string> indexedTables();

} // namespace torvo::schema

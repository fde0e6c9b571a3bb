#pragma once
// The steps of the workspace database's start sequence that look at what an older or damaged
// file holds and bring it to the current layout. Each works on an open handle inside the
// caller's exclusive transaction and stops at the first failing statement.

#include "workspace/storagestatus.h"

#include <string>

struct sqlite3;

namespace torvo::migrations {

/// "PRAGMA integrity_check;": `intact` is true when a result row reads "ok".
bool checkIntegrity(sqlite3* db, StorageStatus& status, bool& intact);
/// Drops the index tables so that the next reindex rebuilds them.
bool dropIndexTables(sqlite3* db, StorageStatus& status);
/// Tables, then indices, then the task table.
bool createSchema(sqlite3* db, StorageStatus& status);
/// Gives the query planner the shape of a typical library, unless the file already has
/// statistics: without them SQLite picks among equally good-looking indices by creation order,
/// and the lookups of the indexer would scan by `type` or `index`, which nearly every row shares.
bool seedPlannerStatistics(sqlite3* db, StorageStatus& status);
/// Older files lack `plug_version` in `reindex_state`.
bool addPlugVersionColumn(sqlite3* db, StorageStatus& status);
/// True when the tree lacks its two roots, or another build asked this platform to reindex.
bool readNeedReindex(sqlite3* db, StorageStatus& status, bool& needReindex);
/// Carries favourites and history over from the tables of the older platform word, then drops
/// those tables.
bool migrateOlderTables(sqlite3* db, StorageStatus& status);
/// True when no version is stored for this platform, or the stored one is older than the
/// oldest layout that needs no rescan.
bool readNeedsUpgrade(sqlite3* db, StorageStatus& status, bool& needsUpgrade);
bool insertReindexState(sqlite3* db, StorageStatus& status);
/// The first stored workspace UUID, or a new one stored now.
bool loadOrCreateUuid(sqlite3* db, StorageStatus& status, std::string& uuid);

/// Compares dotted versions numerically, component by component: <0, 0 or >0.
int compareVersions(const std::string& a, const std::string& b);
/// 36 characters in the 8-4-4-4-12 form, random (version 4).
std::string makeUuid();

} // namespace torvo::migrations

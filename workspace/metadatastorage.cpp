#include "workspace/metadatastorage.h"

#include "workspace/indexer.h"
#include "workspace/migrations.h"
#include "workspace/reindexer.h"
#include "workspace/schema.h"
#include "workspace/sqlstatement.h"
#include "workspace/storagesession.h"

#include <sqlite3.h>

#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace torvo {

namespace {

std::string withoutTrailingSeparator(std::string path) {
    while (path.size() > 1 && (path.back() == '/' || path.back() == '\\')) path.pop_back();
    return path;
}

/// The file cannot be read as a database at all, so no statement will ever cure it.
bool unreadable(const StorageStatus& status) {
    return status.code == SQLITE_NOTADB || status.code == SQLITE_CORRUPT;
}

} // namespace

MetadataStorage::MetadataStorage() = default;

MetadataStorage::~MetadataStorage() {
    if (transaction) {
        StorageStatus ignored;
        rollback(ignored);
    }
    close();
}

bool MetadataStorage::open(StorageStatus& status, bool create) {
    status.clear();
    if (db != nullptr) return true;
    if (dbPath.empty()) {
        // No roots yet: SQLite would open a private temporary file for an empty name.
        status.set(SQLITE_CANTOPEN);
        return false;
    }
    int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX;
    if (create) flags |= SQLITE_OPEN_CREATE;
    const int rc = sqlite3_open_v2(dbPath.c_str(), &db, flags, nullptr);
    if (rc != SQLITE_OK) {
        status.set(rc);
        sqlite3_close(db);
        db = nullptr;
        return false;
    }
    // Other instances hold the file only for one operation: waiting a moment beats reporting a
    // lock the user cannot see.
    sqlite3_busy_timeout(db, busyTimeoutMs);
    if (!execSql(db, "PRAGMA journal_mode = MEMORY", status)) {
        close();
        return false;
    }
    return true;
}

void MetadataStorage::close() {
    if (db == nullptr) return;
    sqlite3_close(db);
    db = nullptr;
    transaction = false;
    openedForTransaction = false;
}

void MetadataStorage::closeChecked(StorageStatus& status) {
    status.clear();
    if (db == nullptr) return;
    const int rc = sqlite3_close(db);
    if (rc != SQLITE_OK) {
        status.set(rc);
        sqlite3_close_v2(db);
    }
    db = nullptr;
    transaction = false;
    openedForTransaction = false;
}

bool MetadataStorage::openForQuery(StorageStatus& status) {
    if (!open(status, false)) return false;
    close();
    return true;
}

bool MetadataStorage::openAndCheck(StorageStatus& status, std::string& errorText) {
    errorText.clear();
    if (!open(status, true)) {
        if (!unreadable(status) || !setAsideUnreadableFile(status)) {
            errorText = status.message;
            return false;
        }
    }
    if (checkAndMigrate(status, errorText)) return true;
    if (!unreadable(status)) return false;
    // A page-level corruption that even the drops cannot get past: the index is only a copy of
    // the files, so it starts afresh and the next reindex fills it again.
    if (!open(status, true) && !unreadable(status)) {
        errorText = status.message;
        return false;
    }
    if (!setAsideUnreadableFile(status)) {
        errorText = status.message;
        return false;
    }
    return checkAndMigrate(status, errorText);
}

bool MetadataStorage::setAsideUnreadableFile(StorageStatus& status) {
    close();
    std::error_code ec;
    fs::rename(dbPath, dbPath + ".corrupt", ec);
    if (ec) fs::remove(dbPath, ec);
    return open(status, true);
}

bool MetadataStorage::checkAndMigrate(StorageStatus& status, std::string& errorText) {
    auto failed = [&] {
        StorageStatus ignored;
        if (transaction) rollback(ignored);
        close();
        errorText = status.message;
        return false;
    };
    if (!beginExclusive(status)) return failed();
    bool intact = false;
    if (!migrations::checkIntegrity(db, status, intact)) return failed();
    if (!intact && !migrations::dropIndexTables(db, status)) return failed();
    if (!migrations::createSchema(db, status)) return failed();
    if (!migrations::seedPlannerStatistics(db, status)) return failed();
    if (!migrations::addPlugVersionColumn(db, status)) return failed();
    bool reindexNeeded = false;
    if (!migrations::readNeedReindex(db, status, reindexNeeded)) return failed();
    if (!migrations::migrateOlderTables(db, status)) return failed();
    if (!needsUpgradeFlag) {
        bool upgrade = false;
        if (!migrations::readNeedsUpgrade(db, status, upgrade)) return failed();
        needsUpgradeFlag = upgrade;
    }
    if (!migrations::insertReindexState(db, status)) return failed();
    std::string text;
    if (!migrations::loadOrCreateUuid(db, status, text)) return failed();
    if (!commit(status)) return failed();
    close();
    needReindexFlag = reindexNeeded;
    uuid = text;
    return true;
}

bool MetadataStorage::setRoots(Bank& readBank, const std::string& workspace,
                               const std::string& factory, StorageStatus& status) {
    bank = &readBank;
    workspaceDir = withoutTrailingSeparator(workspace);
    factoryDir = withoutTrailingSeparator(factory);
    dbPath = (fs::path(workspaceDir) / schema::kDatabaseFileName).string();
    std::error_code ec;
    fs::create_directories(workspaceDir, ec);
    close();
    // Can the file be made at all? A read-only folder answers here rather than mid-start.
    if (!open(status, true) && !unreadable(status)) return false;
    close();
    std::string errorText;
    if (!openAndCheck(status, errorText)) return false;
    if (needReindexFlag) return reindex(status, false, true);
    return true;
}

bool MetadataStorage::scanTree(const std::string& root, FileItemOp& op, bool recursive,
                               const std::string& subPath) {
    std::string start = withoutTrailingSeparator(root);
    std::string below = subPath;
    while (!below.empty() && (below.front() == '/' || below.front() == '\\')) below.erase(0, 1);
    if (!below.empty()) start = withoutTrailingSeparator((fs::path(start) / below).string());
    op.onItem(start.c_str(), true);

    std::error_code ec;
    if (!fs::is_directory(start, ec)) {
        op.onFinished();
        return true;
    }
    auto visit = [&](const fs::directory_entry& entry) {
        if (fullScanFlag || op.stopRequested()) return false;
        std::error_code typeError;
        const bool isFolder = entry.is_directory(typeError);
        if (!isFolder && !entry.is_regular_file(typeError)) return true;
        op.onItem(entry.path().string().c_str(), isFolder);
        op.onProgress();
        return true;
    };
    const auto options = fs::directory_options::skip_permission_denied;
    bool complete = true;
    if (recursive) {
        for (fs::recursive_directory_iterator it(start, options, ec), end; !ec && it != end;
             it.increment(ec)) {
            if (!visit(*it)) {
                complete = false;
                break;
            }
        }
    } else {
        for (fs::directory_iterator it(start, options, ec), end; !ec && it != end;
             it.increment(ec)) {
            if (!visit(*it)) {
                complete = false;
                break;
            }
        }
    }
    if (complete)
        op.onFinished();
    else
        op.onAborted();
    return complete;
}

bool MetadataStorage::beginExclusive(StorageStatus& status) {
    status.clear();
    bool openedHere = false;
    if (db == nullptr) {
        if (!open(status, false)) return false;
        openedHere = true;
    }
    if (!execSql(db, "BEGIN EXCLUSIVE", status)) {
        if (openedHere) close();
        return false;
    }
    transaction = true;
    openedForTransaction = openedHere;
    return true;
}

bool MetadataStorage::commit(StorageStatus& status) {
    status.clear();
    if (!execSql(db, "COMMIT", status)) return false;
    transaction = false;
    if (openedForTransaction) close();
    return true;
}

bool MetadataStorage::rollback(StorageStatus& status) {
    status.clear();
    const bool done = execSql(db, "ROLLBACK", status);
    transaction = false;
    if (openedForTransaction) close();
    return done;
}

bool MetadataStorage::requestReindexOtherPlatforms(StorageStatus& status) {
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    SqlStatement update(db, "UPDATE `reindex_state` SET `need_reindex`=1 WHERE `platform`!=?",
                        status);
    update.bind(1, std::string(schema::kPlatform));
    return update.run();
}

bool MetadataStorage::refreshExpandable(StorageStatus& status) {
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    const std::string tree = schema::table("dir_tree");
    return execSql(db, "UPDATE " + tree + " SET `is_expandable` = 0", status) &&
           execSql(db,
                   "UPDATE " + tree +
                       " SET `is_expandable` = 1 WHERE `id` IN (SELECT DISTINCT "
                       "`parent_id` FROM " +
                       tree + ")",
                   status);
}

bool MetadataStorage::reindex(StorageStatus& status, bool force, bool fullScan,
                              const std::string& subPath) {
    status.clear();
    if (!needReindexFlag && !force) return true;
    StorageSession session(*this, status);
    if (!session.ready()) return false;
    const bool ownsTransaction = fullScan && !transaction;
    if (ownsTransaction && !beginExclusive(status)) return false;
    auto abandon = [&] {
        if (ownsTransaction) {
            StorageStatus ignored;
            rollback(ignored);
            fullScanFlag = false;
        }
        return false;
    };

    const bool whole = subPath.empty();
    StaleSets stale;
    if (whole) {
        for (const std::string& name : schema::indexedTables()) {
            SqlStatement ids(db, "SELECT `id` FROM " + name, status);
            auto& set = stale[name];
            while (ids.step()) set.insert(ids.int64At(0));
            if (!status.ok()) return abandon();
        }
    }

    bool complete = true;
    {
        ReindexerFileListItemOp user(*this, workspaceDir, false, whole ? &stale : nullptr);
        complete = scanTree(workspaceDir, user, true, subPath);
        if (!user.status().ok()) {
            status = user.status();
            return abandon();
        }
    }
    // Factory content changes only with a new build, so only a whole run walks it.
    if (complete && whole) {
        ReindexerFileListItemOp factory(*this, factoryDir, true, &stale);
        complete = scanTree(factoryDir, factory, true, {});
        if (!factory.status().ok()) {
            status = factory.status();
            return abandon();
        }
    }
    if (!complete || fullScanFlag) {
        status.set(SQLITE_ABORT);
        return abandon();
    }

    for (const auto& [name, ids] : stale) {
        for (int64_t id : ids) {
            SqlStatement remove(db, "DELETE FROM " + name + " WHERE `id`=?", status);
            remove.bind(1, id);
            if (!remove.run()) return abandon();
        }
    }
    if (!rebuildCounters(status) || !requestReindexOtherPlatforms(status) ||
        !refreshExpandable(status))
        return abandon();
    const std::string history = schema::table("preset_history");
    if (!execSql(db,
                 "DELETE FROM " + history + " WHERE `preset_id` NOT IN (SELECT `id` FROM " +
                     schema::table("preset") + ")",
                 status))
        return abandon();
    SqlStatement state(db,
                       "UPDATE `reindex_state` SET `need_reindex`=0, `plug_version`=? WHERE "
                       "`platform`=?",
                       status);
    state.bind(1, std::string(schema::kBuildVersion)).bind(2, std::string(schema::kPlatform));
    if (!state.run()) return abandon();
    if (ownsTransaction && !commit(status)) return abandon();
    needReindexFlag = false;
    needsUpgradeFlag = false;
    return true;
}

std::shared_ptr<NewFileIndexer> MetadataStorage::openIndexer(const std::string& rootPath,
                                                             bool isFactory) {
    return std::make_shared<NewFileIndexerImpl>(*this, bank, rootPath, isFactory);
}

} // namespace torvo

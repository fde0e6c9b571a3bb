#pragma once
// The single owner of the workspace database "workspace.db": an index over the preset files of
// the factory folder and the user's workspace folder (folders, banks, presets, tags, authors,
// favourites, history). The files are the truth; the index may be thrown away and rebuilt.
//
// Every public operation opens the file if it is closed and closes it on the way out, so no
// lock outlives a user action; inside beginExclusive .. commit/rollback the handle stays open.
// The handle is opened without SQLite's own mutex: one store serves one thread at a time.
// Between instances and processes, SQLite's file lock is the only coordination; a busy file is
// waited for briefly and then reported as status 5.

#include "workspace/storagerows.h"
#include "workspace/storagestatus.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct sqlite3;

namespace torvo {

class Bank;
class NewFileIndexer;

class MetadataStorage {
public:
    /// Visitor of a folder walk.
    class FileItemOp {
    public:
        virtual ~FileItemOp() = default;
        /// Called once for the root and then for every entry; answers a row id or -1.
        virtual int64_t onItem(const char* path, bool isFolder) = 0;
        virtual void onFinished() {}
        virtual void onAborted() {}
        virtual void onProgress() {}
        /// True once the visitor has met a failure that makes the rest of the walk useless.
        virtual bool stopRequested() const { return false; }
    };

    /// How long a busy file is waited for before the operation reports it.
    static constexpr int kBusyTimeoutMs = 5000;

    MetadataStorage();
    MetadataStorage(const MetadataStorage&) = delete;
    MetadataStorage& operator=(const MetadataStorage&) = delete;

    // Lifecycle.
    virtual bool openAndCheck(StorageStatus& status, std::string& errorText);
    virtual void closeChecked(StorageStatus& status);
    virtual bool open(StorageStatus& status, bool create);
    virtual void close();
    /// Walks root (and subPath below it); false when the walk was abandoned.
    virtual bool scanTree(const std::string& root, FileItemOp& op, bool recursive,
                          const std::string& subPath);
    virtual bool requestReindexOtherPlatforms(StorageStatus& status);
    virtual bool refreshExpandable(StorageStatus& status);
    virtual bool openForQuery(StorageStatus& status);
    virtual const std::string& workspaceUuid() const { return uuid; }
    virtual bool isOpen() const { return db != nullptr; }
    virtual bool setRoots(Bank& bank, const std::string& workspaceDir,
                          const std::string& factoryDir, StorageStatus& status);
    virtual ~MetadataStorage();
    virtual bool reindex(StorageStatus& status, bool force, bool fullScan,
                         const std::string& subPath = {});
    virtual void requestFullScan() { fullScanFlag = true; }
    /// Clears a cancel request once the abandoned run has rolled back.
    void clearFullScanRequest() { fullScanFlag = false; }
    virtual bool needsUpgrade() const { return needsUpgradeFlag; }
    virtual bool fullScanRequested() const { return fullScanFlag; }

    // Browsing.
    virtual bool listChildren(StorageStatus& status, std::vector<FolderRow>& out, int64_t parentId,
                              bool isFactory);
    virtual bool folderById(StorageStatus& status, int64_t id, FolderRow& out,
                            bool showFactory = true);
    virtual bool folderOfPreset(StorageStatus& status, int64_t presetId, FolderRow& out,
                                bool showFactory = true);
    virtual bool presetsByIds(StorageStatus& status, const std::vector<int64_t>& ids,
                              std::vector<PresetListRow>& out, bool favOnly);
    virtual bool presetsInFolderTree(StorageStatus& status, std::vector<PresetListRow>& out,
                                     int64_t folderId, const std::string& filter, bool recursive,
                                     bool favOnly, bool showFactory = true);
    virtual bool searchAll(StorageStatus& status, std::vector<PresetListRow>& out,
                           const std::string& filter, bool showFactory = true);
    virtual bool presetsOfMetadata(StorageStatus& status, std::vector<PresetListRow>& out,
                                   int64_t folderId, int64_t metadataId, bool favOnly,
                                   bool showFactory = true);
    virtual bool setFavorite(StorageStatus& status, const std::vector<int64_t>& ids, bool favorite);
    virtual bool presetRow(StorageStatus& status, int64_t id, PresetRecord& out);
    virtual bool findPreset(StorageStatus& status, const PresetKey& key, int64_t& id);
    virtual bool folderNameExists(StorageStatus& status, int64_t parentId, const std::string& name,
                                  bool& exists);
    virtual bool presetNameExists(StorageStatus& status, int64_t dirId, const std::string& name,
                                  bool& exists);
    virtual bool makeNewFolderName(int64_t parentId, std::string& name);

    // Transactions.
    virtual bool beginExclusive(StorageStatus& status);
    virtual bool commit(StorageStatus& status);
    virtual bool rollback(StorageStatus& status);

    // Single changes after the file operation succeeded.
    virtual bool createFolder(StorageStatus& status, int64_t parentId, const std::string& name,
                              std::string& path, int64_t& id, int type = 0);
    /// Renames the row and rewrites the paths of its descendants. They are matched by the old
    /// path followed by a separator, so a sibling whose name merely starts with the old name
    /// keeps its path.
    virtual bool renameFolder(StorageStatus& status, int64_t id, const std::string& newName,
                              std::string& newPath);
    virtual bool addPresetFile(StorageStatus& status, int64_t dirId, const std::string& name,
                               const std::string& filename, bool isFavorite, int type, int64_t& id);
    /// Sets the preset's author and tags as the links of row `presetId`.
    virtual bool replaceMetadata(StorageStatus& status, int64_t presetId, const std::string& author,
                                 const std::vector<std::string>& tags);
    virtual std::shared_ptr<NewFileIndexer> openIndexer(const std::string& rootPath,
                                                        bool isFactory);
    virtual bool deletePresets(StorageStatus& status, const std::vector<int64_t>& ids);
    virtual bool renamePreset(StorageStatus& status, int64_t id, const std::string& newName);
    virtual bool deleteFolders(StorageStatus& status, const std::vector<int64_t>& ids);

    // Tags and authors.
    virtual bool listMetadata(StorageStatus& status, int type, std::vector<MetadataRow>& out);
    virtual bool foldersOfMetadata(StorageStatus& status, std::vector<FolderRow>& out,
                                   int64_t metadataId, int64_t parentId, bool isFactory);

    // History.
    virtual bool addHistory(StorageStatus& status, int64_t presetId);
    virtual bool clearHistory(StorageStatus& status);
    virtual bool listHistory(StorageStatus& status, std::vector<HistoryRow>& out);

    // Generator tasks.
    virtual bool addTask(StorageStatus& status, const AITaskRow& task);
    virtual bool listTasks(StorageStatus& status, std::vector<AITaskRow>& out);
    virtual bool countTasks(StorageStatus& status, int64_t& count);
    virtual bool taskById(StorageStatus& status, const std::string& taskUuid, AITaskRow& out,
                          bool& found);
    virtual bool deleteTask(StorageStatus& status, const std::string& taskUuid);
    virtual bool takeOverTasks(StorageStatus& status, const std::string& plugUuid);
    virtual bool tasksOfOtherPlugs(StorageStatus& status, const std::string& plugUuid, bool& any);

    /// Stored counters of every folder and tag, recomputed from the links (in a transaction
    /// of its own unless one is running).
    bool rebuildCounters(StorageStatus& status);

    /// How long this store waits for a busy file before reporting it.
    void setBusyTimeout(int milliseconds) { busyTimeoutMs = milliseconds; }
    bool needReindex() const { return needReindexFlag; }
    bool inTransaction() const { return transaction; }
    const std::string& databasePath() const { return dbPath; }
    const std::string& workspaceFolder() const { return workspaceDir; }
    const std::string& factoryFolder() const { return factoryDir; }
    Bank* readingBank() const { return bank; }
    /// The open handle, for the indexer's visitors; null when closed.
    sqlite3* handle() const { return db; }

private:
    /// Runs the start sequence on the open handle inside its exclusive transaction.
    bool checkAndMigrate(StorageStatus& status, std::string& errorText);
    /// The file could not be read as a database at all: keep it aside and start afresh.
    bool setAsideUnreadableFile(StorageStatus& status);
    bool presetList(StorageStatus& status, const std::string& sql, int64_t bindId,
                    const std::string* filter, std::vector<PresetListRow>& out);
    bool folderQuery(StorageStatus& status, const std::string& sql, int64_t id, bool withId,
                     FolderRow& out);
    std::string factoryTest(bool showFactory) const;

    sqlite3* db = nullptr;
    std::string workspaceDir;
    std::string factoryDir;
    std::string dbPath;
    std::string uuid;
    bool needReindexFlag = false;
    bool needsUpgradeFlag = false;
    std::atomic<bool> fullScanFlag{false};
    bool transaction = false;
    int busyTimeoutMs = kBusyTimeoutMs;
    /// The handle was opened by beginExclusive, so commit and rollback close it again.
    bool openedForTransaction = false;
    Bank* bank = nullptr;
};

} // namespace torvo

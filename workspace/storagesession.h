#pragma once
// Keeps the workspace database open for the length of one store operation: opens it when it is
// closed and closes it again on the way out, unless a transaction is running, whose owner closes
// it with the commit or rollback.

#include "workspace/metadatastorage.h"

namespace torvo {

class StorageSession {
public:
    StorageSession(MetadataStorage& store, StorageStatus& status);
    StorageSession(const StorageSession&) = delete;
    StorageSession& operator=(const StorageSession&) = delete;
    ~StorageSession();

    /// The handle is open.
    bool ready() const { return isReady; }

private:
    MetadataStorage& store;
    bool opened = false;
    bool isReady = false;
};

/// Runs a batch of writes in an exclusive transaction unless the caller already holds one.
class StorageBatch {
public:
    StorageBatch(MetadataStorage& store, StorageStatus& status);
    StorageBatch(const StorageBatch&) = delete;
    StorageBatch& operator=(const StorageBatch&) = delete;
    /// Rolls back unless finished.
    ~StorageBatch();

    bool ready() const { return isReady; }
    /// Commits when this batch began the transaction; on failure rolls back. Answers success.
    bool finish();

private:
    MetadataStorage& store;
    StorageStatus& status;
    bool owns = false;
    bool isReady = false;
    bool done = false;
};

} // namespace torvo

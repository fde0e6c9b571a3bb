#include "workspace/storagesession.h"

namespace torvo {

StorageSession::StorageSession(MetadataStorage& owner, StorageStatus& status) : store(owner) {
    status.clear();
    if (store.isOpen()) {
        isReady = true;
        return;
    }
    opened = store.open(status, false);
    isReady = opened;
}

StorageSession::~StorageSession() {
    if (opened && !store.inTransaction()) store.close();
}

StorageBatch::StorageBatch(MetadataStorage& owner, StorageStatus& out) : store(owner), status(out) {
    status.clear();
    if (store.inTransaction()) {
        isReady = true;
        return;
    }
    owns = store.beginExclusive(status);
    isReady = owns;
}

StorageBatch::~StorageBatch() {
    if (owns && !done) {
        StorageStatus ignored;
        store.rollback(ignored);
    }
}

bool StorageBatch::finish() {
    done = true;
    if (!owns) return status.ok();
    if (!status.ok()) {
        StorageStatus ignored;
        store.rollback(ignored);
        return false;
    }
    if (store.commit(status)) return true;
    StorageStatus ignored;
    store.rollback(ignored);
    return false;
}

} // namespace torvo

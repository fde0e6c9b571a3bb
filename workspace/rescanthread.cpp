#include "workspace/rescanthread.h"

#include "workspace/metadatastorage.h"

#include <sqlite3.h>

#include <utility>

namespace torvo {

RescanWorkspaceThread::RescanWorkspaceThread(MetadataStorage& owner, EndHandler handler)
    : store(owner), onEnd(std::move(handler)) {}

RescanWorkspaceThread::~RescanWorkspaceThread() {
    cancel();
    join();
}

bool RescanWorkspaceThread::start(StorageStatus& status) {
    if (busy) {
        status.set(SQLITE_BUSY);
        return false;
    }
    join();
    if (!store.beginExclusive(status)) return false;
    cancelled = false;
    busy = true;
    worker = std::thread([this] { run(); });
    return true;
}

void RescanWorkspaceThread::cancel() {
    if (!busy) return;
    cancelled = true;
    store.requestFullScan();
}

void RescanWorkspaceThread::join() {
    if (worker.joinable()) worker.join();
}

void RescanWorkspaceThread::run() {
    StorageStatus status;
    const bool done = store.reindex(status, true, false);
    const bool wasCancelled = cancelled || store.fullScanRequested();
    StorageStatus ending;
    if (done && !wasCancelled) {
        if (!store.commit(ending)) {
            status = ending;
            store.rollback(ending);
        }
    } else {
        store.rollback(ending);
    }
    store.close();
    // The cancel request has done its work; the next run starts clean.
    store.clearFullScanRequest();
    busy = false;
    if (onEnd) onEnd(status, wasCancelled);
}

} // namespace torvo

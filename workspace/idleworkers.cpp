#include "workspace/idleworkers.h"

#include "workspace/metadatastorage.h"

namespace torvo {

void RebuildPresetCounterIdleWorker::run() {
    // A failure here only leaves the counters as they were; the next rescan recomputes them.
    StorageStatus status;
    store.rebuildCounters(status);
}

} // namespace torvo

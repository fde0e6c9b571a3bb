#include "workspace/indexer.h"

#include "workspace/metadatastorage.h"
#include "workspace/reindexer.h"

namespace torvo {

NewFileIndexerImpl::NewFileIndexerImpl(MetadataStorage& owner, Bank*, const std::string& rootPath,
                                       bool isFactory)
    : store(owner) {
    StorageStatus status;
    const bool wasOpen = store.isOpen();
    if (!wasOpen && !store.open(status, false)) return;
    opened = !wasOpen;
    op = std::make_unique<ReindexerFileListItemOp>(store, rootPath, isFactory, nullptr);
}

NewFileIndexerImpl::~NewFileIndexerImpl() {
    if (op) finish(false);
}

int64_t NewFileIndexerImpl::addPath(const std::string& relativePath, bool isFolder) {
    if (!op) return -1;
    return op->onItem(relativePath.c_str(), isFolder);
}

std::string NewFileIndexerImpl::inferTag(const std::string& name) {
    if (!op) return {};
    return op->inferTag(name);
}

void NewFileIndexerImpl::finish(bool rebuildCounters) {
    if (!op) return;
    op.reset();
    StorageStatus status;
    if (rebuildCounters) {
        store.rebuildCounters(status);
        store.refreshExpandable(status);
    }
    if (opened && !store.inTransaction()) store.close();
    opened = false;
}

} // namespace torvo

#pragma once
// Jobs that the editor's idle loop runs once on the user-interface thread: the end of a
// background rescan, and the stored counters after a batch of favourite changes.

#include <functional>
#include <utility>

namespace torvo {

class MetadataStorage;

class IdleWorkerBase {
public:
    virtual ~IdleWorkerBase() = default;
    virtual void run() = 0;
};

/// After a rescan: reloads whatever the left-hand list shows (tree, tags, authors or history)
/// and selects it again. The reload belongs to the preset manager, which hands it in.
class FinishIndexingIdleWorker : public IdleWorkerBase {
public:
    explicit FinishIndexingIdleWorker(std::function<void()> reloadSelection)
        : reload(std::move(reloadSelection)) {}
    void run() override {
        if (reload) reload();
    }

private:
    std::function<void()> reload;
};

/// After favourites changed in a batch: recomputes the stored counters once for all of them.
class RebuildPresetCounterIdleWorker : public IdleWorkerBase {
public:
    explicit RebuildPresetCounterIdleWorker(MetadataStorage& owner) : store(owner) {}
    void run() override;

private:
    MetadataStorage& store;
};

} // namespace torvo

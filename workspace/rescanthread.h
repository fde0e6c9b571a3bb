#pragma once
// One reindex of the workspace on a background thread, while the user interface shows a modal
// progress dialog. The exclusive transaction is taken on the caller's thread before the thread
// starts, so a busy workspace is reported at once; the thread commits, or rolls back when the
// run was cancelled or failed, and then reports through `onEnd`.

#include "workspace/storagestatus.h"

#include <atomic>
#include <functional>
#include <thread>

namespace torvo {

class MetadataStorage;

class RescanWorkspaceThread {
public:
    /// Runs on the background thread once the run is over: the final status and whether the
    /// run was cancelled. The editor hands its idle queue a worker from here.
    using EndHandler = std::function<void(const StorageStatus& status, bool cancelled)>;

    /// The text of the progress dialog; the dialog adds a moving ellipsis to "Reindexing ".
    static constexpr const char* kProgressText = "Reindexing workspace";
    static constexpr const char* kAnimationName = "ReindexingAnimation";

    RescanWorkspaceThread(MetadataStorage& store, EndHandler onEnd);
    RescanWorkspaceThread(const RescanWorkspaceThread&) = delete;
    RescanWorkspaceThread& operator=(const RescanWorkspaceThread&) = delete;
    /// Cancels a running rescan and waits for it.
    ~RescanWorkspaceThread();

    /// Takes the database exclusively, then starts the thread. False, with the status to show,
    /// when the database could not be taken or a rescan is already running.
    bool start(StorageStatus& status);
    /// Asks the walk to stop; the run then rolls back.
    void cancel();
    /// Waits for the thread; safe to call when none runs.
    void join();
    bool running() const { return busy; }

private:
    void run();

    MetadataStorage& store;
    EndHandler onEnd;
    std::thread worker;
    std::atomic<bool> busy{false};
    std::atomic<bool> cancelled{false};
};

} // namespace torvo

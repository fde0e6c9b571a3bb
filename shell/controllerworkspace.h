#pragma once
// The controller's link to the preset library on disk. Opening the workspace database may
// mean creating it and indexing every preset file, which can take long on a big library, so it
// runs on a thread of its own, started the first time anyone asks for the workspace (an
// instance that is only played never touches the disk for it); the host never waits for it.
// Until it has finished, and for good when it failed (a folder that cannot be written, a broken
// database, a locked file), the instance simply has no workspace: every user asks `available`
// first. The store is handed to the message thread only after the thread has ended, so it is
// never used from two threads at once.

#include "workspace/metadatastorage.h"
#include "workspace/storagestatus.h"

#include <atomic>
#include <string>
#include <thread>

namespace torvo {

class Bank;
class Config;
class IEventBus;
class PresetManagerModel;

class ControllerWorkspace {
public:
    ControllerWorkspace(Bank& bank, Config& config, PresetManagerModel& model, IEventBus& bus);
    ControllerWorkspace(const ControllerWorkspace&) = delete;
    ControllerWorkspace& operator=(const ControllerWorkspace&) = delete;
    /// Stops an unfinished opening and waits for it.
    ~ControllerWorkspace();

    /// Where the store will open: `workspaceDir` and `factoryDir`.
    void setFolders(const std::string& workspaceDir, const std::string& factoryDir);
    /// Never waits: true once the store is open and the model works on it. The first call
    /// starts the opening; the first call after it ended links the model and records the
    /// outcome.
    bool available();
    /// As `available`, but when the database is already there (opening it is quick: no first
    /// index to build) waits for the opening. A host state names its workspace by identity;
    /// read or written before the store answers, it would lose its place in the library.
    bool availableForState();
    /// Asks an opening still under way to give up, and waits for its thread.
    void stop();

    MetadataStorage& store() { return storage; }
    /// "no workspace" with the reason, "ready", or "opening" while the thread runs.
    const std::string& statusText() const { return status; }

private:
    void start();
    void open(std::string workspaceDir, std::string factoryDir);
    void finish();

    Bank& bank;
    Config& config;
    PresetManagerModel& model;
    IEventBus& bus;
    MetadataStorage storage;
    std::string workspaceFolder;
    std::string factoryFolder;
    std::thread opener;
    std::atomic<bool> finished{false};
    /// Written by the opener before `finished`, read after it.
    bool openedOk = false;
    StorageStatus openStatus;
    bool linked = false;
    bool settled = false;
    bool stopping = false;
    /// The database existed when the opening started.
    bool quickOpen = false;
    std::string status = "no workspace";
};

} // namespace torvo

#include "shell/controllerworkspace.h"

#include "workspace/presetmanagermodel.h"
#include "workspace/schema.h"

#include <cstdio>
#include <exception>
#include <filesystem>

namespace torvo {

ControllerWorkspace::ControllerWorkspace(Bank& b, Config& c, PresetManagerModel& m,
                                         IEventBus& eventBus)
    : bank(b), config(c), model(m), bus(eventBus) {}

ControllerWorkspace::~ControllerWorkspace() {
    stop();
}

void ControllerWorkspace::setFolders(const std::string& workspaceDir,
                                     const std::string& factoryDir) {
    workspaceFolder = workspaceDir;
    factoryFolder = factoryDir;
}

void ControllerWorkspace::start() {
    if (opener.joinable() || settled) return;
    if (workspaceFolder.empty()) {
        settled = true;
        status = "no workspace: no workspace folder is known";
        std::fprintf(stderr, "Torvo: %s\n", status.c_str());
        return;
    }
    status = "opening";
    std::error_code ec;
    quickOpen = std::filesystem::is_regular_file(
        std::filesystem::path(workspaceFolder) / schema::kDatabaseFileName, ec);
    try {
        opener = std::thread(&ControllerWorkspace::open, this, workspaceFolder, factoryFolder);
    } catch (const std::exception&) {
        settled = true;
        status = "no workspace: the opening could not be started";
        std::fprintf(stderr, "Torvo: %s\n", status.c_str());
    }
}

void ControllerWorkspace::open(std::string workspaceDir, std::string factoryDir) {
    try {
        StorageStatus result;
        openedOk = storage.setRoots(bank, workspaceDir, factoryDir, result) && result.ok();
        openStatus = result;
    } catch (const std::exception&) {
        openedOk = false;
        openStatus.code = -1;
        openStatus.message = "unexpected failure";
    }
    finished.store(true, std::memory_order_release);
}

void ControllerWorkspace::finish() {
    if (opener.joinable()) opener.join();
    settled = true;
    if (!openedOk || storage.fullScanRequested()) {
        storage.clearFullScanRequest();
        if (stopping) {
            status = "no workspace: closed before it was open";
            return;
        }
        status = "no workspace: status " + std::to_string(openStatus.code) +
                 (openStatus.message.empty() ? std::string() : " " + openStatus.message);
        std::fprintf(stderr, "Torvo: %s (%s)\n", status.c_str(), storage.workspaceFolder().c_str());
        return;
    }
    if (stopping) {
        status = "closed";
        return;
    }
    model.setContext(bank, config, storage, bus);
    linked = true;
    status = "ready";
}

bool ControllerWorkspace::available() {
    if (stopping) return linked;
    if (!settled && !opener.joinable()) start();
    if (!settled && finished.load(std::memory_order_acquire)) finish();
    return linked;
}

bool ControllerWorkspace::availableForState() {
    if (stopping) return linked;
    if (!settled && !opener.joinable()) start();
    if (!settled && opener.joinable() && quickOpen) finish();
    return available();
}

void ControllerWorkspace::stop() {
    stopping = true;
    if (!opener.joinable()) return;
    // The indexer's folder walk gives up when a full scan is requested; the run rolls back.
    if (!finished.load(std::memory_order_acquire)) storage.requestFullScan();
    finish();
}

} // namespace torvo

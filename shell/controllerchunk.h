#pragma once
// What the host state needs from the rest of the controller: the tuning, the workspace's
// identity and rows, the preset browser's state and the hooks that turn an old project's bank
// into preset files. Without a workspace each answer is the harmless "none".

#include "presets/chunk.h"

#include <memory>
#include <string>

namespace torvo {

class Bank;
class ControllerTuning;
class ControllerWorkspace;
class NewFileIndexer;
class PresetManagerModel;

class ControllerChunk : public ChunkContext {
public:
    ControllerChunk(Bank& bank, ControllerTuning& tuning, ControllerWorkspace& workspace,
                    PresetManagerModel& model);
    ~ControllerChunk() override;

    std::string scalaState() override;
    void applyScalaState(const std::string& text) override;
    std::string workspaceUuid() override;
    std::string presetManagerState() override;
    void applyPresetManagerState(const std::string& text) override;
    void refreshStore() override;
    bool presetPathForRow(int id, std::string& path) override;
    std::string workspaceFolder() override;
    bool openIndexer(const std::string& folder) override;
    std::string tagForName(const std::string& name) override;
    int registerFile(const std::string& relativePath) override;
    void closeIndexer() override;

    /// True when the last state read carried a tuning at all.
    bool tuningSeen() const { return scalaSeen; }
    void clearTuningSeen() { scalaSeen = false; }

private:
    Bank& bank;
    ControllerTuning& tuning;
    ControllerWorkspace& workspace;
    PresetManagerModel& model;
    std::shared_ptr<NewFileIndexer> indexer;
    bool scalaSeen = false;
};

} // namespace torvo

#include "workspace/workspacestartup.h"

#include "workspace/config.h"
#include "workspace/metadatastorage.h"
#include "workspace/xdgpaths.h"

namespace torvo {

bool startWorkspace(Config& config, Bank& bank, MetadataStorage& store, StorageStatus& status,
                    const std::string& factoryDir) {
    config.load(true);
    return store.setRoots(bank, config.values().workspaceDir, factoryDir, status);
}

bool startWorkspace(Config& config, Bank& bank, MetadataStorage& store, StorageStatus& status) {
    return startWorkspace(config, bank, store, status, paths::factoryPresetFolder());
}

} // namespace torvo

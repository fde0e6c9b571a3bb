#pragma once
// What an instance's controller does with its workspace on initialise: read the user's
// configuration, then open (and, when needed, index) the workspace it names beside the factory
// presets of the bundle.

#include "workspace/storagestatus.h"

#include <string>

namespace torvo {

class Bank;
class Config;
class MetadataStorage;

/// Loads `config` (forced), then points `store` at its workspace folder and `factoryDir`.
/// False, with the status to show, when the workspace cannot be opened.
bool startWorkspace(Config& config, Bank& bank, MetadataStorage& store, StorageStatus& status,
                    const std::string& factoryDir);
/// The same with the factory folder inside the plug-in's own bundle.
bool startWorkspace(Config& config, Bank& bank, MetadataStorage& store, StorageStatus& status);

} // namespace torvo

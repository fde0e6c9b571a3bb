#pragma once
// Where the per-user files live: the configuration under the user's configuration folder, the
// default workspace under the user's data folder, the generator's catalogue cache under the
// cache folder, each the XDG variable or its documented default below the home folder; the
// factory presets inside the plug-in bundle's resources.

#include <string>

namespace torvo::paths {

/// $XDG_CONFIG_HOME/HaldenWorks/ (else ~/.config/HaldenWorks/); empty without any base.
std::string configFolder();
/// $XDG_DATA_HOME/HaldenWorks/Banks/ (else ~/.local/share/...).
std::string defaultWorkspaceFolder();
/// $XDG_CACHE_HOME/HaldenWorks/Torvo/ (else ~/.cache/...).
std::string cacheFolder();
/// <bundle>/Contents/Resources/Factory Presets/, found from the file this code was loaded from
/// (the plug-in's shared object inside <bundle>/Contents/<architecture>/).
std::string factoryPresetFolder();
/// The same for a given module file.
std::string factoryPresetFolderFor(const std::string& modulePath);

} // namespace torvo::paths

#include "workspace/xdgpaths.h"

#include <dlfcn.h>

#include <cstdlib>

namespace torvo::paths {

namespace {

constexpr const char* kVendorFolder = "HaldenWorks/";

/// The XDG variable when set to an absolute path, else the home folder and the fallback.
std::string base(const char* variable, const char* homeFallback) {
    const char* value = std::getenv(variable);
    std::string folder;
    if (value != nullptr && value[0] == '/') {
        folder = value;
    } else {
        const char* home = std::getenv("HOME");
        if (home == nullptr || home[0] == '\0') return {};
        folder = std::string(home) + "/" + homeFallback;
    }
    if (folder.back() != '/') folder += '/';
    return folder;
}

std::string under(const char* variable, const char* homeFallback, const char* tail) {
    const std::string root = base(variable, homeFallback);
    return root.empty() ? std::string() : root + kVendorFolder + tail;
}

} // namespace

std::string configFolder() {
    return under("XDG_CONFIG_HOME", ".config", "");
}

std::string defaultWorkspaceFolder() {
    return under("XDG_DATA_HOME", ".local/share", "Banks/");
}

std::string cacheFolder() {
    return under("XDG_CACHE_HOME", ".cache", "Torvo/");
}

std::string factoryPresetFolderFor(const std::string& modulePath) {
    // <bundle>/Contents/x86_64-linux/Torvo.so -> <bundle>/Contents/Resources/Factory Presets/
    std::string folder = modulePath;
    for (int level = 0; level < 2; ++level) {
        const std::size_t slash = folder.rfind('/');
        if (slash == std::string::npos) return {};
        folder.erase(slash);
    }
    return folder + "/Resources/Factory Presets/";
}

std::string factoryPresetFolder() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&factoryPresetFolder), &info) == 0 ||
        info.dli_fname == nullptr)
        return {};
    return factoryPresetFolderFor(info.dli_fname);
}

} // namespace torvo::paths

#include "render/bundlelocator.h"

#include "host/pluginmodule.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>

namespace torvo::render {

namespace fs = std::filesystem;

namespace {
constexpr const char* kBundleName = "Torvo.vst3";

std::string programFolder() {
    std::error_code ec;
    const fs::path self = fs::read_symlink("/proc/self/exe", ec);
    return ec ? std::string() : self.parent_path().string();
}
} // namespace

std::vector<std::string> bundleCandidates() {
    std::vector<std::string> out;
    const std::string here = programFolder();
    if (!here.empty()) {
        out.push_back(here + "/" + kBundleName);
        out.push_back(here + "/../" + kBundleName);
        out.push_back(here + "/../lib/vst3/" + kBundleName);
    }
    if (const char* home = std::getenv("HOME"); home && *home)
        out.push_back(std::string(home) + "/.vst3/" + kBundleName);
    out.push_back(std::string("/usr/local/lib/vst3/") + kBundleName);
    out.push_back(std::string("/usr/lib/vst3/") + kBundleName);
    return out;
}

std::string findBundle() {
    for (const std::string& candidate : bundleCandidates()) {
        std::error_code ec;
        if (fs::is_regular_file(host::PluginModule::binaryPath(candidate), ec))
            return fs::weakly_canonical(candidate, ec).string();
    }
    return {};
}

} // namespace torvo::render

#include "workspace/config.h"

#include "presets/codec.h"
#include "workspace/legacyconfig.h"
#include "workspace/xdgpaths.h"

#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace fs = std::filesystem;

namespace torvo {

namespace {

using Json = nlohmann::ordered_json;

std::string withSeparator(std::string path) {
    if (!path.empty() && path.back() != '/') path += '/';
    return path;
}

Config::FileStamp stampOf(const std::string& path) {
    Config::FileStamp stamp;
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return stamp;
    stamp.modifiedNs = int64_t(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec;
    stamp.inode = uint64_t(info.st_ino);
    stamp.size = int64_t(info.st_size);
    return stamp;
}

template <typename T> bool numberAt(const Json& json, const char* key, T& out) {
    const auto it = json.find(key);
    if (it == json.end() || !it->is_number()) return false;
    out = it->template get<T>();
    return true;
}

bool textAt(const Json& json, const char* key, std::string& out) {
    const auto it = json.find(key);
    if (it == json.end() || !it->is_string()) return false;
    out = it->get<std::string>();
    return true;
}

bool flagAt(const Json& json, const char* key, bool& out) {
    const auto it = json.find(key);
    if (it == json.end()) return false;
    if (it->is_boolean())
        out = it->get<bool>();
    else if (it->is_number())
        out = it->get<double>() != 0.0;
    else
        return false;
    return true;
}

std::string encodeParams(const std::vector<float>& params) {
    std::vector<uint8_t> bytes(params.size() * 4);
    for (std::size_t i = 0; i < params.size(); ++i) {
        uint32_t bits = 0;
        std::memcpy(&bits, &params[i], 4);
        for (int b = 0; b < 4; ++b) bytes[4 * i + std::size_t(b)] = uint8_t(bits >> (8 * b));
    }
    std::vector<uint8_t> packed;
    if (!codec::rawDeflate(bytes.data(), bytes.size(), packed)) return {};
    return codec::base64Encode(packed.data(), packed.size());
}

/// The number of floats taken, 0 when the text does not decode.
std::size_t decodeParams(const std::string& text, std::vector<float>& params) {
    std::vector<uint8_t> packed;
    std::vector<uint8_t> bytes;
    if (!codec::base64Decode(text.data(), text.size(), packed) || packed.empty()) return 0;
    if (!codec::rawInflate(packed.data(), packed.size(), bytes, std::size_t(1) << 20)) return 0;
    const std::size_t count = std::min(bytes.size() / 4, std::size_t(kParamCount));
    for (std::size_t i = 0; i < count; ++i) {
        uint32_t bits = 0;
        for (int b = 0; b < 4; ++b) bits |= uint32_t(bytes[4 * i + std::size_t(b)]) << (8 * b);
        std::memcpy(&params[i], &bits, 4);
    }
    return count;
}

} // namespace

Config::Config()
    : Config(paths::configFolder(), paths::cacheFolder(), paths::defaultWorkspaceFolder()) {}

Config::Config(const std::string& configFolder, const std::string& cacheFolder,
               const std::string& defaultWorkspace)
    : folder(withSeparator(configFolder)), workspaceDefault(withSeparator(defaultWorkspace)) {
    jsonPath = folder.empty() ? std::string() : folder + kFileName;
    const std::string cache = withSeparator(cacheFolder);
    if (!cache.empty()) {
        std::error_code ec;
        fs::create_directories(cache, ec);
        cachePath = cache + kCacheFileName;
    }
    useDefaultWorkspace();
}

Config::~Config() = default;

void Config::useDefaultWorkspace() {
    if (current.workspaceDir.empty()) current.workspaceDir = workspaceDefault;
}

int Config::saleCheckDelay(double now, double lastCheck, int randomValue) {
    const int base = now - lastCheck > double(kSaleCheckPeriod) ? 1 : kSaleCheckPeriod;
    return base + (randomValue < 0 ? -randomValue : randomValue) % 20;
}

bool Config::save() {
    MutexLock lock(mutex);
    return saveLocked();
}

bool Config::saveLocked() {
    if (jsonPath.empty()) return false;
    const ConfigValues& v = current;
    Json json;
    json["gui_scale_index"] = v.guiScaleIndex;
    json["show_perf_panel"] = v.showPerfPanel;
    json["theme_id"] = v.themeId;
    json["expand_factory"] = v.expandFactory;
    json["workspace_dir"] = v.workspaceDir;
    json["default_author"] = v.defaultAuthor;
    json["default_vendor"] = v.defaultVendor;
    json["confirm_saving_changes"] = v.confirmSavingChanges;
    json["save_changes_wo_confirm"] = v.saveChangesWithoutConfirm;
    json["apply_init_to_current"] = v.applyInitToCurrent;
    json["convert_legacy_on_import"] = v.convertLegacyOnImport;
    json["sale_check_time"] = v.saleCheckTime;
    json["sale_end_time"] = v.saleEndTime;
    const bool hasDefault = !v.defaultPresetName.empty();
    json["default_preset"] =
        Json{{"name", v.defaultPresetName},
             {"params", hasDefault ? encodeParams(v.defaultPresetParams) : std::string()}};
    json["ai"] = Json{{"net", v.ai.net},
                      {"model", v.ai.model},
                      {"corrector", v.ai.corrector},
                      {"presetCount", v.ai.presetCount},
                      {"s0", v.ai.s0},
                      {"s1", v.ai.s1},
                      {"s2", v.ai.s2},
                      {"s3", v.ai.s3},
                      {"mode", v.ai.mode},
                      {"timbre", v.ai.timbre},
                      {"weight", v.ai.weight}};
    // A folder name from an older file may not be valid UTF-8: replaced, never thrown.
    const std::string text = json.dump(4, ' ', false, Json::error_handler_t::replace) + "\n";

    std::error_code ec;
    fs::create_directories(folder, ec);
    // A name of its own per process and call: two instances saving at once never share it.
    static std::atomic<unsigned> serial{0};
    const std::string temporary = folder + "." + kFileName + "." + std::to_string(::getpid()) +
                                  "." + std::to_string(serial++) + ".tmp";
    FILE* file = std::fopen(temporary.c_str(), "wb");
    if (file == nullptr) return false;
    const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size() &&
                         std::fflush(file) == 0 && ::fsync(::fileno(file)) == 0;
    const bool closed = std::fclose(file) == 0;
    if (!written || !closed || std::rename(temporary.c_str(), jsonPath.c_str()) != 0) {
        std::remove(temporary.c_str());
        return false;
    }
    seen = stampOf(jsonPath);
    return true;
}

bool Config::load(bool force) {
    MutexLock lock(mutex);
    if (jsonPath.empty()) {
        useDefaultWorkspace();
        return true;
    }
    const FileStamp stamp = stampOf(jsonPath);
    if (stamp.modifiedNs < 0) {
        readLegacyFiles();
        current.normalise();
        useDefaultWorkspace();
        saveLocked();
        return true;
    }
    if (!force && stamp == seen) return false;

    std::ifstream file(jsonPath, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    bool parsed = false;
    if (file) takeJson(text.str(), parsed);
    if (!parsed) {
        // Keep what the user had: the broken file goes aside under a name of its own, and a
        // sound file with the values in force takes its place.
        keepBrokenFile();
        useDefaultWorkspace();
        saveLocked();
        return true;
    }
    useDefaultWorkspace();
    seen = stamp;
    return true;
}

void Config::takeJson(const std::string& text, bool& parsed) {
    const Json json = Json::parse(text, nullptr, false);
    parsed = !json.is_discarded() && json.is_object();
    if (!parsed) return;

    // Keys that are missing take their defaults; the seeds keep this instance's own.
    ConfigValues v;
    v.ai.s0 = current.ai.s0;
    v.ai.s1 = current.ai.s1;
    v.ai.s2 = current.ai.s2;
    v.ai.s3 = current.ai.s3;
    numberAt(json, "gui_scale_index", v.guiScaleIndex);
    numberAt(json, "show_perf_panel", v.showPerfPanel);
    numberAt(json, "theme_id", v.themeId);
    numberAt(json, "expand_factory", v.expandFactory);
    textAt(json, "workspace_dir", v.workspaceDir);
    textAt(json, "default_author", v.defaultAuthor);
    textAt(json, "default_vendor", v.defaultVendor);
    flagAt(json, "confirm_saving_changes", v.confirmSavingChanges);
    flagAt(json, "save_changes_wo_confirm", v.saveChangesWithoutConfirm);
    numberAt(json, "apply_init_to_current", v.applyInitToCurrent);
    numberAt(json, "convert_legacy_on_import", v.convertLegacyOnImport);
    numberAt(json, "sale_check_time", v.saleCheckTime);
    textAt(json, "sale_end_time", v.saleEndTime);

    const auto preset = json.find("default_preset");
    std::string name;
    std::string params;
    if (preset != json.end() && preset->is_object() && textAt(*preset, "name", name) &&
        textAt(*preset, "params", params)) {
        if (decodeParams(params, v.defaultPresetParams) > 0) v.defaultPresetName = name;
    }

    const auto ai = json.find("ai");
    if (ai != json.end() && ai->is_object()) {
        textAt(*ai, "net", v.ai.net);
        textAt(*ai, "model", v.ai.model);
        textAt(*ai, "corrector", v.ai.corrector);
        numberAt(*ai, "presetCount", v.ai.presetCount);
        long long seed = 0;
        if (numberAt(*ai, "s0", seed)) v.ai.s0 = clampedSeed(seed);
        if (numberAt(*ai, "s1", seed)) v.ai.s1 = clampedSeed(seed);
        if (numberAt(*ai, "s2", seed)) v.ai.s2 = clampedSeed(seed);
        if (numberAt(*ai, "s3", seed)) v.ai.s3 = clampedSeed(seed);
        textAt(*ai, "mode", v.ai.mode);
        textAt(*ai, "timbre", v.ai.timbre);
        numberAt(*ai, "weight", v.ai.weight);
    }
    v.normalise();
    current = std::move(v);
}

void Config::readLegacyFiles() {
    // Each later file overrides what an earlier one gave.
    for (int n = 1; n <= 3; ++n) readLegacyConfigFile(folder + legacyConfigName(n), current);
}

void Config::keepBrokenFile() {
    std::error_code ec;
    for (int n = 1; n < 1000; ++n) {
        const std::string candidate =
            jsonPath + (n == 1 ? std::string(".broken") : ".broken" + std::to_string(n));
        if (fs::exists(candidate, ec)) continue;
        fs::rename(jsonPath, candidate, ec);
        if (!ec) brokenPath = candidate;
        return;
    }
}

} // namespace torvo

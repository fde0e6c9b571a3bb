#include "presets/presetjson.h"

#include "presets/bank.h"
#include "presets/jsonnumbers.h"

#include <cstdio>
#include <unordered_map>

namespace torvo {
namespace {

constexpr int kBendWheel = 720;
constexpr int kGlobalPitch = 723;
constexpr int kGlobalRate = 724;
constexpr std::size_t kMaxTags = 5;
/// No preset file comes near this; anything larger is not one.
constexpr long kMaxFileBytes = 16L << 20;

bool writtenToFile(int i) {
    return i != kBendWheel && i != kGlobalPitch && i != kGlobalRate;
}

std::string replaceLineSeparators(std::string text) {
    static const std::string kSeparator = "\xE2\x80\xA8";
    std::size_t at = 0;
    while ((at = text.find(kSeparator, at)) != std::string::npos) {
        text.replace(at, kSeparator.size(), "\n");
        ++at;
    }
    return text;
}

bool readWholeFile(const std::string& path, std::string& text) {
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) return false;
    bool ok = std::fseek(f, 0, SEEK_END) == 0;
    const long size = ok ? std::ftell(f) : -1;
    ok = ok && size >= 0 && size <= kMaxFileBytes && std::fseek(f, 0, SEEK_SET) == 0;
    if (ok) {
        text.resize(std::size_t(size));
        ok = std::fread(text.data(), 1, text.size(), f) == text.size();
    }
    std::fclose(f);
    return ok;
}

bool writeWholeFile(const std::string& path, const std::string& text) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) return false;
    const bool ok = std::fwrite(text.data(), 1, text.size(), f) == text.size();
    return std::fclose(f) == 0 && ok;
}

/// Row names of a bank to row ids, built per read: the names come from the bank's own rows.
class NameIndex {
public:
    explicit NameIndex(const Bank& bank) {
        ids.reserve(kParamCount);
        for (int i = 0; i < kParamCount; ++i) ids.emplace(bank.paramState(i).name, i);
    }
    int find(const std::string& name) const {
        const auto it = ids.find(name);
        return it == ids.end() ? -1 : it->second;
    }

private:
    std::unordered_map<std::string, int> ids;
};

void readParameters(const OrderedJson& parameters, const Bank& bank, Preset& preset) {
    float* values = preset.params();
    for (int i = 0; i < kParamCount; ++i) values[i] = bank.defaultValue(i);
    if (!parameters.is_object()) return;
    const NameIndex names(bank);
    for (const auto& member : parameters.items()) {
        const int id = names.find(member.key());
        if (id < 0) continue;
        float v = 0.0f;
        if (!readDecimal(member.value(), v) || v > 1.0f || !(v >= 0.0f)) continue;
        values[id] = v;
    }
}

std::unique_ptr<Preset> loadFile(const std::string& path, Bank& bank, std::string& error,
                                 NotesMode notes) {
    std::string text;
    std::unique_ptr<Preset> preset;
    if (readWholeFile(path, text))
        preset = presetFromJson(text, presetNameFromPath(path), bank, notes);
    if (!preset) error += kPresetLoadError;
    return preset;
}

bool writeFile(const std::string& path, const Preset& preset, const Bank& bank, bool withFavorite) {
    return writeWholeFile(path, presetToJson(preset, bank, withFavorite));
}

} // namespace

std::unique_ptr<Preset> presetFromJson(const std::string& text, const std::string& name,
                                       const Bank& bank, NotesMode notes) {
    const OrderedJson root = OrderedJson::parse(text, nullptr, false);
    if (!root.is_object()) return nullptr;
    auto preset = std::make_unique<Preset>();
    preset->setName(name);
    preset->setLegacyWord(0);
    // A file without a parameters member still gives the defaults.
    readParameters(OrderedJson(), bank, *preset);
    std::string value;
    for (const auto& member : root.items()) {
        const std::string& key = member.key();
        const OrderedJson& v = member.value();
        if (key == "parameters") {
            readParameters(v, bank, *preset);
        } else if (key == "tags") {
            if (!v.is_array()) continue;
            std::vector<std::string> tags;
            for (std::size_t i = 0; i < v.size() && i < kMaxTags; ++i)
                if (readText(v[i], value)) tags.push_back(value);
            preset->setTags(tags);
        } else if (!readText(v, value)) {
            continue;
        } else if (key == "favorite") {
            preset->setFavorite(value == "yes");
        } else if (key == "author") {
            preset->setAuthor(value);
        } else if (key == "vendor") {
            preset->setVendor(value);
        } else if (key == "bank") {
            preset->setBank(value);
        } else if (key == "icon") {
            preset->setIcon(value);
        } else if (key == "notes") {
            preset->setNotes(notes == NotesMode::Normalise ? replaceLineSeparators(value) : value);
        }
    }
    return preset;
}

std::string presetToJson(const Preset& preset, const Bank& bank, bool withFavorite) {
    OrderedJson root = OrderedJson::object();
    root["author"] = preset.author();
    root["vendor"] = preset.vendor();
    root["bank"] = preset.bank();
    root["notes"] = preset.notes();
    root["icon"] = preset.icon();
    if (withFavorite) root["favorite"] = preset.isFavorite() ? "yes" : "no";
    root["tags"] = preset.tags();
    // Row names are unique: append the members instead of looking each one up first.
    OrderedJson parameters = OrderedJson::object();
    auto& members = static_cast<std::vector<std::pair<const std::string, OrderedJson>>&>(
        parameters.get_ref<OrderedJson::object_t&>());
    members.reserve(kParamCount);
    const float* values = preset.params();
    for (int i = 0; i < kParamCount; ++i)
        if (writtenToFile(i))
            members.emplace_back(bank.paramState(i).name, sixDigitNumber(values[i]));
    root["parameters"] = std::move(parameters);
    return dumpJson(root, 4) + "\n";
}

std::unique_ptr<Preset> loadPresetFile(const std::string& path, Bank& bank, std::string& error) {
    return loadFile(path, bank, error, NotesMode::Normalise);
}

std::unique_ptr<Preset> readPresetForIndexing(const std::string& path, Bank& bank,
                                              std::string& error) {
    return loadFile(path, bank, error, NotesMode::AsStored);
}

bool writePresetFile(const std::string& path, Preset& preset, Bank& bank) {
    return writeFile(path, preset, bank, true);
}

bool writeConvertedPresetFile(const std::string& path, Preset& preset, Bank& bank) {
    return writeFile(path, preset, bank, false);
}

std::string presetNameFromPath(const std::string& path) {
    std::size_t start = path.find_last_of("/\\");
    start = start == std::string::npos ? 0 : start + 1;
    std::string name = path.substr(start);
    const std::size_t dot = name.rfind('.');
    if (dot != std::string::npos && dot > 0) name.erase(dot);
    return name;
}

} // namespace torvo

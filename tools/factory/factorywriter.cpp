#include "tools/factory/factorywriter.h"

#include "presets/bank.h"
#include "presets/presetjson.h"
#include "shell/paramtable.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <vector>

namespace torvo::factory {

namespace {

constexpr const char* kHouse = "HaldenWorks";

std::vector<std::string> splitTags(const std::string& text) {
    std::vector<std::string> out;
    std::stringstream stream(text);
    std::string tag;
    while (std::getline(stream, tag, ','))
        if (!tag.empty()) out.push_back(tag);
    return out;
}

// A list index in the row's own encoding, so a sound can say "third entry" without knowing
// whether the list is stored in thousandths or spread over 0..1.
float listValue(const ParamRecord& row, int index) {
    if (row.scale == 1000) return float(index) * kThousandth;
    if (row.choiceCount < 2) return 0.0f;
    return float(index) / float(row.choiceCount - 1);
}

bool applySetting(const std::string& setting, Preset& preset, std::string& error) {
    const std::size_t split = setting.find_first_of("=#");
    if (split == std::string::npos) {
        error = "no value in '" + setting + "'";
        return false;
    }
    const int id = findParamId(setting.substr(0, split));
    if (id < 0) {
        error = "no row named '" + setting.substr(0, split) + "'";
        return false;
    }
    const std::string text = setting.substr(split + 1);
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    if (end == text.c_str() || *end != '\0') {
        error = "bad value in '" + setting + "'";
        return false;
    }
    const ParamRecord& row = defaultParamRecord(id);
    float value = float(number);
    if (setting[split] == '#') {
        if (!row.isList() || number < 0.0 || number >= double(row.choiceCount)) {
            error = "no list entry for '" + setting + "'";
            return false;
        }
        value = listValue(row, int(number));
    } else if (value < 0.0f || value > 1.0f) {
        error = "value outside 0..1 in '" + setting + "'";
        return false;
    }
    preset.setParam(id, value);
    return true;
}

} // namespace

bool writeFactorySound(const FactorySound& sound, const std::string& folder, Bank& bank,
                       std::string& error) {
    Preset preset;
    preset.setAllParams(defaultParamValues());
    std::stringstream rows(sound.rows);
    std::string setting;
    while (rows >> setting) {
        if (!applySetting(setting, preset, error)) {
            error = std::string(sound.name) + ": " + error;
            return false;
        }
    }
    const std::filesystem::path dir = std::filesystem::path(folder) / sound.category;
    std::filesystem::create_directories(dir);
    const std::string path = (dir / (std::string(sound.name) + ".tpf2")).string();
    preset.setName(sound.name);
    preset.setAuthor(kHouse);
    preset.setVendor(kHouse);
    preset.setNotes(sound.note);
    preset.setTags(splitTags(sound.tags));
    // The shipped files carry no favourite member: favourites belong to the user.
    if (!writeConvertedPresetFile(path, preset, bank)) {
        error = "cannot write " + path;
        return false;
    }
    return true;
}

} // namespace torvo::factory

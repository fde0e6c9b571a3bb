#include "presets/bank.h"

#include "presets/snapping.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace torvo {
namespace {

constexpr int kBendWheel = 720;
constexpr int kModWheel = 721;
constexpr int kWarm = 711;
constexpr int kBoost = 712;

void copyText(char* field, std::size_t size, const char* text) {
    std::memset(field, 0, size);
    if (text != nullptr) std::strncpy(field, text, size - 1);
}

} // namespace

Bank::Bank() : image(kBankImageBytes + kLegacyRecordBytes, 0) {
    copyText(nameText, sizeof nameText, "Torvo Factory Bank");
    copyText(titleText, sizeof titleText, "Torvo Factory Bank");
    copyText(authorText, sizeof authorText, "Halden Works");
    copyText(linkText, sizeof linkText, "https://haldenworks.example");
    for (int i = 0; i < kParamCount; ++i) paramStates[i] = defaultParamRecord(i);
}

ParamRecord& Bank::paramState(int index) {
    return paramStates[std::clamp(index, 0, kParamCount - 1)];
}

const ParamRecord& Bank::paramState(int index) const {
    return paramStates[std::clamp(index, 0, kParamCount - 1)];
}

void Bank::renderSmoothing(int frames) {
    if (frames <= 0) return;
    for (ParamRecord& r : paramStates) r.changed = 0;
}

bool Bank::writeFile(const std::string& path, const uint8_t* bytes, std::size_t size) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) return false;
    const bool ok = std::fwrite(bytes, 1, size, f) == size;
    return std::fclose(f) == 0 && ok;
}

bool Bank::readFile(const std::string& path, uint8_t* buffer, std::size_t maxSize,
                    std::size_t& size) {
    size = 0;
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) return false;
    size = std::fread(buffer, 1, maxSize, f);
    const bool ok = !std::ferror(f);
    std::fclose(f);
    return ok;
}

void Bank::loadPreset(const Preset& from, bool keepLiveIndices) {
    Preset& live = workPresets[current];
    if (&from != &live) {
        live.setName(from.name());
        const float* source = from.params();
        float* target = live.params();
        for (int i = 0; i < kParamCount; ++i) {
            if (keepLiveIndices && (i == kBendWheel || i == kModWheel)) continue;
            target[i] = i < from.paramCount() ? source[i] : defaultValues[i];
        }
        live.setAuthor(from.author());
        live.setVendor(from.vendor());
        live.setNotes(from.notes());
        live.setIcon(from.icon());
        live.setTags(from.tags());
        live.setPathObject(from.pathObject());
        live.setBank(from.bank());
        live.setId(from.id());
        live.setPath(from.path());
        live.setLegacyWord(from.legacyWord());
    }
    applyCurrent();
}

void Bank::initAllPresets() {
    captureDefaults();
    std::memcpy(startDefaultValues, defaultValues, sizeof defaultValues);
    char name[Preset::kNameBytes];
    for (int i = 0; i < kPresetCount; ++i) {
        if (i == 0)
            std::snprintf(name, sizeof name, "init");
        else
            std::snprintf(name, sizeof name, "init%d", i + 1);
        for (Preset* p : {&storedPresets[i], &workPresets[i]}) {
            p->setAllParams(defaultValues);
            p->setName(name);
        }
    }
}

void Bank::captureDefaults() {
    for (int i = 0; i < kParamCount; ++i) defaultValues[i] = paramStates[i].value;
}

void Bank::restoreDefaults() {
    std::memcpy(defaultValues, startDefaultValues, sizeof defaultValues);
}

void Bank::resetToDefaults(float* oldValues) {
    for (int i = 0; i < kParamCount; ++i) {
        if (oldValues != nullptr) oldValues[i] = paramStates[i].value;
        // The pitch wheel stays where the player holds it.
        if (i != kBendWheel) writeSnapped(paramStates[i], defaultValues[i]);
    }
    // The output stage's warmth and boost are on in every fresh sound, whatever the defaults.
    writeSnapped(paramStates[kWarm], 1.0f);
    writeSnapped(paramStates[kBoost], 1.0f);
}

void Bank::applyValues(const float* source) {
    if (source == nullptr) return;
    for (int i = 0; i < kParamCount; ++i) writeSnapped(paramStates[i], source[i]);
}

void Bank::setCurrentPresetName(const std::string& text) {
    workPresets[current].setName(text);
}

const char* Bank::presetName(int index) const {
    if (index < 0 || index >= kPresetCount) return "";
    return workPresets[index].name();
}

const char* Bank::currentPresetName() const {
    return workPresets[current].name();
}

void Bank::selectPreset(int index) {
    if (index == current || index < 0 || index >= kPresetCount) return;
    captureToCurrent();
    current = index;
    applyCurrent();
}

void Bank::captureToCurrent() {
    float* target = workPresets[current].params();
    for (int i = 0; i < kParamCount; ++i) target[i] = paramStates[i].value;
}

void Bank::applyCurrent() {
    const float* source = workPresets[current].params();
    for (int i = 0; i < kParamCount; ++i) writeSnapped(paramStates[i], source[i]);
}

float Bank::defaultValue(int index) const {
    if (index < 0 || index >= kParamCount) return 0.0f;
    return defaultValues[index];
}

void Bank::copyDefaultsFrom(const Bank& other) {
    std::memcpy(defaultValues, other.defaultValues, sizeof defaultValues);
    std::memcpy(startDefaultValues, other.startDefaultValues, sizeof startDefaultValues);
}

void Bank::setFileNameFromPath(const std::string& path) {
    std::size_t cut = path.rfind('/');
    if (cut == std::string::npos) cut = path.rfind('\\');
    fileNameText = cut == std::string::npos ? path : path.substr(cut + 1);
}

Preset& Bank::preset(int index) {
    if (index < 0 || index >= kPresetCount) return workPresets[current];
    return workPresets[index];
}

const Preset& Bank::preset(int index) const {
    if (index < 0 || index >= kPresetCount) return workPresets[current];
    return workPresets[index];
}

Preset& Bank::storedPreset(int index) {
    return storedPresets[std::clamp(index, 0, kPresetCount - 1)];
}

void Bank::setBankHeader(const char* name, const char* title, const char* author,
                         const char* link) {
    copyText(nameText, sizeof nameText, name);
    copyText(titleText, sizeof titleText, title);
    copyText(authorText, sizeof authorText, author);
    copyText(linkText, sizeof linkText, link);
}

void Bank::setCurrentIndexOnly(int index) {
    current = index >= 0 && index < kPresetCount ? index : 0;
}

void Bank::copyLiveValues(float* out) const {
    for (int i = 0; i < kParamCount; ++i) out[i] = paramStates[i].value;
}

} // namespace torvo

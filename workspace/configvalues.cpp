#include "workspace/configvalues.h"

#include <random>

namespace torvo {

ConfigValues::ConfigValues() : defaultPresetParams(std::size_t(kParamCount), 0.0f) {
    // Each instance starts from its own seeds, so that two first runs do not generate alike.
    std::random_device device;
    std::uniform_int_distribution<int> byte(0, 255);
    ai.s0 = byte(device);
    ai.s1 = byte(device);
    ai.s2 = byte(device);
    ai.s3 = byte(device);
}

int normalisedGuiScale(int value) {
    return value > 5 || value < 0 ? 0 : value;
}

int normalisedPerfPanel(int value) {
    return value > 1 ? 1 : (value < 0 ? 0 : value);
}

int normalisedTheme(int value) {
    return value > 4 || value < 0 ? 0 : value;
}

int normalisedExpandFactory(int value) {
    return value >= -1 && value <= 1 ? value : -1;
}

int clampedSeed(long long value) {
    return int(value < 0 ? 0 : (value > 255 ? 255 : value));
}

std::string cutCharacters(const std::string& text, std::size_t maxChars) {
    std::size_t chars = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        // A continuation byte belongs to the character before it.
        if ((static_cast<unsigned char>(text[i]) & 0xC0) == 0x80) continue;
        if (chars == maxChars) return text.substr(0, i);
        ++chars;
    }
    return text;
}

void ConfigValues::normalise() {
    guiScaleIndex = normalisedGuiScale(guiScaleIndex);
    showPerfPanel = normalisedPerfPanel(showPerfPanel);
    themeId = normalisedTheme(themeId);
    expandFactory = normalisedExpandFactory(expandFactory);
    // The two saving choices exclude each other; saving without asking wins.
    if (saveChangesWithoutConfirm) confirmSavingChanges = false;
    applyInitToCurrent = applyInitToCurrent != 0 ? 1 : 0;
    convertLegacyOnImport = convertLegacyOnImport != 0 ? 1 : 0;
    ai.s0 = clampedSeed(ai.s0);
    ai.s1 = clampedSeed(ai.s1);
    ai.s2 = clampedSeed(ai.s2);
    ai.s3 = clampedSeed(ai.s3);
    defaultPresetName = cutCharacters(defaultPresetName, kDefaultPresetNameChars);
    defaultPresetParams.resize(std::size_t(kParamCount), 0.0f);
}

} // namespace torvo

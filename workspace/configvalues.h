#pragma once
// The user's settings as plain fields, with their defaults, and the reading rules that bring a
// stored value back into its range.

#include "shell/paramtable.h"

#include <string>
#include <vector>

namespace torvo {

/// Last settings of the preset generator.
struct AIParams {
    std::string net;
    std::string model;
    std::string corrector;
    int presetCount = 16;
    /// Four seeds, 0..255 each; random until the user's first run stores them.
    int s0 = 0;
    int s1 = 0;
    int s2 = 0;
    int s3 = 0;
    std::string mode;
    std::string timbre;
    double weight = 50.0;
};

struct ConfigValues {
    static constexpr std::size_t kDefaultPresetNameChars = 24;

    ConfigValues();

    int guiScaleIndex = 1;
    int showPerfPanel = 1;
    int themeId = 0;
    int expandFactory = -1;
    std::string workspaceDir;
    std::string defaultAuthor;
    std::string defaultVendor;
    bool confirmSavingChanges = false;
    bool saveChangesWithoutConfirm = false;
    int applyInitToCurrent = 1;
    int convertLegacyOnImport = 1;
    double saleCheckTime = 0.0;
    std::string saleEndTime;
    std::string defaultPresetName;
    /// The user's default preset: all 725 values, zeros when none is set.
    std::vector<float> defaultPresetParams;
    AIParams ai;

    /// Brings every field into its range by the reading rules.
    void normalise();
};

int normalisedGuiScale(int value);
int normalisedPerfPanel(int value);
int normalisedTheme(int value);
int normalisedExpandFactory(int value);
int clampedSeed(long long value);
/// At most `maxChars` characters of UTF-8 `text`, never cutting a character in two.
std::string cutCharacters(const std::string& text, std::size_t maxChars);

} // namespace torvo

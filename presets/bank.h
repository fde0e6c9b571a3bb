#pragma once
// The live sound of one plug-in instance: the 725 live parameter rows, 128 presets as stored in
// a bank file and 128 as edited (the live one is workPresets[currentIndex]), the default values
// and a few per-instance display settings that travel with the host state.
//
// A Bank is one large object (it embeds all 256 presets and its image buffers): create it on
// the heap, once per instance, or transiently to read a bank or legacy preset file.

#include "presets/preset.h"
#include "shell/paramtable.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace torvo {

class Bank {
public:
    static constexpr int kPresetCount = 128;
    /// Largest bank image and the only length a bank file is ever read to.
    static constexpr std::size_t kBankImageBytes = 407687;
    /// One full legacy preset record (722 values).
    static constexpr std::size_t kLegacyRecordBytes = 3165;

    /// Rows come from the parameter table; presets are in their default state (all values 0,
    /// named "init") until initAllPresets.
    Bank();
    Bank(const Bank&) = delete;
    Bank& operator=(const Bank&) = delete;

    virtual ~Bank() = default;
    virtual ParamRecord& paramState(int index);
    /// Per-block pass over the rows on the audio thread: takes the `changed` marks of this
    /// block (the values themselves are smoothed by the engine). No allocation, no lock.
    virtual void renderSmoothing(int frames);
    virtual bool writeFile(const std::string& path, const uint8_t* bytes, std::size_t size);
    virtual bool readFile(const std::string& path, uint8_t* buffer, std::size_t maxSize,
                          std::size_t& size);
    /// A .tpf image of the live preset (captured first) in the bank's own buffer.
    virtual const uint8_t* currentToLegacyRecord(std::size_t& size, bool shortForm);
    virtual void loadPreset(const Preset& from, bool keepLiveIndices);
    virtual bool loadLegacyRecord(const uint8_t* bytes, std::size_t size);
    /// A .tbf image of workPresets in the bank's own buffer.
    virtual const uint8_t* toBankImage(std::size_t& size, bool shortForm);
    virtual bool saveBankFile(const std::string& path, bool shortForm);
    virtual bool loadBankFile(const std::string& path, bool takeFileName);
    virtual bool loadBankImage(const uint8_t* bytes, std::size_t size);
    virtual void initAllPresets();
    virtual void captureDefaults();
    virtual void restoreDefaults();
    virtual void resetToDefaults(float* oldValues);
    virtual void applyValues(const float* source);
    virtual void setCurrentPresetName(const std::string& text);
    /// Name of workPresets[index]; empty text outside 0..127.
    virtual const char* presetName(int index) const;
    virtual const char* currentPresetName() const;
    virtual void selectPreset(int index);
    virtual int currentIndex() const { return current; }
    virtual void captureToCurrent();
    virtual void applyCurrent();
    virtual float defaultValue(int index) const;
    virtual const float* defaults() const { return defaultValues; }
    virtual const float* startDefaults() const { return startDefaultValues; }
    virtual void copyDefaultsFrom(const Bank& other);
    virtual int guiScale() const { return scaleIndex; }
    virtual void setGuiScale(int value) { scaleIndex = int8_t(value); }
    virtual int themeId() const { return theme; }
    virtual void setThemeId(int value) { theme = value; }
    virtual void setSelectedBank(const std::string& text) { selectedBankText = text; }
    virtual const std::string& selectedBank() const { return selectedBankText; }
    virtual void setPerfPanelShown(int value) { perfPanel = value; }
    virtual int perfPanelShown() const { return perfPanel; }
    virtual void setFactoryExpanded(int value) { expanded = value; }
    virtual int factoryExpanded() const { return expanded; }
    virtual const std::string& fileName() const { return fileNameText; }
    virtual void setFileNameFromPath(const std::string& path);
    /// workPresets[index]; -1 (and any index outside 0..127) is the live preset.
    virtual Preset& preset(int index);
    virtual Preset& currentPreset() { return workPresets[current]; }

    const ParamRecord& paramState(int index) const;
    const Preset& preset(int index) const;
    Preset& storedPreset(int index);
    const char* magic() const { return magicText; }
    const char* version() const { return versionText; }
    const char* bankName() const { return nameText; }
    const char* bankTitle() const { return titleText; }
    const char* bankAuthor() const { return authorText; }
    const char* bankLink() const { return linkText; }
    void setBankHeader(const char* name, const char* title, const char* author, const char* link);
    /// Sets the live index without capturing or applying: for state readers that fill the
    /// preset themselves. Outside 0..127 becomes 0.
    void setCurrentIndexOnly(int index);
    /// Live values of all rows.
    void copyLiveValues(float* out) const;

private:
    friend class Chunk;

    char magicText[4] = {'t', 'b', 'f', '\0'};
    char versionText[5] = {'0', '9', '2', '0', '\0'};
    char nameText[256] = {};
    char titleText[256] = {};
    char authorText[256] = {};
    char linkText[252] = {};
    int8_t scaleIndex = 0;
    int32_t theme = -1;
    std::string selectedBankText;
    int32_t perfPanel = -1;
    int32_t expanded = -1;
    int32_t current = 0;
    Preset storedPresets[kPresetCount];
    Preset workPresets[kPresetCount];
    std::string fileNameText = "Untitled.tbf";
    float defaultValues[kParamCount] = {};
    float startDefaultValues[kParamCount] = {};
    ParamRecord paramStates[kParamCount];
    /// One bank image, then one legacy preset record behind it.
    std::vector<uint8_t> image;
};

} // namespace torvo

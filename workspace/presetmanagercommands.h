#pragma once
// The preset browser's requests, taken off the bus and turned into operations of the model:
// a row chosen on the left lists its presets, a row chosen on the right loads, a search or
// filter narrows the list, and the rename and save dialogs are run as event exchanges (show
// the text dialog, wait for its close result, act, and show it again with the reason when the
// name is refused). With it the whole browser can be driven without an editor.

#include "workspace/events.h"

#include <cstdint>
#include <memory>
#include <string>

namespace torvo {

class PresetManagerModel;

constexpr const char* kRenamePrompt = "Enter new preset name:";
constexpr const char* kSavePrompt = "Preset Name";
constexpr const char* kSaveNameMissing = "Please type preset name";

class PresetManagerCommands : public IEventProcessor {
public:
    PresetManagerCommands(IEventBus& bus, PresetManagerModel& model);
    PresetManagerCommands(const PresetManagerCommands&) = delete;
    PresetManagerCommands& operator=(const PresetManagerCommands&) = delete;
    ~PresetManagerCommands() override;

    void process(IEvent& event) override;

    /// Asks for a new name of row `index` of the browse list.
    void beginRename(int index);
    /// Asks for the name under which `preset` is saved into folder `dirId`.
    void beginSaveAs(const Preset& preset, int64_t dirId, const std::string& suggestedName);
    /// Flips the favourite mark of row `index`.
    void toggleFavorite(int index);

private:
    enum class Flow { None, Rename, SaveAs };

    void leftRowSelected(const LeftRowSelectedEvent& event);
    void dialogClosed(IEvent& event);
    void askForName(const std::string& prompt, const std::string& text, const std::string& error);

    IEventBus& bus;
    PresetManagerModel& model;
    Flow flow = Flow::None;
    int64_t target = -1;
    std::unique_ptr<Preset> toSave;
};

} // namespace torvo

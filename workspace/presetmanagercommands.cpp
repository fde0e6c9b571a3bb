#include "workspace/presetmanagercommands.h"

#include "workspace/presetlibrary.h"
#include "workspace/presetmanagermodel.h"

namespace torvo {

PresetManagerCommands::PresetManagerCommands(IEventBus& eventBus, PresetManagerModel& owner)
    : bus(eventBus), model(owner) {
    for (int id : {kMessageDialogCloseResultEvent, kModalDialogOpenedEvent, kModalDialogClosedEvent,
                   kLeftRowSelectedEvent, kPresetListSelectionChangeEvent, kUpdatePresetFilterEvent,
                   kUpdatePresetGlobalFilterEvent, kRefreshHistoryTabEvent, kSelectHistoryRowEvent,
                   kSelectGlobalSearchRowEvent})
        bus.subscribe(id, this);
}

PresetManagerCommands::~PresetManagerCommands() {
    bus.unsubscribeAll(this);
}

void PresetManagerCommands::process(IEvent& event) {
    switch (event.id()) {
    case kMessageDialogCloseResultEvent:
        dialogClosed(event);
        break;
    case kModalDialogOpenedEvent:
        model.setModalDialogOpen(true);
        break;
    case kModalDialogClosedEvent:
        model.setModalDialogOpen(false);
        break;
    case kLeftRowSelectedEvent:
        leftRowSelected(static_cast<LeftRowSelectedEvent&>(event));
        break;
    case kPresetListSelectionChangeEvent:
        model.selectPreset(static_cast<PresetListSelectionChangeEvent&>(event).index, false);
        break;
    case kUpdatePresetFilterEvent:
        model.setFilter(static_cast<UpdatePresetFilterEvent&>(event).param);
        break;
    case kUpdatePresetGlobalFilterEvent:
        model.searchAll(static_cast<UpdatePresetGlobalFilterEvent&>(event).param);
        break;
    case kRefreshHistoryTabEvent:
        if (model.browserState().show_history) model.showHistory();
        break;
    case kSelectHistoryRowEvent:
        model.selectPreset(static_cast<SelectHistoryRowEvent&>(event).row, false);
        break;
    case kSelectGlobalSearchRowEvent:
        model.selectPreset(static_cast<SelectGlobalSearchRowEvent&>(event).row, false);
        break;
    default:
        break;
    }
}

void PresetManagerCommands::leftRowSelected(const LeftRowSelectedEvent& event) {
    switch (event.kind) {
    case LeftListKind::Folders:
        model.showFolder(event.itemId, event.label, event.row);
        break;
    case LeftListKind::Tags:
    case LeftListKind::Authors:
        model.showMetadata(event.kind == LeftListKind::Tags ? 0 : 1, event.itemId, event.label,
                           event.dirId, event.row, event.dirType, event.isFactory);
        break;
    case LeftListKind::History:
        model.showHistory();
        break;
    case LeftListKind::GlobalSearch:
        break;
    }
}

void PresetManagerCommands::askForName(const std::string& prompt, const std::string& text,
                                       const std::string& error) {
    ShowTextEditDialogEvent ask;
    ask.prompt = prompt;
    ask.text = text;
    ask.error = error;
    ask.callback = this;
    bus.publish(ask);
}

void PresetManagerCommands::beginRename(int index) {
    const auto& rows = model.presets();
    if (index < 0 || index >= int(rows.size())) return;
    flow = Flow::Rename;
    target = rows[std::size_t(index)].id;
    askForName(kRenamePrompt, rows[std::size_t(index)].name, {});
}

void PresetManagerCommands::beginSaveAs(const Preset& preset, int64_t dirId,
                                        const std::string& suggestedName) {
    flow = Flow::SaveAs;
    target = dirId;
    toSave = std::make_unique<Preset>(preset);
    askForName(kSavePrompt, suggestedName, {});
}

void PresetManagerCommands::toggleFavorite(int index) {
    const auto& rows = model.presets();
    if (index < 0 || index >= int(rows.size())) return;
    const TableItem& row = rows[std::size_t(index)];
    model.setFavorite({row.id}, !row.isFavorite);
}

void PresetManagerCommands::dialogClosed(IEvent& event) {
    if (flow == Flow::None) return;
    // Message boxes answer with the plain class; only the text dialog carries a name.
    auto* answer = dynamic_cast<TextMessageDialogCloseResultEvent*>(&event);
    if (!answer) return;
    const Flow running = flow;
    if (answer->param != kDialogOk) {
        flow = Flow::None;
        toSave.reset();
        return;
    }
    std::string error;
    bool done = false;
    if (running == Flow::Rename) {
        done = model.renamePreset(target, answer->text, error);
    } else if (answer->text.empty()) {
        error = kSaveNameMissing;
    } else {
        done = model.savePresetAs(*toSave, target, answer->text, error);
    }
    const bool askAgain =
        !done && (error == kSaveNameMissing || PresetLibrary::isNameRefusal(error));
    if (!askAgain) {
        // Done, or a file or index failure that the model has shown in a message box.
        flow = Flow::None;
        toSave.reset();
        return;
    }
    // A refused name: the dialog comes back with the reason and the flow stays open.
    askForName(running == Flow::Rename ? kRenamePrompt : kSavePrompt, answer->text, error);
}

} // namespace torvo

#include "workspace/events.h"

namespace torvo {

const std::vector<EventTableRow>& eventTable() {
    static const std::vector<EventTableRow> table = {
        {kOnKeydownEvent, "OnKeydownEvent"},
        {kOnFrameActivateEvent, "OnFrameActivateEvent"},
        {kShowMessageDialogEvent,
         "ShowMessageDialogEvent ShowMessageOkDialogEvent ShowMessageRetryCancelDialogEvent "
         "ShowMessageYesNoDialogEvent ShowProgressDialogEvent"},
        {kCloseMessageDialogEvent, "CloseMessageDialogEvent"},
        {kCloseAsyncMessageDialogEvent, "CloseAsyncMessageDialogEvent"},
        {kUpdateDialogButtonsEvent, "UpdateDialogButtonsEvent"},
        {kMessageDialogUpdateTextEvent, "MessageDialogUpdateTextEvent"},
        {kShowTextEditDialogEvent, "ShowTextEditDialogEvent"},
        {kMessageDialogCloseResultEvent,
         "MessageDialogCloseResultEvent TextMessageDialogCloseResultEvent"},
        {kModalDialogOpenedEvent, "ModalDialogOpenedEvent"},
        {kModalDialogClosedEvent, "ModalDialogClosedEvent"},
        {kSetPresetManagerVisibilityEvent, "SetPresetManagerVisibilityEvent"},
        {kLeftRowSelectedEvent, "LeftRowSelectedEvent"},
        {kPresetListSelectionChangeEvent, "PresetListSelectionChangeEvent"},
        {kBeginEditPresetInfoEvent, "BeginEditPresetInfoEvent"},
        {kEndEditPresetInfoEvent, "EndEditPresetInfoEvent"},
        {kShowConfigDialogEvent, "ShowConfigDialogEvent"},
        {kConfigChangedEvent, "ConfigChangedEvent"},
        {kShowNNGeneratePresetDialogEvent, "ShowNNGeneratePresetDialogEvent"},
        {kOnPresetLoadedEvent, "OnPresetLoadedEvent OnPresetReloadedEvent"},
        {kOnInitPresetEvent, "OnInitPresetEvent"},
        {kSwitchPresetEvent, "SwitchPresetEvent"},
        {kOnPresetParameterChangedEvent, "OnPresetParameterChangedEvent"},
        {kUpdatePresetFilterEvent, "UpdatePresetFilterEvent"},
        {kUpdatePresetGlobalFilterEvent, "UpdatePresetGlobalFilterEvent"},
        {kRefreshHistoryTabEvent, "RefreshHistoryTabEvent"},
        {kPresetsToBrowseListChangedEvent, "PresetsToBrowseListChangedEvent"},
        {kReloadChunkEvent, "ReloadChunkEvent"},
        {kHighlightLoadedPresetEvent, "HighlightLoadedPresetEvent"},
        {kCheckSaveModifiedPresetEvent, "CheckSaveModifiedPresetEvent"},
        {kSelectHistoryRowEvent, "SelectHistoryRowEvent"},
        {kSelectGlobalSearchRowEvent, "SelectGlobalSearchRowEvent"},
        {kCheckForUpdateEvent, "CheckForUpdateEvent"},
        {kOnSetPresetInitValuesEvent, "OnSetPresetInitValuesEvent"},
        {kStartAIRequestEvent, "StartAIRequestEvent"},
        {kStartFolderPendingAnimationEvent, "StartFolderPendingAnimationEvent"},
        {kUpdateFolderPendingAnimationEvent, "UpdateFolderPendingAnimationEvent"},
        {kSaveAITaskUUIDEvent, "SaveAITaskUUIDEvent"},
        {kGetAITaskStatusEvent, "GetAITaskStatusEvent"},
        {kAIDialogSubmitResultEvent, "AIDialogSubmitResultEvent"},
        {kAIGenerationResultEvent, "AIGenerationResultEvent"},
        {kAIGenerationResultSavedEvent, "AIGenerationResultSavedEvent"},
        {kAIErrorEvent, "AIErrorEvent"},
        {kGetAISubscriptionInfoEvent, "GetAISubscriptionInfoEvent"},
        {kGetAISubscriptionInfoResponse, "GetAISubscriptionInfoResponse"},
    };
    return table;
}

const char* eventClassNames(int id) {
    for (const EventTableRow& row : eventTable())
        if (row.id == id) return row.classes;
    return nullptr;
}

} // namespace torvo

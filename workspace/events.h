#pragma once
// Every event of the bus, by id and payload. An event class is an instance of one of four
// templates by its id and payload type, and a named class derives from that instance, adding
// only public payload fields. A processor recognises an event by id() and casts it to the class
// of that id. Id 32 is not used.

#include "presets/preset.h"
#include "workspace/configvalues.h"
#include "workspace/eventbus.h"
#include "workspace/storagerows.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace torvo {

/// The ids of the bus, in one place.
enum EventId : int {
    kOnKeydownEvent = 0,
    kOnFrameActivateEvent = 1,
    kShowMessageDialogEvent = 2,
    kCloseMessageDialogEvent = 3,
    kCloseAsyncMessageDialogEvent = 4,
    kUpdateDialogButtonsEvent = 5,
    kMessageDialogUpdateTextEvent = 6,
    kShowTextEditDialogEvent = 7,
    kMessageDialogCloseResultEvent = 8,
    kModalDialogOpenedEvent = 9,
    kModalDialogClosedEvent = 10,
    kSetPresetManagerVisibilityEvent = 11,
    kLeftRowSelectedEvent = 12,
    kPresetListSelectionChangeEvent = 13,
    kBeginEditPresetInfoEvent = 14,
    kEndEditPresetInfoEvent = 15,
    kShowConfigDialogEvent = 16,
    kConfigChangedEvent = 17,
    kShowNNGeneratePresetDialogEvent = 18,
    kOnPresetLoadedEvent = 19,
    kOnInitPresetEvent = 20,
    kSwitchPresetEvent = 21,
    kOnPresetParameterChangedEvent = 22,
    kUpdatePresetFilterEvent = 23,
    kUpdatePresetGlobalFilterEvent = 24,
    kRefreshHistoryTabEvent = 25,
    kPresetsToBrowseListChangedEvent = 26,
    kReloadChunkEvent = 27,
    kHighlightLoadedPresetEvent = 28,
    kCheckSaveModifiedPresetEvent = 29,
    kSelectHistoryRowEvent = 30,
    kSelectGlobalSearchRowEvent = 31,
    kCheckForUpdateEvent = 33,
    kOnSetPresetInitValuesEvent = 34,
    kStartAIRequestEvent = 35,
    kStartFolderPendingAnimationEvent = 36,
    kUpdateFolderPendingAnimationEvent = 37,
    kSaveAITaskUUIDEvent = 38,
    kGetAITaskStatusEvent = 39,
    kAIDialogSubmitResultEvent = 40,
    kAIGenerationResultEvent = 41,
    kAIGenerationResultSavedEvent = 42,
    kAIErrorEvent = 43,
    kGetAISubscriptionInfoEvent = 44,
    kGetAISubscriptionInfoResponse = 45,
};

/// One row of the id table: the id and the names of the classes that carry it.
struct EventTableRow {
    int id;
    const char* classes;
};
/// All ids in ascending order.
const std::vector<EventTableRow>& eventTable();
/// The class names of `id`, or null for an id the bus does not know.
const char* eventClassNames(int id);

// The four shapes of an event.
template <int N> class NoParamEvent : public IEvent {
public:
    static constexpr int kId = N;
    int id() const override { return N; }
};

template <typename T, int N> class SingleParamEvent : public IEvent {
public:
    static constexpr int kId = N;
    SingleParamEvent() = default;
    explicit SingleParamEvent(T value) : param(std::move(value)) {}
    int id() const override { return N; }
    T param{};
};

template <typename A, typename B, int N> class PairParamsEvent : public IEvent {
public:
    static constexpr int kId = N;
    PairParamsEvent() = default;
    PairParamsEvent(A a, B b) : first(std::move(a)), second(std::move(b)) {}
    int id() const override { return N; }
    A first{};
    B second{};
};

template <typename A, typename B, typename T, int N> class TriParamsEvent : public IEvent {
public:
    static constexpr int kId = N;
    TriParamsEvent() = default;
    TriParamsEvent(A a, B b, T c)
        : first(std::move(a)), second(std::move(b)), third(std::move(c)) {}
    int id() const override { return N; }
    A first{};
    B second{};
    T third{};
};

/// Casts `event` to `E` when its id is that of `E`; null otherwise.
template <typename E> E* eventAs(IEvent& event) {
    return event.id() == E::kId ? static_cast<E*>(&event) : nullptr;
}

// Payload records.

/// A row of the browse list.
struct TableItem {
    int64_t id = -1;
    std::string name;
    /// 0 a .tpf2, 1 a .tpf, 2 a preset inside a .tbf.
    int type = 0;
    /// Position in the bank, -1 when the row is not a bank item.
    int index = -1;
    bool isFavorite = false;
    bool isFactory = false;
    int64_t folder = -1;
};

/// A preset's text fields and tags as the info editor shows them.
struct PresetMetadata {
    int64_t id = -1;
    std::string name;
    std::string author;
    std::string vendor;
    std::string bank;
    std::string notes;
    std::vector<std::string> tags;
};

/// The account's state at the generation service.
struct AITokenInfo {
    std::string status = "Not available";
    int presets_left = 0;
    int presets_left_today = 0;
    std::string expiration_date;
    std::string pause_until_generation;
    std::string info_main_page;
    std::string info_config_page;
};

// The events.

class OnKeydownEvent : public NoParamEvent<kOnKeydownEvent> {
public:
    int key = 0;
    int character = 0;
    int modifiers = 0;
    /// Set by the processor that took the key, so the frame does not pass it on.
    bool consumed = false;
};

class OnFrameActivateEvent : public NoParamEvent<kOnFrameActivateEvent> {};

/// Which buttons a message dialog offers.
enum class DialogButtons { None, Ok, RetryCancel, YesNo };

/// Result codes of a closed dialog: Return gives kDialogOk, Escape kDialogCancel.
enum DialogResult : int { kDialogOk = 2, kDialogCancel = 3, kDialogYes = 6, kDialogNo = 7 };

class ShowMessageDialogEvent : public NoParamEvent<kShowMessageDialogEvent> {
public:
    std::string title;
    std::string message;
    DialogButtons buttons = DialogButtons::None;
    /// Subscribed for the close result by the sender; may be null when nobody waits.
    IEventProcessor* callback = nullptr;
};
class ShowMessageOkDialogEvent : public ShowMessageDialogEvent {
public:
    ShowMessageOkDialogEvent() { buttons = DialogButtons::Ok; }
};
class ShowMessageRetryCancelDialogEvent : public ShowMessageDialogEvent {
public:
    ShowMessageRetryCancelDialogEvent() { buttons = DialogButtons::RetryCancel; }
};
class ShowMessageYesNoDialogEvent : public ShowMessageDialogEvent {
public:
    ShowMessageYesNoDialogEvent() { buttons = DialogButtons::YesNo; }
};
class ShowProgressDialogEvent : public ShowMessageDialogEvent {};

class CloseMessageDialogEvent : public NoParamEvent<kCloseMessageDialogEvent> {};
class CloseAsyncMessageDialogEvent : public NoParamEvent<kCloseAsyncMessageDialogEvent> {};
class UpdateDialogButtonsEvent : public NoParamEvent<kUpdateDialogButtonsEvent> {
public:
    DialogButtons buttons = DialogButtons::Ok;
};
class MessageDialogUpdateTextEvent : public NoParamEvent<kMessageDialogUpdateTextEvent> {
public:
    std::string message;
};

/// Asks the frame for a one-line text; the answer comes back as id 8.
class ShowTextEditDialogEvent : public NoParamEvent<kShowTextEditDialogEvent> {
public:
    std::string title;
    std::string prompt;
    std::string text;
    /// Why the last answer was refused; empty on the first showing.
    std::string error;
    IEventProcessor* callback = nullptr;
};

class MessageDialogCloseResultEvent : public SingleParamEvent<int, kMessageDialogCloseResultEvent> {
public:
    using SingleParamEvent::SingleParamEvent;
};
class TextMessageDialogCloseResultEvent : public MessageDialogCloseResultEvent {
public:
    /// The text as the user confirmed it.
    std::string text;
};

class ModalDialogOpenedEvent : public NoParamEvent<kModalDialogOpenedEvent> {};
class ModalDialogClosedEvent : public NoParamEvent<kModalDialogClosedEvent> {};
class SetPresetManagerVisibilityEvent : public NoParamEvent<kSetPresetManagerVisibilityEvent> {
public:
    bool visible = false;
};

/// Which list of the left side a row belongs to.
enum class LeftListKind { Folders, Tags, Authors, History, GlobalSearch };

class LeftRowSelectedEvent : public NoParamEvent<kLeftRowSelectedEvent> {
public:
    LeftListKind kind = LeftListKind::Folders;
    /// Position of the row in its list.
    int row = -1;
    /// The folder's row, or the tag's or author's row.
    int64_t itemId = -1;
    std::string label;
    /// For a tag or author: the folder chosen inside it; -1 for all of them.
    int64_t dirId = -1;
    int dirType = 0;
    bool isFactory = false;
};

class PresetListSelectionChangeEvent : public NoParamEvent<kPresetListSelectionChangeEvent> {
public:
    /// Position in the browse list; -1 when nothing is selected.
    int index = -1;
    int64_t presetId = -1;
};

class BeginEditPresetInfoEvent
    : public SingleParamEvent<PresetMetadata, kBeginEditPresetInfoEvent> {
public:
    using SingleParamEvent::SingleParamEvent;
};
class EndEditPresetInfoEvent : public SingleParamEvent<PresetMetadata, kEndEditPresetInfoEvent> {
public:
    using SingleParamEvent::SingleParamEvent;
};
class ShowConfigDialogEvent : public NoParamEvent<kShowConfigDialogEvent> {};
class ConfigChangedEvent : public NoParamEvent<kConfigChangedEvent> {};
class ShowNNGeneratePresetDialogEvent : public NoParamEvent<kShowNNGeneratePresetDialogEvent> {};

/// A preset was loaded from the browse list (or reloaded): the controller takes it into the
/// live bank. The preset is shared, so a listener keeps it by copying the pointer.
class OnPresetLoadedEvent : public SingleParamEvent<std::shared_ptr<Preset>, kOnPresetLoadedEvent> {
public:
    using SingleParamEvent::SingleParamEvent;
    /// Position in the browse list and the list's size.
    int index = -1;
    int count = 0;
    bool keepMacros = false;
};
class OnPresetReloadedEvent : public OnPresetLoadedEvent {
public:
    using OnPresetLoadedEvent::OnPresetLoadedEvent;
};

class OnInitPresetEvent : public NoParamEvent<kOnInitPresetEvent> {};

class SwitchPresetEvent : public NoParamEvent<kSwitchPresetEvent> {
public:
    enum Direction : int { kBack = 0, kForward = 2, kToIndex = 3 };
    int direction = kForward;
    /// The target of kToIndex.
    int index = -1;
    bool keepMacros = false;
};

class OnPresetParameterChangedEvent : public NoParamEvent<kOnPresetParameterChangedEvent> {};
class UpdatePresetFilterEvent : public SingleParamEvent<std::string, kUpdatePresetFilterEvent> {
public:
    using SingleParamEvent::SingleParamEvent;
};
class UpdatePresetGlobalFilterEvent
    : public SingleParamEvent<std::string, kUpdatePresetGlobalFilterEvent> {
public:
    using SingleParamEvent::SingleParamEvent;
};
class RefreshHistoryTabEvent : public NoParamEvent<kRefreshHistoryTabEvent> {};
class PresetsToBrowseListChangedEvent
    : public SingleParamEvent<std::vector<TableItem>, kPresetsToBrowseListChangedEvent> {
public:
    using SingleParamEvent::SingleParamEvent;
};
class ReloadChunkEvent : public NoParamEvent<kReloadChunkEvent> {};
class HighlightLoadedPresetEvent : public NoParamEvent<kHighlightLoadedPresetEvent> {};
class CheckSaveModifiedPresetEvent : public NoParamEvent<kCheckSaveModifiedPresetEvent> {};
class SelectHistoryRowEvent : public NoParamEvent<kSelectHistoryRowEvent> {
public:
    int row = -1;
};
class SelectGlobalSearchRowEvent : public NoParamEvent<kSelectGlobalSearchRowEvent> {
public:
    int row = -1;
};
class CheckForUpdateEvent : public NoParamEvent<kCheckForUpdateEvent> {};
class OnSetPresetInitValuesEvent : public NoParamEvent<kOnSetPresetInitValuesEvent> {};
class StartAIRequestEvent : public SingleParamEvent<AIParams, kStartAIRequestEvent> {
public:
    using SingleParamEvent::SingleParamEvent;
};
class StartFolderPendingAnimationEvent
    : public SingleParamEvent<WorkspacePath, kStartFolderPendingAnimationEvent> {
public:
    using SingleParamEvent::SingleParamEvent;
};
class UpdateFolderPendingAnimationEvent : public NoParamEvent<kUpdateFolderPendingAnimationEvent> {
};
/// The task's UUID and the folder its presets go to.
class SaveAITaskUUIDEvent
    : public PairParamsEvent<std::string, WorkspacePath, kSaveAITaskUUIDEvent> {
public:
    using PairParamsEvent::PairParamsEvent;
};
class GetAITaskStatusEvent : public NoParamEvent<kGetAITaskStatusEvent> {};
class AIDialogSubmitResultEvent : public SingleParamEvent<std::string, kAIDialogSubmitResultEvent> {
public:
    using SingleParamEvent::SingleParamEvent;
};
/// Task UUID, target folder, and the result's payload text.
class AIGenerationResultEvent
    : public TriParamsEvent<std::string, WorkspacePath, std::string, kAIGenerationResultEvent> {
public:
    using TriParamsEvent::TriParamsEvent;
    /// The task ended without presets: only its pending mark goes.
    bool canceled = false;
};
class AIGenerationResultSavedEvent : public NoParamEvent<kAIGenerationResultSavedEvent> {};
/// Status code, error kind and the text shown.
class AIErrorEvent : public TriParamsEvent<int, std::string, std::string, kAIErrorEvent> {
public:
    using TriParamsEvent::TriParamsEvent;
};
class GetAISubscriptionInfoEvent
    : public SingleParamEvent<std::string, kGetAISubscriptionInfoEvent> {
public:
    using SingleParamEvent::SingleParamEvent;
};
class GetAISubscriptionInfoResponse
    : public PairParamsEvent<int, AITokenInfo, kGetAISubscriptionInfoResponse> {
public:
    using PairParamsEvent::PairParamsEvent;
};

} // namespace torvo

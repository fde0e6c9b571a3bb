#pragma once
// The non-visual half of the preset manager: turns a selected row of the browse list into a
// loaded Preset, steps through the list, keeps the browser's selection from one host project
// to the next and takes the generation client's results into the workspace. It talks to the
// view only through the bus, so it runs the same with or without an editor.

#include "workspace/browserstate.h"
#include "workspace/events.h"
#include "workspace/mutex.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace torvo {

class Bank;
class Config;
class MetadataStorage;
class PresetLibrary;

/// What the generation client lends the model; the client implements it and registers itself.
class GenerationHooks {
public:
    virtual ~GenerationHooks() = default;
    /// A poll of the first task this instance owns.
    virtual void pollTasks() = 0;
    /// The account's token state for `accountId`.
    virtual void queryToken(const std::string& accountId) = 0;
    /// Decodes a finished task's data and unpacks its presets into `folder`, overwriting
    /// nothing; false when the data cannot be unpacked.
    virtual bool unpackResult(const std::string& data, const std::string& folder) = 0;
    /// This instance's UUID, for taking over the tasks in the store.
    virtual std::string plugUuid() const = 0;
};

class PresetManagerModel : public IEventProcessor {
public:
    /// Files above this size are no presets of ours and are not read.
    static constexpr std::size_t kMaxFileBytes = 4194304;
    /// Id of the init preset, which lives in no file.
    static constexpr int kInitPresetId = -2;
    static constexpr const char* kMessageTitle = "Attention";

    /// Subscribes to the step, reload and generation events.
    explicit PresetManagerModel(IEventBus& bus);
    PresetManagerModel(const PresetManagerModel&) = delete;
    PresetManagerModel& operator=(const PresetManagerModel&) = delete;

    /// Handles ids 21, 27 and 38..44; others are ignored.
    void process(IEvent& event) override;
    ~PresetManagerModel() override;
    /// Reads a .tpf2 into a new preset; null with the reason appended to `error`.
    virtual std::unique_ptr<Preset> loadPresetFile(const std::string& path, Bank& bank,
                                                   std::string& error);
    /// The preset of row `id`, or the init preset for -2; null (and failed() true) when the
    /// row or its file cannot be read.
    virtual std::unique_ptr<Preset> loadPresetById(int id);
    /// The whole file; null when it is missing or larger than kMaxFileBytes.
    virtual std::unique_ptr<uint8_t[]> readBytes(const std::string& path, std::size_t& size);
    virtual void setContext(Bank& bank, Config& config, MetadataStorage& store, IEventBus& bus);
    virtual void saveState(nlohmann::ordered_json& json);
    virtual void restoreState(const nlohmann::ordered_json& json);

    /// The same state as JSON object text, for the host state chunk.
    std::string saveStateText();
    void restoreStateText(const std::string& text);

    // Browsing. Each rebuilds the browse list and publishes it (id 26).
    /// A folder (or bank) of the tree, with everything below it.
    void showFolder(int64_t folderId, const std::string& label, int row);
    /// The presets of a tag (slot 0) or author (slot 1), inside folder `dirId` or, with -1,
    /// anywhere.
    void showMetadata(int slot, int64_t metadataId, const std::string& name, int64_t dirId, int row,
                      int dirType, bool dirIsFactory);
    /// Narrows the current list by name; empty text lists everything again.
    void setFilter(const std::string& text);
    void setFavoritesOnly(bool only);
    /// A name search over both trees.
    void searchAll(const std::string& text);
    /// The load history, newest first.
    void showHistory();

    // Loading.
    /// Loads row `index` of the browse list and publishes it (id 19); a failure publishes a
    /// message dialog instead and keeps the selection as it was.
    bool selectPreset(int index, bool keepMacros);
    /// Ids 9 and 10: step commands wait while a modal dialog is up.
    void setModalDialogOpen(bool open) { modal = open; }

    // Changes through the store. Each publishes the refreshed list, or a message on failure.
    bool setFavorite(const std::vector<int64_t>& ids, bool favorite);
    /// Renames row `id`; a refusal is answered with the text in `error` (for the dialog's
    /// validator) and nothing changes.
    bool renamePreset(int64_t id, const std::string& newName, std::string& error);
    /// Saves `preset` as a new file in folder `dirId`; the new row joins the list selected.
    bool savePresetAs(const Preset& preset, int64_t dirId, const std::string& name,
                      std::string& error);

    // Generation.
    void setGenerationHooks(GenerationHooks* hooks) { generation = hooks; }
    /// Folders waiting for a generation result.
    std::set<std::string> pendingFolders();
    void addPendingFolder(const WorkspacePath& folder);

    const std::vector<TableItem>& presets() const { return list; }
    const BrowserState& browserState() const { return state; }
    bool failed() const { return failure; }
    /// The store's text of the last failure, or "Error loading preset".
    const std::string& lastError() const { return errorText; }
    /// How many files readBytes has read: a bank is read once for all its items.
    int fileReads() const { return reads; }

private:
    void subscribeAll();
    void switchPreset(const SwitchPresetEvent& event);
    void reselectLoaded();
    void takeGenerationResult(const AIGenerationResultEvent& event);
    /// Rebuilds the list from the current selection, then publishes it.
    void refreshList();
    bool listForSelection(std::vector<TableItem>& out);
    bool listMetadataAnywhere(int slot, std::vector<TableItem>& out);
    void setList(std::vector<TableItem> items);
    void publishList();
    void showMessage(const std::string& text);
    std::unique_ptr<Preset> initPreset();
    std::unique_ptr<Preset> presetFromBank(const std::string& path, int index);
    static std::string likePattern(const std::string& text);
    static std::string pendingKey(const WorkspacePath& folder);

    IEventBus* bus = nullptr;
    Bank* bank = nullptr;
    Config* config = nullptr;
    MetadataStorage* store = nullptr;
    std::unique_ptr<PresetLibrary> library;
    GenerationHooks* generation = nullptr;
    Mutex mutex;
    std::vector<TableItem> list;
    BrowserState state;
    /// The list shows a global search, not a folder or a tag.
    bool globalSearch = false;
    std::string globalFilter;
    std::set<std::string> pending;
    std::string bankCachePath;
    std::vector<uint8_t> bankCache;
    /// Folder row of the preset loadPresetById read last.
    int64_t loadedDirId = -1;
    bool failure = false;
    bool modal = false;
    std::string errorText;
    int reads = 0;
};

} // namespace torvo

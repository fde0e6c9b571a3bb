#include "workspace/presetmanagermodel.h"

#include "presets/bank.h"
#include "presets/pathobject.h"
#include "presets/presetjson.h"
#include "workspace/config.h"
#include "workspace/metadatastorage.h"
#include "workspace/presetlibrary.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <system_error>

namespace fs = std::filesystem;

namespace torvo {

namespace {

TableItem itemOf(const PresetListRow& row) {
    TableItem item;
    item.id = row.id;
    item.name = row.name;
    item.type = row.type;
    item.index = row.index;
    item.isFavorite = row.isFavorite;
    item.isFactory = row.isFactory;
    return item;
}

TableItem itemOf(const HistoryRow& row) {
    TableItem item;
    item.id = row.presetId;
    item.name = row.name;
    item.type = row.type;
    item.index = row.index;
    item.isFavorite = row.isFavorite;
    item.folder = row.dirId;
    return item;
}

std::string lowerAscii(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
    return text;
}

/// The LIKE of the store is case-insensitive for ASCII only; lists filtered in memory agree.
bool nameMatches(const std::string& name, const std::string& filter) {
    return filter.empty() || lowerAscii(name).find(lowerAscii(filter)) != std::string::npos;
}

} // namespace

PresetManagerModel::PresetManagerModel(IEventBus& eventBus) : bus(&eventBus) {
    subscribeAll();
}

PresetManagerModel::~PresetManagerModel() {
    if (bus) bus->unsubscribeAll(this);
}

void PresetManagerModel::subscribeAll() {
    for (int id : {kSwitchPresetEvent, kSaveAITaskUUIDEvent, kGetAITaskStatusEvent,
                   kAIGenerationResultEvent, kReloadChunkEvent, kGetAISubscriptionInfoEvent})
        bus->subscribe(id, this);
}

void PresetManagerModel::setContext(Bank& liveBank, Config& settings, MetadataStorage& storage,
                                    IEventBus& eventBus) {
    bank = &liveBank;
    config = &settings;
    store = &storage;
    library = std::make_unique<PresetLibrary>(storage, liveBank);
    if (&eventBus != bus) {
        bus->unsubscribeAll(this);
        bus = &eventBus;
        subscribeAll();
    }
}

void PresetManagerModel::process(IEvent& event) {
    const int id = event.id();
    if (id < kSwitchPresetEvent || id > kGetAISubscriptionInfoEvent) return;
    switch (id) {
    case kSwitchPresetEvent:
        switchPreset(static_cast<SwitchPresetEvent&>(event));
        break;
    case kReloadChunkEvent:
        reselectLoaded();
        break;
    case kSaveAITaskUUIDEvent:
        // The client has stored the task already.
        break;
    case kGetAITaskStatusEvent:
        if (generation) generation->pollTasks();
        break;
    case kAIGenerationResultEvent:
        takeGenerationResult(static_cast<AIGenerationResultEvent&>(event));
        break;
    case kGetAISubscriptionInfoEvent:
        if (generation)
            generation->queryToken(static_cast<GetAISubscriptionInfoEvent&>(event).param);
        break;
    default:
        break;
    }
}

// Loading.

std::unique_ptr<Preset> PresetManagerModel::loadPresetFile(const std::string& path, Bank& from,
                                                           std::string& error) {
    std::unique_ptr<Preset> preset = torvo::loadPresetFile(path, from, error);
    if (preset) preset->setLegacyWord(0);
    return preset;
}

std::unique_ptr<uint8_t[]> PresetManagerModel::readBytes(const std::string& path,
                                                         std::size_t& size) {
    size = 0;
    std::error_code ec;
    const auto length = fs::file_size(path, ec);
    if (ec || length > kMaxFileBytes) return nullptr;
    std::ifstream in(path, std::ios::binary);
    if (!in) return nullptr;
    auto bytes = std::make_unique<uint8_t[]>(std::size_t(length) + 1);
    in.read(reinterpret_cast<char*>(bytes.get()), std::streamsize(length));
    if (std::size_t(in.gcount()) != length) return nullptr;
    ++reads;
    size = std::size_t(length);
    return bytes;
}

std::unique_ptr<Preset> PresetManagerModel::initPreset() {
    auto preset = std::make_unique<Preset>();
    preset->setName("init");
    preset->setId(kInitPresetId);
    if (config) {
        preset->setAuthor(config->values().defaultAuthor);
        preset->setVendor(config->values().defaultVendor);
    }
    if (store) preset->setPath(store->workspaceFolder());
    if (bank) preset->setAllParams(bank->defaults());
    return preset;
}

std::unique_ptr<Preset> PresetManagerModel::presetFromBank(const std::string& path, int index) {
    if (path != bankCachePath || bankCache.empty()) {
        std::size_t size = 0;
        std::unique_ptr<uint8_t[]> bytes = readBytes(path, size);
        bankCache.clear();
        bankCachePath.clear();
        if (!bytes) return nullptr;
        bankCache.assign(bytes.get(), bytes.get() + size);
        bankCachePath = path;
    }
    auto reader = std::make_unique<Bank>();
    reader->copyDefaultsFrom(*bank);
    if (!reader->loadBankImage(bankCache.data(), bankCache.size())) return nullptr;
    auto preset = std::make_unique<Preset>(reader->preset(index));
    preset->setBankIndex(index);
    return preset;
}

std::unique_ptr<Preset> PresetManagerModel::loadPresetById(int id) {
    if (!bank || !store || !library) return nullptr;
    StorageStatus status;
    store->openForQuery(status);
    if (id == kInitPresetId) {
        failure = false;
        return initPreset();
    }
    failure = true;
    errorText = kPresetLoadError;
    PresetRecord row;
    status.clear();
    if (!store->presetRow(status, id, row)) {
        if (!status.message.empty()) errorText = status.message;
        return nullptr;
    }
    if (row.id < 0 || (row.type == 2 && (row.index < 0 || row.index >= Bank::kPresetCount)))
        return nullptr;
    const std::string path = library->fileOf(row);
    std::string error;
    std::unique_ptr<Preset> preset;
    if (row.type == 0) {
        preset = loadPresetFile(path, *bank, error);
        if (preset) {
            preset->snapToTable(*bank);
            preset->setPath(path);
        }
    } else if (row.type == 1) {
        std::size_t size = 0;
        std::unique_ptr<uint8_t[]> bytes = readBytes(path, size);
        auto reader = std::make_unique<Bank>();
        reader->copyDefaultsFrom(*bank);
        if (bytes && reader->loadLegacyRecord(bytes.get(), size)) {
            preset = std::make_unique<Preset>(reader->currentPreset());
            preset->snapToTable(*bank);
            preset->setPath(path);
        }
    } else {
        preset = presetFromBank(path, row.index);
    }
    if (!preset || !error.empty()) return nullptr;
    failure = false;
    errorText.clear();
    loadedDirId = row.dirId;
    preset->setId(id);
    PathObject where;
    where.name = row.name;
    where.type = row.type;
    where.index = row.index;
    where.relPath = row.dirPath;
    where.filename = row.filename;
    where.factory = row.isFactory ? 1 : 0;
    where.id = id;
    preset->setPathObject(where.toText());
    preset->setLegacyWord(row.type);
    return preset;
}

bool PresetManagerModel::selectPreset(int index, bool keepMacros) {
    if (index < 0 || index >= int(list.size())) return false;
    const TableItem item = list[std::size_t(index)];
    // The selection moves first, so that a row whose file is broken does not stop the user
    // from stepping past it.
    state.sel_preset.index = index;
    state.sel_preset.id = item.id;
    state.sel_preset.type = item.type;
    state.sel_preset.name = item.name;
    state.sel_preset.dir_id = item.folder;
    state.from_history = state.show_history;
    std::unique_ptr<Preset> loaded = loadPresetById(int(item.id));
    if (!loaded) {
        // The live sound stays as it is and the history gains nothing.
        showMessage(errorText.empty() ? std::string(kPresetLoadError) : errorText);
        return false;
    }
    state.sel_preset.dir_id = loadedDirId;
    StorageStatus status;
    store->addHistory(status, item.id);
    OnPresetLoadedEvent event(std::shared_ptr<Preset>(std::move(loaded)));
    event.index = index;
    event.count = int(list.size());
    event.keepMacros = keepMacros;
    bus->publish(event);
    return true;
}

void PresetManagerModel::switchPreset(const SwitchPresetEvent& event) {
    if (modal || list.empty()) return;
    const int last = int(list.size()) - 1;
    const int current = state.sel_preset.index;
    int target = -1;
    switch (event.direction) {
    case SwitchPresetEvent::kToIndex:
        if (event.index < 0 || event.index > last) return;
        target = event.index;
        break;
    case SwitchPresetEvent::kBack:
        if (current <= 0) return;
        target = std::min(current, last + 1) - 1;
        break;
    case SwitchPresetEvent::kForward:
        if (current >= last) return;
        target = std::max(current, -1) + 1;
        break;
    default:
        return;
    }
    selectPreset(target, event.keepMacros);
}

void PresetManagerModel::reselectLoaded() {
    if (!bank) return;
    PathObject where;
    if (!where.parse(bank->currentPreset().pathObject()) || !where.hasId) return;
    const std::string name = bank->currentPresetName();
    for (std::size_t i = 0; i < list.size(); ++i) {
        if (list[i].id == where.id) {
            state.sel_preset.index = int(i);
            state.sel_preset.id = list[i].id;
            state.sel_preset.type = list[i].type;
            state.sel_preset.name = list[i].name;
            break;
        }
    }
    if (state.sel_preset.id != where.id) {
        state.sel_preset.index = -1;
        state.sel_preset.id = where.id;
        state.sel_preset.name = name;
    }
    HighlightLoadedPresetEvent highlight;
    bus->publish(highlight);
}

// Browsing.

std::string PresetManagerModel::likePattern(const std::string& text) {
    return text.empty() ? std::string() : "%" + text + "%";
}

void PresetManagerModel::setList(std::vector<TableItem> items) {
    list = std::move(items);
    state.presets.clear();
    for (const TableItem& item : list) state.presets.push_back(item.id);
    // The selection follows its row, wherever the new list puts it.
    state.sel_preset.index = -1;
    for (std::size_t i = 0; i < list.size(); ++i)
        if (list[i].id == state.sel_preset.id) state.sel_preset.index = int(i);
}

void PresetManagerModel::publishList() {
    PresetsToBrowseListChangedEvent event(list);
    bus->publish(event);
}

bool PresetManagerModel::listMetadataAnywhere(int slot, std::vector<TableItem>& out) {
    const BrowserState::SelectedMetadata& m = state.metadata[slot];
    StorageStatus status;
    std::set<int64_t> visited;
    std::function<bool(int64_t, bool)> walk = [&](int64_t folderId, bool isFactory) {
        if (!visited.insert(folderId).second) return true;
        std::vector<PresetListRow> rows;
        if (!store->presetsOfMetadata(status, rows, folderId, m.m_id, state.fav_only)) return false;
        for (const PresetListRow& row : rows) {
            out.push_back(itemOf(row));
            out.back().folder = folderId;
        }
        std::vector<FolderRow> children;
        if (!store->foldersOfMetadata(status, children, m.m_id, folderId, isFactory)) return false;
        for (const FolderRow& child : children)
            if (!walk(child.id, child.isFactory)) return false;
        return true;
    };
    for (bool isFactory : {true, false}) {
        std::vector<FolderRow> roots;
        if (!store->listChildren(status, roots, -1, isFactory)) break;
        for (const FolderRow& root : roots)
            if (!walk(root.id, isFactory)) break;
    }
    if (!status.ok()) showMessage(status.message);
    return status.ok();
}

bool PresetManagerModel::listForSelection(std::vector<TableItem>& out) {
    StorageStatus status;
    std::vector<PresetListRow> rows;
    if (globalSearch) {
        if (!store->searchAll(status, rows, likePattern(globalFilter))) {
            showMessage(status.message);
            return false;
        }
        for (const PresetListRow& row : rows) out.push_back(itemOf(row));
        return true;
    }
    if (state.show_history) {
        std::vector<HistoryRow> history;
        if (!store->listHistory(status, history)) {
            showMessage(status.message);
            return false;
        }
        for (const HistoryRow& row : history)
            if (nameMatches(row.name, state.filter) && (!state.fav_only || row.isFavorite))
                out.push_back(itemOf(row));
        return true;
    }
    for (int slot = 0; slot < 2; ++slot) {
        const BrowserState::SelectedMetadata& m = state.metadata[slot];
        if (!m.selected()) continue;
        std::vector<TableItem> all;
        if (m.md_dir_id >= 0) {
            if (!store->presetsOfMetadata(status, rows, m.md_dir_id, m.m_id, state.fav_only)) {
                showMessage(status.message);
                return false;
            }
            for (const PresetListRow& row : rows) {
                all.push_back(itemOf(row));
                all.back().folder = m.md_dir_id;
            }
        } else if (!listMetadataAnywhere(slot, all)) {
            return false;
        }
        for (TableItem& item : all)
            if (nameMatches(item.name, state.filter)) out.push_back(std::move(item));
        return true;
    }
    if (state.sel_folder.id < 0) return true;
    if (!store->presetsInFolderTree(status, rows, state.sel_folder.id, likePattern(state.filter),
                                    true, state.fav_only)) {
        showMessage(status.message);
        return false;
    }
    for (const PresetListRow& row : rows) out.push_back(itemOf(row));
    return true;
}

void PresetManagerModel::refreshList() {
    if (!store) return;
    std::vector<TableItem> items;
    if (!listForSelection(items)) return;
    setList(std::move(items));
    publishList();
}

void PresetManagerModel::showFolder(int64_t folderId, const std::string& label, int row) {
    globalSearch = false;
    state.show_history = false;
    state.sel_folder = {folderId, label, row};
    state.metadata[0] = {};
    state.metadata[1] = {};
    refreshList();
}

void PresetManagerModel::showMetadata(int slot, int64_t metadataId, const std::string& name,
                                      int64_t dirId, int row, int dirType, bool dirIsFactory) {
    if (slot < 0 || slot > 1) return;
    globalSearch = false;
    state.show_history = false;
    state.metadata[0] = {};
    state.metadata[1] = {};
    BrowserState::SelectedMetadata& m = state.metadata[slot];
    m.m_id = metadataId;
    m.m_type = slot;
    m.m_name = name;
    m.md_id = row;
    m.md_dir_id = dirId;
    m.md_type = dirType;
    m.md_is_factory = dirIsFactory;
    refreshList();
}

void PresetManagerModel::setFilter(const std::string& text) {
    state.filter = text;
    refreshList();
}

void PresetManagerModel::setFavoritesOnly(bool only) {
    state.fav_only = only;
    refreshList();
}

void PresetManagerModel::searchAll(const std::string& text) {
    globalSearch = true;
    globalFilter = text;
    state.show_history = false;
    refreshList();
}

void PresetManagerModel::showHistory() {
    globalSearch = false;
    state.show_history = true;
    refreshList();
}

// Changes.

bool PresetManagerModel::setFavorite(const std::vector<int64_t>& ids, bool favorite) {
    if (!library) return false;
    std::string error;
    if (!library->setFavorite(ids, favorite, error)) {
        showMessage(error);
        return false;
    }
    refreshList();
    return true;
}

bool PresetManagerModel::renamePreset(int64_t id, const std::string& newName, std::string& error) {
    if (!library) return false;
    if (!library->renamePreset(id, newName, error)) {
        // Refused names go back to the open dialog; file and index errors get a message box.
        if (!PresetLibrary::isNameRefusal(error)) showMessage(error);
        return false;
    }
    if (state.sel_preset.id == id) state.sel_preset.name = newName;
    refreshList();
    return true;
}

bool PresetManagerModel::savePresetAs(const Preset& preset, int64_t dirId, const std::string& name,
                                      std::string& error) {
    if (!library) return false;
    int64_t newId = -1;
    if (!library->savePresetAs(preset, dirId, name, newId, error)) {
        if (!PresetLibrary::isNameRefusal(error)) showMessage(error);
        return false;
    }
    state.sel_preset.id = newId;
    state.sel_preset.name = name;
    state.sel_preset.dir_id = dirId;
    refreshList();
    return true;
}

void PresetManagerModel::showMessage(const std::string& text) {
    ShowMessageOkDialogEvent event;
    event.title = kMessageTitle;
    event.message = text.empty() ? std::string(kInternalError) : text;
    bus->publish(event);
}

// State.

void PresetManagerModel::saveState(nlohmann::ordered_json& json) {
    state.save(json);
}

void PresetManagerModel::restoreState(const nlohmann::ordered_json& json) {
    state.restore(json);
    globalSearch = false;
    if (store) {
        StorageStatus status;
        std::vector<TableItem> items;
        bool metadataShown = state.metadata[0].selected() || state.metadata[1].selected();
        if (state.show_history || metadataShown) {
            if (!listForSelection(items)) items.clear();
        } else {
            std::vector<PresetListRow> rows;
            if (store->presetsByIds(status, state.presets, rows, state.fav_only))
                for (const PresetListRow& row : rows) items.push_back(itemOf(row));
        }
        setList(std::move(items));
    }
    HighlightLoadedPresetEvent highlight;
    bus->publish(highlight);
}

std::string PresetManagerModel::saveStateText() {
    nlohmann::ordered_json json = nlohmann::ordered_json::object();
    saveState(json);
    return json.dump();
}

void PresetManagerModel::restoreStateText(const std::string& text) {
    nlohmann::ordered_json json = nlohmann::ordered_json::parse(text, nullptr, false);
    if (json.is_object()) restoreState(json);
}

// Generation.

std::string PresetManagerModel::pendingKey(const WorkspacePath& folder) {
    return std::string(folder.isFactory ? "1" : "0") + folder.path;
}

void PresetManagerModel::addPendingFolder(const WorkspacePath& folder) {
    MutexLock hold(mutex);
    pending.insert(pendingKey(folder));
}

std::set<std::string> PresetManagerModel::pendingFolders() {
    MutexLock hold(mutex);
    return pending;
}

void PresetManagerModel::takeGenerationResult(const AIGenerationResultEvent& event) {
    if (!store || !library) return;
    StorageStatus status;
    store->deleteTask(status, event.first);
    {
        MutexLock hold(mutex);
        pending.erase(pendingKey(event.second));
    }
    if (event.canceled) return;
    const std::string folder = library->folderPath(event.second.isFactory, event.second.path);
    std::error_code ec;
    if (!fs::is_directory(folder, ec)) {
        showMessage(kFolderUnavailable);
        return;
    }
    if (!generation || !generation->unpackResult(event.third, folder)) {
        showMessage(kInternalError);
        return;
    }
    if (generation) store->takeOverTasks(status, generation->plugUuid());
    status.clear();
    if (!store->reindex(status, true, false, event.second.path)) showMessage(status.message);
    UpdateFolderPendingAnimationEvent animation;
    bus->publish(animation);
    AIGenerationResultSavedEvent saved;
    bus->publish(saved);
    refreshList();
}

} // namespace torvo

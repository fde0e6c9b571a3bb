// The preset manager driven the way the browser drives it, through the bus only, over a real
// workspace on disk and its index: browse, filter, search, load, step, favourite, rename, save,
// the browser state, the generation hooks, and the failures that end in a message.

#include "presets/bank.h"
#include "presets/pathobject.h"
#include "presets/presetjson.h"
#include "workspace/config.h"
#include "workspace/eventbus.h"
#include "workspace/events.h"
#include "workspace/metadatastorage.h"
#include "workspace/presetlibrary.h"
#include "workspace/presetmanagercommands.h"
#include "workspace/presetmanagermodel.h"
#include "workspacefixture.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace torvo {
namespace {

namespace fs = std::filesystem;

constexpr int kVolume = 9;

/// What a listener keeps of one event: enough to check order and payload afterwards.
struct Seen {
    int id = -1;
    std::vector<TableItem> list;
    std::shared_ptr<Preset> preset;
    int index = -1;
    int count = 0;
    bool keep = false;
    std::string message;
    std::string prompt;
    std::string text;
    std::string error;
};

class Recorder : public IEventProcessor {
public:
    explicit Recorder(IEventBus& eventBus) : bus(eventBus) {
        for (int id : {kShowMessageDialogEvent, kShowTextEditDialogEvent, kOnPresetLoadedEvent,
                       kPresetsToBrowseListChangedEvent, kHighlightLoadedPresetEvent,
                       kUpdateFolderPendingAnimationEvent, kAIGenerationResultSavedEvent})
            bus.subscribe(id, this);
    }
    ~Recorder() override { bus.unsubscribeAll(this); }

    void process(IEvent& event) override {
        Seen seen;
        seen.id = event.id();
        if (auto* list = eventAs<PresetsToBrowseListChangedEvent>(event)) seen.list = list->param;
        if (auto* loaded = eventAs<OnPresetLoadedEvent>(event)) {
            seen.preset = loaded->param;
            seen.index = loaded->index;
            seen.count = loaded->count;
            seen.keep = loaded->keepMacros;
        }
        if (event.id() == kShowMessageDialogEvent)
            seen.message = static_cast<ShowMessageDialogEvent&>(event).message;
        if (auto* ask = eventAs<ShowTextEditDialogEvent>(event)) {
            seen.prompt = ask->prompt;
            seen.text = ask->text;
            seen.error = ask->error;
        }
        events.push_back(std::move(seen));
    }

    std::vector<int> ids() const {
        std::vector<int> out;
        for (const Seen& s : events) out.push_back(s.id);
        return out;
    }
    const Seen& last() const { return events.back(); }
    void clear() { events.clear(); }

    std::vector<Seen> events;

private:
    IEventBus& bus;
};

std::vector<std::string> namesOf(const std::vector<TableItem>& list) {
    std::vector<std::string> names;
    for (const TableItem& item : list) names.push_back(item.name);
    std::sort(names.begin(), names.end());
    return names;
}

using test::queryInt;

/// Stands in for the generation client.
class FakeGeneration : public GenerationHooks {
public:
    void pollTasks() override { ++polls; }
    void queryToken(const std::string& accountId) override { queried = accountId; }
    bool unpackResult(const std::string& data, const std::string& folder) override {
        unpackedInto = folder;
        if (data.empty()) return false;
        Preset preset;
        preset.setAllParams(bank->defaults());
        preset.setName(data);
        preset.setAuthor("Generator");
        return writePresetFile(folder + "/" + data + ".tpf2", preset, *bank);
    }
    std::string plugUuid() const override { return "11111111-2222-3333-4444-555555555555"; }

    Bank* bank = nullptr;
    int polls = 0;
    std::string queried;
    std::string unpackedInto;
};

class PresetManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "torvo-pm-XXXXXX").string();
        std::vector<char> buffer(pattern.begin(), pattern.end());
        buffer.push_back('\0');
        ASSERT_NE(::mkdtemp(buffer.data()), nullptr);
        root = buffer.data();
        ws = root + "/ws";
        factory = root + "/factory";

        bank = std::make_unique<Bank>();
        bank->initAllPresets();
        writeTpf2(ws + "/Leads/Alpha Lead.tpf2", "Ann", {"Lead", "Bright"}, 0.25f);
        writeTpf2(ws + "/Leads/Beta Lead.tpf2", "Bob", {"Lead"}, 0.5f);
        writeTpf2(ws + "/Leads/Gamma Lead.tpf2", "Ann", {"Lead"}, 0.75f);
        writeTpf2(ws + "/Pads/Calm Pad.tpf2", "Ann", {"Pad"}, 0.125f);
        writeTpf2(factory + "/Factory Bass.tpf2", "Halden", {"Bass"}, 0.375f);
        writeTbf(ws + "/Banks/Demo.tbf", {"First", "Second"});
        writeTpf(ws + "/Legacy/Old Bass.tpf", "Old Bass");

        StorageStatus status;
        ASSERT_TRUE(store.setRoots(*bank, ws, factory, status)) << status.message;
        dbPath = ws + "/workspace.db";

        config = std::make_unique<Config>(root + "/cfg", root + "/cache", ws);
        config->values().defaultAuthor = "Tester";
        config->values().defaultVendor = "Torvo Lab";

        model = std::make_unique<PresetManagerModel>(bus);
        model->setContext(*bank, *config, store, bus);
        commands = std::make_unique<PresetManagerCommands>(bus, *model);
        recorder = std::make_unique<Recorder>(bus);
        generation.bank = bank.get();
        model->setGenerationHooks(&generation);
    }

    void TearDown() override {
        recorder.reset();
        commands.reset();
        model.reset();
        std::error_code ec;
        fs::permissions(ws + "/Pads", fs::perms::owner_all, ec);
        fs::remove_all(root, ec);
    }

    void writeTpf2(const std::string& path, const std::string& author,
                   const std::vector<std::string>& tags, float volume) {
        fs::create_directories(fs::path(path).parent_path());
        Preset preset;
        preset.setAllParams(bank->defaults());
        preset.setParam(kVolume, volume);
        preset.setName(presetNameFromPath(path));
        preset.setAuthor(author);
        preset.setTags(tags);
        ASSERT_TRUE(writePresetFile(path, preset, *bank)) << path;
    }

    void writeTbf(const std::string& path, const std::vector<std::string>& names) {
        fs::create_directories(fs::path(path).parent_path());
        auto writer = std::make_unique<Bank>();
        writer->initAllPresets();
        for (std::size_t i = 0; i < names.size(); ++i) writer->preset(int(i)).setName(names[i]);
        ASSERT_TRUE(writer->saveBankFile(path, false));
    }

    void writeTpf(const std::string& path, const std::string& name) {
        fs::create_directories(fs::path(path).parent_path());
        auto writer = std::make_unique<Bank>();
        writer->initAllPresets();
        writer->selectPreset(0);
        writer->setCurrentPresetName(name);
        std::size_t size = 0;
        const uint8_t* bytes = writer->currentToLegacyRecord(size, false);
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes), std::streamsize(size));
    }

    int64_t folderId(const std::string& relative, bool isFactory = false) {
        return queryInt(dbPath, "SELECT `id` FROM `vst_dir_tree` WHERE `path`='" + relative +
                                    "' AND `is_factory`=" + (isFactory ? "1" : "0"));
    }
    int64_t metadataId(const std::string& value, int type) {
        return queryInt(dbPath, "SELECT `id` FROM `vst_metadata` WHERE `value`='" + value +
                                    "' AND `type`=" + std::to_string(type));
    }
    long long historyCount() {
        return queryInt(dbPath, "SELECT COUNT(*) FROM `vst_preset_history`");
    }

    void browseFolder(const std::string& relative, bool isFactory = false) {
        LeftRowSelectedEvent row;
        row.kind = LeftListKind::Folders;
        row.itemId = folderId(relative, isFactory);
        row.label = relative;
        row.row = 0;
        bus.publish(row);
    }
    void browseMetadata(LeftListKind kind, int64_t id, int64_t dirId = -1) {
        LeftRowSelectedEvent row;
        row.kind = kind;
        row.itemId = id;
        row.dirId = dirId;
        bus.publish(row);
    }
    void selectRow(int index) {
        PresetListSelectionChangeEvent select;
        select.index = index;
        bus.publish(select);
    }
    void step(int direction, int index = -1, bool keep = false) {
        SwitchPresetEvent event;
        event.direction = direction;
        event.index = index;
        event.keepMacros = keep;
        bus.publish(event);
    }
    void answer(int result, const std::string& text) {
        TextMessageDialogCloseResultEvent close;
        close.param = result;
        close.text = text;
        bus.publish(close);
    }
    int rowOf(const std::string& name) {
        const auto& list = model->presets();
        for (std::size_t i = 0; i < list.size(); ++i)
            if (list[i].name == name) return int(i);
        return -1;
    }

    std::string root, ws, factory, dbPath;
    std::unique_ptr<Bank> bank;
    MetadataStorage store;
    std::unique_ptr<Config> config;
    EventBus bus;
    std::unique_ptr<PresetManagerModel> model;
    std::unique_ptr<PresetManagerCommands> commands;
    std::unique_ptr<Recorder> recorder;
    FakeGeneration generation;
};

TEST_F(PresetManagerTest, BrowsesFoldersTagsAuthorsAndSearches) {
    browseFolder("/Leads");
    ASSERT_EQ(recorder->ids(), std::vector<int>{kPresetsToBrowseListChangedEvent});
    EXPECT_EQ(namesOf(recorder->last().list),
              (std::vector<std::string>{"Alpha Lead", "Beta Lead", "Gamma Lead"}));

    UpdatePresetFilterEvent filter("BETA");
    bus.publish(filter);
    EXPECT_EQ(namesOf(recorder->last().list), std::vector<std::string>{"Beta Lead"});
    UpdatePresetFilterEvent clear("");
    bus.publish(clear);
    EXPECT_EQ(recorder->last().list.size(), 3u);

    browseMetadata(LeftListKind::Tags, metadataId("Pad", 0));
    EXPECT_EQ(namesOf(recorder->last().list), std::vector<std::string>{"Calm Pad"});
    browseMetadata(LeftListKind::Authors, metadataId("Ann", 1));
    EXPECT_EQ(namesOf(recorder->last().list),
              (std::vector<std::string>{"Alpha Lead", "Calm Pad", "Gamma Lead"}));
    browseMetadata(LeftListKind::Authors, metadataId("Ann", 1), folderId("/Leads"));
    EXPECT_EQ(namesOf(recorder->last().list),
              (std::vector<std::string>{"Alpha Lead", "Gamma Lead"}));
    // The legacy file carries no tags: its tag comes from its name.
    browseMetadata(LeftListKind::Tags, metadataId("Bass", 0));
    EXPECT_EQ(namesOf(recorder->last().list),
              (std::vector<std::string>{"Factory Bass", "Old Bass"}));

    UpdatePresetGlobalFilterEvent search("lead");
    bus.publish(search);
    EXPECT_EQ(namesOf(recorder->last().list),
              (std::vector<std::string>{"Alpha Lead", "Beta Lead", "Gamma Lead"}));
    UpdatePresetGlobalFilterEvent bass("bass");
    bus.publish(bass);
    const auto found = namesOf(recorder->last().list);
    EXPECT_NE(std::find(found.begin(), found.end(), "Factory Bass"), found.end());
    EXPECT_EQ(std::find(found.begin(), found.end(), "Calm Pad"), found.end());

    // Nothing was loaded while browsing.
    for (int id : recorder->ids()) EXPECT_EQ(id, kPresetsToBrowseListChangedEvent);
    EXPECT_EQ(historyCount(), 0);
}

TEST_F(PresetManagerTest, SelectLoadsThroughTheFileAndStepsStopAtBothEnds) {
    browseFolder("/Leads");
    const int alpha = rowOf("Alpha Lead");
    ASSERT_GE(alpha, 0);
    recorder->clear();
    selectRow(alpha);
    ASSERT_EQ(recorder->ids(), std::vector<int>{kOnPresetLoadedEvent});
    const Seen& loaded = recorder->last();
    ASSERT_TRUE(loaded.preset);
    EXPECT_STREQ(loaded.preset->name(), "Alpha Lead");
    EXPECT_EQ(loaded.preset->author(), "Ann");
    EXPECT_FLOAT_EQ(loaded.preset->params()[kVolume], 0.25f);
    EXPECT_EQ(loaded.preset->legacyWord(), 0);
    EXPECT_EQ(loaded.preset->path(), ws + "/Leads/Alpha Lead.tpf2");
    EXPECT_EQ(loaded.index, alpha);
    EXPECT_EQ(loaded.count, 3);
    PathObject where;
    ASSERT_TRUE(where.parse(loaded.preset->pathObject()));
    EXPECT_EQ(where.id, model->presets()[std::size_t(alpha)].id);
    EXPECT_EQ(where.filename, "Alpha Lead.tpf2");
    EXPECT_EQ(where.relPath, "/Leads");
    EXPECT_EQ(where.factory, 0);
    EXPECT_EQ(historyCount(), 1);

    // Walk to the end, one step past it, back to the start and one step before it.
    step(SwitchPresetEvent::kToIndex, 0);
    recorder->clear();
    step(SwitchPresetEvent::kForward, -1, true);
    step(SwitchPresetEvent::kForward);
    step(SwitchPresetEvent::kForward);
    ASSERT_EQ(recorder->events.size(), 2u);
    EXPECT_EQ(recorder->events[0].index, 1);
    EXPECT_TRUE(recorder->events[0].keep);
    EXPECT_EQ(recorder->events[1].index, 2);
    EXPECT_STREQ(recorder->events[1].preset->name(), model->presets()[2].name.c_str());
    recorder->clear();
    step(SwitchPresetEvent::kBack);
    step(SwitchPresetEvent::kBack);
    step(SwitchPresetEvent::kBack);
    ASSERT_EQ(recorder->events.size(), 2u);
    EXPECT_EQ(recorder->events[1].index, 0);
    recorder->clear();
    step(SwitchPresetEvent::kToIndex, 3);
    step(SwitchPresetEvent::kToIndex, -1);
    EXPECT_TRUE(recorder->events.empty());

    // Steps wait while a modal dialog is up.
    ModalDialogOpenedEvent opened;
    bus.publish(opened);
    step(SwitchPresetEvent::kForward);
    EXPECT_TRUE(recorder->events.empty());
    ModalDialogClosedEvent closed;
    bus.publish(closed);
    step(SwitchPresetEvent::kForward);
    EXPECT_EQ(recorder->ids(), std::vector<int>{kOnPresetLoadedEvent});
}

TEST_F(PresetManagerTest, LoadsLegacyFilesAndReadsABankOnceForItsItems) {
    browseFolder("/Legacy");
    ASSERT_EQ(model->presets().size(), 1u);
    selectRow(0);
    ASSERT_EQ(recorder->last().id, kOnPresetLoadedEvent);
    EXPECT_STREQ(recorder->last().preset->name(), "Old Bass");
    EXPECT_EQ(recorder->last().preset->legacyWord(), 1);

    browseFolder("/Banks");
    const int first = rowOf("1. First");
    const int second = rowOf("2. Second");
    ASSERT_GE(first, 0);
    ASSERT_GE(second, 0);
    const int readsBefore = model->fileReads();
    selectRow(first);
    ASSERT_EQ(recorder->last().id, kOnPresetLoadedEvent);
    EXPECT_STREQ(recorder->last().preset->name(), "First");
    EXPECT_EQ(recorder->last().preset->bankIndex(), 0);
    EXPECT_EQ(recorder->last().preset->legacyWord(), 2);
    selectRow(second);
    ASSERT_EQ(recorder->last().id, kOnPresetLoadedEvent);
    EXPECT_STREQ(recorder->last().preset->name(), "Second");
    EXPECT_EQ(recorder->last().preset->bankIndex(), 1);
    EXPECT_EQ(model->fileReads(), readsBefore + 1);
}

TEST_F(PresetManagerTest, InitPresetComesFromDefaultsWithoutTheDatabase) {
    fs::remove(dbPath);
    std::unique_ptr<Preset> init = model->loadPresetById(PresetManagerModel::kInitPresetId);
    ASSERT_TRUE(init);
    EXPECT_STREQ(init->name(), "init");
    EXPECT_EQ(init->id(), -2);
    EXPECT_EQ(init->author(), "Tester");
    EXPECT_EQ(init->vendor(), "Torvo Lab");
    for (int i = 0; i < kParamCount; ++i) ASSERT_EQ(init->params()[i], bank->defaults()[i]);
    EXPECT_FALSE(fs::exists(dbPath));
    EXPECT_FALSE(model->failed());
}

TEST_F(PresetManagerTest, FavouritesRenameAndSaveAsRunThroughTheStoreAndTheDialogs) {
    browseFolder("/Leads");
    const int alpha = rowOf("Alpha Lead");
    recorder->clear();
    commands->toggleFavorite(alpha);
    ASSERT_EQ(recorder->ids(), std::vector<int>{kPresetsToBrowseListChangedEvent});
    for (const TableItem& item : recorder->last().list)
        EXPECT_EQ(item.isFavorite, item.name == "Alpha Lead") << item.name;
    model->setFavoritesOnly(true);
    EXPECT_EQ(namesOf(recorder->last().list), std::vector<std::string>{"Alpha Lead"});
    model->setFavoritesOnly(false);

    // Rename: the dialog asks, a taken name is refused with the reason, then it goes through.
    recorder->clear();
    commands->beginRename(rowOf("Alpha Lead"));
    ASSERT_EQ(recorder->ids(), std::vector<int>{kShowTextEditDialogEvent});
    EXPECT_EQ(recorder->last().prompt, "Enter new preset name:");
    EXPECT_EQ(recorder->last().text, "Alpha Lead");
    answer(kDialogOk, "beta lead");
    ASSERT_EQ(recorder->ids().back(), kShowTextEditDialogEvent);
    EXPECT_EQ(recorder->last().error, kPresetNameTaken);
    answer(kDialogOk, "A name much longer than 24");
    EXPECT_EQ(recorder->last().error, "Preset name is too long");
    recorder->clear();
    answer(kDialogOk, "Amber Lead");
    ASSERT_EQ(recorder->ids(), std::vector<int>{kPresetsToBrowseListChangedEvent});
    EXPECT_EQ(namesOf(recorder->last().list),
              (std::vector<std::string>{"Amber Lead", "Beta Lead", "Gamma Lead"}));
    EXPECT_TRUE(fs::exists(ws + "/Leads/Amber Lead.tpf2"));
    EXPECT_FALSE(fs::exists(ws + "/Leads/Alpha Lead.tpf2"));
    answer(kDialogOk, "Ignored"); // the flow is over
    EXPECT_EQ(recorder->ids(), std::vector<int>{kPresetsToBrowseListChangedEvent});
    selectRow(rowOf("Amber Lead"));
    ASSERT_EQ(recorder->last().id, kOnPresetLoadedEvent);
    EXPECT_FLOAT_EQ(recorder->last().preset->params()[kVolume], 0.25f);
    EXPECT_TRUE(recorder->last().preset->isFavorite() ||
                model->presets()[std::size_t(rowOf("Amber Lead"))].isFavorite);
    const std::shared_ptr<Preset> amber = recorder->last().preset;

    // Save as into another folder, through the quick save dialog's rules.
    recorder->clear();
    commands->beginSaveAs(*amber, folderId("/Pads"), "Calm Pad");
    EXPECT_EQ(recorder->last().prompt, "Preset Name");
    answer(kDialogOk, "Calm Pad");
    EXPECT_EQ(recorder->last().error, kPresetNameTaken);
    answer(kDialogOk, "");
    EXPECT_EQ(recorder->last().error, "Please type preset name");
    answer(kDialogOk, "Night/Pad");
    EXPECT_EQ(recorder->last().error, "Preset name contains invalid character");
    recorder->clear();
    answer(kDialogOk, "Night Pad");
    ASSERT_EQ(recorder->ids(), std::vector<int>{kPresetsToBrowseListChangedEvent});
    EXPECT_TRUE(fs::exists(ws + "/Pads/Night Pad.tpf2"));
    browseFolder("/Pads");
    EXPECT_EQ(namesOf(recorder->last().list), (std::vector<std::string>{"Calm Pad", "Night Pad"}));
    selectRow(rowOf("Night Pad"));
    ASSERT_EQ(recorder->last().id, kOnPresetLoadedEvent);
    EXPECT_FLOAT_EQ(recorder->last().preset->params()[kVolume], 0.25f);
    // The new file's author is indexed with it.
    browseMetadata(LeftListKind::Authors, metadataId("Ann", 1), folderId("/Pads"));
    EXPECT_EQ(namesOf(recorder->last().list), (std::vector<std::string>{"Calm Pad", "Night Pad"}));

    // A cancelled dialog changes nothing.
    recorder->clear();
    commands->beginRename(0);
    answer(kDialogCancel, "Whatever");
    EXPECT_EQ(recorder->ids(), std::vector<int>{kShowTextEditDialogEvent});
}

TEST_F(PresetManagerTest, FailuresEndInAMessageAndLoseNothing) {
    browseFolder("/Leads");
    selectRow(rowOf("Beta Lead"));
    ASSERT_EQ(recorder->last().id, kOnPresetLoadedEvent);
    const long long history = historyCount();

    // A file deleted behind the index's back.
    fs::remove(ws + "/Leads/Alpha Lead.tpf2");
    recorder->clear();
    selectRow(rowOf("Alpha Lead"));
    ASSERT_EQ(recorder->ids(), std::vector<int>{kShowMessageDialogEvent});
    EXPECT_EQ(recorder->last().message, "Error loading preset");
    EXPECT_TRUE(model->failed());
    EXPECT_EQ(historyCount(), history);
    // The broken row does not block stepping past it.
    const int broken = rowOf("Alpha Lead");
    EXPECT_EQ(model->browserState().sel_preset.index, broken);
    recorder->clear();
    step(broken == 0 ? SwitchPresetEvent::kForward : SwitchPresetEvent::kBack);
    ASSERT_EQ(recorder->ids(), std::vector<int>{kOnPresetLoadedEvent});
    EXPECT_EQ(historyCount(), history + 1);

    // Renaming the vanished file: the row keeps its name.
    recorder->clear();
    commands->beginRename(rowOf("Alpha Lead"));
    answer(kDialogOk, "Other Lead");
    EXPECT_EQ(recorder->ids(),
              (std::vector<int>{kShowTextEditDialogEvent, kShowMessageDialogEvent}));
    EXPECT_EQ(recorder->last().message, "Failed to rename preset");
    EXPECT_EQ(queryInt(dbPath, "SELECT COUNT(*) FROM `vst_preset` WHERE `name`='Alpha Lead'"), 1);

    // A bank item keeps its name: its record lives inside the bank file.
    browseFolder("/Banks");
    std::string error;
    EXPECT_FALSE(model->renamePreset(model->presets()[0].id, "Renamed", error));
    EXPECT_EQ(error, "Failed to rename preset");

    // Saving into a folder that is gone.
    std::shared_ptr<Preset> beta = std::make_shared<Preset>();
    const int64_t pads = folderId("/Pads");
    fs::remove_all(ws + "/Pads");
    recorder->clear();
    EXPECT_FALSE(model->savePresetAs(*beta, pads, "Lost Pad", error));
    EXPECT_EQ(recorder->ids(), std::vector<int>{kShowMessageDialogEvent});
    EXPECT_EQ(recorder->last().message, "Folder was deleted or unavailable");
    EXPECT_EQ(queryInt(dbPath, "SELECT COUNT(*) FROM `vst_preset` WHERE `name`='Lost Pad'"), 0);
}

TEST_F(PresetManagerTest, SavingIntoAReadOnlyFolderFailsCleanly) {
    const std::string pads = ws + "/Pads";
    fs::permissions(pads, fs::perms::owner_read | fs::perms::owner_exec);
    const bool enforced = ::access(pads.c_str(), W_OK) != 0;
    if (!enforced) {
        // Permissions do not bind this user: a folder of the process file system, where no
        // file can be created by anyone, takes the folder's place.
        fs::permissions(pads, fs::perms::owner_all);
        fs::rename(pads, pads + ".aside");
        fs::create_directory_symlink("/proc/self", pads);
    }
    Preset preset;
    std::string error;
    recorder->clear();
    EXPECT_FALSE(model->savePresetAs(preset, folderId("/Pads"), "Locked Pad", error));
    EXPECT_EQ(error, "Folder was deleted or unavailable");
    EXPECT_EQ(recorder->ids(), std::vector<int>{kShowMessageDialogEvent});
    EXPECT_EQ(recorder->last().message, "Folder was deleted or unavailable");
    EXPECT_EQ(queryInt(dbPath, "SELECT COUNT(*) FROM `vst_preset` WHERE `name`='Locked Pad'"), 0);
    if (!enforced) {
        fs::remove(pads);
        fs::rename(pads + ".aside", pads);
    }
    fs::permissions(pads, fs::perms::owner_all);
    EXPECT_FALSE(fs::exists(pads + "/Locked Pad.tpf2"));
    browseFolder("/Pads");
    EXPECT_EQ(namesOf(recorder->last().list), std::vector<std::string>{"Calm Pad"});
    selectRow(0);
    EXPECT_EQ(recorder->last().id, kOnPresetLoadedEvent);
}

TEST_F(PresetManagerTest, BrowserStateTravelsAndRebuildsTheList) {
    browseFolder("/Leads");
    UpdatePresetFilterEvent filter("a");
    bus.publish(filter);
    selectRow(rowOf("Gamma Lead"));
    const std::string text = model->saveStateText();
    const auto json = nlohmann::ordered_json::parse(text);
    EXPECT_EQ(json["filter"], "a");
    EXPECT_EQ(json["sel_preset"]["name"], "Gamma Lead");
    EXPECT_EQ(json["presets"].size(), model->presets().size());

    EventBus otherBus;
    Recorder seen(otherBus);
    PresetManagerModel restored(otherBus);
    restored.setContext(*bank, *config, store, otherBus);
    restored.restoreStateText(text);
    EXPECT_EQ(seen.ids(), std::vector<int>{kHighlightLoadedPresetEvent});
    EXPECT_EQ(namesOf(restored.presets()), namesOf(model->presets()));
    EXPECT_EQ(restored.browserState().sel_preset.name, "Gamma Lead");
    EXPECT_EQ(restored.browserState().sel_preset.index, model->browserState().sel_preset.index);
    EXPECT_EQ(restored.saveStateText(), text);

    // With the history shown, the history is the list.
    LeftRowSelectedEvent history;
    history.kind = LeftListKind::History;
    bus.publish(history);
    EXPECT_EQ(namesOf(model->presets()), std::vector<std::string>{"Gamma Lead"});
    PresetManagerModel again(otherBus);
    again.setContext(*bank, *config, store, otherBus);
    again.restoreStateText(model->saveStateText());
    EXPECT_EQ(namesOf(again.presets()), std::vector<std::string>{"Gamma Lead"});
}

TEST_F(PresetManagerTest, ReloadedChunkReselectsTheLoadedPreset) {
    browseFolder("/Leads");
    selectRow(rowOf("Gamma Lead"));
    ASSERT_EQ(recorder->last().id, kOnPresetLoadedEvent);
    bank->currentPreset().setPathObject(recorder->last().preset->pathObject());
    // A state without a selected preset, as a project saved before any load carries it.
    model->restoreStateText(R"({"sel_preset": {"index": -1, "id": -1}})");
    recorder->clear();
    ReloadChunkEvent reload;
    bus.publish(reload);
    EXPECT_EQ(recorder->ids(), std::vector<int>{kHighlightLoadedPresetEvent});
    EXPECT_EQ(model->browserState().sel_preset.index, rowOf("Gamma Lead"));
    EXPECT_EQ(model->browserState().sel_preset.name, "Gamma Lead");
}

TEST_F(PresetManagerTest, GenerationEventsReachTheHooksAndResultsJoinTheIndex) {
    GetAITaskStatusEvent poll;
    bus.publish(poll);
    EXPECT_EQ(generation.polls, 1);
    GetAISubscriptionInfoEvent token("ABC-123");
    bus.publish(token);
    EXPECT_EQ(generation.queried, "ABC-123");

    fs::create_directories(ws + "/AI");
    WorkspacePath target{false, "/AI"};
    model->addPendingFolder(target);
    ASSERT_EQ(model->pendingFolders().size(), 1u);
    AIGenerationResultEvent canceled;
    canceled.first = "task-1";
    canceled.second = target;
    canceled.canceled = true;
    recorder->clear();
    bus.publish(canceled);
    EXPECT_TRUE(model->pendingFolders().empty());
    EXPECT_TRUE(recorder->events.empty());

    model->addPendingFolder(target);
    AIGenerationResultEvent result("task-2", target, "Dream Pad");
    bus.publish(result);
    EXPECT_EQ(generation.unpackedInto, ws + "/AI");
    ASSERT_GE(recorder->events.size(), 2u);
    EXPECT_EQ(recorder->events[0].id, kUpdateFolderPendingAnimationEvent);
    EXPECT_EQ(recorder->events[1].id, kAIGenerationResultSavedEvent);
    EXPECT_TRUE(model->pendingFolders().empty());
    EXPECT_EQ(queryInt(dbPath, "SELECT COUNT(*) FROM `vst_preset` WHERE `name`='Dream Pad'"), 1);
}

} // namespace
} // namespace torvo

namespace torvo {
namespace {

TEST(PresetManagerModelBus, ListensToStepReloadAndGenerationIdsOnlyWhileItLives) {
    EventBus bus;
    {
        PresetManagerModel model(bus);
        for (int id = 0; id <= 45; ++id) {
            const bool wanted =
                id == 21 || id == 27 || id == 38 || id == 39 || id == 41 || id == 44;
            EXPECT_EQ(bus.subscriberCount(id), wanted ? 1 : 0) << id;
        }
        // Without a context every event is harmless.
        SwitchPresetEvent step;
        bus.publish(step);
        ReloadChunkEvent reload;
        bus.publish(reload);
    }
    for (int id = 0; id <= 45; ++id) EXPECT_EQ(bus.subscriberCount(id), 0) << id;
}

} // namespace
} // namespace torvo

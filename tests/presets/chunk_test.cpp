// The host state: the current compressed form (member order, round trip, the reader's rules),
// the legacy block (layout, reading, conversion of an old project into preset files), the
// oldest headerless form and the host wrapper.
#include "presetfixture.h"

#include "presets/chunk.h"
#include "presets/codec.h"
#include "presets/jsonnumbers.h"
#include "presets/pathobject.h"
#include "presets/presetjson.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>

namespace torvo {
namespace {

using namespace test;
namespace fs = std::filesystem;

/// A workspace as the state sees it: a uuid, rows of preset files, an indexer session.
class FakeWorkspace : public ChunkContext {
public:
    std::string scalaState() override { return scala; }
    void applyScalaState(const std::string& text) override { appliedScala = text; }
    std::string workspaceUuid() override { return uuid; }
    std::string presetManagerState() override { return browser; }
    void applyPresetManagerState(const std::string& text) override { appliedBrowser = text; }
    void refreshStore() override { ++refreshes; }
    bool presetPathForRow(int id, std::string& path) override {
        const auto it = rows.find(id);
        if (it == rows.end()) return false;
        path = it->second;
        return true;
    }
    std::string workspaceFolder() override { return folder; }
    bool openIndexer(const std::string& f) override {
        indexerFolder = f;
        return true;
    }
    std::string tagForName(const std::string& name) override {
        return name.find("Bass") != std::string::npos ? "bass" : "";
    }
    int registerFile(const std::string& relativePath) override {
        registered.push_back(relativePath);
        return 1000 + int(registered.size());
    }
    void closeIndexer() override { ++closes; }

    std::string scala = "{\"microtuning\":[],\"ref_note\":60}";
    std::string appliedScala;
    std::string uuid = "ws-1";
    std::string browser = "{\"tree\":\"user\"}";
    std::string appliedBrowser;
    int refreshes = 0;
    std::map<int, std::string> rows{{42, "/ws/Leads/Lead.tpf2"}};
    std::string folder;
    std::string indexerFolder;
    std::vector<std::string> registered;
    int closes = 0;
};

std::vector<uint8_t> saved(Chunk& chunk) {
    const uint8_t* bytes = nullptr;
    const std::size_t size = chunk.save(&bytes);
    return std::vector<uint8_t>(bytes, bytes + size);
}

OrderedJson unpack(const std::vector<uint8_t>& bytes) {
    std::vector<uint8_t> packed, plain;
    EXPECT_TRUE(
        codec::base64Decode(reinterpret_cast<const char*>(bytes.data()), bytes.size(), packed));
    EXPECT_TRUE(codec::rawInflate(packed.data(), packed.size(), plain));
    return OrderedJson::parse(plain.begin(), plain.end());
}

std::vector<uint8_t> pack(const OrderedJson& root) {
    const std::string text = root.dump();
    std::vector<uint8_t> packed;
    codec::rawDeflate(reinterpret_cast<const uint8_t*>(text.data()), text.size(), packed);
    const std::string encoded = codec::base64Encode(packed.data(), packed.size());
    std::vector<uint8_t> bytes(encoded.begin(), encoded.end());
    bytes.push_back(0);
    return bytes;
}

void describeLive(Bank& bank) {
    float values[kParamCount];
    for (int i = 0; i < kParamCount; ++i) values[i] = patternValue(i, 5);
    values[kVelocity] = 0.123456789f;
    bank.selectPreset(3);
    bank.applyValues(values);
    Preset& live = bank.currentPreset();
    live.setName("Live One");
    live.setAuthor("Ann");
    live.setVendor("V");
    live.setBank("B");
    live.setNotes("n\nn");
    live.setIcon("i");
    live.setTags({"x", "y"});
    live.setPathObject(
        "{\"name\":\"Lead\",\"type\":0,\"index\":-1,\"rel_path\":\"Leads/\",\"filename\":"
        "\"Lead.tpf2\",\"factory\":0,\"id\":42}");
    bank.setSelectedBank("User");
    bank.setGuiScale(2);
    bank.setPerfPanelShown(1);
    bank.setThemeId(3);
    bank.setFactoryExpanded(1);
}

TEST(StateCurrentForm, MembersInOrderAndEncoding) {
    auto bank = makeBank();
    describeLive(*bank);
    FakeWorkspace ws;
    Chunk chunk(*bank, &ws);
    chunk.setPlugUuid("plug-7");
    float ctrl[3] = {0.5f, 0.25f, 1.0f};
    chunk.setControllerValues(ctrl, 3);
    const std::vector<uint8_t> bytes = saved(chunk);
    ASSERT_EQ(bytes.back(), 0);
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i)
        ASSERT_TRUE(std::isalnum(bytes[i]) || bytes[i] == '+' || bytes[i] == '/' ||
                    bytes[i] == '=');

    const OrderedJson root = unpack(bytes);
    std::vector<std::string> keys;
    for (const auto& m : root.items()) keys.push_back(m.key());
    EXPECT_EQ(keys, (std::vector<std::string>{
                        "preset", "ctrl", "plug_uuid", "selected_bank", "gui_scale",
                        "perf_panel_show", "theme_id", "version", "scala", "uuid",
                        "preset_path_obj", "factory_expanded", "preset_meta", "preset_manager"}));
    EXPECT_EQ(root["preset"]["params"].size(), 725u);
    EXPECT_EQ(root["preset"]["current"], 3);
    EXPECT_EQ(root["preset"]["params"][kVelocity].dump(), "0.123457");
    EXPECT_EQ(root["ctrl"]["params"].dump(), "[0.5,0.25,1]");
    EXPECT_EQ(root["plug_uuid"], "plug-7");
    EXPECT_EQ(root["version"], "1.5.18-5339");
    EXPECT_EQ(root["scala"], ws.scala);
    EXPECT_EQ(root["uuid"], "ws-1");
    EXPECT_EQ(root["preset_path_obj"]["id"], 42);
    EXPECT_EQ(root["theme_id"], 3);
    EXPECT_EQ(root["preset_meta"]["name"], "Live One");
    EXPECT_EQ(root["preset_meta"]["tags"], OrderedJson::array({"x", "y"}));
    EXPECT_EQ(root["preset_manager"]["tree"], "user");
    // The dump is compact.
    std::vector<uint8_t> packed, plain;
    codec::base64Decode(reinterpret_cast<const char*>(bytes.data()), bytes.size(), packed);
    codec::rawInflate(packed.data(), packed.size(), plain);
    EXPECT_EQ(std::string(plain.begin(), plain.end()), root.dump());

    // No registered controller array (or an empty one): no ctrl member.
    chunk.setControllerValues(ctrl, 0);
    EXPECT_FALSE(unpack(saved(chunk)).contains("ctrl"));
    chunk.setControllerValues(nullptr, 3);
    EXPECT_FALSE(unpack(saved(chunk)).contains("ctrl"));
}

TEST(StateCurrentForm, RoundTripRestoresSoundPlaceAndSettings) {
    auto a = makeBank();
    describeLive(*a);
    FakeWorkspace ws;
    Chunk out(*a, &ws);
    out.setPlugUuid("plug-7");
    const std::vector<uint8_t> bytes = saved(out);

    auto b = makeBank();
    FakeWorkspace ws2;
    Chunk in(*b, &ws2);
    float ctrl[4] = {9, 9, 9, 9};
    in.setControllerValues(ctrl, 4);
    ASSERT_TRUE(in.load(bytes.data(), bytes.size()));
    EXPECT_EQ(b->currentIndex(), 3);
    for (int i = 0; i < kParamCount; ++i) {
        char text[32];
        std::snprintf(text, sizeof text, "%g", double(a->paramState(i).value));
        ASSERT_EQ(b->paramState(i).value, float(std::strtod(text, nullptr))) << i;
    }
    // ctrl was absent when saving: the controller array is left alone.
    EXPECT_EQ(ctrl[0], 9.0f);
    const Preset& live = b->currentPreset();
    EXPECT_STREQ(live.name(), "Live One");
    EXPECT_EQ(live.author(), "Ann");
    EXPECT_EQ(live.notes(), "n\nn");
    EXPECT_EQ(live.tags(), (std::vector<std::string>{"x", "y"}));
    EXPECT_EQ(b->selectedBank(), "User");
    EXPECT_EQ(b->guiScale(), 2);
    EXPECT_EQ(b->perfPanelShown(), 1);
    EXPECT_EQ(b->themeId(), 3);
    EXPECT_EQ(b->factoryExpanded(), 1);
    EXPECT_EQ(in.plugUuidText(), "plug-7");
    EXPECT_EQ(ws2.appliedScala, ws.scala);
    // Same workspace: place and browser state come back, the path is rebuilt from the row.
    EXPECT_EQ(live.id(), 42);
    EXPECT_EQ(live.path(), "/ws/Leads/Lead.tpf2");
    EXPECT_EQ(ws2.refreshes, 1);
    EXPECT_EQ(ws2.appliedBrowser, "{\"tree\":\"user\"}");
    PathObject where;
    ASSERT_TRUE(where.parse(live.pathObject()));
    EXPECT_EQ(where.filename, "Lead.tpf2");

    // Another machine: the sound, not the place.
    auto c = makeBank();
    FakeWorkspace other;
    other.uuid = "ws-2";
    Chunk moved(*c, &other);
    ASSERT_TRUE(moved.load(bytes.data(), bytes.size()));
    EXPECT_EQ(c->paramState(kVelocity).value, b->paramState(kVelocity).value);
    EXPECT_EQ(c->currentPreset().id(), -2);
    EXPECT_EQ(c->currentPreset().pathObject(), "");
    EXPECT_EQ(other.refreshes, 0);
    EXPECT_EQ(other.appliedBrowser, "");

    // Saving the restored state gives the same state again.
    Chunk again(*b, &ws2);
    again.setPlugUuid("plug-7");
    EXPECT_EQ(unpack(saved(again)), unpack(bytes));
}

TEST(StateCurrentForm, ReaderRulesForOddValues) {
    auto bank = makeBank();
    FakeWorkspace ws;
    Chunk chunk(*bank, &ws);
    float ctrl[3] = {};
    chunk.setControllerValues(ctrl, 3);
    OrderedJson root = {
        {"preset", {{"params", {0.5, "0.25", "", "abc", 7.0, -1.0}}, {"current", 200}}},
        {"ctrl", OrderedJson::object()},
        {"theme_id", 5},
        {"factory_expanded", 3},
        {"uuid", "ws-1"},
        {"preset_path", "{\"name\":\"Old\",\"factory\":0}"},
        {"preset_meta",
         {{"name", std::string(40, 'N')},
          {"tags", {"1", "2", "3", "4", "5", "6", "7"}},
          {"unknown", 1}}}};
    ASSERT_TRUE(chunk.load(pack(root).data(), pack(root).size()));
    EXPECT_EQ(bank->currentIndex(), 0);     // 200 becomes 0
    EXPECT_EQ(bank->themeId(), 0);          // above 4 becomes 0
    EXPECT_EQ(bank->factoryExpanded(), -1); // outside 0..1
    // Values go into the live preset as read and reach the rows snapped.
    EXPECT_EQ(bank->currentPreset().params()[kMode], 0.5f);
    EXPECT_FLOAT_EQ(bank->paramState(kMode).value, 5 * 0.001001001f);
    EXPECT_EQ(bank->currentPreset().params()[1], 0.25f);
    EXPECT_EQ(bank->currentPreset().params()[2], 0.0f);          // empty text
    EXPECT_EQ(bank->currentPreset().params()[3], 0.0f);          // not a number
    EXPECT_FLOAT_EQ(bank->paramState(4).value, 0.001001001f);    // 7 on an on/off row
    EXPECT_EQ(bank->paramState(5).value, 0.0f);                  // -1 clamped by snapping
    EXPECT_EQ(bank->paramState(6).value, bank->defaultValue(6)); // beyond the array
    // The controller array is filled from the preset's values: ctrl only gates the step.
    EXPECT_EQ(ctrl[0], 0.5f);
    EXPECT_EQ(ctrl[1], 0.25f);
    EXPECT_EQ(ctrl[2], 0.0f);
    EXPECT_EQ(std::string(bank->currentPresetName()), std::string(24, 'N'));
    EXPECT_EQ(bank->currentPreset().tags().size(), 5u);
    // The old key: a place without an id is known not to be in the workspace.
    EXPECT_EQ(bank->currentPreset().id(), -1);
    EXPECT_NE(bank->currentPreset().pathObject().find("Old"), std::string::npos);

    root = {{"theme_id", -1}, {"gui_scale", 1}};
    ASSERT_TRUE(chunk.load(pack(root).data(), pack(root).size()));
    EXPECT_EQ(bank->themeId(), -1); // -1 stays
    EXPECT_EQ(bank->guiScale(), 1); // applied without a preset member
}

TEST(StateCurrentForm, BadBytesAnswerFalseAndKeepTheSound) {
    auto bank = makeBank();
    describeLive(*bank);
    Chunk chunk(*bank);
    float before[kParamCount];
    bank->copyLiveValues(before);
    auto same = [&] {
        float now[kParamCount];
        bank->copyLiveValues(now);
        for (int i = 0; i < kParamCount; ++i)
            if (now[i] != before[i]) return false;
        return bank->currentIndex() == 3;
    };
    const std::string texts[] = {"", "not base64!", "QUJD", "////", "AAAA====", "e30="};
    for (const std::string& t : texts) {
        std::vector<uint8_t> bytes(t.begin(), t.end());
        bytes.push_back(0);
        EXPECT_FALSE(chunk.load(bytes.data(), bytes.size())) << t;
        EXPECT_TRUE(same()) << t;
    }
    // Deflated text that is not JSON, or JSON that is not an object.
    for (const std::string& plain : {std::string("{\"preset\":"), std::string("[1,2,3]")}) {
        std::vector<uint8_t> packed;
        codec::rawDeflate(reinterpret_cast<const uint8_t*>(plain.data()), plain.size(), packed);
        std::string enc = codec::base64Encode(packed.data(), packed.size());
        EXPECT_FALSE(chunk.load(reinterpret_cast<const uint8_t*>(enc.c_str()), enc.size() + 1));
        EXPECT_TRUE(same());
    }
    std::vector<uint8_t> junk(40000);
    for (std::size_t i = 0; i < junk.size(); ++i) junk[i] = uint8_t(i * 7 + 1);
    junk[0] = 'x';
    EXPECT_FALSE(chunk.load(junk.data(), 1000));
    EXPECT_FALSE(chunk.load(nullptr, 10));
    EXPECT_TRUE(same());
    EXPECT_FALSE(chunk.legacyLocked());
}

TEST(StateWrapper, HostWrapperInEitherByteOrder) {
    auto a = makeBank();
    describeLive(*a);
    Chunk out(*a);
    const std::vector<uint8_t> bytes = saved(out);
    for (const char* magic : {"VstW", "WtsV"}) {
        std::vector<uint8_t> wrapped(48, 0);
        std::memcpy(wrapped.data(), magic, 4);
        wrapped.insert(wrapped.end(), bytes.begin(), bytes.end());
        auto b = makeBank();
        Chunk in(*b);
        ASSERT_TRUE(in.load(wrapped.data(), wrapped.size())) << magic;
        EXPECT_EQ(b->currentIndex(), 3);
        EXPECT_STREQ(b->currentPresetName(), "Live One");
    }
    // 60 bytes or fewer: no wrapper is taken off, and this is not a state.
    std::vector<uint8_t> small(60, 0);
    std::memcpy(small.data(), "VstW", 4);
    auto c = makeBank();
    Chunk in(*c);
    EXPECT_FALSE(in.load(small.data(), small.size()));
}

TEST(StateLegacyBlock, WrittenLayoutAndLength) {
    auto bank = makeBank();
    describeLive(*bank);
    bank->storedPreset(0).setName("Stored0");
    FakeWorkspace ws;
    Chunk chunk(*bank, &ws);
    chunk.setLegacyMode(true, false);
    const std::vector<uint8_t> block = saved(chunk);
    std::string json;
    {
        OrderedJson root = OrderedJson::object();
        root["selected_bank"] = "User";
        root["gui_scale"] = 2;
        root["perf_panel_show"] = 1;
        root["theme_id"] = 3;
        root["version"] = "1.5.18-5339";
        root["scala"] = ws.scala;
        json = root.dump(4);
    }
    ASSERT_EQ(block.size(), 816226u + json.size());
    EXPECT_EQ(std::string(block.begin(), block.begin() + 3), "tbf");
    EXPECT_EQ(get32(&block[3]), 725u);
    for (int i = 0; i < kParamCount; ++i)
        ASSERT_EQ(getF(&block[7 + 4 * i]), bank->paramState(i).value);
    EXPECT_EQ(get32(&block[2907]), 3u);
    const std::size_t stored = 2911, work = 2911 + 128 * 3177;
    EXPECT_STREQ(reinterpret_cast<const char*>(&block[stored]), "Stored0");
    EXPECT_STREQ(reinterpret_cast<const char*>(&block[work + 3 * 3177]), "Live One");
    EXPECT_EQ(getF(&block[work + 3 * 3177 + 277 + 4 * kVelocity]),
              bank->paramState(kVelocity).value);
    EXPECT_EQ(block[816224], '|');
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&block[816225])), json);
    EXPECT_EQ(block.back(), 0);
}

std::vector<uint8_t> legacyBlockOf(Bank& bank, ChunkContext* ctx = nullptr) {
    Chunk chunk(bank, ctx);
    chunk.setLegacyMode(true, false);
    return saved(chunk);
}

class LegacyConversion : public ::testing::Test {
protected:
    void SetUp() override {
        root =
            fs::path(::testing::TempDir()) /
            ("ws-" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
        fs::remove_all(root);
        fs::create_directories(root);
        ws.folder = root.string();
    }
    void TearDown() override { fs::remove_all(root); }
    fs::path root;
    FakeWorkspace ws;
};

TEST_F(LegacyConversion, OldProjectBecomesPresetFiles) {
    auto a = makeBank();
    describeLive(*a);
    a->preset(0).setName("Deep Bass");
    a->preset(1).setName("Twin");
    a->preset(2).setName("Twin");
    a->setThemeId(7); // written as is, read back as 0
    const std::vector<uint8_t> block = legacyBlockOf(*a, &ws);

    auto b = makeBank();
    FakeWorkspace& w = ws;
    Chunk chunk(*b, &w);
    chunk.setHostName("Studio Host 11");
    EXPECT_EQ(chunk.hostWord(), "studio");
    ASSERT_TRUE(chunk.load(block.data(), block.size()));
    EXPECT_FALSE(chunk.legacyActive());
    EXPECT_FALSE(chunk.legacyLocked());
    EXPECT_EQ(b->currentIndex(), 3);
    EXPECT_EQ(b->paramState(kVelocity).value, a->paramState(kVelocity).value);
    EXPECT_EQ(b->themeId(), 0);
    EXPECT_EQ(b->selectedBank(), "User");
    EXPECT_EQ(w.appliedScala, w.scala);

    // One folder named by host word and the hash of the project's presets.
    std::vector<fs::path> folders;
    for (const auto& e : fs::directory_iterator(root / "Old Projects Presets"))
        folders.push_back(e.path());
    ASSERT_EQ(folders.size(), 1u);
    const std::string folderName = folders[0].filename().string();
    EXPECT_EQ(folderName.rfind("studio_", 0), 0u);
    EXPECT_EQ(folderName.size(), std::string("studio_").size() + 12);
    std::size_t files = 0;
    for (const auto& e : fs::directory_iterator(folders[0])) {
        (void)e;
        ++files;
    }
    EXPECT_EQ(files, 128u); // the same name twice gives distinct files
    EXPECT_TRUE(fs::exists(folders[0] / "1. Deep Bass.tpf2"));
    EXPECT_TRUE(fs::exists(folders[0] / "2. Twin.tpf2"));
    EXPECT_TRUE(fs::exists(folders[0] / "3. Twin.tpf2"));
    EXPECT_TRUE(fs::exists(folders[0] / "128. init128.tpf2"));
    ASSERT_EQ(w.registered.size(), 128u);
    EXPECT_EQ(w.registered[0], "Old Projects Presets/" + folderName + "/1. Deep Bass.tpf2");
    EXPECT_EQ(w.closes, 1);

    // Converted files carry no favorite member, and the name rules' tag is appended.
    std::string error;
    auto bass = loadPresetFile((folders[0] / "1. Deep Bass.tpf2").string(), *b, error);
    ASSERT_TRUE(bass);
    EXPECT_EQ(bass->tags(), std::vector<std::string>{"bass"});
    std::ifstream in(folders[0] / "4. Live One.tpf2");
    const std::string text((std::istreambuf_iterator<char>(in)), {});
    EXPECT_EQ(text.find("favorite"), std::string::npos);

    // The live preset knows its new place.
    PathObject where;
    ASSERT_TRUE(where.parse(b->currentPreset().pathObject()));
    EXPECT_EQ(where.name, "4. Live One");
    EXPECT_EQ(where.type, 0);
    EXPECT_EQ(where.index, -1);
    EXPECT_EQ(where.filename, "4. Live One.tpf2");
    EXPECT_EQ(where.factory, 0);
    EXPECT_EQ(where.id, 1004);

    // Now the project saves in the current form.
    const std::vector<uint8_t> next = saved(chunk);
    EXPECT_LT(next.size(), 100000u);
    EXPECT_TRUE(unpack(next).contains("preset"));

    // Loading the same project again finds every file and writes none.
    const fs::path probe = folders[0] / "2. Twin.tpf2";
    { std::ofstream(probe) << "edited by the user"; }
    auto c = makeBank();
    Chunk again(*c, &w);
    again.setHostName("Studio Host 11");
    ASSERT_TRUE(again.load(block.data(), block.size()));
    std::ifstream check(probe);
    EXPECT_EQ(std::string((std::istreambuf_iterator<char>(check)), {}), "edited by the user");
}

TEST_F(LegacyConversion, FailureLocksTheLegacyForm) {
    auto a = makeBank();
    describeLive(*a);
    const std::vector<uint8_t> block = legacyBlockOf(*a);

    auto b = makeBank();
    FakeWorkspace none; // no workspace folder: nothing can be converted
    Chunk chunk(*b, &none);
    EXPECT_FALSE(chunk.load(block.data(), block.size()));
    EXPECT_TRUE(chunk.legacyActive());
    EXPECT_TRUE(chunk.legacyLocked());
    // The sound is loaded all the same, and the project keeps saving the legacy block.
    EXPECT_EQ(b->paramState(kVelocity).value, a->paramState(kVelocity).value);
    const std::vector<uint8_t> next = saved(chunk);
    EXPECT_GE(next.size(), 816226u);
    EXPECT_EQ(std::string(next.begin(), next.begin() + 3), "tbf");
    // Locked: a compressed state is not even tried.
    Chunk current(*a);
    const std::vector<uint8_t> modern = saved(current);
    EXPECT_FALSE(chunk.load(modern.data(), modern.size()));
    EXPECT_EQ(chunk.load(next.data(), next.size()), false);
}

TEST_F(LegacyConversion, HeadersOldestFormAndLimits) {
    auto a = makeBank();
    describeLive(*a);
    std::vector<uint8_t> block = legacyBlockOf(*a);

    // "tbx" is read too.
    block[2] = 'x';
    auto b = makeBank();
    Chunk chunk(*b, &ws);
    ASSERT_TRUE(chunk.load(block.data(), block.size()));
    EXPECT_EQ(b->currentIndex(), 3);

    // Under 32,768 bytes: not a state.
    auto c = makeBank();
    Chunk small(*c, &ws);
    EXPECT_FALSE(small.load(block.data(), 32767));
    EXPECT_EQ(c->currentIndex(), 0);

    // A count that the data cannot hold is not a state either.
    std::vector<uint8_t> bad = block;
    put32(bad, 3, 0x7FFFFFFF);
    EXPECT_FALSE(small.load(bad.data(), bad.size()));

    // The oldest form: no header, 438 values, index, records of 277 + 1,752 bytes, cut short.
    std::vector<uint8_t> old;
    for (int i = 0; i < 438; ++i) putF(old, 4 * i, 0.002f);
    putF(old, 4 * kVelocity, 0.375f);
    put32(old, 4 * 438, 200); // outside 0..127: 0
    const std::size_t stride = 277 + 1752;
    for (int r = 0; r < 20; ++r) {
        const std::size_t at = 4 * 438 + 4 + r * stride;
        putText(old, at, ("Old" + std::to_string(r)).c_str());
        for (int i = 0; i < 438; ++i) putF(old, at + 277 + 4 * i, 0.5f);
        putF(old, at + 277 + 4 * kMode, 1.0f); // snapped as it is read
    }
    old.resize(4 * 438 + 4 + 20 * stride + 100, 0); // 20 records, then less than one
    ASSERT_GE(old.size(), 32768u);
    auto d = makeBank();
    d->paramState(kBendWheel).value = 0.7f;
    Chunk oldest(*d, &ws);
    ASSERT_TRUE(oldest.load(old.data(), old.size()));
    EXPECT_EQ(d->currentIndex(), 0);
    EXPECT_EQ(d->paramState(kVelocity).value, 0.375f);
    EXPECT_EQ(d->paramState(kBendWheel).value, 0.7f); // never taken from a legacy block
    EXPECT_STREQ(d->storedPreset(19).name(), "Old19");
    EXPECT_EQ(d->storedPreset(0).params()[436], 0.5f);
    EXPECT_FLOAT_EQ(d->storedPreset(0).params()[437], 229 * 0.001001001f); // target list
    EXPECT_EQ(d->storedPreset(0).params()[438], 0.0f);                     // zeroed, not defaults
    EXPECT_FLOAT_EQ(d->storedPreset(0).params()[kMode], 5 * 0.001001001f);
    EXPECT_STREQ(d->storedPreset(20).name(), "init21"); // the data ended before
    EXPECT_STREQ(d->presetName(0), "init");             // no work records in the data
}

TEST(StateLegacyBlock, JsonTailRules) {
    auto a = makeBank();
    std::vector<uint8_t> block = legacyBlockOf(*a);
    block.resize(816225);
    const std::string json = "{\"theme_id\": 9, \"perf_panel_show\": 2, \"gui_scale\": 1, "
                             "\"selected_bank\": \"Factory\", \"scala\": \"{}\"}";
    block.insert(block.end(), json.begin(), json.end());
    block.push_back(0);
    auto b = makeBank();
    FakeWorkspace ws;
    Chunk chunk(*b, &ws);
    chunk.load(block.data(), block.size());
    EXPECT_EQ(b->themeId(), 0);
    EXPECT_EQ(b->perfPanelShown(), 0);
    EXPECT_EQ(b->guiScale(), 1);
    EXPECT_EQ(b->selectedBank(), "Factory");
    EXPECT_EQ(ws.appliedScala, "{}");
}

} // namespace
} // namespace torvo

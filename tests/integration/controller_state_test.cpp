// The edit controller as the keeper of the user's work: its host chunk, the component state it
// follows, the program transport a host automates, and a workspace that may not be there.

#include "integration/hostfixture.h"

#include "pluginterfaces/base/funknown.h"
#include "pluginterfaces/vst/ivsteditcontroller.h"
#include "pluginterfaces/vst/ivstunits.h"
#include "shell/controllerevents.h"

#include <cmath>
#include <fstream>
#include <string>
#include <vector>

namespace torvo::test {
namespace {

using namespace Steinberg;

// --- a host state written by hand ---------------------------------------------------------

/// Raw deflate in stored blocks: valid input for any inflater, no compressor needed.
std::vector<uint8_t> storedDeflate(const std::string& text) {
    std::vector<uint8_t> out;
    size_t at = 0;
    do {
        const size_t n = std::min<size_t>(text.size() - at, 65535);
        const bool last = at + n == text.size();
        out.push_back(last ? 1 : 0);
        out.push_back(uint8_t(n));
        out.push_back(uint8_t(n >> 8));
        out.push_back(uint8_t(~n));
        out.push_back(uint8_t(~n >> 8));
        out.insert(out.end(), text.begin() + long(at), text.begin() + long(at + n));
        at += n;
    } while (at < text.size());
    return out;
}

std::string base64(const std::vector<uint8_t>& bytes) {
    static const char* abc = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (size_t i = 0; i < bytes.size(); i += 3) {
        const uint32_t a = bytes[i];
        const uint32_t b = i + 1 < bytes.size() ? bytes[i + 1] : 0;
        const uint32_t c = i + 2 < bytes.size() ? bytes[i + 2] : 0;
        const uint32_t v = a << 16 | b << 8 | c;
        out += abc[v >> 18 & 63];
        out += abc[v >> 12 & 63];
        out += i + 1 < bytes.size() ? abc[v >> 6 & 63] : '=';
        out += i + 2 < bytes.size() ? abc[v & 63] : '=';
    }
    return out;
}

/// A controller state holding `json` as the current form stores it.
std::vector<uint8_t> chunkOf(const std::string& json) {
    const std::string text = base64(storedDeflate(json));
    std::vector<uint8_t> bytes(text.begin(), text.end());
    bytes.push_back(0);
    return bytes;
}

/// The defaults with row 9 (a continuous row) set to `row9`, as a chunk's preset member.
std::string presetMember(float row9) {
    std::string params;
    for (int i = 0; i < kTableSize; ++i) {
        char number[32];
        std::snprintf(number, sizeof(number), "%s%g", i ? "," : "", i == 9 ? row9 : 0.5f);
        params += number;
    }
    return "\"preset\":{\"params\":[" + params + "],\"current\":0}";
}

std::vector<float> programOf(const host::RecordedMessage& m) {
    const host::Attribute* data = m.attribute("data");
    std::vector<float> values;
    if (!data) return values;
    for (size_t at = 0; at + 4 <= data->bytes.size(); at += 4)
        values.push_back(readF32(data->bytes, at));
    return values;
}

int64_t intOf(const host::RecordedMessage& m, const char* name) {
    const host::Attribute* a = m.attribute(name);
    return a ? a->intValue : -1;
}

class ControllerState : public HostedTorvo {
protected:
    Vst::IEditController* controller() { return plugin->controller(); }

    /// A varied sound: every row written with its own value, through the host's path.
    void editEveryRow() {
        for (int id = 0; id < kTableSize; ++id)
            controller()->setParamNormalized(Vst::ParamID(id), std::fmod(0.137 * id, 1.0));
    }
    std::vector<double> rows(Vst::IEditController* c) {
        std::vector<double> out(kTableSize);
        for (int id = 0; id < kTableSize; ++id) out[size_t(id)] = c->getParamNormalized(id);
        return out;
    }
    bool latestToProcessor(host::Plugin& p, const char* id, host::RecordedMessage& m) {
        return p.messages().latest(id, m, host::Direction::ToComponent);
    }
};

TEST_F(ControllerState, ChunkRoundTripRestoresTheSoundInAFreshInstance) {
    editEveryRow();
    const std::vector<double> written = rows(controller());
    const std::vector<uint8_t> chunk = plugin->getControllerState();
    ASSERT_FALSE(chunk.empty());
    EXPECT_EQ(chunk.back(), 0) << "the state text ends in its terminator";

    std::string error;
    auto fresh = loadTorvo(&error);
    ASSERT_TRUE(fresh) << error;
    fresh->messages().clear();
    ASSERT_TRUE(fresh->setControllerState(chunk));

    // Every row of the current preset, as the host reads it back. The state keeps six
    // significant digits.
    const std::vector<double> restored = rows(fresh->controller());
    for (int id = 0; id < kTableSize; ++id)
        EXPECT_NEAR(restored[size_t(id)], written[size_t(id)], 2e-6) << "row " << id;

    // The sound went to the processor as one program, and the processor now holds it.
    host::RecordedMessage m;
    ASSERT_TRUE(latestToProcessor(*fresh, "midiProgramChange", m));
    const std::vector<float> program = programOf(m);
    ASSERT_EQ(program.size(), size_t(kTableSize));
    const std::vector<uint8_t> state = fresh->getState();
    ASSERT_EQ(state.size(), kStateBytes);
    for (int id = 0; id < kTableSize; ++id) {
        EXPECT_FLOAT_EQ(program[size_t(id)], float(restored[size_t(id)])) << "row " << id;
        EXPECT_FLOAT_EQ(stateParam(state, id), float(restored[size_t(id)])) << "row " << id;
    }
    // And it still plays: a note through the restored sound renders finite samples.
    ASSERT_TRUE(fresh->setup(48000.0, 256));
    ASSERT_TRUE(fresh->activate());
    const host::Block block = fresh->process(256, {{0, 60, 1.0f}});
    for (float v : block.left) ASSERT_TRUE(std::isfinite(v));
}

TEST_F(ControllerState, ProjectRestoreGivesTheProcessorExactlyTheSavedTable) {
    // A host edits rows on both halves, saves both states, and restores them into a fresh
    // instance: component state first, then the controller's chunk. The chunk's program is
    // the last word, so it must not move any value the processor had, not even by rounding.
    const std::vector<std::pair<int, double>> edits = {
        {0, 1 * 0.001001001}, {9, 0.25},  {25, 3 * 0.001001001}, {26, 0.625}, {103, 0.3125},
        {711, 0.0},           {217, 0.75}};
    start(44100.0, 256);
    std::vector<host::ParamPoint> changes;
    for (const auto& [id, value] : edits) {
        controller()->setParamNormalized(Vst::ParamID(id), value);
        changes.push_back({Vst::ParamID(id), 0, value});
    }
    plugin->process(256, {}, changes);
    const std::vector<uint8_t> component = plugin->getState();
    const std::vector<uint8_t> chunk = plugin->getControllerState();

    std::string error;
    auto fresh = loadTorvo(&error);
    ASSERT_TRUE(fresh) << error;
    ASSERT_TRUE(fresh->restore(component, chunk));
    const std::vector<uint8_t> again = fresh->getState();
    ASSERT_EQ(again.size(), kStateBytes);
    for (int id = 0; id < kTableSize; ++id)
        EXPECT_EQ(stateParam(again, id), stateParam(component, id)) << "row " << id;
    for (const auto& [id, value] : edits)
        EXPECT_NEAR(fresh->controller()->getParamNormalized(Vst::ParamID(id)), value, 1e-6) << id;
}

TEST_F(ControllerState, ComponentStateWithOrWithoutExtrasSendsTheSameProgram) {
    std::vector<float> params(kTableSize);
    for (int i = 0; i < kTableSize; ++i) params[size_t(i)] = float(i % 11) / 10.0f;
    std::vector<std::vector<float>> programs;
    for (const std::vector<float>& extras :
         {std::vector<float>(kProxies, 0.0f), std::vector<float>()}) {
        plugin->messages().clear();
        ASSERT_TRUE(plugin->restore(makeState(params, extras)));
        host::RecordedMessage m;
        ASSERT_TRUE(latestToProcessor(*plugin, "midiProgramChange", m)) << extras.size();
        programs.push_back(programOf(m));
        const std::vector<uint8_t> state = plugin->getState();
        for (int i = 0; i < kTableSize; ++i)
            EXPECT_EQ(stateParam(state, i), params[size_t(i)]) << i;
        // No state of the host carries a tuning: equal temperament follows.
        EXPECT_EQ(plugin->messages().count("setMicrotuneEqual", host::Direction::ToComponent), 1u);
    }
    ASSERT_EQ(programs[0].size(), size_t(kTableSize));
    EXPECT_EQ(programs[0], programs[1]);
    for (int i = 0; i < kTableSize; ++i) EXPECT_EQ(programs[0][size_t(i)], params[size_t(i)]);
}

TEST_F(ControllerState, ComponentStateTakesTheBypassFromTheExtras) {
    std::vector<float> params(kTableSize, 0.5f);
    std::vector<float> extras(kProxies, 0.0f);
    extras[0] = 1.0f;
    ASSERT_TRUE(plugin->restore(makeState(params, extras)));
    EXPECT_EQ(controller()->getParamNormalized(kBypassId), 1.0);
    extras[0] = 0.0f;
    ASSERT_TRUE(plugin->restore(makeState(params, extras)));
    EXPECT_EQ(controller()->getParamNormalized(kBypassId), 0.0);
}

TEST_F(ControllerState, TuningOfTheChunkReachesTheProcessor) {
    // Without a tuning member the instance plays in equal temperament.
    plugin->messages().clear();
    ASSERT_TRUE(plugin->setControllerState(chunkOf("{" + presetMember(0.25f) + "}")));
    EXPECT_EQ(plugin->messages().count("setMicrotuneEqual", host::Direction::ToComponent), 1u);
    EXPECT_EQ(plugin->messages().count("setMicrotuneScl", host::Direction::ToComponent), 0u);
    host::RecordedMessage m;
    ASSERT_TRUE(latestToProcessor(*plugin, "setMicrotuneRefNote", m));
    EXPECT_EQ(intOf(m, "n"), 69);
    ASSERT_TRUE(latestToProcessor(*plugin, "setMicrotuneA4Freq", m));
    EXPECT_EQ(intOf(m, "n"), 4);
    EXPECT_NEAR(controller()->getParamNormalized(9), 0.25, 1e-6);
    EXPECT_FLOAT_EQ(stateParam(plugin->getState(), 9), 0.25f);

    // A one-step scale of an octave: the table is {0, 12} semitones.
    const std::string scala = "{\\\"microtuning\\\":[{\\\"type\\\":1,\\\"num\\\":2,\\\"den\\\":1}],"
                              "\\\"selected_file\\\":\\\"octaves.scl\\\",\\\"ref_note\\\":60,"
                              "\\\"a4_freq\\\":6}";
    plugin->messages().clear();
    ASSERT_TRUE(plugin->setControllerState(
        chunkOf("{" + presetMember(0.75f) + ",\"scala\":\"" + scala + "\"}")));
    EXPECT_EQ(plugin->messages().count("setMicrotuneEqual", host::Direction::ToComponent), 0u);
    ASSERT_TRUE(latestToProcessor(*plugin, "setMicrotuneScl", m));
    const host::Attribute* scl = m.attribute("scl");
    ASSERT_NE(scl, nullptr);
    ASSERT_EQ(scl->bytes.size(), 8u);
    EXPECT_EQ(readF32(scl->bytes, 0), 0.0f);
    EXPECT_NEAR(readF32(scl->bytes, 4), 12.0f, 1e-4);
    ASSERT_TRUE(latestToProcessor(*plugin, "setMicrotuneRefNote", m));
    EXPECT_EQ(intOf(m, "n"), 60);
    ASSERT_TRUE(latestToProcessor(*plugin, "setMicrotuneA4Freq", m));
    EXPECT_EQ(intOf(m, "n"), 6);

    // The tuning travels on in the instance's own state.
    const std::vector<uint8_t> saved = plugin->getControllerState();
    std::string error;
    auto fresh = loadTorvo(&error);
    ASSERT_TRUE(fresh) << error;
    fresh->messages().clear();
    ASSERT_TRUE(fresh->setControllerState(saved));
    ASSERT_TRUE(latestToProcessor(*fresh, "setMicrotuneScl", m));
    EXPECT_EQ(m.attribute("scl")->bytes.size(), 8u);
    ASSERT_TRUE(latestToProcessor(*fresh, "setMicrotuneRefNote", m));
    EXPECT_EQ(intOf(m, "n"), 60);
    EXPECT_NEAR(fresh->controller()->getParamNormalized(9), 0.75, 1e-6);
}

TEST_F(ControllerState, UnreadableChunksLeaveTheSoundAlone) {
    ASSERT_EQ(controller()->setParamNormalized(9, 0.25), kResultOk);
    const std::vector<double> before = rows(controller());
    std::vector<std::vector<uint8_t>> garbage;
    garbage.push_back({'n', 'o', 't', ' ', 'a', ' ', 's', 't', 'a', 't', 'e', 0});
    garbage.push_back(chunkOf("[1, 2, 3]"));
    garbage.push_back(std::vector<uint8_t>(3000, 0xA5));
    // A real state cut short: its text no longer inflates.
    std::vector<uint8_t> cut = plugin->getControllerState();
    ASSERT_GT(cut.size(), 100u);
    cut.resize(cut.size() / 2);
    garbage.push_back(cut);
    for (const std::vector<uint8_t>& bytes : garbage) {
        plugin->messages().clear();
        plugin->setControllerState(bytes);
        EXPECT_EQ(rows(controller()), before) << bytes.size() << " bytes";
        // Whatever reaches the processor is the sound the controller still holds.
        host::RecordedMessage m;
        if (latestToProcessor(*plugin, "midiProgramChange", m)) {
            EXPECT_FLOAT_EQ(programOf(m).at(9), 0.25f);
        }
    }
    EXPECT_NE(controller()->setState(nullptr), kResultOk);
    EXPECT_NE(controller()->getState(nullptr), kResultOk);
}

TEST_F(ControllerState, LegacyStateFromTheProcessorThatIsNoneChangesNothing) {
    ASSERT_EQ(controller()->setParamNormalized(9, 0.25), kResultOk);
    std::vector<uint8_t> legacy;
    appendI32(legacy, 0x7FFFFFFF);
    for (int i = 0; i < 300; ++i) legacy.push_back(uint8_t(i));
    plugin->messages().clear();
    plugin->setState(legacy);
    EXPECT_EQ(plugin->messages().count("setControllerLegacyState"), 1u);
    EXPECT_EQ(plugin->messages().count("midiProgramChange", host::Direction::ToComponent), 0u);
    EXPECT_NEAR(controller()->getParamNormalized(9), 0.25, 1e-7);
}

TEST_F(ControllerState, LegacyProjectReachesTheProcessorThroughTheController) {
    // An instance that has opened the workspace once leaves its database behind, so the next
    // one reads states with the workspace at hand, as a user's machine always has it.
    plugin->getControllerState();
    plugin.reset();
    std::string error;
    auto fresh = loadTorvo(&error);
    ASSERT_TRUE(fresh) << error;

    // The oldest form: 438 values without a header, the live index, then preset records.
    std::vector<uint8_t> legacy;
    for (int i = 0; i < 438; ++i) appendF32(legacy, i == 9 ? 0.25f : i == 13 ? 0.75f : 0.5f);
    appendI32(legacy, 0);
    legacy.resize(40000, 0);
    fresh->messages().clear();
    fresh->setState(legacy);
    EXPECT_EQ(fresh->messages().count("setControllerLegacyState"), 1u);

    // The controller decoded it, shows it to the host and gave the processor the sound.
    host::RecordedMessage m;
    ASSERT_TRUE(fresh->messages().latest("midiProgramChange", m, host::Direction::ToComponent));
    const std::vector<float> program = programOf(m);
    ASSERT_EQ(program.size(), size_t(kTableSize));
    EXPECT_FLOAT_EQ(program[9], 0.25f);
    EXPECT_FLOAT_EQ(program[13], 0.75f);
    EXPECT_NEAR(fresh->controller()->getParamNormalized(9), 0.25, 1e-7);
    const std::vector<uint8_t> state = fresh->getState();
    EXPECT_FLOAT_EQ(stateParam(state, 9), 0.25f);
    EXPECT_FLOAT_EQ(stateParam(state, 13), 0.75f);
}

TEST_F(ControllerState, ProgramTransportIsAcceptedAndTheProgramListIsThere) {
    // Nothing is listed yet, so the transport has nothing to step through; it must not fail.
    for (Vst::ParamID id : {fourCharId("next"), fourCharId("prev"), fourCharId("prch")}) {
        EXPECT_EQ(controller()->setParamNormalized(id, 1.0), kResultOk) << id;
        EXPECT_EQ(controller()->getParamNormalized(id), 1.0) << id;
    }
    FUnknownPtr<Vst::IUnitInfo> units(controller());
    ASSERT_TRUE(units);
    ASSERT_EQ(units->getProgramListCount(), 1);
    Vst::ProgramListInfo info{};
    ASSERT_EQ(units->getProgramListInfo(0, info), kResultOk);
    EXPECT_EQ(info.id, Vst::ProgramListID(fourCharId("prch")));
    EXPECT_EQ(host::toUtf8(info.name), "Bank");
    EXPECT_EQ(info.programCount, 127);
    Vst::UnitInfo root{};
    ASSERT_EQ(units->getUnitInfo(0, root), kResultOk);
    EXPECT_EQ(host::toUtf8(root.name), "Root");
    EXPECT_EQ(root.programListId, info.id);
    Vst::String128 name = {};
    ASSERT_EQ(units->getProgramName(info.id, 0, name), kResultOk);
    EXPECT_EQ(host::toUtf8(name), "");
    EXPECT_EQ(controller()->createView("editor"), nullptr);
}

// --- the host's program transport, as requests on the bus -----------------------------------

class RecordingBus : public IEventBus {
public:
    void subscribe(int, IEventProcessor*) override {}
    void unsubscribeAll(IEventProcessor*) override {}
    void unsubscribe(int, IEventProcessor*) override {}
    void publish(IEvent& event) override {
        if (auto* e = eventAs<SwitchPresetEvent>(event)) requests.push_back(*e);
    }
    std::vector<SwitchPresetEvent> requests;
};

TEST(ProgramTransport, StepTriggersStepAndContinuousValuesSelectForGood) {
    RecordingBus bus;
    ProgramStepper stepper(bus);
    // A host's step trigger: 0, then 1 in one jump. One step forward, none on the release.
    stepper.next(0.0);
    stepper.next(1.0);
    stepper.next(0.0);
    ASSERT_EQ(bus.requests.size(), 1u);
    EXPECT_EQ(bus.requests[0].direction, SwitchPresetEvent::kForward);
    EXPECT_EQ(bus.requests[0].index, -1);
    stepper.prev(1.0);
    ASSERT_EQ(bus.requests.size(), 2u);
    EXPECT_EQ(bus.requests[1].direction, SwitchPresetEvent::kBack);

    // A continuous value selects by position, and stepping never comes back to 'next'.
    bus.requests.clear();
    stepper.next(0.3);
    stepper.next(0.4);
    stepper.next(1.0);
    stepper.next(0.0);
    ASSERT_EQ(bus.requests.size(), 4u);
    const int expected[] = {38, 50, 127, 0};
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(bus.requests[i].direction, SwitchPresetEvent::kToIndex) << i;
        EXPECT_EQ(bus.requests[i].index, expected[i]) << i;
    }
    EXPECT_TRUE(stepper.nextIsPositional());
    // Each transport learns on its own: 'prev' still steps.
    EXPECT_FALSE(stepper.prevIsPositional());
    bus.requests.clear();
    stepper.prev(1.0);
    ASSERT_EQ(bus.requests.size(), 1u);
    EXPECT_EQ(bus.requests[0].direction, SwitchPresetEvent::kBack);

    // The program change always selects by position.
    bus.requests.clear();
    stepper.programChange(0.5);
    stepper.programChange(0.0);
    ASSERT_EQ(bus.requests.size(), 2u);
    EXPECT_EQ(bus.requests[0].direction, SwitchPresetEvent::kToIndex);
    EXPECT_EQ(bus.requests[0].index, 63);
    EXPECT_EQ(bus.requests[1].index, 0);
}

TEST(ProgramTransport, ProgramNamesFollowTheBrowseList) {
    std::vector<TableItem> list(3);
    list[0].name = "Bass One";
    list[1].name = "Lead";
    list[2].name = "Pad";
    const std::vector<std::string> names = programNames(list);
    ASSERT_EQ(names.size(), 127u);
    EXPECT_EQ(names[0], "Bass One");
    EXPECT_EQ(names[2], "Pad");
    for (size_t i = 3; i < names.size(); ++i) EXPECT_EQ(names[i], "") << i;
    // A list longer than the program list fills all 127 and drops the rest.
    std::vector<TableItem> many(200);
    for (size_t i = 0; i < many.size(); ++i) many[i].name = "p" + std::to_string(i);
    const std::vector<std::string> full = programNames(many);
    ASSERT_EQ(full.size(), 127u);
    EXPECT_EQ(full[126], "p126");
}

// --- without a workspace ----------------------------------------------------------------------

/// Points one per-user variable elsewhere for the life of the object.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const std::string& value) : var(name) {
        if (const char* old = getenv(name)) saved = old;
        setenv(name, value.c_str(), 1);
    }
    ~ScopedEnv() { setenv(var, saved.c_str(), 1); }

private:
    const char* var;
    std::string saved;
};

TEST(ControllerWithoutWorkspace, LoadsAndKeepsItsStateWhenTheFoldersAreUnusable) {
    isolateUserFolders();
    const std::string base = std::string(getenv("XDG_DATA_HOME")) + "/unusable";
    std::filesystem::create_directories(base);
    // A plain file where the folders should be: nothing can be created below it, not even by
    // a privileged user.
    const std::string blocker = base + "/file";
    std::ofstream(blocker) << "in the way";
    for (const std::string& data : {blocker, base + "/missing/deeper"}) {
        ScopedEnv dataHome("XDG_DATA_HOME", data);
        ScopedEnv configHome("XDG_CONFIG_HOME", blocker);
        std::string error;
        auto plugin = loadTorvo(&error);
        ASSERT_TRUE(plugin) << data << ": " << error;
        ASSERT_EQ(plugin->controller()->setParamNormalized(9, 0.25), kResultOk);
        const std::vector<uint8_t> chunk = plugin->getControllerState();
        ASSERT_FALSE(chunk.empty()) << data;
        auto other = loadTorvo(&error);
        ASSERT_TRUE(other) << data << ": " << error;
        ASSERT_TRUE(other->setControllerState(chunk)) << data;
        EXPECT_NEAR(other->controller()->getParamNormalized(9), 0.25, 1e-6) << data;
        ASSERT_TRUE(other->setup(48000.0, 128));
        ASSERT_TRUE(other->activate());
        EXPECT_EQ(other->process(128, {{0, 60, 1.0f}}).result, kResultOk);
    }
}

TEST(ControllerWithoutWorkspace, BothHalvesStartFromTheUsersDefaultPreset) {
    isolateUserFolders();
    const std::string config = std::string(getenv("XDG_CONFIG_HOME")) + "/withdefault";
    std::filesystem::create_directories(config + "/HaldenWorks");
    std::vector<uint8_t> raw;
    for (int i = 0; i < kTableSize; ++i) appendF32(raw, i == 9 ? 0.3f : i == 13 ? 0.7f : 0.5f);
    const std::string params = base64(storedDeflate(std::string(raw.begin(), raw.end())));
    std::ofstream(config + "/HaldenWorks/torvo_config.json")
        << "{\"default_preset\":{\"name\":\"My Start\",\"params\":\"" << params << "\"}}";
    ScopedEnv configHome("XDG_CONFIG_HOME", config);
    std::string error;
    auto plugin = loadTorvo(&error);
    ASSERT_TRUE(plugin) << error;
    const std::vector<uint8_t> state = plugin->getState();
    ASSERT_EQ(state.size(), kStateBytes);
    EXPECT_EQ(stateParam(state, 9), 0.3f);
    EXPECT_EQ(stateParam(state, 13), 0.7f);
    EXPECT_EQ(stateParam(state, 14), 0.5f);
    EXPECT_NEAR(plugin->controller()->getParamNormalized(9), 0.3, 1e-7);
    EXPECT_NEAR(plugin->controller()->getParamNormalized(13), 0.7, 1e-7);
}

} // namespace
} // namespace torvo::test

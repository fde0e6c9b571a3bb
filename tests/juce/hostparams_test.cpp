// The parameter list, saved state and MIDI controllers of Torvo as JUCE's VST3 hosting sees
// them: what a DAW built on it shows, stores and automates.
#include <gtest/gtest.h>

#include <set>
#include <utility>
#include <vector>

#include "jucehost.h"

namespace {

// The rows a host may automate, and the two proxies it may automate too. Step values of the
// sequencers, the arp pattern and the voice mode are left out on purpose.
bool expectAutomatable(int index) {
    const std::pair<int, int> ranges[] = {{4, 441},   {522, 522}, {527, 545},
                                          {626, 626}, {631, 651}, {653, 653},
                                          {706, 724}, {725, 725}, {737, 737}};
    for (const auto& [first, last] : ranges)
        if (index >= first && index <= last) return true;
    return false;
}

juce::String fourCharId(const char (&id)[5]) {
    const auto value = (static_cast<juce::uint32>(static_cast<unsigned char>(id[0])) << 24) |
                       (static_cast<juce::uint32>(static_cast<unsigned char>(id[1])) << 16) |
                       (static_cast<juce::uint32>(static_cast<unsigned char>(id[2])) << 8) |
                       static_cast<juce::uint32>(static_cast<unsigned char>(id[3]));
    return juce::String(value);
}

} // namespace

// --- Parameters as a DAW lists them ---------------------------------------------------------

class JuceParameters : public testing::Test {
protected:
    void SetUp() override {
        plugin_ = mustCreate(44100.0, 512);
        ASSERT_NE(plugin_, nullptr);
        ASSERT_EQ(plugin_->getParameters().size(), kHostParameterCount);
    }
    void TearDown() override {
        if (plugin_ != nullptr) plugin_->releaseResources();
    }
    juce::AudioProcessorParameter& at(int index) { return *plugin_->getParameters()[index]; }
    juce::String idOf(int index) {
        const auto* hosted = dynamic_cast<juce::HostedAudioProcessorParameter*>(&at(index));
        return hosted != nullptr ? hosted->getParameterID() : juce::String();
    }

    std::unique_ptr<juce::AudioPluginInstance> plugin_;
};

TEST_F(JuceParameters, TitlesAreTheTableNamesThenTheProxies) {
    const std::pair<int, const char*> spots[] = {{kMode, "mode"},
                                                 {kPoly, "poly"},
                                                 {kVolume, "volume"},
                                                 {kOsc1Type, "osc1_type"},
                                                 {44, "osc2_type"},
                                                 {kFlt1Cut, "flt1_cut"},
                                                 {442, "stp1_start1"},
                                                 {525, "stp1_start"},
                                                 {kBendWheel, "bend_wheel"},
                                                 {724, "lfo_all_rt"},
                                                 {kBypassIndex, "Bypass"},
                                                 {726, "Next Preset"},
                                                 {727, "Prev Preset"},
                                                 {728, "aftertouch"},
                                                 {736, "sustn"},
                                                 {kProgramChangeIndex, "Program Change"}};
    for (const auto& [index, name] : spots)
        EXPECT_EQ(at(index).getName(1024), name) << "parameter " << index;

    std::set<juce::String> names;
    for (int index = 0; index < kHostParameterCount; ++index) {
        const auto name = at(index).getName(1024);
        EXPECT_FALSE(name.isEmpty()) << "parameter " << index;
        EXPECT_TRUE(names.insert(name).second) << "duplicate title " << name;
    }
}

TEST_F(JuceParameters, IdsAreIndicesForRowsAndFourCharCodesForProxies) {
    for (int index = 0; index < kTableSize; ++index) ASSERT_EQ(idOf(index), juce::String(index));
    EXPECT_EQ(idOf(kBypassIndex), fourCharId("bpas"));
    EXPECT_EQ(idOf(726), fourCharId("next"));
    EXPECT_EQ(idOf(733), fourCharId("expr"));
    EXPECT_EQ(idOf(kProgramChangeIndex), fourCharId("prch"));
}

TEST_F(JuceParameters, OnlyTheAgreedRowsAreAutomatable) {
    for (int index = 0; index < kHostParameterCount; ++index)
        EXPECT_EQ(at(index).isAutomatable(), expectAutomatable(index))
            << "parameter " << index << " " << at(index).getName(64);
}

TEST_F(JuceParameters, BypassAndProgramChangeAreTheHostsOwn) {
    EXPECT_EQ(plugin_->getBypassParameter(), &at(kBypassIndex));
    EXPECT_TRUE(at(kBypassIndex).isDiscrete());
    EXPECT_EQ(at(kBypassIndex).getNumSteps(), 2);
    EXPECT_EQ(at(kProgramChangeIndex).getNumSteps(), 128);
    EXPECT_EQ(plugin_->getNumPrograms(), 127);

    // Table rows report no steps, lists included, so a host treats all of them as continuous.
    EXPECT_FALSE(at(kOsc1Type).isDiscrete());
    EXPECT_FALSE(at(kMode).isDiscrete());
    EXPECT_FALSE(at(kVolume).isDiscrete());
}

TEST_F(JuceParameters, StartAtTheirDefaults) {
    const std::pair<int, float> defaults[] = {
        {kMode, 4 * kThousandth},   {kPoly, 3 * kThousandth}, {kVolume, 0.5f},
        {kOsc1Type, 0.0f},          {kOsc1Oct, 0.5f},         {kOsc1Note, 0.5f},
        {kOsc1Fine, 0.5f},          {kFlt1Cut, 1.0f},         {kWarm, 1.0f},
        {kBendWheel, 0.5f},         {kBypassIndex, 0.0f},     {728, 0.5f},
        {kProgramChangeIndex, 0.0f}};
    for (const auto& [index, value] : defaults)
        EXPECT_NEAR(at(index).getDefaultValue(), value, 1e-6f) << at(index).getName(64);

    for (int index = 0; index < kHostParameterCount; ++index)
        EXPECT_NEAR(at(index).getValue(), at(index).getDefaultValue(), 1e-6f)
            << "parameter " << index << " " << at(index).getName(64);
}

TEST_F(JuceParameters, TextComesFromThePlugin) {
    EXPECT_EQ(at(kVolume).getText(0.5f, 64), "500");
    EXPECT_EQ(at(kVolume).getText(1.0f, 64), "1000");
    EXPECT_EQ(at(kOsc1Type).getText(2 * kThousandth, 64), "FM");
    EXPECT_EQ(at(kOsc1Type).getText(6 * kThousandth, 64), "Vowel");
    EXPECT_EQ(at(kMode).getText(4 * kThousandth, 64), "poly_1");
    EXPECT_EQ(at(kOsc1Oct).getText(0.5f, 64), "0");
    EXPECT_EQ(at(kWarm).getText(1.0f, 64), "on");
    EXPECT_EQ(at(kWarm).getText(0.0f, 64), "off");
}

// --- Host state -----------------------------------------------------------------------------

TEST(JuceState, RestoresIntoAFreshInstance) {
    const std::pair<int, float> edits[] = {
        {kMode, 1 * kThousandth}, {kVolume, 0.25f},    {kOsc1Type, 3 * kThousandth},
        {kOsc1Oct, 0.625f},       {kFlt1Cut, 0.3125f}, {kWarm, 0.0f},
        {kMacro1, 0.75f}};

    juce::MemoryBlock saved;
    {
        const auto original = mustCreate(44100.0, 512);
        ASSERT_NE(original, nullptr);
        for (const auto& [index, value] : edits) original->getParameters()[index]->setValue(value);
        // One block so that the audio side takes the changes, as it would while playing.
        EXPECT_EQ(render(*original, 512, {512}, {}).nonFinite, 0);
        original->getStateInformation(saved);
        original->releaseResources();
    }
    ASSERT_GT(saved.getSize(), 0u);

    const auto savedValues = processorStateValues(saved);
    ASSERT_EQ(savedValues.size(), static_cast<size_t>(kTableSize));
    for (const auto& [index, value] : edits)
        EXPECT_NEAR(savedValues[static_cast<size_t>(index)], value, 1e-6f) << "row " << index;

    // The fresh instance runs at another rate: state carries no rate.
    const auto restored = mustCreate(96000.0, 256);
    ASSERT_NE(restored, nullptr);
    restored->setStateInformation(saved.getData(), static_cast<int>(saved.getSize()));

    // What the host shows after loading the project ...
    for (const auto& [index, value] : edits) {
        auto* parameter = restored->getParameters()[index];
        EXPECT_NEAR(parameter->getValue(), value, 1e-6f) << parameter->getName(64);
    }
    // ... and what the audio side holds: the whole table, not only the edited rows.
    juce::MemoryBlock again;
    restored->getStateInformation(again);
    EXPECT_EQ(processorStateValues(again), savedValues);

    const int64_t length = seconds(96000.0, 0.5);
    const auto played = render(*restored, length, {256}, chordPhrase(length, Controllers::without));
    EXPECT_EQ(played.nonFinite, 0);
    restored->getStateInformation(again);
    EXPECT_EQ(processorStateValues(again), savedValues) << "notes alone changed the table";
    restored->releaseResources();
}

// --- MIDI controllers -----------------------------------------------------------------------

// JUCE turns controller messages into parameter changes through the plug-in's controller map;
// a controller without an entry must reach no parameter at all.
TEST(JuceMidi, ControllersDriveOnlyTheirMappedParameters) {
    const auto plugin = mustCreate(44100.0, 512);
    ASSERT_NE(plugin, nullptr);
    const std::vector<TimedMidi> moves{
        {0, juce::MidiMessage::controllerEvent(1, 7, 127)},
        {10, juce::MidiMessage::controllerEvent(1, 1, 64)},
        {20, juce::MidiMessage::pitchWheel(1, 16383)},
        {30, juce::MidiMessage::controllerEvent(1, 74, 100)},
        {40, juce::MidiMessage::controllerEvent(5, 3, 90)},
        {50, juce::MidiMessage::controllerEvent(16, 7, 127)},
    };
    EXPECT_EQ(render(*plugin, 1024, {512}, moves).nonFinite, 0);

    std::vector<float> expected(kTableSize);
    for (int index = 0; index < kTableSize; ++index)
        expected[static_cast<size_t>(index)] = plugin->getParameters()[index]->getDefaultValue();
    expected[kVolume] = 1.0f;
    expected[kModWheel] = 64.0f / 127.0f;
    expected[kBendWheel] = 1.0f;

    juce::MemoryBlock state;
    plugin->getStateInformation(state);
    const auto values = processorStateValues(state);
    ASSERT_EQ(values.size(), expected.size());
    for (int index = 0; index < kTableSize; ++index) {
        EXPECT_NEAR(values[static_cast<size_t>(index)], expected[static_cast<size_t>(index)], 1e-6f)
            << "row " << index << " " << plugin->getParameters()[index]->getName(64);
        EXPECT_NEAR(plugin->getParameters()[index]->getValue(),
                    expected[static_cast<size_t>(index)], 1e-6f)
            << "host value of row " << index;
    }
    plugin->releaseResources();
}

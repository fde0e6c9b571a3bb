// Torvo loaded by JUCE's VST3 hosting, a host we did not write: scanning, instances at several
// rates and block sizes, the parameter list as a DAW shows it, rendering, bypass and saved
// state. Sound is not required here; finite output, exact silence where it is due and
// faithful state are.
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <set>
#include <string>
#include <utility>

#include "jucehost.h"

namespace {

constexpr int kHostParameterCount = 738;
constexpr int kTableSize = 725;
constexpr int kBypassIndex = 725;
constexpr int kProgramChangeIndex = 737;
constexpr float kThousandth = 0.001001001f;

// Indices of table rows used below.
constexpr int kMode = 0;
constexpr int kPoly = 1;
constexpr int kVolume = 9;
constexpr int kOsc1Type = 25;
constexpr int kOsc1Oct = 26;
constexpr int kOsc1Note = 27;
constexpr int kOsc1Fine = 28;
constexpr int kFlt1Cut = 103;
constexpr int kWarm = 711;
constexpr int kMacro1 = 714;
constexpr int kBendWheel = 720;
constexpr int kModWheel = 721;

std::unique_ptr<juce::AudioPluginInstance> mustCreate(double sampleRate, int maxBlock) {
    juce::String error;
    auto plugin = createTorvo(sampleRate, maxBlock, error);
    if (plugin == nullptr)
        ADD_FAILURE() << "cannot create Torvo at " << sampleRate << " Hz: " << error;
    return plugin;
}

int64_t seconds(double sampleRate, double length) {
    return static_cast<int64_t>(sampleRate * length);
}

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

// --- Scanning -----------------------------------------------------------------------------

TEST(JuceScan, FindsOneStereoInstrumentFromHaldenWorks) {
    juce::VST3PluginFormat format;
    ASSERT_TRUE(format.fileMightContainThisPluginType(torvoBundlePath())) << torvoBundlePath();

    juce::String error;
    const auto description = describeTorvo(error);
    ASSERT_NE(description, nullptr) << error;
    EXPECT_EQ(description->name, "Torvo");
    EXPECT_EQ(description->manufacturerName, "Halden Works");
    EXPECT_EQ(description->pluginFormatName, "VST3");
    EXPECT_TRUE(description->isInstrument);
    EXPECT_EQ(description->category, "Instrument");
    EXPECT_EQ(description->version, "1.5.18.5339");
    EXPECT_EQ(description->numInputChannels, 0);
    EXPECT_EQ(description->numOutputChannels, 2);
    EXPECT_NE(description->uniqueId, 0);
}

TEST(JuceScan, RescanGivesTheSameIdentity) {
    juce::String error;
    const auto first = describeTorvo(error);
    ASSERT_NE(first, nullptr) << error;
    const auto second = describeTorvo(error);
    ASSERT_NE(second, nullptr) << error;
    EXPECT_TRUE(first->isDuplicateOf(*second));
    EXPECT_EQ(first->createIdentifierString(), second->createIdentifierString());
}

// --- Instances at several rates and block sizes ---------------------------------------------

struct HostSetup {
    const char* label;
    double sampleRate;
    std::vector<int> blockSizes;
};

void PrintTo(const HostSetup& setup, std::ostream* out) {
    *out << setup.label;
}

class JuceInstance : public testing::TestWithParam<HostSetup> {
protected:
    int maxBlock() const {
        const auto& sizes = GetParam().blockSizes;
        return *std::max_element(sizes.begin(), sizes.end());
    }
};

TEST_P(JuceInstance, IsAStereoInstrumentWithoutLatency) {
    const auto plugin = mustCreate(GetParam().sampleRate, maxBlock());
    ASSERT_NE(plugin, nullptr);
    EXPECT_EQ(plugin->getTotalNumInputChannels(), 0);
    EXPECT_EQ(plugin->getTotalNumOutputChannels(), 2);
    EXPECT_TRUE(plugin->acceptsMidi());
    EXPECT_EQ(plugin->getSampleRate(), GetParam().sampleRate);
    EXPECT_EQ(plugin->getLatencySamples(), 0);
    EXPECT_EQ(plugin->getParameters().size(), kHostParameterCount);
    plugin->releaseResources();
}

TEST_P(JuceInstance, PlaysAPhraseWithFiniteOutput) {
    const double rate = GetParam().sampleRate;
    const auto plugin = mustCreate(rate, maxBlock());
    ASSERT_NE(plugin, nullptr);

    // Before any note: the output may be silent, but it must be numbers.
    const auto idle = render(*plugin, seconds(rate, 0.05), GetParam().blockSizes, {});
    EXPECT_EQ(idle.nonFinite, 0);

    const int64_t length = seconds(rate, 1.0);
    const auto played = render(*plugin, length, GetParam().blockSizes, chordPhrase(length));
    EXPECT_EQ(played.frames, length);
    EXPECT_EQ(played.nonFinite, 0) << "peak of the finite samples " << played.peak;

    plugin->releaseResources();
}

INSTANTIATE_TEST_SUITE_P(
    Hosts, JuceInstance,
    testing::Values(HostSetup{"Rate44100Block512", 44100.0, {512}},
                    HostSetup{"Rate96000Block512", 96000.0, {512}},
                    HostSetup{"Rate44100Block1", 44100.0, {1}},
                    HostSetup{"Rate96000Block1", 96000.0, {1}},
                    HostSetup{"Rate44100Block8192", 44100.0, {8192}},
                    HostSetup{"Rate48000MixedBlocks", 48000.0, {512, 1, 300, 64, 7, 511}}),
    [](const testing::TestParamInfo<HostSetup>& host) { return std::string(host.param.label); });

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

// --- Bypass ---------------------------------------------------------------------------------

TEST(JuceBypass, BypassedBlocksAreExactSilenceWhileNotesHold) {
    const double rate = 44100.0;
    const auto plugin = mustCreate(rate, 512);
    ASSERT_NE(plugin, nullptr);
    const std::vector<int> blocks{512};

    // The phrase is long, so its notes are still down while the host bypasses.
    const auto phrase = chordPhrase(seconds(rate, 20.0));
    const auto before = render(*plugin, seconds(rate, 0.2), blocks, phrase);
    EXPECT_EQ(before.nonFinite, 0);

    // The first bypassed block may fade out what was sounding; after it, nothing.
    const auto fade = render(*plugin, 512, blocks, {}, RenderPath::bypassed);
    EXPECT_EQ(fade.nonFinite, 0);
    EXPECT_EQ(plugin->getBypassParameter()->getValue(), 1.0f);
    const auto bypassed = render(*plugin, 512 * 20, blocks, {}, RenderPath::bypassed);
    EXPECT_EQ(bypassed.nonFinite, 0);
    EXPECT_EQ(bypassed.nonZero, 0) << "peak " << bypassed.peak;

    // Back from bypass the host clears the flag and the engine runs again.
    const auto after = render(*plugin, seconds(rate, 0.2), blocks, {});
    EXPECT_EQ(plugin->getBypassParameter()->getValue(), 0.0f);
    EXPECT_EQ(after.nonFinite, 0);
    plugin->releaseResources();
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

// --- Lifecycle ------------------------------------------------------------------------------

TEST(JuceLifecycle, ReprepareAtAnotherRateAndBlockSize) {
    const auto plugin = mustCreate(44100.0, 512);
    ASSERT_NE(plugin, nullptr);
    EXPECT_EQ(render(*plugin, 44100, {512}, chordPhrase(44100)).nonFinite, 0);

    plugin->releaseResources();
    plugin->prepareToPlay(96000.0, 64);
    EXPECT_EQ(plugin->getSampleRate(), 96000.0);
    EXPECT_EQ(render(*plugin, 48000, {64}, chordPhrase(48000)).nonFinite, 0);

    plugin->releaseResources();
    plugin->prepareToPlay(22050.0, 1024);
    EXPECT_EQ(render(*plugin, 22050, {1024, 3}, chordPhrase(22050)).nonFinite, 0);
    plugin->releaseResources();
}

TEST(JuceLifecycle, TwoInstancesAtDifferentRatesRenderSideBySide) {
    const auto low = mustCreate(44100.0, 128);
    const auto high = mustCreate(96000.0, 128);
    ASSERT_NE(low, nullptr);
    ASSERT_NE(high, nullptr);
    const auto lowPhrase = chordPhrase(44100);
    const auto highPhrase = chordPhrase(96000);
    RenderResult lowTotal;
    RenderResult highTotal;
    // Interleaved as a host runs two tracks: blocks of one between blocks of the other.
    for (int64_t block = 0; block < 44100 / 128; ++block) {
        std::vector<TimedMidi> lowEvents;
        std::vector<TimedMidi> highEvents;
        for (const auto& event : lowPhrase)
            if (event.sample / 128 == block)
                lowEvents.push_back({event.sample % 128, event.message});
        for (const auto& event : highPhrase)
            if (event.sample / 128 == block)
                highEvents.push_back({event.sample % 128, event.message});
        lowTotal.nonFinite += render(*low, 128, {128}, lowEvents).nonFinite;
        highTotal.nonFinite += render(*high, 128, {128}, highEvents).nonFinite;
    }
    EXPECT_EQ(lowTotal.nonFinite, 0);
    EXPECT_EQ(highTotal.nonFinite, 0);
    low->releaseResources();
    high->releaseResources();
}

TEST(JuceLifecycle, EmptyBlockBetweenBlocksIsHarmless) {
    const auto plugin = mustCreate(44100.0, 512);
    ASSERT_NE(plugin, nullptr);
    EXPECT_EQ(render(*plugin, 4096, {512}, chordPhrase(4096)).nonFinite, 0);

    // Hosts send blocks of no samples to deliver parameter changes while stopped.
    plugin->getParameters()[kVolume]->setValue(0.75f);
    juce::AudioBuffer<float> empty(2, 0);
    juce::MidiBuffer noEvents;
    plugin->processBlock(empty, noEvents);

    EXPECT_EQ(render(*plugin, 4096, {512}, {}).nonFinite, 0);
    juce::MemoryBlock state;
    plugin->getStateInformation(state);
    const auto values = processorStateValues(state);
    ASSERT_EQ(values.size(), static_cast<size_t>(kTableSize));
    EXPECT_NEAR(values[kVolume], 0.75f, 1e-6f);
    plugin->releaseResources();
}

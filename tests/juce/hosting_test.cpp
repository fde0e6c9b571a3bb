// Torvo loaded by JUCE's VST3 hosting, a host we did not write: scanning, instances at several
// rates and block sizes, bypass and the life of an instance. Sound is not required here;
// finite output and exact silence where it is due are.
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "jucehost.h"

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
    const auto phrase = chordPhrase(44100);
    RenderResult lowTotal;
    RenderResult highTotal;
    // Interleaved as a host runs two tracks: blocks of one between blocks of the other.
    for (int64_t block = 0; block < 44100 / 128; ++block) {
        std::vector<TimedMidi> events;
        for (const auto& event : phrase)
            if (event.sample / 128 == block) events.push_back({event.sample % 128, event.message});
        lowTotal.nonFinite += render(*low, 128, {128}, events).nonFinite;
        highTotal.nonFinite += render(*high, 128, {128}, events).nonFinite;
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

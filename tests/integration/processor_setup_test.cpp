// The audio component's contract with a host before any sound: buses, arrangements, sample
// sizes, block limits, latency and tail.

#include "integration/hostfixture.h"

#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivstcomponent.h"

namespace torvo::test {
namespace {

using namespace Steinberg;
using namespace Steinberg::Vst;

class ProcessorSetup : public HostedTorvo {};

TEST_F(ProcessorSetup, HasOneMidiInputAndOneStereoOutput) {
    IComponent* c = plugin->component();
    EXPECT_EQ(c->getBusCount(kEvent, kInput), 1);
    EXPECT_EQ(c->getBusCount(kEvent, kOutput), 0);
    EXPECT_EQ(c->getBusCount(kAudio, kInput), 0);
    EXPECT_EQ(c->getBusCount(kAudio, kOutput), 1);

    BusInfo midi{};
    ASSERT_EQ(c->getBusInfo(kEvent, kInput, 0, midi), kResultOk);
    EXPECT_EQ(host::toUtf8(midi.name), "MIDI in");
    EXPECT_EQ(midi.channelCount, 1);
    EXPECT_EQ(midi.mediaType, kEvent);
    EXPECT_EQ(midi.direction, kInput);

    BusInfo out{};
    ASSERT_EQ(c->getBusInfo(kAudio, kOutput, 0, out), kResultOk);
    EXPECT_EQ(host::toUtf8(out.name), "Stereo Out");
    EXPECT_EQ(out.channelCount, 2);
    EXPECT_EQ(out.busType, kMain);

    SpeakerArrangement arr = 0;
    ASSERT_EQ(plugin->processor()->getBusArrangement(kOutput, 0, arr), kResultOk);
    EXPECT_EQ(arr, SpeakerArr::kStereo);
}

TEST_F(ProcessorSetup, AcceptsOnlyOneStereoOutputAndNoInputs) {
    IAudioProcessor* p = plugin->processor();
    SpeakerArrangement stereo = SpeakerArr::kStereo;
    SpeakerArrangement mono = SpeakerArr::kMono;
    SpeakerArrangement surround = SpeakerArr::k51;
    SpeakerArrangement two[2] = {SpeakerArr::kStereo, SpeakerArr::kStereo};

    EXPECT_EQ(p->setBusArrangements(nullptr, 0, &stereo, 1), kResultTrue);
    EXPECT_NE(p->setBusArrangements(nullptr, 0, &mono, 1), kResultTrue);
    EXPECT_NE(p->setBusArrangements(nullptr, 0, &surround, 1), kResultTrue);
    EXPECT_NE(p->setBusArrangements(nullptr, 0, two, 2), kResultTrue);
    EXPECT_NE(p->setBusArrangements(nullptr, 0, nullptr, 0), kResultTrue);
    EXPECT_NE(p->setBusArrangements(&stereo, 1, &stereo, 1), kResultTrue);

    // A refused request leaves the output stereo.
    SpeakerArrangement arr = 0;
    ASSERT_EQ(p->getBusArrangement(kOutput, 0, arr), kResultOk);
    EXPECT_EQ(arr, SpeakerArr::kStereo);
}

TEST_F(ProcessorSetup, ProcessesOnly32BitSamples) {
    EXPECT_EQ(plugin->processor()->canProcessSampleSize(kSample32), kResultTrue);
    EXPECT_NE(plugin->processor()->canProcessSampleSize(kSample64), kResultTrue);
}

TEST_F(ProcessorSetup, ReportsNoLatencyAndNoTail) {
    EXPECT_EQ(plugin->processor()->getLatencySamples(), 0u);
    EXPECT_EQ(plugin->processor()->getTailSamples(), 0u);
}

TEST_F(ProcessorSetup, RefusesBlocksAbove8192) {
    ProcessSetup setup{kRealtime, kSample32, 8192, 48000.0};
    EXPECT_EQ(plugin->processor()->setupProcessing(setup), kResultOk);
    setup.maxSamplesPerBlock = 8193;
    EXPECT_NE(plugin->processor()->setupProcessing(setup), kResultOk);
    setup.maxSamplesPerBlock = 16384;
    EXPECT_NE(plugin->processor()->setupProcessing(setup), kResultOk);
    // The host then offers less, and the plug-in works with that.
    EXPECT_FALSE(plugin->setup(48000.0, 8193));
    ASSERT_TRUE(plugin->setup(48000.0, 8192));
    ASSERT_TRUE(plugin->activate());
    EXPECT_EQ(plugin->process(8192).result, kResultOk);
}

TEST_F(ProcessorSetup, ActivatesAgainAfterANewSetup) {
    ASSERT_TRUE(plugin->setup(44100.0, 256));
    ASSERT_TRUE(plugin->activate());
    EXPECT_EQ(plugin->process(256).result, kResultOk);
    plugin->deactivate();
    ASSERT_TRUE(plugin->setup(96000.0, 2048));
    ASSERT_TRUE(plugin->activate());
    const host::Block b = plugin->process(2048);
    EXPECT_EQ(b.result, kResultOk);
    EXPECT_EQ(b.left.size(), 2048u);
}

} // namespace
} // namespace torvo::test

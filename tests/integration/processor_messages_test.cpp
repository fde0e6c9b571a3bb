// Messages the audio component sends to the controller while processing: "noteon" for blocks
// with notes, "disp" and "vuMeter" only when what they carry changed.

#include "integration/hostfixture.h"

namespace torvo::test {
namespace {

using namespace Steinberg;

constexpr int kBlock = 256;

class ProcessorMessages : public HostedTorvo {
protected:
    void SetUp() override {
        HostedTorvo::SetUp();
        start(48000.0, kBlock);
        plugin->messages().clear();
    }
    size_t count(const char* id) { return plugin->messages().count(id); }
    /// Runs `blocks` empty blocks.
    void idle(int blocks) {
        for (int i = 0; i < blocks; ++i) plugin->process(kBlock);
    }
};

TEST_F(ProcessorMessages, NoteOnIsSentForEveryBlockWithEvents) {
    idle(10);
    EXPECT_EQ(count("noteon"), 0u);
    plugin->process(kBlock, {{0, 60, 0.8f}});
    EXPECT_EQ(count("noteon"), 1u);
    idle(3);
    EXPECT_EQ(count("noteon"), 1u);
    // Once per block, however many events it holds; a note-off is an event too.
    plugin->process(kBlock, {{0, 64, 0.8f}, {10, 67, 0.8f}, {20, 60, 0.0f, false}});
    EXPECT_EQ(count("noteon"), 2u);
    plugin->process(kBlock, {{0, 64, 0.0f, false}});
    EXPECT_EQ(count("noteon"), 3u);
}

TEST_F(ProcessorMessages, NoteOnCarriesNoAttributes) {
    plugin->process(kBlock, {{0, 60, 0.8f}});
    host::RecordedMessage m;
    ASSERT_TRUE(plugin->messages().latest("noteon", m));
    EXPECT_EQ(m.attributes.size(), 0);
}

TEST_F(ProcessorMessages, SilentDisplayStateIsSentAtMostOnce) {
    idle(1);
    const size_t disp = count("disp");
    const size_t vu = count("vuMeter");
    EXPECT_LE(disp, 1u);
    EXPECT_LE(vu, 1u);
    // Nothing sounds and nothing steps: no more messages however long it runs.
    idle(400);
    EXPECT_EQ(count("disp"), disp);
    EXPECT_EQ(count("vuMeter"), vu);
}

TEST_F(ProcessorMessages, DisplayMessagesStopOnceTheSoundHasDied) {
    plugin->process(kBlock, {{0, 60, 1.0f}, {0, 64, 1.0f}});
    idle(100);
    plugin->process(kBlock, {{0, 60, 0.0f, false}, {0, 64, 0.0f, false}});
    // Release, effect tails, the gate's bar of grace and the meters' fall: all long over
    // after ten seconds.
    idle(int(10 * 48000 / kBlock));
    const size_t disp = count("disp");
    const size_t vu = count("vuMeter");
    idle(200);
    EXPECT_EQ(count("disp"), disp);
    EXPECT_EQ(count("vuMeter"), vu);
}

TEST_F(ProcessorMessages, DisplayMessagesCarryTheirAttributes) {
    idle(1);
    host::RecordedMessage m;
    if (plugin->messages().latest("disp", m)) {
        for (const char* name : {"arp", "stp1", "stp2"}) {
            const host::Attribute* a = m.attribute(name);
            ASSERT_NE(a, nullptr) << name;
            EXPECT_EQ(a->type, host::AttributeType::Int) << name;
        }
        const host::Attribute* diodes = m.attribute("diodes");
        ASSERT_NE(diodes, nullptr);
        EXPECT_EQ(diodes->type, host::AttributeType::Binary);
        EXPECT_EQ(diodes->bytes.size(), 5 * sizeof(int64_t));
    }
    if (plugin->messages().latest("vuMeter", m)) {
        for (const char* name : {"l", "r"}) {
            const host::Attribute* a = m.attribute(name);
            ASSERT_NE(a, nullptr) << name;
            EXPECT_EQ(a->type, host::AttributeType::Float) << name;
            EXPECT_GE(a->floatValue, 0.0) << name;
            EXPECT_LE(a->floatValue, 2.0) << name;
        }
    }
}

TEST_F(ProcessorMessages, NothingIsSentWithoutAPeer) {
    plugin->disconnect();
    plugin->messages().clear();
    plugin->process(kBlock, {{0, 60, 1.0f}});
    idle(20);
    // The proxies are gone, so nothing can reach the log; above all nothing crashes.
    EXPECT_EQ(plugin->messages().total(), 0u);
}

TEST_F(ProcessorMessages, DisplayStateFlowsOnlyTowardsTheController) {
    plugin->process(kBlock, {{0, 60, 1.0f}});
    idle(20);
    for (const char* id : {"noteon", "disp", "vuMeter"})
        EXPECT_EQ(plugin->messages().count(id, host::Direction::ToComponent), 0u) << id;
}

} // namespace
} // namespace torvo::test

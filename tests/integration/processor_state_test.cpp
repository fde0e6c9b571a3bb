// The processor's host state: its exact byte layout, round trips into fresh instances, the
// hand-off of legacy chunks to the controller, and which automation point a block keeps.

#include "integration/hostfixture.h"

namespace torvo::test {
namespace {

using namespace Steinberg;

class ProcessorState : public HostedTorvo {
protected:
    std::unique_ptr<host::Plugin> freshInstance() {
        std::string error;
        auto other = loadTorvo(&error);
        EXPECT_TRUE(other) << error;
        return other;
    }
};

TEST_F(ProcessorState, LayoutIsCountsAndLittleEndianFloats) {
    const std::vector<uint8_t> state = plugin->getState();
    ASSERT_EQ(state.size(), kStateBytes);
    // 725 in little-endian byte order, then the table, then 13 and the extras.
    EXPECT_EQ(state[0], 0xD5);
    EXPECT_EQ(state[1], 0x02);
    EXPECT_EQ(state[2], 0x00);
    EXPECT_EQ(state[3], 0x00);
    EXPECT_EQ(readI32(state, 4 + kTableSize * 4), kProxies);
    EXPECT_FLOAT_EQ(stateParam(state, 0), 4 * 0.001001001f); // mode
    EXPECT_FLOAT_EQ(stateParam(state, 9), 0.5f);             // volume
    EXPECT_FLOAT_EQ(stateParam(state, 155), 45 * 0.001001001f);
    EXPECT_FLOAT_EQ(stateParam(state, 230), 0.49632f);
    EXPECT_FLOAT_EQ(stateParam(state, 722), 1.0f);
    for (int i = 0; i < kProxies; ++i) EXPECT_EQ(stateExtra(state, i), 0.0f) << i;
}

TEST_F(ProcessorState, SavedBeforeActivationAndAfterAreTheSame) {
    const std::vector<uint8_t> before = plugin->getState();
    start();
    plugin->process(512);
    EXPECT_EQ(plugin->getState(), before);
}

TEST_F(ProcessorState, AutomationReachesTheSavedState) {
    start();
    plugin->process(256, {}, {{9, 0, 0.125}, {288, 0, 0.3}, {724, 0, 1.0}});
    const std::vector<uint8_t> state = plugin->getState();
    EXPECT_FLOAT_EQ(stateParam(state, 9), 0.125f);
    EXPECT_FLOAT_EQ(stateParam(state, 288), 0.3f);
    EXPECT_FLOAT_EQ(stateParam(state, 724), 1.0f);
}

TEST_F(ProcessorState, OnlyTheLastPointOfAQueueActs) {
    start();
    plugin->inputChanges().add(9, 0, 0.1);
    plugin->inputChanges().add(9, 100, 0.7);
    plugin->inputChanges().add(9, 511, 0.3);
    plugin->inputChanges().add(21, 0, 0.9);
    plugin->inputChanges().add(21, 3, 0.2);
    ASSERT_EQ(plugin->processBlock(512), kResultOk);
    const std::vector<uint8_t> state = plugin->getState();
    EXPECT_FLOAT_EQ(stateParam(state, 9), 0.3f);
    EXPECT_FLOAT_EQ(stateParam(state, 21), 0.2f);
}

TEST_F(ProcessorState, ProxiesDoNotLandInTheTable) {
    start();
    const std::vector<uint8_t> before = plugin->getState();
    plugin->process(256, {},
                    {{fourCharId("next"), 0, 1.0},
                     {fourCharId("prev"), 0, 1.0},
                     {fourCharId("prch"), 0, 0.5},
                     {fourCharId("sust"), 0, 1.0},
                     {fourCharId("aftt"), 0, 0.8},
                     {fourCharId("prta"), 0, 0.2}});
    EXPECT_EQ(plugin->getState(), before);
}

TEST_F(ProcessorState, RoundTripIntoAFreshInstance) {
    start();
    std::vector<host::ParamPoint> changes;
    for (Vst::ParamID id = 0; id < Vst::ParamID(kTableSize); id += 7)
        changes.push_back({id, 0, (id % 100) / 100.0});
    plugin->process(128, {}, changes);
    const std::vector<uint8_t> saved = plugin->getState();

    auto other = freshInstance();
    ASSERT_TRUE(other);
    ASSERT_TRUE(other->setState(saved));
    EXPECT_EQ(other->getState(), saved);
    // And again once that instance is running.
    ASSERT_TRUE(other->setup(44100.0, 256));
    ASSERT_TRUE(other->activate());
    other->process(256);
    EXPECT_EQ(other->getState(), saved);
}

TEST_F(ProcessorState, StateWrittenByHandIsTakenAsIs) {
    std::vector<float> params(kTableSize);
    for (int i = 0; i < kTableSize; ++i) params[i] = float(i % 37) / 36.0f;
    std::vector<float> extras(kProxies, 0.0f);
    const std::vector<uint8_t> state = makeState(params, extras);
    ASSERT_TRUE(plugin->setState(state));
    EXPECT_EQ(plugin->getState(), state);
}

TEST_F(ProcessorState, ShortTableOverwritesOnlyItsHead) {
    const std::vector<uint8_t> defaults = plugin->getState();
    // 100 values and no extras: the rest keeps what it had.
    ASSERT_TRUE(plugin->setState(makeState(std::vector<float>(100, 0.25f), {})));
    const std::vector<uint8_t> state = plugin->getState();
    for (int id = 0; id < 100; ++id) EXPECT_FLOAT_EQ(stateParam(state, id), 0.25f) << id;
    for (int id = 100; id < kTableSize; ++id)
        EXPECT_EQ(stateParam(state, id), stateParam(defaults, id)) << id;
    EXPECT_EQ(stateExtra(state, 0), 0.0f);
}

TEST_F(ProcessorState, TruncatedStateChangesNothing) {
    const std::vector<uint8_t> defaults = plugin->getState();
    std::vector<uint8_t> full =
        makeState(std::vector<float>(kTableSize, 0.75f), std::vector<float>(kProxies, 0.0f));
    for (size_t cut : {size_t(4), size_t(100), size_t(4 + kTableSize * 4)}) {
        std::vector<uint8_t> truncated(full.begin(), full.begin() + cut);
        EXPECT_FALSE(plugin->setState(truncated)) << "cut at " << cut;
        EXPECT_EQ(plugin->getState(), defaults) << "cut at " << cut;
    }
}

TEST_F(ProcessorState, SavedBypassLivesInTheFirstExtra) {
    start();
    plugin->process(128, {}, {{kBypassId, 0, 1.0}});
    std::vector<uint8_t> state = plugin->getState();
    EXPECT_EQ(stateExtra(state, 0), 1.0f);
    for (int i = 1; i < kProxies; ++i) EXPECT_EQ(stateExtra(state, i), 0.0f) << i;
    plugin->process(128, {}, {{kBypassId, 0, 0.0}});
    EXPECT_EQ(stateExtra(plugin->getState(), 0), 0.0f);

    // A fresh instance restored from a bypassed state starts bypassed.
    auto other = freshInstance();
    ASSERT_TRUE(other);
    ASSERT_TRUE(other->setState(state));
    EXPECT_EQ(stateExtra(other->getState(), 0), 1.0f);
}

TEST_F(ProcessorState, LegacyChunksGoToTheControllerWhole) {
    const std::vector<uint8_t> defaults = plugin->getState();
    for (int32_t head : {0, 726, -1, 0x7FFFFFFF}) {
        std::vector<uint8_t> chunk;
        appendI32(chunk, head);
        for (int i = 0; i < 300; ++i) chunk.push_back(uint8_t(i * 7 + 3));
        plugin->messages().clear();
        plugin->setState(chunk);

        ASSERT_EQ(plugin->messages().count("setControllerLegacyState"), 1u) << head;
        host::RecordedMessage m;
        ASSERT_TRUE(plugin->messages().latest("setControllerLegacyState", m));
        const host::Attribute* data = m.attribute("data");
        ASSERT_NE(data, nullptr);
        EXPECT_EQ(data->type, host::AttributeType::Binary);
        EXPECT_EQ(data->bytes, chunk) << "all bytes, the head included";
        // The processor keeps its parameters until the controller answers; an answer to
        // garbage, if any, is a whole program.
        if (plugin->messages().count("midiProgramChange", host::Direction::ToComponent) == 0) {
            EXPECT_EQ(plugin->getState(), defaults) << head;
        }
    }
}

TEST_F(ProcessorState, ControllerAnswersComponentStateWithTheProgram) {
    // A project restore: the controller takes the component's state and sends its sound to the
    // processor as one program of 725 floats, with or without the trailing extras.
    std::vector<float> params(kTableSize);
    for (int i = 0; i < kTableSize; ++i) params[i] = float(i % 11) / 10.0f;
    for (const std::vector<float>& extras :
         {std::vector<float>(kProxies, 0.0f), std::vector<float>()}) {
        plugin->messages().clear();
        ASSERT_TRUE(plugin->restore(makeState(params, extras)));
        host::RecordedMessage m;
        ASSERT_TRUE(plugin->messages().latest("midiProgramChange", m, host::Direction::ToComponent))
            << extras.size() << " extras";
        const host::Attribute* data = m.attribute("data");
        ASSERT_NE(data, nullptr);
        ASSERT_EQ(data->bytes.size(), size_t(kTableSize) * 4);
        for (int i = 0; i < kTableSize; ++i)
            EXPECT_EQ(readF32(data->bytes, size_t(i) * 4), params[i]) << i;
        const std::vector<uint8_t> state = plugin->getState();
        for (int i = 0; i < kTableSize; ++i) EXPECT_EQ(stateParam(state, i), params[i]) << i;
    }
}

TEST_F(ProcessorState, NullStreamIsRefused) {
    EXPECT_NE(plugin->component()->setState(nullptr), kResultOk);
}

} // namespace
} // namespace torvo::test

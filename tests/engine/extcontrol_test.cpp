// The external controller channels: quantisation of written values, the glide law chosen by
// the size of a move, the jump after a long pause, and the first-block jump.

#include "engine/engineshared.h"
#include "engine/moduleextcontrol.h"
#include "engine/pool.h"

#include <gtest/gtest.h>

#include <cmath>

namespace torvo {
namespace {

constexpr int kFrames = 256;

struct ExtControlTest : testing::Test {
    ExtControlTest() {
        shared.pool = &pool;
        shared.firstBlock = false;
        ext.init(nullptr, &shared, nullptr, "ModuleExtControl::extcontrol");
        ext.createVoices();
        ext.setMaxBlockSize(kFrames);
        for (int c = 0; c < ModuleExtControl::kChannelCount; ++c) ext.resetChannel(c, 0.0f);
    }
    void block() {
        ext.setBlockFrames(kFrames);
        ext.resetVoices();
    }
    /// Lets a long pause pass on every channel (about 0.58 s at 44.1 kHz).
    void longPause() {
        for (int b = 0; b < 100; ++b) block();
    }

    Pool pool;
    EngineShared shared;
    ModuleExtControl ext;
};

TEST_F(ExtControlTest, ValuesAreTruncatedToTenThousandths) {
    shared.firstBlock = true;
    ext.write(2, 0, 0.123456f);
    ext.write(3, 0, 0.99999f);
    block();
    EXPECT_NEAR(ext.output(2)[0], 0.1234f, 1e-7f);
    EXPECT_NEAR(ext.output(2)[kFrames - 1], 0.1234f, 1e-7f);
    EXPECT_NEAR(ext.output(3)[0], 0.9999f, 1e-7f);
}

TEST_F(ExtControlTest, GlideSpeedFollowsTheSizeOfTheMove) {
    // A move of 0.5 soon after the last event: k is read at 3.5 between 0.0007 and 0.0015.
    ext.write(0, 0, 0.5f);
    block();
    const float k = 0.0011f;
    const float* out = ext.output(0);
    EXPECT_NEAR(out[0], 0.5f * k, 1e-7f);
    EXPECT_NEAR(out[kFrames - 1], 0.5f * (1.0f - std::pow(1.0f - k, float(kFrames))), 1e-5f);
}

TEST_F(ExtControlTest, LargeMoveAfterLongPauseJumpsSmallOneGlides) {
    longPause();
    ext.write(3, 10, 0.5f);
    ext.write(2, 10, 0.1f);
    block();
    EXPECT_EQ(ext.output(3)[9], 0.0f);
    EXPECT_EQ(ext.output(3)[10], 0.5f);
    EXPECT_EQ(ext.output(3)[kFrames - 1], 0.5f);
    // 0.1 is below the jump size: k = 0.00001 + 0.7 * (0.0001 - 0.00001).
    EXPECT_NEAR(ext.output(2)[10], 0.1f * 0.000073f, 1e-8f);
}

TEST_F(ExtControlTest, PitchWheelAlwaysGlidesAtItsFixedRate) {
    longPause();
    ext.write(ModuleExtControl::kPitchWheel, 0, -1.0f);
    block();
    EXPECT_NEAR(ext.output(ModuleExtControl::kPitchWheel)[0], -0.007f, 1e-7f);
}

TEST_F(ExtControlTest, FirstValueAfterStartTakesEffectAtOnce) {
    shared.firstBlock = true;
    ext.write(0, 0, 0.8f);
    block();
    EXPECT_NEAR(ext.output(0)[0], 0.8f, 1e-7f);
}

TEST_F(ExtControlTest, SettledChannelCostsNothingUntilANewValueArrives) {
    shared.firstBlock = true;
    ext.write(1, 0, 0.6f);
    block(); // jumps, settles: one step down
    EXPECT_EQ(ext.channels[1].state, 1);
    shared.firstBlock = false;
    block();
    EXPECT_EQ(ext.channels[1].state, 0);
    // The same value again is no event; a different one is.
    ext.write(1, 0, 0.60001f);
    EXPECT_EQ(ext.channels[1].state, 0);
    ext.write(1, 3, 0.61f);
    EXPECT_EQ(ext.channels[1].state, 2);
    block();
    EXPECT_NEAR(ext.output(1)[2], 0.6f, 1e-6f);
    EXPECT_GT(ext.output(1)[3], 0.6f);
}

TEST_F(ExtControlTest, SmallMoveSoonAfterTheLastGlidesVerySlowly) {
    ext.write(2, 0, 0.01f); // k = 0.00001 + 0.07 * 0.00009: a very slow glide
    for (int b = 0; b < 4; ++b) block();
    const float k = 0.00001f + 0.07f * 0.00009f;
    EXPECT_NEAR(ext.output(2)[kFrames - 1], 0.01f * (1.0f - std::pow(1.0f - k, 4.0f * kFrames)),
                2e-6f);
}

TEST(ExtControlStandalone, ValueWrittenBeforeBuffersArrivesAtSampleZero) {
    Pool pool;
    EngineShared shared;
    shared.pool = &pool;
    ModuleExtControl ext;
    ext.init(nullptr, &shared, nullptr, "ModuleExtControl::extcontrol");
    ext.createVoices();
    ext.write(1, 37, 0.25f);
    ext.setMaxBlockSize(kFrames);
    ext.setBlockFrames(kFrames);
    ext.resetVoices();
    EXPECT_NEAR(ext.output(1)[0], 0.25f, 1e-7f);
}

TEST_F(ExtControlTest, SettledChannelKeepsItsValueInLongerBlocks) {
    shared.firstBlock = true;
    ext.write(4, 0, 1.0f);
    for (int b = 0; b < 3; ++b) {
        ext.setBlockFrames(64);
        ext.resetVoices();
        shared.firstBlock = false;
    }
    block();
    EXPECT_EQ(ext.output(4)[kFrames - 1], 1.0f);
}

} // namespace
} // namespace torvo

#include "engine/outputstage.h"

#include <gtest/gtest.h>

#include <vector>

using torvo::PeakFollower;
using torvo::SilenceGate;

namespace {
constexpr float kRate = 44100.0f;
constexpr int kBlock = 256;
// One 4/4 bar at 120 bpm plus 256 samples.
constexpr int kTail = 88200 + 256;
} // namespace

TEST(SilenceGate, SkipsTheChainOnlyAfterABarAndTwoHundredFiftySixSamplesOfSilence) {
    SilenceGate gate;
    std::vector<float> loud(kBlock, 0.5f), quiet(kBlock, 0.0f);
    EXPECT_FALSE(gate.skipChain(loud.data(), loud.data(), kBlock, kRate, 120.0f));
    EXPECT_EQ(gate.tailCounter, kTail);
    gate.afterChain(quiet.data(), quiet.data(), kBlock);

    int blocksRun = 0;
    while (!gate.skipChain(quiet.data(), quiet.data(), kBlock, kRate, 120.0f)) {
        gate.afterChain(quiet.data(), quiet.data(), kBlock);
        ++blocksRun;
        ASSERT_LT(blocksRun, 10000);
    }
    // The counter is reduced block by block and the chain stops at the first block that
    // brings it to zero or below.
    EXPECT_EQ(blocksRun, (kTail - 1) / kBlock);
    EXPECT_EQ(gate.tailCounter, 0);
    EXPECT_TRUE(gate.skipChain(quiet.data(), quiet.data(), kBlock, kRate, 120.0f));
}

TEST(SilenceGate, ARingingChainKeepsReloadingTheTail) {
    SilenceGate gate;
    std::vector<float> quiet(kBlock, 0.0f), ringing(kBlock, 0.001f);
    gate.afterChain(ringing.data(), ringing.data(), kBlock); // sum 0.256 > 0.01
    EXPECT_FALSE(gate.skipChain(quiet.data(), quiet.data(), kBlock, kRate, 60.0f));
    EXPECT_EQ(gate.tailCounter, 176400 + 256);
}

TEST(SilenceGate, SilenceThresholdIsASumOfMagnitudesOfOneHundredth) {
    SilenceGate gate;
    std::vector<float> justSilent(100, 0.0001f), justLoud(100, 0.000101f);
    EXPECT_TRUE(gate.skipChain(justSilent.data(), justSilent.data(), 100, kRate, 120.0f));
    EXPECT_FALSE(gate.skipChain(justLoud.data(), justSilent.data(), 100, kRate, 120.0f));
}

TEST(PeakFollower, RisesAtOnceCapsAtTwoAndFallsLinearly) {
    PeakFollower peak;
    std::vector<float> block(kBlock, 0.0f);
    block[0] = -3.0f;
    peak.process(block.data(), kBlock, kRate);
    const float step = 2.0f / kRate;
    // Only the first quarter of the block is followed: 64 samples of fall after the cap.
    EXPECT_NEAR(peak.level, 2.0f - 64 * step, 1e-5f);

    std::vector<float> silent(kBlock, 0.0f);
    for (int i = 0; i < 1000; ++i) peak.process(silent.data(), kBlock, kRate);
    EXPECT_EQ(peak.level, 0.0f);
}

TEST(PeakFollower, LooksOnlyAtTheFirstQuarterOfTheBlock) {
    PeakFollower peak;
    std::vector<float> block(kBlock, 0.0f);
    block[kBlock / 4 + 1] = 1.0f; // past the followed part
    peak.process(block.data(), kBlock, kRate);
    EXPECT_EQ(peak.level, 0.0f);
    block[kBlock / 4 - 1] = 1.0f; // the last followed sample
    peak.process(block.data(), kBlock, kRate);
    EXPECT_NEAR(peak.level, 1.0f - 2.0f / kRate, 1e-6f);
}

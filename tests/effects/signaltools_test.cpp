// The chain's silence test and the point-table read shared by all effects.

#include "effects/signaltools.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace torvo {
namespace {

TEST(SilenceCheck, ThresholdIsOneHundredthOfSummedMagnitude) {
    const std::vector<float> quiet(9, 0.001f);
    EXPECT_TRUE(SilenceCheck(quiet.data(), int(quiet.size())));
    const std::vector<float> loud(11, 0.001f);
    EXPECT_FALSE(SilenceCheck(loud.data(), int(loud.size())));
    // Magnitudes count: a signal that sums to zero is still sound.
    const float alternating[4] = {0.003f, -0.003f, 0.003f, -0.003f};
    EXPECT_FALSE(SilenceCheck(alternating, 4));
    EXPECT_TRUE(SilenceCheck(alternating, 0));
}

TEST(TableRead, InterpolatesAndTakesTheElementBehindTheLastWithWeightZero) {
    // Three points and one readable element behind them that must never show.
    const float table[4] = {0.0f, 1.0f, 4.0f, 99.0f};
    float x[6] = {0.0f, 0.25f, 0.75f, 1.0f, -3.0f, 7.0f};
    TableRead(x, table, 3, 6);
    EXPECT_FLOAT_EQ(x[0], 0.0f);
    EXPECT_FLOAT_EQ(x[1], 0.5f);
    EXPECT_FLOAT_EQ(x[2], 2.5f);
    EXPECT_FLOAT_EQ(x[3], 4.0f);
    EXPECT_FLOAT_EQ(x[4], 0.0f);
    EXPECT_FLOAT_EQ(x[5], 4.0f);
}

TEST(TableRead, NanReadsTheFirstPoint) {
    const float table[3] = {0.25f, 0.5f, 0.0f};
    float x = std::numeric_limits<float>::quiet_NaN();
    TableRead(&x, table, 2, 1);
    EXPECT_FLOAT_EQ(x, 0.25f);
}

} // namespace
} // namespace torvo

// The block scans look at four samples at a time and at the rest one by one: a difference or a
// match must count wherever it falls, including the last sample of a length that is not a
// multiple of four, and nothing past the length may count.

#include "engine/blockscan.h"

#include <gtest/gtest.h>

#include <vector>

namespace torvo {
namespace {

TEST(BlockScan, ConstantOnlyWhileEverySampleHoldsTheFirst) {
    for (int frames : {1, 3, 4, 7, 256, 203}) {
        std::vector<float> x(frames + 4, 0.25f);
        x[frames] = 9.0f; // past the length
        EXPECT_TRUE(isConstant(x.data(), frames)) << frames;
        for (int at : {0, frames / 2, frames - 1}) {
            if (at == 0 && frames == 1) continue;
            std::vector<float> y = x;
            y[at == 0 ? 1 : at] = 0.5f;
            EXPECT_FALSE(isConstant(y.data(), frames)) << frames << " at " << at;
        }
    }
}

TEST(BlockScan, ValueFoundWhereverItFallsAndNotPastTheLength) {
    for (int frames : {1, 5, 8, 130}) {
        std::vector<float> x(frames + 4, 0.0f);
        x[frames] = 1.0f;
        EXPECT_FALSE(holdsValue(x.data(), frames, 1.0f)) << frames;
        x[frames - 1] = 1.0f;
        EXPECT_TRUE(holdsValue(x.data(), frames, 1.0f)) << frames;
        x[frames - 1] = 0.0f;
        x[0] = 1.0f;
        EXPECT_TRUE(holdsValue(x.data(), frames, 1.0f)) << frames;
    }
}

} // namespace
} // namespace torvo

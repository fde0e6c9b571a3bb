// The sustain stage's position creeps by 1e-5 a sample, and the voice allocator compares those
// positions to find the longest-held note, so a whole run of sustain must land on exactly the
// float that one addition per sample gives: checked bit for bit against the chain from starts
// on both sides of powers of two, near the tie-prone small binades and where the creep no
// longer moves the position at all.

#include "modulators/moduleenvelope.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

namespace torvo {
namespace {

float chain(float x, int n) {
    for (int k = 0; k < n; ++k) x += 1e-5f;
    return x;
}

uint32_t bitsOf(float x) {
    uint32_t b = 0;
    std::memcpy(&b, &x, sizeof b);
    return b;
}

TEST(SustainCreep, ARunEqualsOneAdditionPerSampleBitForBit) {
    std::vector<float> starts = {0.0f,  1e-9f,   6.2e-5f, 1.0f / 1024.0f, 0.001f, 0.25f,   0.3f,
                                 0.5f,  0.9999f, 1.0f,    1.0f + 1e-7f,   1.5f,   1.9999f, 2.0f,
                                 3.99f, 7.9f,    100.0f,  1e4f,           3e5f};
    // Starts just below and at powers of two, where a run crosses into the next binade.
    for (int e = -12; e <= 4; ++e) {
        const float p = std::ldexp(1.0f, e);
        starts.push_back(p);
        starts.push_back(std::nextafter(p, 0.0f));
        starts.push_back(p - 100.0f * 1e-5f);
    }
    for (float x : starts) {
        for (int n : {0, 1, 2, 3, 17, 255, 256, 1000, 4096, 8192}) {
            SCOPED_TRACE(testing::Message() << "x " << x << " n " << n);
            EXPECT_EQ(bitsOf(sustainCreep(x, n)), bitsOf(chain(x, n)));
        }
    }
}

TEST(SustainCreep, SuccessiveBlocksFollowTheChainForAMinuteOfHolding) {
    // A minute at 48 kHz in blocks of 256 from the end of a slope stage (position just past 1).
    float fast = 1.0000123f;
    float slow = fast;
    for (int block = 0; block < 48000 * 60 / 256; ++block) {
        fast = sustainCreep(fast, 256);
        slow = chain(slow, 256);
        ASSERT_EQ(bitsOf(fast), bitsOf(slow)) << "block " << block;
    }
    EXPECT_GT(fast, 1.0f + 60.0f * 48000.0f * 0.5e-5f);
}

} // namespace
} // namespace torvo

#include "engine/paramsmoother.h"
#include "engine/pool.h"

#include <gtest/gtest.h>

#include <cmath>

using torvo::ParamSmoother;

namespace {
constexpr float kRate = 44100.0f;
constexpr float kPi = 3.14159265358979f;

int blocksToSettle(ParamSmoother& s, int frames) {
    int blocks = 0;
    while (s.state == ParamSmoother::Running && blocks < 100000) {
        s.process(frames, kRate);
        ++blocks;
    }
    return blocks;
}
} // namespace

TEST(ParamSmoother, SmallMovesGlideAtTwentyFourHertz) {
    torvo::Pool pool;
    ParamSmoother s;
    s.allocate(pool, 64);
    s.reset(0.3f);
    s.process(64, kRate);
    s.set(0.5f);
    s.process(1, kRate);
    const float k = std::sin(kPi * 24.0f / kRate);
    EXPECT_NEAR(s.data()[0], 0.3f + 0.2f * k, 1e-6f);
}

TEST(ParamSmoother, JumpsOfHalfTheRangeTakeTheFastPathAndSettleBackToSlow) {
    torvo::Pool pool;
    ParamSmoother s;
    s.allocate(pool, 64);
    s.process(64, kRate);
    s.set(0.9f);
    EXPECT_EQ(s.cutoff, 240.0f);
    s.process(1, kRate);
    EXPECT_NEAR(s.data()[0], 0.9f * std::sin(kPi * 240.0f / kRate), 1e-6f);
    blocksToSettle(s, 64);
    EXPECT_EQ(s.state, ParamSmoother::Settled);
    EXPECT_EQ(s.value(), 0.9f);
    EXPECT_EQ(s.cutoff, 24.0f);
    // The settled state fills the buffer once with the exact target.
    s.process(64, kRate);
    for (int i = 0; i < 64; ++i) ASSERT_EQ(s.data()[i], 0.9f);
    EXPECT_EQ(s.state, ParamSmoother::Idle);
}

TEST(ParamSmoother, FastGlideSettlesWithinAFewMilliseconds) {
    torvo::Pool pool;
    ParamSmoother s;
    s.allocate(pool, 32);
    s.set(1.0f);
    const int blocks = blocksToSettle(s, 32);
    // ln(1000) / -ln(1 - sin(pi 240 / 44100)): about 401 samples.
    EXPECT_LE(blocks * 32, 416);
    EXPECT_GE(blocks * 32, 384);
}

TEST(ParamSmoother, IdleSmootherRefillsWhenTheBlockLengthChanges) {
    torvo::Pool pool;
    ParamSmoother s;
    s.allocate(pool, 128);
    s.reset(0.25f);
    s.process(16, kRate);
    s.process(16, kRate);
    EXPECT_EQ(s.state, ParamSmoother::Idle);
    s.process(128, kRate);
    EXPECT_EQ(s.data()[127], 0.25f);
}

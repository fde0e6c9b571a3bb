// Parameter decoding of the filter section and its per-voice delay memory.

#include "engine/engineshared.h"
#include "engine/pool.h"
#include "filters/modulefilter.h"
#include "shell/paramtable.h"

#include <gtest/gtest.h>

namespace torvo {
namespace {

constexpr int kFrames = 256;

struct FilterTest : testing::Test {
    FilterTest() {
        shared.pool = &pool;
        filter.init(nullptr, &shared, nullptr, "ModuleFilter::filter");
        filter.createVoices();
        filter.setMaxBlockSize(kFrames);
    }
    VoiceFilter& voice(int v) { return *static_cast<VoiceFilter*>(filter.getVoice(v)); }

    Pool pool;
    EngineShared shared;
    ModuleFilter filter;
};

TEST_F(FilterTest, DecodesRoutingTypesAndKeyTracking) {
    filter.setParameter(0, 1.0f);
    EXPECT_EQ(filter.routing, ModuleFilter::kParallel);
    filter.setParameter(6, 4 * kThousandth);
    filter.setParameter(7, 5 * kThousandth);
    EXPECT_EQ(filter.type2, ModuleFilter::kScorpio);
    EXPECT_EQ(filter.mode2, 5);
    filter.setParameter(10, 0.5f);
    EXPECT_NEAR(filter.keyTrack, 0.0f, 1e-6f);
    filter.setParameter(10, 1.0f);
    EXPECT_NEAR(filter.keyTrack, 1.066667f, 1e-6f);
    filter.setParameter(4, 0.25f);
    EXPECT_EQ(filter.cut1.targetValue(), 0.25f);
}

TEST_F(FilterTest, DelayMemoryIsTakenOnceAndClearedOnRequest) {
    float* line = voice(kMonoVoice).delayLines[3];
    ASSERT_NE(line, nullptr);
    const int last = int(VoiceFilter::kDelayLineBytes / sizeof(float)) - 1;
    line[0] = line[last] = 1.0f;
    filter.setMaxBlockSize(512);
    EXPECT_EQ(voice(kMonoVoice).delayLines[3], line);
    filter.clearDelayLines();
    EXPECT_EQ(line[0], 0.0f);
    EXPECT_EQ(line[last], 0.0f);
}

TEST_F(FilterTest, OutputsAreSlotOnesPairPerVoice) {
    const StereoPtr* out = filter.getStereoOutputs(0);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(out[2].left, voice(2).out1L);
    EXPECT_EQ(out[2].right, voice(2).out1R);
}

} // namespace
} // namespace torvo

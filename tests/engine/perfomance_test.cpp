// The macros: each voice's output is the macro's smoothed value with that voice's modulation,
// kept apart per voice, and the mono voice is rendered only when asked or in the mono modes.

#include "engine/engineshared.h"
#include "engine/modulematrix.h"
#include "engine/moduleperfomance.h"
#include "engine/pool.h"
#include "shell/paramtable.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <vector>

namespace torvo {
namespace {

constexpr int kFrames = 128;

struct PerfomanceTest : testing::Test {
    PerfomanceTest() {
        shared.pool = &pool;
        perf.init(nullptr, &shared, matrix.get(), "perfomance");
        perf.createVoices();
        for (int m = 0; m < kMacroCount; ++m) perf.bindParameter(m, 714 + m);
        perf.setMaxBlockSize(kFrames);
        for (int v = 0; v < kVoiceCount; ++v) {
            velocity[v].assign(kFrames + 8, 0.1f * float(v % 10));
            velocityTable[v] = velocity[v].data();
        }
        matrix->setSource(kSrcVelocity, velocityTable.data());
        // Macro 2 moved by velocity at full positive amount.
        matrix->setUserSlotItem(0, 0, float(kSrcVelocity) * kThousandth);
        matrix->setUserSlotItem(0, 3, 218 * kThousandth);
        matrix->setUserSlotItem(0, 2, 1.0f);
        matrix->refresh();
        perf.macros[1].reset(0.2f);
        perf.macros[0].reset(0.3f);
    }
    float out(int macro, int voice, int i = kFrames - 1) {
        return perf.getOutputs(macro)[voice][i];
    }

    Pool pool;
    EngineShared shared;
    std::unique_ptr<ModuleMatrix> matrix = std::make_unique<ModuleMatrix>();
    ModulePerfomance perf;
    std::array<std::vector<float>, kVoiceCount> velocity;
    std::array<float*, kVoiceCount> velocityTable{};
};

TEST_F(PerfomanceTest, EachPlayingVoiceKeepsItsOwnModulatedMacro) {
    shared.active[2] = 1;
    shared.active[5] = 1;
    perf.process(kFrames, 1);
    EXPECT_NEAR(out(1, 2), 0.4f, 1e-6f);
    EXPECT_NEAR(out(1, 5, 0), 0.7f, 1e-6f);
    EXPECT_NEAR(out(1, 5), 0.7f, 1e-6f);
    // A silent voice and the mono voice (not asked for) read the knob alone.
    EXPECT_NEAR(out(1, 3), 0.2f, 1e-6f);
    EXPECT_NEAR(out(1, kMonoVoice), 0.2f, 1e-6f);
    // Macros nothing modulates are the knob for everyone.
    EXPECT_NEAR(out(0, 2), 0.3f, 1e-6f);
    EXPECT_NEAR(out(0, kMonoVoice), 0.3f, 1e-6f);
}

TEST_F(PerfomanceTest, MonoVoiceRendersWithUseTwoOrInMonoModes) {
    shared.active[2] = 1;
    perf.process(kFrames, 2);
    EXPECT_NEAR(out(1, kMonoVoice), 0.8f, 1e-6f); // 0.2 + velocity 0.6 of voice 16
    EXPECT_NEAR(out(1, 2), 0.4f, 1e-6f);
    shared.monoMode = true;
    perf.process(kFrames, 1);
    EXPECT_NEAR(out(1, kMonoVoice), 0.8f, 1e-6f);
    EXPECT_NEAR(out(1, 2), 0.2f, 1e-6f); // the poly voices are not played in mono modes
}

TEST_F(PerfomanceTest, MacroKnobGlidesThroughItsSmoother) {
    perf.setParameter(0, 0.9f); // a jump of half the range or more takes the fast path
    shared.active[0] = 1;
    perf.process(kFrames, 1);
    const float first = out(0, 0, 0);
    const float last = out(0, 0);
    EXPECT_GT(first, 0.3f);
    EXPECT_GT(last, first);
    EXPECT_LT(last, 0.9f);
    for (int b = 0; b < 100; ++b) perf.process(kFrames, 1);
    EXPECT_FLOAT_EQ(out(0, 0), 0.9f);
}

} // namespace
} // namespace torvo

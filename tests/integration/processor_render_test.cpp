// Processing as hosts drive it: every sample rate and block size, empty blocks, a process call
// without an engine, and the audio thread apart from the set-up thread. Whatever is played,
// the output must be written in full and hold only normal, finite numbers.

#include "integration/hostfixture.h"

#include <cmath>
#include <thread>

namespace torvo::test {
namespace {

using namespace Steinberg;

/// Counts samples that are NaN, infinite or subnormal.
size_t badSamples(const std::vector<float>& samples) {
    size_t bad = 0;
    for (float x : samples) {
        const int kind = std::fpclassify(x);
        if (kind == FP_NAN || kind == FP_INFINITE || kind == FP_SUBNORMAL) ++bad;
    }
    return bad;
}

void expectClean(const host::Block& b, const std::string& where) {
    EXPECT_EQ(b.result, kResultOk) << where;
    EXPECT_EQ(badSamples(b.left), 0u) << where;
    EXPECT_EQ(badSamples(b.right), 0u) << where;
}

/// A short phrase with automation, cut into blocks of the given sizes in turn.
void playPhrase(host::Plugin& plugin, const std::vector<int>& sizes, int totalFrames,
                const std::string& where) {
    int done = 0;
    int turn = 0;
    while (done < totalFrames) {
        const int frames = std::min(sizes[turn++ % sizes.size()], totalFrames - done);
        std::vector<host::Note> notes;
        std::vector<host::ParamPoint> changes;
        if (turn == 1) notes = {{0, 48, 0.9f}, {frames / 2, 55, 0.7f}, {frames - 1, 64, 0.5f}};
        if (turn == 3) changes = {{103, 0, 0.3}, {104, frames / 2, 0.8}, {721, 0, 1.0}};
        if (done + frames >= totalFrames / 2 && done < totalFrames / 2)
            notes = {{0, 48, 0.0f, false}, {0, 55, 0.0f, false}, {frames - 1, 64, 0.0f, false}};
        expectClean(plugin.process(frames, notes, changes),
                    where + " block " + std::to_string(turn) + " of " + std::to_string(frames));
        done += frames;
    }
}

class ProcessorRender : public HostedTorvo {};

TEST_F(ProcessorRender, EverySampleRateWithEveryBlockSize) {
    const std::vector<int> sizes = {1,   2,   3,    4,    5,    7,    8,    15,  16,
                                    17,  31,  64,   100,  127,  128,  255,  256, 441,
                                    512, 999, 1024, 2048, 4095, 4096, 8191, 8192};
    for (double rate : {44100.0, 48000.0, 88200.0, 96000.0}) {
        const std::string where = "at " + std::to_string(int(rate)) + " Hz";
        ASSERT_TRUE(plugin->setup(rate, 8192)) << where;
        ASSERT_TRUE(plugin->activate()) << where;
        playPhrase(*plugin, sizes, int(rate) * 1, where);
        plugin->deactivate();
    }
}

TEST_F(ProcessorRender, SmallestAndLargestMaximumBlocks) {
    for (int maxBlock : {1, 2, 3, 8192}) {
        const std::string where = "max block " + std::to_string(maxBlock);
        ASSERT_TRUE(plugin->setup(48000.0, maxBlock)) << where;
        ASSERT_TRUE(plugin->activate()) << where;
        playPhrase(*plugin, {maxBlock}, 12000, where);
        plugin->deactivate();
    }
}

TEST_F(ProcessorRender, ZeroSampleBlocksStillTakeChangesAndNotes) {
    start();
    const host::Block b = plugin->process(0, {{0, 60, 0.8f}}, {{9, 0, 0.25}});
    EXPECT_EQ(b.result, kResultOk);
    EXPECT_TRUE(b.left.empty());
    EXPECT_EQ(plugin->messages().count("noteon"), 1u);
    EXPECT_FLOAT_EQ(stateParam(plugin->getState(), 9), 0.25f);
    // Many empty blocks in a row, then a normal one.
    for (int i = 0; i < 100; ++i) EXPECT_EQ(plugin->process(0).result, kResultOk);
    expectClean(plugin->process(512, {{0, 60, 0.0f, false}}), "after empty blocks");
}

TEST_F(ProcessorRender, WithoutAnEngineTheOutputIsSilent) {
    // Set up but never activated: there is no engine, yet a block must come out clean.
    ASSERT_TRUE(plugin->setup(48000.0, 256));
    const host::Block b = plugin->process(256, {{0, 60, 0.8f}});
    EXPECT_EQ(b.result, kResultOk);
    EXPECT_EQ(b.silenceFlags & 3u, 3u);
    for (int i = 0; i < 256; ++i) {
        ASSERT_EQ(b.left[i], 0.0f) << i;
        ASSERT_EQ(b.right[i], 0.0f) << i;
    }
}

TEST_F(ProcessorRender, EventOffsetsOutsideTheBlockAreClamped) {
    start(48000.0, 256);
    expectClean(plugin->process(256, {{-50, 60, 0.8f}, {10000, 64, 0.8f}}), "wild offsets");
    expectClean(plugin->process(256, {{400, 60, 0.0f, false}, {-1, 64, 0.0f, false}}),
                "wild offsets off");
}

TEST_F(ProcessorRender, ExtremeParameterValuesStayFinite) {
    start(44100.0, 512);
    std::vector<host::ParamPoint> lows, highs;
    for (Vst::ParamID id = 0; id < Vst::ParamID(kTableSize); ++id) {
        lows.push_back({id, 0, 0.0});
        highs.push_back({id, 0, 1.0});
    }
    const std::vector<host::Note> chord = {{0, 36, 1.0f}, {0, 60, 1.0f}, {0, 96, 1.0f}};
    expectClean(plugin->process(512, chord, highs), "all parameters at 1");
    for (int i = 0; i < 40; ++i) expectClean(plugin->process(512), "held at 1");
    expectClean(plugin->process(512, chord, lows), "all parameters at 0");
    for (int i = 0; i < 40; ++i) expectClean(plugin->process(512), "held at 0");
}

TEST_F(ProcessorRender, AudioThreadIsNotTheSetupThread) {
    start(48000.0, 512);
    bool clean = true;
    std::thread audio([&] {
        for (int i = 0; i < 200; ++i) {
            std::vector<host::Note> notes;
            if (i % 50 == 0) notes = {{0, 60, 0.8f}};
            if (i % 50 == 25) notes = {{0, 60, 0.0f, false}};
            const host::Block b = plugin->process(512, notes, {{9, 0, (i % 10) / 10.0}});
            clean = clean && b.result == kResultOk && badSamples(b.left) == 0 &&
                    badSamples(b.right) == 0;
        }
    });
    audio.join();
    EXPECT_TRUE(clean);
    // The message thread reads state while the instance lives on.
    EXPECT_FLOAT_EQ(stateParam(plugin->getState(), 9), 0.9f);
    plugin->deactivate();
}

} // namespace
} // namespace torvo::test

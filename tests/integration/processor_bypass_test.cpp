// Bypass through the host's bypass parameter: the block that enters bypass fades out, the
// following blocks are zeros flagged silent, the block that leaves fades in. The checks hold
// for any sound the engine makes, since they rest on the fade's end points and on the zeros.

#include "integration/hostfixture.h"

#include <cmath>

namespace torvo::test {
namespace {

using namespace Steinberg;

constexpr int kBlock = 512;
// Output of the instrument never gets near this; the fade's last sample is the block's
// sample times 1/N, so it stays below this bound divided by N.
constexpr float kLoudest = 8.0f;

class ProcessorBypass : public HostedTorvo {
protected:
    void SetUp() override {
        HostedTorvo::SetUp();
        start(48000.0, kBlock);
        // A held chord, so that there is something to fade once the engine sounds.
        plugin->process(kBlock, {{0, 48, 1.0f}, {0, 60, 1.0f}, {0, 67, 1.0f}});
        for (int i = 0; i < 4; ++i) plugin->process(kBlock);
    }
    host::Block bypass(double value) {
        return plugin->process(kBlock, {}, {{kBypassId, 0, value}});
    }

    static bool allZero(const host::Block& b) {
        for (int i = 0; i < kBlock; ++i)
            if (b.left[i] != 0.0f || b.right[i] != 0.0f) return false;
        return true;
    }
};

TEST_F(ProcessorBypass, EnteringFadesOutThenSilence) {
    const host::Block fade = bypass(1.0);
    EXPECT_EQ(fade.result, kResultOk);
    EXPECT_EQ(fade.silenceFlags, 0u) << "the fade block is rendered, not flagged";
    EXPECT_LE(std::fabs(fade.left[kBlock - 1]), kLoudest / kBlock);
    EXPECT_LE(std::fabs(fade.right[kBlock - 1]), kLoudest / kBlock);

    for (int i = 0; i < 20; ++i) {
        const host::Block b = plugin->process(kBlock);
        EXPECT_TRUE(allZero(b)) << "bypassed block " << i;
        EXPECT_EQ(b.silenceFlags & 3u, 3u) << "bypassed block " << i;
    }
}

TEST_F(ProcessorBypass, LeavingFadesInFromZero) {
    bypass(1.0);
    for (int i = 0; i < 5; ++i) plugin->process(kBlock);
    const host::Block fade = bypass(0.0);
    EXPECT_EQ(fade.result, kResultOk);
    EXPECT_EQ(fade.silenceFlags, 0u);
    // The fade in starts at gain 0 exactly.
    EXPECT_EQ(fade.left[0], 0.0f);
    EXPECT_EQ(fade.right[0], 0.0f);
    // After the fade block the engine renders normally again.
    const host::Block after = plugin->process(kBlock);
    EXPECT_EQ(after.result, kResultOk);
    for (float x : after.left) ASSERT_TRUE(std::isfinite(x));
}

TEST_F(ProcessorBypass, RepeatingTheSameValueStartsNoNewFade) {
    bypass(1.0);
    plugin->process(kBlock);
    // Still bypassed: a repeated 1 must not fade back in, it stays zeros.
    const host::Block again = bypass(1.0);
    EXPECT_TRUE(allZero(again));
    EXPECT_EQ(again.silenceFlags & 3u, 3u);
    // Values above one half count as on.
    const host::Block stillOn = bypass(0.6);
    EXPECT_TRUE(allZero(stillOn));
    EXPECT_EQ(stillOn.silenceFlags & 3u, 3u);
}

TEST_F(ProcessorBypass, NotesPlayedWhileBypassedDoNotBreakTheWayBack) {
    bypass(1.0);
    const host::Block during = plugin->process(kBlock, {{0, 72, 0.9f}});
    EXPECT_TRUE(allZero(during));
    EXPECT_EQ(during.silenceFlags & 3u, 3u);
    const host::Block fade = bypass(0.0);
    EXPECT_EQ(fade.left[0], 0.0f);
    for (int i = 0; i < 10; ++i) {
        const host::Block b = plugin->process(kBlock);
        for (int s = 0; s < kBlock; ++s) ASSERT_TRUE(std::isfinite(b.left[s]));
    }
}

TEST_F(ProcessorBypass, RestoredBypassFadesOutOnTheNextBlock) {
    std::vector<uint8_t> state = plugin->getState();
    state[4 + kTableSize * 4 + 4 + 3] = 0x3F; // extras[0] = 1.0f: bytes 00 00 80 3F
    state[4 + kTableSize * 4 + 4 + 2] = 0x80;
    ASSERT_TRUE(plugin->setState(state));
    const host::Block fade = plugin->process(kBlock);
    EXPECT_EQ(fade.silenceFlags, 0u);
    EXPECT_LE(std::fabs(fade.left[kBlock - 1]), kLoudest / kBlock);
    const host::Block b = plugin->process(kBlock);
    EXPECT_TRUE(allZero(b));
    EXPECT_EQ(b.silenceFlags & 3u, 3u);
}

} // namespace
} // namespace torvo::test

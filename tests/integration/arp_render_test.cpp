// A held chord through the built plug-in with the arpeggiator on: one note sounds per step on
// the host's tempo, the output falls quiet between gates, and the "disp" message follows the
// step being played.

#include "integration/hostfixture.h"

#include <algorithm>
#include <cmath>
#include <set>

namespace torvo::test {
namespace {

constexpr int kBlock = 256;
constexpr double kRate = 48000.0;
constexpr Steinberg::Vst::ParamID kArpOn = 650;
/// The default speed "1/16" at 120 bpm: 48000 * 15 / 120 samples a step.
constexpr int kStep = 6000;
/// Frames of the level follower used to find onsets.
constexpr int kFrame = 64;
/// A gap of this many quiet frames (1024 samples) separates two notes.
constexpr int kQuietFrames = 16;

class ArpRender : public HostedTorvo {};

TEST_F(ArpRender, AHeldChordSoundsOneStepAtATime) {
    start(kRate, kBlock);
    plugin->setTempo(120.0);
    // The block that switches the arp on plays nothing yet.
    plugin->process(kBlock, {}, {{kArpOn, 0, 1.0}});
    plugin->messages().clear();

    std::vector<float> out;
    std::set<int64_t> steps;
    const int keyAt = 40;
    const int blocks = (4 * kStep + kStep / 2) / kBlock;
    for (int b = 0; b < blocks; ++b) {
        std::vector<host::Note> notes;
        if (b == 0) notes = {{keyAt, 60, 0.8f}, {keyAt, 64, 0.8f}, {keyAt, 67, 0.8f}};
        const host::Block block = plugin->process(kBlock, notes);
        ASSERT_EQ(block.result, Steinberg::kResultOk);
        out.insert(out.end(), block.left.begin(), block.left.end());
        host::RecordedMessage m;
        if (plugin->messages().latest("disp", m))
            if (const host::Attribute* a = m.attribute("arp")) steps.insert(a->intValue);
    }

    std::vector<double> level;
    for (size_t f = 0; f + kFrame <= out.size(); f += kFrame) {
        double sum = 0.0;
        for (int i = 0; i < kFrame; ++i) sum += std::fabs(out[f + i]);
        level.push_back(sum);
    }
    const double peak = *std::max_element(level.begin(), level.end());
    ASSERT_GT(peak, 0.1) << "the arpeggio is heard";
    // A note starts where the level rises after a quiet stretch: within a note the level of
    // short frames wavers with the waveform.
    std::vector<int> onsets;
    int quietFrames = kQuietFrames;
    for (size_t f = 0; f < level.size(); ++f) {
        const bool loud = level[f] > 0.1 * peak;
        if (loud && quietFrames >= kQuietFrames) onsets.push_back(static_cast<int>(f) * kFrame);
        quietFrames = loud ? 0 : quietFrames + 1;
    }
    ASSERT_EQ(onsets.size(), 5u) << "one onset per step, none from the held chord itself";
    for (size_t k = 0; k < onsets.size(); ++k)
        EXPECT_NEAR(onsets[k], keyAt + static_cast<int>(k) * kStep, 2 * kFrame) << k;
    // Between the gates (half a step, then the release) the output falls quiet.
    EXPECT_LT(level[(keyAt + kStep - 2 * kFrame) / kFrame], 0.1 * peak);
    // The display starts at step 0 and hears of each later step as it changes.
    EXPECT_EQ(steps, (std::set<int64_t>{1, 2, 3, 4}));
}

} // namespace
} // namespace torvo::test

// The order of the effect chain, the phaser/shaper swap and the reverb's two places, and the
// silence gate around the real chain.

#include "effects/fxchain.h"
#include "effects/modulefxequalizer.h"
#include "effects/modulefxshaper.h"
#include "engine/outputstage.h"

#include "effects/fxmeasure.h"
#include "shell/paramtable.h"
#include "support/alloccounter.h"
#include "support/standalonemodule.h"
#include "support/testengine.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace torvo {
namespace {

using test::Standalone;

constexpr float kRate = 44100.0f;
constexpr int kBlock = 256;

/// Records its name in a shared log; optionally adds a constant, an operation that does not
/// commute with a waveshaper.
class RecordingFx : public Module {
public:
    RecordingFx(std::string* logTo, char letter, float add = 0.0f)
        : log(logTo), tag(letter), offset(add) {}
    void processFx(int frames, float* const* stereo) override {
        log->push_back(tag);
        for (int c = 0; c < 2; ++c)
            for (int i = 0; i < frames; ++i) stereo[c][i] += offset;
    }
    std::string* log;
    char tag;
    float offset;
};

class RecordingEq : public ModuleFxEqualizer {
public:
    explicit RecordingEq(std::string* logTo) : log(logTo) {}
    void eqStage(int, float* const*) override { log->push_back('1'); }
    void toneStage(int, float* const*) override { log->push_back('2'); }
    void outputStage(int, float* const*) override { log->push_back('3'); }
    std::string* log;
};

TEST(FxChainOrder, SwapAndReverbPlaceFollowTheirFlags) {
    std::string log;
    RecordingFx shaper(&log, 'S'), phaser(&log, 'P'), chorus(&log, 'C'), reverb(&log, 'R'),
        compressor(&log, 'K'), delay(&log, 'D');
    RecordingEq eq(&log);
    FxChain chain;
    chain.shaper = &shaper;
    chain.phaser = &phaser;
    chain.chorus = &chorus;
    chain.equalizer = &eq;
    chain.reverb = &reverb;
    chain.compressor = &compressor;
    chain.delay = &delay;
    std::vector<float> l(kBlock), r(kBlock);
    float* st[2] = {l.data(), r.data()};

    const struct {
        bool phaserFirst, reverbEarly;
        const char* order;
    } cases[] = {
        {false, false, "SPC1K2DR3"},
        {true, false, "PSC1K2DR3"},
        // The two large spaces sit before the compressor.
        {false, true, "SPC1RK2D3"},
        {true, true, "PSC1RK2D3"},
    };
    for (const auto& c : cases) {
        log.clear();
        chain.run(kBlock, st, c.phaserFirst, c.reverbEarly);
        EXPECT_EQ(log, c.order);
    }
}

struct RealChain {
    explicit RealChain(float phaserOffset = 0.2f) : phaser(&log, 'P', phaserOffset) {
        for (Module* m : {static_cast<Module*>(&shaper.m), static_cast<Module*>(&eq.m)})
            m->setSampleRate(kRate);
        shaper.m.mode = ModuleFxShaper::kHard;
        shaper.m.hq = false;
        shaper.m.band = true;
        shaper.m.drive.reset(0.6f);
        shaper.m.bits.reset(1.0f);
        shaper.m.rate.reset(1.0f);
        shaper.m.hiCut.reset(1.0f);
        shaper.m.lowCut.reset(0.0f);
        shaper.m.wet.reset(1.0f);
        eq.m.volume.reset(0.5f);
        chain.shaper = &shaper.m;
        chain.phaser = &phaser;
        chain.equalizer = &eq.m;
        log.reserve(8192); // the double's log must not allocate inside a measured block
    }
    std::vector<float> run(std::vector<float> x, bool phaserFirst) {
        std::vector<float> r = x;
        float* st[2] = {x.data(), r.data()};
        chain.run(int(x.size()), st, phaserFirst, false);
        return x;
    }
    std::string log;
    Standalone<ModuleFxShaper> shaper{kBlock};
    Standalone<ModuleFxEqualizer> eq{kBlock};
    RecordingFx phaser;
    FxChain chain;
};

TEST(FxChainOrder, ShaperBeforeOrAfterThePhaserDiffersExactlyWhenSwapped) {
    const std::vector<float> in = test::sine(441.0, kRate, kBlock, 0.05f);
    RealChain a, b, c;
    const std::vector<float> normal = a.run(in, false);
    const std::vector<float> again = b.run(in, false);
    const std::vector<float> swapped = c.run(in, true);
    EXPECT_EQ(normal, again);
    double diff = 0.0;
    for (int i = 0; i < kBlock; ++i) diff += std::fabs(normal[i] - swapped[i]);
    EXPECT_GT(diff / kBlock, 0.01);

    // Against the modules run by hand in the expected order.
    RealChain manual;
    std::vector<float> l = in, r = in;
    float* st[2] = {l.data(), r.data()};
    manual.phaser.processFx(kBlock, st);
    manual.shaper.m.processFx(kBlock, st);
    manual.eq.m.eqStage(kBlock, st);
    manual.eq.m.toneStage(kBlock, st);
    manual.eq.m.outputStage(kBlock, st);
    EXPECT_EQ(l, swapped);
}

TEST(FxChainGate, TailRunsOneBarPastSilenceThenTheChainStops) {
    RealChain rc(0.0f);
    SilenceGate gate;
    constexpr int kTail = 88200 + 256; // one 4/4 bar at 120 bpm and 256 samples
    std::vector<float> l(kBlock), r(kBlock);
    float* st[2] = {l.data(), r.data()};
    int chainBlocks = 0, countdownBlocks = 0;
    bool skipped = false;
    for (int block = 0; block < 2000 && !skipped; ++block) {
        const bool sound = block < 20;
        for (int i = 0; i < kBlock; ++i)
            l[i] = r[i] = sound ? 0.8f * std::sin(0.05f * float(block * kBlock + i)) : 0.0f;
        const bool wasSilent = gate.chainSilent;
        if (gate.skipChain(l.data(), r.data(), kBlock, kRate, 120.0f)) {
            skipped = true;
            break;
        }
        test::ScopedAllocCount count;
        rc.chain.run(kBlock, st, false, false);
        ASSERT_EQ(count.count(), 0u);
        gate.afterChain(l.data(), r.data(), kBlock);
        ASSERT_TRUE(test::allClean(l.data(), kBlock));
        ASSERT_TRUE(test::allClean(r.data(), kBlock));
        if (!sound) ++chainBlocks;
        if (!sound && wasSilent) ++countdownBlocks;
    }
    ASSERT_TRUE(skipped);
    // The shaper's small offset rings out through the warm filter's 5 Hz high-pass for a
    // while (measured: about 70 blocks of 256); once the chain's output is silent the bar
    // counts down, and the chain stops at the block that brings it to zero.
    EXPECT_EQ(countdownBlocks, (kTail - 1) / kBlock);
    EXPECT_GT(chainBlocks, countdownBlocks);
    EXPECT_EQ(gate.tailCounter, 0);
    // Exact silence through the real chain stays exact silence.
    std::fill(l.begin(), l.end(), 0.0f);
    std::fill(r.begin(), r.end(), 0.0f);
    for (int i = 0; i < 200; ++i) rc.chain.run(kBlock, st, false, false);
    for (int i = 0; i < kBlock; ++i) ASSERT_LT(std::fabs(l[i]), 1e-6f);
}

TEST(FxChainEngine, TheOutputStageBoundsAndSilencesTheWholeInstrument) {
    // A chord at full velocity, driven hard through the shaper: whatever the voices sum to,
    // the limiter curve keeps the output within ±2 with boost; volume 0 silences it.
    auto engine = test::makeTestEngine(kRate, kBlock);
    engine->setParameter(findParamId("shp_drive"), 1.0f, 1);
    engine->setParameter(findParamId("shp_wet"), 1.0f, 1);
    for (int pitch : {48, 52, 55, 60, 64, 67, 72}) engine->noteOn(0, pitch, 127);
    test::StereoBlock block(kBlock);
    float peak = 0.0f;
    for (int b = 0; b < 40; ++b) {
        engine->render(block.pointers(), kBlock);
        for (int i = 0; i < kBlock; ++i) {
            ASSERT_TRUE(std::isfinite(block.left[i]));
            ASSERT_LE(std::fabs(block.left[i]), 2.0f);
            ASSERT_LE(std::fabs(block.right[i]), 2.0f);
            peak = std::max(peak, std::fabs(block.left[i]));
        }
    }
    EXPECT_GT(peak, 0.01f);
    engine->setParameter(findParamId("volume"), 0.0f, 1);
    for (int b = 0; b < 40; ++b) engine->render(block.pointers(), kBlock);
    for (int i = 0; i < kBlock; ++i) {
        ASSERT_EQ(block.left[i], 0.0f);
        ASSERT_EQ(block.right[i], 0.0f);
    }
}

} // namespace
} // namespace torvo

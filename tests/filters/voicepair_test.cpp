// Two voices rendered as a pair must come out exactly as when each is rendered alone, sample
// for sample and bit for bit: every model and mode in both slots, both routings, different
// inputs, cut-offs and note starts per voice, and a restart at a note start in one voice only.

#include "filters/modulefilter.h"
#include "shell/paramtable.h"
#include "support/standalonemodule.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

namespace torvo {
namespace {

constexpr int kBlock = 256;
constexpr int kBlocks = 6;

/// One filter section with its own streams for voices 0 and 1.
struct Section {
    test::Standalone<ModuleFilter> s;
    std::vector<float> in[2][4];
    std::vector<float> pitch[2];
    std::vector<TriggerRecord> gate[2];
    float* pitchPtrs[kVoiceCount] = {};
    TriggerRecord* gatePtrs[kVoiceCount] = {};
    float retrig[kVoiceCount] = {};

    Section(int type1, int mode1, int type2, int mode2, int routing) {
        s.m.setSampleRate(48000.0f);
        s.shared.sampleRate = 48000.0f;
        for (int v = 0; v < 2; ++v) {
            for (auto& b : in[v]) b.assign(kBlock + 4, 0.0f);
            pitch[v].assign(kBlock + 4, (48.0f + 19.0f * v) / 127.0f);
            gate[v].assign(kBlock + 4, TriggerRecord{});
        }
        for (int v = 0; v < kVoiceCount; ++v) {
            pitchPtrs[v] = pitch[v % 2].data();
            gatePtrs[v] = gate[v % 2].data();
            s.shared.env1ValueAtRetrig[v] = &retrig[v];
        }
        s.m.setNoteStreams(pitchPtrs, gatePtrs);
        set(0, routing == 0 ? 0.0f : 1.0f);
        set(2, type1 * kThousandth);
        set(3, mode1 * kThousandth);
        set(4, 0.62f);
        set(5, 0.7f);
        set(6, type2 * kThousandth);
        set(7, mode2 * kThousandth);
        set(8, 0.45f);
        set(9, 0.5f);
        set(10, 0.8f);
        set(11, 0.6f);
    }

    void set(int local, float v) { s.m.setParameter(local, v); }

    /// Block `block` of both voices' inputs: different tones, and a note start that restarts
    /// voice 1 in block 2 (its envelope stood at zero) and passes voice 0 by.
    void fill(int block) {
        for (int v = 0; v < 2; ++v) {
            for (int c = 0; c < 4; ++c)
                for (int i = 0; i < kBlock; ++i) {
                    const int n = block * kBlock + i;
                    in[v][c][i] = 0.6f * std::sin(0.013f * (v + 1) * (c + 1) * n) +
                                  0.3f * float((n * (7 + v + c)) % 19) / 19.0f - 0.15f;
                }
            std::fill(gate[v].begin(), gate[v].end(), TriggerRecord{});
            if (block == 2) gate[v][40 + 60 * v].trigger2 = 1;
            retrig[v] = v == 1 ? 0.0f : 0.5f;
        }
    }

    StereoPtr bus(int v, int pair) { return {in[v][2 * pair].data(), in[v][2 * pair + 1].data()}; }
};

uint32_t bitsOf(float x) {
    uint32_t b = 0;
    std::memcpy(&b, &x, sizeof b);
    return b;
}

void expectPairMatchesSingles(int type1, int mode1, int type2, int mode2, int routing) {
    SCOPED_TRACE(testing::Message() << "types " << type1 << "/" << mode1 << " " << type2 << "/"
                                    << mode2 << " routing " << routing);
    Section alone(type1, mode1, type2, mode2, routing);
    Section paired(type1, mode1, type2, mode2, routing);
    double energy = 0.0;
    for (int block = 0; block < kBlocks; ++block) {
        alone.fill(block);
        paired.fill(block);
        alone.s.m.updateSmoothers(kBlock);
        paired.s.m.updateSmoothers(kBlock);
        alone.s.m.renderVoice(0, kBlock, alone.bus(0, 0), alone.bus(0, 1));
        alone.s.m.renderVoice(1, kBlock, alone.bus(1, 0), alone.bus(1, 1));
        paired.s.m.renderVoicePair(0, paired.bus(0, 0), paired.bus(0, 1), 1, paired.bus(1, 0),
                                   paired.bus(1, 1), kBlock);
        for (int v = 0; v < 2; ++v) {
            const StereoPtr a = alone.s.m.getStereoOutputs(0)[v];
            const StereoPtr p = paired.s.m.getStereoOutputs(0)[v];
            for (int i = 0; i < kBlock; ++i) {
                ASSERT_EQ(bitsOf(a.left[i]), bitsOf(p.left[i])) << "voice " << v << " at " << i;
                ASSERT_EQ(bitsOf(a.right[i]), bitsOf(p.right[i])) << "voice " << v << " at " << i;
                energy += double(a.left[i]) * a.left[i];
            }
        }
    }
    EXPECT_GT(energy, 1e-3);
}

TEST(FilterVoicePair, EveryScorpioModeMatchesTheVoicesRenderedAlone) {
    for (int mode = 0; mode < 6; ++mode) {
        expectPairMatchesSingles(kFilterScorpio, mode, kFilterOff, 0, 0);
        expectPairMatchesSingles(kFilterPerfecto, 0, kFilterScorpio, mode, 0);
        expectPairMatchesSingles(kFilterScorpio, mode, kFilterScorpio, 5 - mode, 1);
    }
}

TEST(FilterVoicePair, OtherModelsMatchTheVoicesRenderedAlone) {
    for (int type = kFilterOff; type <= kFilterShaper; ++type)
        for (int mode : {0, 1, 3}) {
            expectPairMatchesSingles(type, mode, kFilterAcido, 2, 0);
            expectPairMatchesSingles(kFilterInfecto, 1, type, mode, 1);
        }
}

} // namespace
} // namespace torvo

// The mixer's block paths against the plain sum they stand for: every oscillator added one
// sample at a time onto cleared buses with level, pan and split read per sample. Held gains,
// gains read per sample, modulated ones, buses that nothing feeds, oscillators without outputs
// and buffers out of the 16-byte grid must all give the same bits.

#include "engine/matrixtargets.h"
#include "engine/modulematrix.h"
#include "shell/paramtable.h"
#include "sources/modulemixer.h"

#include "support/standalonemodule.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

namespace torvo {
namespace {

constexpr int kMaxFrames = 64;

/// Deterministic values in -1..1.
struct Lcg {
    unsigned state = 12345u;
    float next() {
        state = state * 1664525u + 1013904223u;
        return float(state >> 8) / float(1u << 23) - 1.0f;
    }
    int pick(int n) { return int((next() + 1.0f) * 0.5f * float(n)) % n; }
};

struct PathRig {
    explicit PathRig(int offset) {
        for (int o = 0; o < 4; ++o) {
            for (int c = 0; c < 2; ++c) {
                // One float past the grid when offset is 1: the sample-by-sample path.
                auto& b = in[2 * o + c];
                b.assign(kMaxFrames + 8, 0.0f);
                for (int i = 0; i < kMaxFrames + 4; ++i)
                    b[i + 1] = std::sin(0.37f * float(i + 1) * float(o + 1) + float(c));
            }
            osc[o] = {in[2 * o].data() + offset, in[2 * o + 1].data() + offset};
        }
        rig.shared.active[0] = 1;
    }

    /// The plain sum of one voice, from the buffers the mixer itself reads.
    void expected(int frames, std::array<std::vector<float>, 4>& bus) {
        const int padded = (frames + 3) & ~3;
        for (auto& b : bus) b.assign(padded, 0.0f);
        ModuleMixer& m = rig.m;
        auto buffer = [&](int local, const float* base) {
            return m.matrix ? m.matrix->modulatedBuffer(m.paramId(local), base, frames, 0) : base;
        };
        for (int o = 0; o < 4; ++o) {
            if (!m.sounding[o] || m.muted(o)) continue;
            if (!osc[o].left || !osc[o].right) break;
            const float* a = buffer(4 + o, m.levelSmoother[o].data());
            const float* p = buffer(o, m.pan[o].data());
            const float* to = buffer(8 + o, m.mixTo[o].data());
            for (int j = 0; j < padded; ++j) {
                const float panL = std::min(2.0f - 2.0f * p[j], 1.0f);
                const float panR = std::min(2.0f * p[j], 1.0f);
                const float toOne = std::min(2.0f - 2.0f * to[j], 1.0f);
                const float toTwo = std::min(2.0f * to[j], 1.0f);
                const float left = a[j] * osc[o].left[j] * panL;
                const float right = a[j] * osc[o].right[j] * panR;
                bus[0][j] += toOne * left;
                bus[1][j] += toOne * right;
                bus[2][j] += toTwo * left;
                bus[3][j] += toTwo * right;
            }
        }
    }

    /// Runs one block and compares all four buses bit for bit over the padded block.
    void runAndCompare(int frames, const std::string& what) {
        rig.m.wireVoice(0, osc.data());
        rig.m.process(frames, 1);
        std::array<std::vector<float>, 4> want;
        expected(frames, want);
        const StereoPtr one = rig.m.getStereoOutputs(0)[0];
        const StereoPtr two = rig.m.getStereoOutputs(1)[0];
        const float* got[4] = {one.left, one.right, two.left, two.right};
        for (int b = 0; b < 4; ++b)
            ASSERT_EQ(std::memcmp(got[b], want[b].data(), want[b].size() * sizeof(float)), 0)
                << what << ", bus " << b / 2 + 1 << (b % 2 ? " right" : " left");
    }

    test::Standalone<ModuleMixer> rig{kMaxFrames};
    std::array<std::vector<float>, 8> in;
    std::array<StereoPtr, 4> osc;
};

/// A random patch of the mixer: levels (with the dead zone and true zero), pans and splits
/// (with the centre and both ends), mutes, settled or gliding smoothers.
void randomPatch(PathRig& r, Lcg& g) {
    const float levels[] = {0.0f, 0.02f, 0.03f, 0.53f, 0.8f, 1.0f};
    const float places[] = {0.0f, 0.2f, 0.5f, 0.75f, 1.0f};
    ModuleMixer& m = r.rig.m;
    for (int o = 0; o < 4; ++o) {
        m.setParameter(o, places[g.pick(5)]);
        m.setParameter(4 + o, levels[g.pick(6)]);
        m.setParameter(8 + o, places[g.pick(5)]);
        m.setParameter(12 + o, g.pick(5) == 0 ? 1.0f : 0.0f);
        if (g.pick(3) != 0) {
            // Settled: the smoothers hold the new values for the whole block.
            m.pan[o].reset(m.pan[o].targetValue());
            m.levelSmoother[o].reset(m.levelSmoother[o].targetValue());
            m.mixTo[o].reset(m.mixTo[o].targetValue());
        }
    }
}

void sweep(int offset) {
    PathRig r(offset);
    Lcg g;
    const int frameCounts[] = {64, 37, 64, 1, 16, 63};
    for (int patch = 0; patch < 150; ++patch) {
        randomPatch(r, g);
        // Now and then an oscillator without outputs ends the sum.
        const int missing = g.pick(8);
        const StereoPtr kept = missing < 4 ? r.osc[missing] : StereoPtr{};
        if (missing < 4) r.osc[missing] = {};
        for (int block = 0; block < 3; ++block) {
            const int frames = frameCounts[(patch + block) % 6];
            r.runAndCompare(frames, "patch " + std::to_string(patch) + " block " +
                                        std::to_string(block) + " frames " +
                                        std::to_string(frames));
            if (testing::Test::HasFatalFailure()) return;
        }
        if (missing < 4) r.osc[missing] = kept;
    }
}

TEST(MixerPaths, BlockPathsMatchThePlainSum) {
    sweep(0);
}

TEST(MixerPaths, BuffersOffTheGridMatchThePlainSum) {
    sweep(1);
}

TEST(MixerPaths, ModulatedGainsMatchThePlainSum) {
    PathRig r(0);
    ModuleMixer& m = r.rig.m;
    const char* rows[4][3] = {{"osc1_pan", "mix_osc1", "osc1_mixto"},
                              {"osc2_pan", "mix_osc2", "osc2_mixto"},
                              {"osc3_pan", "mix_osc3", "osc3_mixto"},
                              {"osc4_pan", "mix_osc4", "osc4_mixto"}};
    for (int o = 0; o < 4; ++o)
        for (int k = 0; k < 3; ++k) m.bindParameter(4 * k + o, findParamId(rows[o][k]));
    ModuleMatrix matrix;
    m.matrix = &matrix;
    // One slot from a ramp onto three of the twelve gains, one per kind.
    std::array<std::vector<float>, kVoiceCount> data;
    std::array<float*, kVoiceCount> table{};
    for (int v = 0; v < kVoiceCount; ++v) {
        data[v].assign(kMaxFrames + 8, 0.0f);
        for (int i = 0; i < kMaxFrames; ++i) data[v][i] = -0.6f + 0.02f * float(i);
        table[v] = data[v].data();
    }
    const char* moved[3] = {"osc2_pan", "mix_osc3", "osc4_mixto"};
    matrix.setUserSlotItem(0, 0, float(kSrcModWheel) * kThousandth);
    for (int k = 0; k < 3; ++k) {
        matrix.setUserSlotItem(0, 3 + 2 * k,
                               float(targetOfParam(findParamId(moved[k]))) * kThousandth);
        matrix.setUserSlotItem(0, 2 + 2 * k, 0.8f);
    }
    matrix.refresh();
    matrix.setSource(kSrcModWheel, table.data());
    ASSERT_TRUE(matrix.moves(findParamId("osc2_pan")));
    Lcg g;
    for (int patch = 0; patch < 60; ++patch) {
        randomPatch(r, g);
        for (int frames : {64, 29}) {
            r.runAndCompare(frames, "patch " + std::to_string(patch));
            if (HasFatalFailure()) return;
        }
    }
}

TEST(MixerPaths, ABusLeftUnfedIsSilentAfterCarryingSound) {
    PathRig r(0);
    ModuleMixer& m = r.rig.m;
    for (int o = 0; o < 4; ++o) {
        m.setParameter(4 + o, o == 0 ? 0.8f : 0.0f);
        m.levelSmoother[o].reset(m.levelSmoother[o].targetValue());
    }
    // Split at the centre: both buses sound; then all to bus one, then all to bus two.
    for (float to : {0.5f, 0.0f, 0.0f, 1.0f, 1.0f, 0.5f}) {
        m.setParameter(8, to);
        m.mixTo[0].reset(to);
        r.runAndCompare(kMaxFrames, "split " + std::to_string(to));
        if (HasFatalFailure()) return;
        EXPECT_EQ(m.busSilent(0, 0, kMaxFrames), to == 1.0f) << to;
        EXPECT_EQ(m.busSilent(0, 1, kMaxFrames), to == 0.0f) << to;
    }
    // A longer block after shorter ones: the silent bus must be silent over all of it.
    m.setParameter(8, 0.5f);
    m.mixTo[0].reset(0.5f);
    r.runAndCompare(16, "short block");
    m.setParameter(8, 0.0f);
    m.mixTo[0].reset(0.0f);
    r.runAndCompare(8, "shorter block");
    r.runAndCompare(kMaxFrames, "long block");
}

} // namespace
} // namespace torvo

// Many voices rendered in one call run side by side through the models' sample loops, four or
// eight at a time on wide vectors, two or four on narrow ones. Each must come out exactly as
// when it is rendered alone, bit for bit: every group size, every mode of the models that
// group, every vector width, controls that glide in some voices while they hold in others,
// restarts at note starts, a change of mode between blocks and a block of odd length.

#include "filters/filterlanes.h"
#include "filters/modulefilter.h"
#include "shell/paramtable.h"
#include "support/alloccounter.h"
#include "support/standalonemodule.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

namespace torvo {
namespace {

constexpr int kBlock = 256;
constexpr int kBlocks = 7;
constexpr int kVoices = 16;

/// One filter section with its own input and note streams for every polyphonic voice.
struct Section {
    test::Standalone<ModuleFilter> s;
    std::vector<float> in[kVoices][4];
    std::vector<float> pitch[kVoiceCount];
    std::vector<TriggerRecord> gate[kVoiceCount];
    float* pitchPtrs[kVoiceCount] = {};
    TriggerRecord* gatePtrs[kVoiceCount] = {};
    float retrig[kVoiceCount] = {};

    Section(int type1, int mode1, int type2, int mode2, int routing) {
        s.m.setSampleRate(48000.0f);
        s.shared.sampleRate = 48000.0f;
        for (int v = 0; v < kVoiceCount; ++v) {
            if (v < kVoices)
                for (auto& b : in[v]) b.assign(kBlock + 4, 0.0f);
            pitch[v].assign(kBlock + 4, (40.0f + 3.0f * v) / 127.0f);
            gate[v].assign(kBlock + 4, TriggerRecord{});
            pitchPtrs[v] = pitch[v].data();
            gatePtrs[v] = gate[v].data();
            s.shared.env1ValueAtRetrig[v] = &retrig[v];
        }
        s.m.setNoteStreams(pitchPtrs, gatePtrs);
        set(0, routing == 0 ? 0.0f : 1.0f);
        // Slot two follows slot one's key-tracked cut-off, so every voice has its own.
        set(1, 1.0f);
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

    /// Block `block` of every voice's input. Blocks 0 and 1 glide all controls; from block 3
    /// they hold, except that every third voice glides its pitch (and with it its key-tracked
    /// cut-off) in block 4. Block 2 starts a note in every voice; the odd ones were silent
    /// and restart their models there.
    void fill(int block) {
        if (block == 3)
            for (ParamSmoother* p : {&s.m.cut1, &s.m.res1, &s.m.cut2, &s.m.res2, &s.m.balance})
                p->reset(p->targetValue());
        for (int v = 0; v < kVoices; ++v) {
            for (int c = 0; c < 4; ++c)
                for (int i = 0; i < kBlock; ++i) {
                    const int n = block * kBlock + i;
                    in[v][c][i] = 0.6f * std::sin(0.011f * (v % 5 + 1) * (c + 1) * n + v) +
                                  0.3f * float((n * (7 + v + c)) % 19) / 19.0f - 0.15f;
                }
            std::fill(gate[v].begin(), gate[v].end(), TriggerRecord{});
            if (block == 2) gate[v][10 + 13 * v].trigger2 = 1;
            retrig[v] = v % 2 ? 0.0f : 0.5f;
            const float base = (40.0f + 3.0f * v) / 127.0f;
            for (int i = 0; i < kBlock; ++i)
                pitch[v][i] = block == 4 && v % 3 == 1 ? base + 0.0004f * i : base;
        }
    }

    StereoPtr bus(int v, int pair) { return {in[v][2 * pair].data(), in[v][2 * pair + 1].data()}; }
};

uint32_t bitsOf(float x) {
    uint32_t b = 0;
    std::memcpy(&b, &x, sizeof b);
    return b;
}

/// Renders `count` voices alone and in one call and compares them sample by sample. With
/// `modeChange`, slot two's mode moves on after block 4; `frames` may be shorter than a block.
void expectGroupMatchesSingles(int count, int type1, int mode1, int type2, int mode2, int routing,
                               bool modeChange = false, int frames = kBlock) {
    SCOPED_TRACE(testing::Message()
                 << count << " voices, types " << type1 << "/" << mode1 << " " << type2 << "/"
                 << mode2 << " routing " << routing << ", lane level " << filterLaneLevel());
    Section alone(type1, mode1, type2, mode2, routing);
    Section grouped(type1, mode1, type2, mode2, routing);
    StereoPtr bus1[kVoiceCount] = {}, bus2[kVoiceCount] = {};
    // From the top down, so the list is not in voice order.
    std::vector<int> list;
    for (int v = count - 1; v >= 0; --v) list.push_back(v);
    double energy = 0.0;
    for (int block = 0; block < kBlocks; ++block) {
        if (modeChange && block == 5) {
            alone.set(7, (mode2 + 1) * kThousandth);
            grouped.set(7, (mode2 + 1) * kThousandth);
        }
        alone.fill(block);
        grouped.fill(block);
        alone.s.m.updateSmoothers(frames);
        grouped.s.m.updateSmoothers(frames);
        for (int v = 0; v < count; ++v) {
            alone.s.m.renderVoice(v, frames, alone.bus(v, 0), alone.bus(v, 1));
            bus1[v] = grouped.bus(v, 0);
            bus2[v] = grouped.bus(v, 1);
        }
        grouped.s.m.renderVoices(list.data(), count, bus1, bus2, frames);
        for (int v = 0; v < count; ++v) {
            const StereoPtr a = alone.s.m.getStereoOutputs(0)[v];
            const StereoPtr g = grouped.s.m.getStereoOutputs(0)[v];
            for (int i = 0; i < frames; ++i) {
                ASSERT_EQ(bitsOf(a.left[i]), bitsOf(g.left[i]))
                    << "voice " << v << " block " << block << " at " << i;
                ASSERT_EQ(bitsOf(a.right[i]), bitsOf(g.right[i]))
                    << "voice " << v << " block " << block << " at " << i;
                energy += double(a.left[i]) * a.left[i];
            }
        }
    }
    EXPECT_GT(energy, 1e-3);
}

/// Runs `check` on the narrow vectors and on every wider kind the processor has.
template <typename Check> void onEveryWidth(Check&& check) {
    int& level = filterLaneLevel();
    const int native = level;
    for (int l = kLanesNarrow; l <= native; ++l) {
        level = l;
        check();
    }
    level = native;
}

TEST(FilterVoiceGroup, ScorpioModesMatchTheVoicesRenderedAlone) {
    onEveryWidth([] {
        for (int mode = 0; mode < 6; ++mode) {
            expectGroupMatchesSingles(16, kFilterPerfecto, 0, kFilterScorpio, mode, 0);
            expectGroupMatchesSingles(7, kFilterScorpio, mode, kFilterScorpio, 5 - mode, 1);
        }
    });
}

TEST(FilterVoiceGroup, PerfectoModesMatchTheVoicesRenderedAlone) {
    onEveryWidth([] {
        for (int mode = 0; mode < 4; ++mode) {
            expectGroupMatchesSingles(16, kFilterPerfecto, mode, kFilterScorpio, 0, 0);
            expectGroupMatchesSingles(9, kFilterAcido, mode, kFilterPerfecto, 3 - mode, 1);
        }
    });
}

TEST(FilterVoiceGroup, EveryGroupSizeMatches) {
    // Sizes that leave partly filled vectors and a last group of one.
    onEveryWidth([] {
        for (int count = 1; count <= kVoices; ++count)
            expectGroupMatchesSingles(count, kFilterPerfecto, 1, kFilterScorpio, 1, 0);
    });
}

TEST(FilterVoiceGroup, ModeChangeOddLengthAndOtherModelsMatch) {
    onEveryWidth([] {
        expectGroupMatchesSingles(12, kFilterPerfecto, 2, kFilterScorpio, 3, 0, true);
        expectGroupMatchesSingles(5, kFilterInfecto, 1, kFilterCombo, 2, 1);
        expectGroupMatchesSingles(6, kFilterShaper, 0, kFilterOff, 0, 0);
        // A block shorter than the buffers, of odd length.
        expectGroupMatchesSingles(11, kFilterPerfecto, 3, kFilterScorpio, 5, 0, false, 203);
    });
}

TEST(FilterVoiceGroup, GlidingSharedControlsAreFollowedSampleBySample) {
    // The section checks once per block whether the shared cut-off holds; a voice reading it
    // must come out as one reading its own copy, which the models check themselves. Key
    // tracking at the key centre makes that copy without changing a value.
    Section shared(kFilterPerfecto, 0, kFilterScorpio, 0, 0);
    Section own(kFilterPerfecto, 0, kFilterScorpio, 0, 0);
    shared.s.m.keyTrack = 0.0f;
    StereoPtr bus1[kVoiceCount] = {}, bus2[kVoiceCount] = {};
    const int list[] = {0, 1, 2, 3, 4};
    for (int block = 0; block < 3; ++block) {
        shared.fill(block);
        own.fill(block);
        for (int v = 0; v < 5; ++v)
            std::fill(own.pitch[v].begin(), own.pitch[v].end(), ModuleFilter::kKeyCentre);
        shared.s.m.updateSmoothers(kBlock);
        own.s.m.updateSmoothers(kBlock);
        if (block == 0) {
            ASSERT_FALSE(isConstant(shared.s.m.cut1.data(), kBlock));
        }
        for (Section* s : {&shared, &own}) {
            for (int v = 0; v < 5; ++v) {
                bus1[v] = s->bus(v, 0);
                bus2[v] = s->bus(v, 1);
            }
            s->s.m.renderVoices(list, 5, bus1, bus2, kBlock);
        }
        for (int v = 0; v < 5; ++v) {
            const StereoPtr a = shared.s.m.getStereoOutputs(0)[v];
            const StereoPtr b = own.s.m.getStereoOutputs(0)[v];
            for (int i = 0; i < kBlock; ++i)
                ASSERT_EQ(bitsOf(a.left[i]), bitsOf(b.left[i]))
                    << "voice " << v << " block " << block << " at " << i;
        }
    }
}

TEST(FilterVoiceGroup, RenderingAGroupDoesNotAllocate) {
    Section s(kFilterPerfecto, 1, kFilterScorpio, 5, 0);
    StereoPtr bus1[kVoiceCount] = {}, bus2[kVoiceCount] = {};
    int list[kVoices];
    for (int v = 0; v < kVoices; ++v) {
        list[v] = v;
        bus1[v] = s.bus(v, 0);
        bus2[v] = s.bus(v, 1);
    }
    std::size_t allocations = 0;
    for (int block = 0; block < 4; ++block) {
        s.fill(block);
        const test::ScopedAllocCount count;
        s.s.m.updateSmoothers(kBlock);
        s.s.m.renderVoices(list, kVoices, bus1, bus2, kBlock);
        allocations += count.count();
    }
    EXPECT_EQ(allocations, 0u);
}

TEST(FilterVoiceGroup, InvalidAndRepeatedVoicesAreSkipped) {
    Section alone(kFilterPerfecto, 0, kFilterScorpio, 2, 0);
    Section grouped(kFilterPerfecto, 0, kFilterScorpio, 2, 0);
    StereoPtr bus1[kVoiceCount] = {}, bus2[kVoiceCount] = {};
    const int list[] = {3, -1, 0, 3, kVoiceCount, 1};
    alone.fill(0);
    grouped.fill(0);
    alone.s.m.updateSmoothers(kBlock);
    grouped.s.m.updateSmoothers(kBlock);
    for (int v : {0, 1, 3}) {
        alone.s.m.renderVoice(v, kBlock, alone.bus(v, 0), alone.bus(v, 1));
        bus1[v] = grouped.bus(v, 0);
        bus2[v] = grouped.bus(v, 1);
    }
    grouped.s.m.renderVoices(list, 6, bus1, bus2, kBlock);
    for (int v : {0, 1, 3}) {
        const StereoPtr a = alone.s.m.getStereoOutputs(0)[v];
        const StereoPtr g = grouped.s.m.getStereoOutputs(0)[v];
        for (int i = 0; i < kBlock; ++i) ASSERT_EQ(bitsOf(a.left[i]), bitsOf(g.left[i]));
    }
}

} // namespace
} // namespace torvo

// Every model over a grid of cut-off, resonance and drive at 44.1 to 192 kHz stays finite and
// bounded, self-oscillation included; after a note, a few seconds of silence leave every
// state cell exactly 0 or a normal number, never a subnormal.

#include "filterharness.h"

#include <gtest/gtest.h>

namespace torvo::test {
namespace {

struct ModelMode {
    int type;
    int mode;
};

std::vector<ModelMode> allModes() {
    std::vector<ModelMode> list;
    for (int type = 1; type <= 6; ++type) {
        const int modes = type == ModuleFilter::kScorpio  ? 6
                          : type == ModuleFilter::kShaper ? 2
                                                          : 4;
        for (int m = 0; m < modes; ++m) list.push_back({type, m});
    }
    return list;
}

void clearVoice(FilterHarness& h) {
    for (FilterSlot& s : h.voice().slot) {
        s.clearStates();
        s.combo.clearLines();
    }
}

TEST(FilterStability, GridOfSettingsAndRatesStaysBounded) {
    const std::vector<float> loud = noise(1536, 1.0f);
    for (float rate : {44100.0f, 48000.0f, 96000.0f, 192000.0f}) {
        FilterHarness h(rate);
        for (const ModelMode& mm : allModes()) {
            // The comb is linear with a loop gain up to 0.99: its level may rise a hundredfold.
            const float bound = mm.type == ModuleFilter::kCombo ? 1.0e4f : 20.0f;
            for (float c : {0.0f, 0.25f, 0.5f, 0.75f, 1.0f}) {
                for (float r : {0.0f, 0.5f, 1.0f}) {
                    for (float drive : {0.1f, 1.0f, 4.0f}) {
                        clearVoice(h);
                        h.slot1(mm.type, mm.mode, c, r);
                        std::vector<float> x(loud), y;
                        for (float& v : x) v *= drive;
                        // A burst, then silence: self-oscillation must stay bounded too.
                        x.resize(3072, 0.0f);
                        std::vector<float> yr;
                        h.run(x, y, nullptr, &yr);
                        float peak = 0.0f;
                        bool finite = true;
                        for (std::size_t i = 0; i < y.size(); ++i) {
                            finite &= std::isfinite(y[i]) && std::isfinite(yr[i]);
                            peak = std::max({peak, std::fabs(y[i]), std::fabs(yr[i])});
                        }
                        ASSERT_TRUE(finite) << mm.type << "/" << mm.mode << " c " << c << " r " << r
                                            << " drive " << drive << " at " << rate;
                        ASSERT_LT(peak, bound) << mm.type << "/" << mm.mode << " c " << c << " r "
                                               << r << " drive " << drive << " at " << rate;
                    }
                }
            }
        }
    }
}

bool zeroOrNormal(float v) {
    const int k = std::fpclassify(v);
    return k == FP_ZERO || k == FP_NORMAL;
}

/// Every state cell of a slot, the comb's lines included.
std::vector<float> stateCells(const FilterSlot& s) {
    std::vector<float> cells;
    for (const LadderState& l : s.perfecto.stage)
        cells.insert(cells.end(), {l.y1, l.y2, l.y3, l.y4, l.x1, l.x2, l.x3, l.x4});
    for (const LadderState& l : s.acido.stage)
        cells.insert(cells.end(), {l.y1, l.y2, l.y3, l.y4, l.x1, l.x2, l.x3, l.x4});
    for (const SvfState& v : s.infecto.channel)
        cells.insert(cells.end(), {v.low, v.band, v.high, v.notch});
    for (const ScorpioChannel& c : s.scorpio.channel)
        cells.insert(cells.end(), {c.s1, c.s2, c.s3, c.s4, c.t1, c.t2, c.t3, c.t4});
    cells.insert(cells.end(), std::begin(s.shaper.historyL), std::end(s.shaper.historyL));
    cells.insert(cells.end(), std::begin(s.shaper.historyR), std::end(s.shaper.historyR));
    cells.insert(cells.end(),
                 {s.shaper.tone.uL, s.shaper.tone.vL, s.shaper.tone.uR, s.shaper.tone.vR});
    for (const float* line : s.combo.line)
        if (line) cells.insert(cells.end(), line, line + ComboState::kLineLength);
    return cells;
}

TEST(FilterStability, SilenceAfterANoteLeavesNoSubnormals) {
    // The caller's mode is left as it is: no flush-to-zero outside the filter.
    for (const ModelMode& mm : allModes()) {
        FilterHarness h;
        h.slot1(mm.type, mm.mode, 0.5f, 0.5f);
        std::vector<float> x = noise(22050, 0.5f), y;
        x.resize(22050 + 3 * 44100, 0.0f);
        h.run(x, y);
        for (float v : stateCells(h.voice().slot[0]))
            ASSERT_TRUE(zeroOrNormal(v)) << mm.type << "/" << mm.mode << ": " << v;
        for (std::size_t i = y.size() - 256; i < y.size(); ++i)
            ASSERT_TRUE(zeroOrNormal(y[i])) << mm.type << "/" << mm.mode;
    }
}

} // namespace
} // namespace torvo::test

namespace torvo::test {
namespace {

TEST(FilterCoefficients, PerSampleSetsMatchTheBlockSet) {
    // A moving control takes the per-sample path; one that stands still reuses one set. The
    // two must agree: nudge the resonance on the last sample of each block only.
    const std::vector<float> x = noise(2048, 0.3f);
    for (const ModelMode& mm : allModes()) {
        std::vector<float> still, moving;
        FilterHarness a, b;
        for (FilterHarness* h : {&a, &b}) h->slot1(mm.type, mm.mode, 0.55f, 0.4f);
        a.run(x, still);
        std::vector<float> first(x.begin(), x.begin() + 256), y;
        b.run(first, y); // settles the smoothers' buffers
        b.s.m.res1.data()[255] = 0.4001f;
        b.run(std::vector<float>(x.begin() + 256, x.end()), moving);
        double worst = 0.0;
        for (int i = 0; i < 255; ++i)
            worst = std::max(worst, double(std::fabs(moving[i] - still[256 + i])));
        EXPECT_LT(worst, 1e-4) << mm.type << "/" << mm.mode;
    }
}

} // namespace
} // namespace torvo::test

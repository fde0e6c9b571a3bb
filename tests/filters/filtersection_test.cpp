// The filter section: parameter decoding, routing, balance, link, key tracking, the reset of
// a silent voice's models at a note start, the per-voice delay memory and the audio path's
// freedom from allocation.

#include "filterharness.h"
#include "support/alloccounter.h"

#include <gtest/gtest.h>

namespace torvo::test {
namespace {

constexpr float kKt1 = 0.96875f;     // knob value for key tracking +1
constexpr float kKtHalf = 0.734375f; // +0.5

TEST(FilterSection, DecodesRoutingTypesAndKeyTracking) {
    FilterHarness h;
    ModuleFilter& f = h.s.m;
    f.setParameter(0, 0.0f);
    EXPECT_EQ(f.routing, ModuleFilter::kSerial);
    f.setParameter(0, 1.0f);
    EXPECT_EQ(f.routing, ModuleFilter::kParallel);
    f.setParameter(6, 4 * kThousandth);
    f.setParameter(7, 5 * kThousandth);
    EXPECT_EQ(f.type2, ModuleFilter::kScorpio);
    EXPECT_EQ(f.mode2, 5);
    f.setParameter(10, 0.5f);
    EXPECT_NEAR(f.keyTrack, 0.0f, 1e-6f);
    f.setParameter(10, 1.0f);
    EXPECT_NEAR(f.keyTrack, 1.066667f, 1e-6f);
    f.setParameter(10, 0.0f);
    EXPECT_NEAR(f.keyTrack, -1.066667f, 1e-6f);
    f.setParameter(4, 0.25f);
    EXPECT_EQ(f.cut1.targetValue(), 0.25f);
    EXPECT_STREQ(filterModeList(4), "RedLP2 RedLP4 BlackLP2 BlackLP4 BlackHP4 BlackBP4 ");
    EXPECT_STREQ(filterModeList(0), "- - - - - - ");
    EXPECT_STREQ(filterModeList(6), "Saturate Foldback - - - - ");
}

TEST(FilterSection, DelayMemoryIsTakenOnceAndClearedOnRequest) {
    FilterHarness h;
    VoiceFilter& v = *static_cast<VoiceFilter*>(h.s.m.getVoice(kMonoVoice));
    float* line = v.delayLines[3];
    ASSERT_NE(line, nullptr);
    EXPECT_EQ(v.slot[1].combo.line[1], line);
    const int last = int(VoiceFilter::kDelayLineBytes / sizeof(float)) - 1;
    EXPECT_EQ(last, 38399);
    line[0] = line[last] = 1.0f;
    h.s.m.setMaxBlockSize(512);
    EXPECT_EQ(v.delayLines[3], line);
    h.s.m.clearDelayLines();
    EXPECT_EQ(line[0], 0.0f);
    EXPECT_EQ(line[last], 0.0f);
    const StereoPtr* out = h.s.m.getStereoOutputs(0);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(out[2].left, static_cast<VoiceFilter*>(h.s.m.getVoice(2))->out1L);
}

TEST(FilterSection, SerialAndParallelRouting) {
    const std::vector<float> x1 = FilterHarness().sine(6000.0, 8192, 0.3f);
    const std::vector<float> x2 = FilterHarness().sine(300.0, 8192, 0.3f);
    std::vector<float> y;
    // Parallel, slot two off, balance 1: the output is bus two alone.
    FilterHarness par;
    par.slot1(ModuleFilter::kPerfecto, 0, 0.3f, 0.0f);
    par.set(11, 1.0f);
    par.run(x1, y, &x2);
    for (int i = 0; i < 8192; ++i) ASSERT_EQ(y[i], x2[i]);
    // Serial: bus two plus slot one's (filtered) output.
    FilterHarness ser;
    ser.set(0, 0.0f);
    ser.slot1(ModuleFilter::kPerfecto, 0, 0.55f, 0.0f);
    ser.set(11, 1.0f);
    ser.run(x1, y, &x2);
    double residue = 0.0;
    for (int i = 4096; i < 8192; ++i) residue = std::max(residue, double(std::fabs(y[i] - x2[i])));
    // 6 kHz through a cut-off near 1.1 kHz: some 40 dB down, but there.
    EXPECT_GT(residue, 1e-4);
    EXPECT_LT(residue, 0.3 * 0.03);
}

TEST(FilterSection, SerialWithSlotOneOffFiltersTheSumOfBothBuses) {
    const std::vector<float> x1 = noise(4096, 0.3f);
    const std::vector<float> x2 = FilterHarness().sine(2000.0, 4096, 0.3f);
    std::vector<float> sum(4096), y, ref;
    for (int i = 0; i < 4096; ++i) sum[i] = x1[i] + x2[i];
    FilterHarness ser;
    ser.set(0, 0.0f);
    ser.slot1(ModuleFilter::kOff, 0, 0.5f, 0.0f);
    ser.slot2(ModuleFilter::kPerfecto, 0, 0.4f, 0.3f);
    ser.set(11, 1.0f);
    ser.run(x1, y, &x2);
    FilterHarness one;
    one.slot1(ModuleFilter::kPerfecto, 0, 0.4f, 0.3f);
    one.run(sum, ref);
    EXPECT_EQ(y, ref);
}

TEST(FilterSection, BalanceBlendsTheSlots) {
    const std::vector<float> x1 = noise(2048, 0.5f);
    const std::vector<float> x2 = FilterHarness().sine(500.0, 2048, 0.5f);
    std::vector<float> y;
    FilterHarness h; // parallel, both slots off
    h.set(11, 0.5f);
    h.run(x1, y, &x2);
    for (int i = 0; i < 2048; ++i) ASSERT_FLOAT_EQ(y[i], 0.5f * x1[i] + 0.5f * x2[i]);
    h.set(11, 0.25f);
    h.run(x1, y, &x2);
    for (int i = 0; i < 2048; ++i) ASSERT_FLOAT_EQ(y[i], 0.75f * x1[i] + 0.25f * x2[i]);
    // Serial at balance 0: slot one alone, slot two's work is lost.
    FilterHarness s;
    s.set(0, 0.0f);
    s.slot2(ModuleFilter::kPerfecto, 0, 0.2f, 0.0f);
    s.run(x1, y, &x2);
    EXPECT_EQ(y, x1);
}

TEST(FilterSection, LinkMakesSlotTwoFollowSlotOne) {
    FilterHarness h;
    h.set(1, 1.0f);
    h.set(4, 0.4f);
    h.set(8, 0.75f);
    std::vector<float> y;
    h.run(std::vector<float>(256, 0.0f), y);
    EXPECT_FLOAT_EQ(h.voice().linkCut[17], 0.9f); // 2 * 0.75 + 0.4 - 1
    h.set(8, 0.1f);
    h.run(std::vector<float>(256, 0.0f), y);
    EXPECT_EQ(h.voice().linkCut[17], 0.0f); // clamped
    // At 0.5, slot two sounds exactly as slot one.
    const std::vector<float> x = noise(4096, 0.4f);
    std::vector<float> a, b;
    FilterHarness one, two;
    one.slot1(ModuleFilter::kInfecto, 0, 0.37f, 0.4f);
    one.run(x, a);
    two.set(1, 1.0f);
    two.set(11, 1.0f);
    two.slot1(ModuleFilter::kOff, 0, 0.37f, 0.0f);
    two.slot2(ModuleFilter::kInfecto, 0, 0.5f, 0.4f);
    const std::vector<float> zero(4096, 0.0f);
    two.run(zero, b, &x);
    EXPECT_EQ(a, b);
}

TEST(FilterSection, KeyTrackingFollowsThePitchStream) {
    FilterHarness h;
    h.set(4, 0.4724f);
    h.set(10, kKt1);
    std::fill(h.pitch.begin(), h.pitch.end(), 84.0f / 127.0f);
    std::vector<float> y;
    h.run(std::vector<float>(256, 0.0f), y);
    // +1 with the knob at the centre note: the cut-off is the note on the 0..1 scale.
    EXPECT_NEAR(h.voice().calcCut[9], 84.0f / 127.0f, 1e-5f);
    h.set(10, kKtHalf);
    h.set(4, 0.3f);
    h.run(std::vector<float>(256, 0.0f), y);
    EXPECT_NEAR(h.voice().calcCut[9], 0.3f + 0.5f * (84.0f / 127.0f - 0.4724f), 1e-5f);
}

/// -12 dB frequency of "Perfecto" LP4 without resonance at cut-off c.
double perfectoCutoffHz(double c) {
    double p = 0.000851 * std::pow(0.40653 / 0.000851, c * 119.0 / 103.0);
    p = p * (1.8 - 0.8 * p);
    return 44100.0 / kPi * std::atan(p / (1.0 - p));
}

TEST(FilterSection, KeyTrackingMovesTheMeasuredCutoff) {
    const double c = 0.35;
    for (float knob : {kKt1, kKtHalf}) {
        const double kt = knob * 2.133334 - 1.066667;
        FilterHarness h;
        h.slot1(ModuleFilter::kPerfecto, 0, float(c), 0.0f);
        h.set(10, knob);
        std::fill(h.pitch.begin(), h.pitch.end(), 72.0f / 127.0f); // an octave above the centre
        const double expected = perfectoCutoffHz(c + kt * (72.0 / 127.0 - 0.4724));
        EXPECT_NEAR(h.gainDb(expected), -12.04, 0.3) << kt;
        EXPECT_GT(expected / perfectoCutoffHz(c), kt > 0.75 ? 1.9 : 1.35);
    }
    // Slot two does not follow the key.
    const std::vector<float> x = noise(2048, 0.3f);
    std::vector<float> a, b;
    FilterHarness lo, hi;
    for (FilterHarness* h : {&lo, &hi}) {
        h->set(10, kKt1);
        h->set(11, 1.0f);
        h->slot2(ModuleFilter::kPerfecto, 0, 0.35f, 0.0f);
    }
    std::fill(hi.pitch.begin(), hi.pitch.end(), 96.0f / 127.0f);
    const std::vector<float> zero(2048, 0.0f);
    lo.run(zero, a, &x);
    hi.run(zero, b, &x);
    EXPECT_EQ(a, b);
}

TEST(FilterSection, SilentVoiceStartsWithClearedModels) {
    // A ringing "Perfecto": a note start of a voice that was silent clears it at that sample,
    // a retrigger of a sounding voice does not.
    for (float retrig : {0.0f, 0.4f}) {
        FilterHarness h;
        h.slot1(ModuleFilter::kPerfecto, 0, 0.3f, 1.0f);
        h.retrigValue = retrig;
        std::vector<float> x(4096, 0.0f), y;
        x[3] = 0.5f;
        h.run(x, y, nullptr, nullptr, nullptr, {3000});
        float before = 0.0f, after = 0.0f;
        for (int i = 2500; i < 3000; ++i) before = std::max(before, std::fabs(y[i]));
        for (int i = 3000; i < 4096; ++i) after = std::max(after, std::fabs(y[i]));
        EXPECT_GT(before, 0.01f);
        if (retrig == 0.0f)
            EXPECT_EQ(after, 0.0f);
        else
            EXPECT_GT(after, 0.01f);
    }
    // "Shaper" has no such rule: its tone filter decays on.
    FilterHarness s;
    s.slot1(ModuleFilter::kShaper, 0, 0.5f, 0.0f);
    std::vector<float> x(2048, 0.0f), y;
    for (int i = 0; i < 1000; ++i) x[i] = 0.1f;
    s.run(x, y, nullptr, nullptr, nullptr, {1010});
    EXPECT_NE(y[1500], 0.0f);
}

TEST(FilterSection, ModesPastTheListBypass) {
    const std::vector<float> x = noise(1024, 0.5f);
    std::vector<float> y;
    for (int type : {int(ModuleFilter::kPerfecto), int(ModuleFilter::kAcido),
                     int(ModuleFilter::kInfecto), int(ModuleFilter::kCombo), 9}) {
        FilterHarness h;
        h.slot1(type, 4, 0.3f, 0.5f);
        h.run(x, y);
        EXPECT_EQ(y, x) << type;
    }
    // Index 4 is a real mode of "Scorpio".
    FilterHarness h;
    h.slot1(ModuleFilter::kScorpio, 4, 0.3f, 0.5f);
    h.run(x, y);
    EXPECT_NE(y, x);
}

TEST(FilterSection, ChangingTypeKeepsTheOtherModelsState) {
    FilterHarness h;
    h.slot1(ModuleFilter::kPerfecto, 0, 0.3f, 1.0f);
    std::vector<float> x(2048, 0.0f), y;
    x[3] = 0.5f;
    h.run(x, y);
    const std::vector<float> zero(512, 0.0f);
    h.slot1(ModuleFilter::kInfecto, 0, 0.3f, 1.0f);
    h.run(zero, y);
    h.slot1(ModuleFilter::kPerfecto, 0, 0.3f, 1.0f);
    h.run(zero, y);
    EXPECT_GT(std::fabs(y[100]) + std::fabs(y[101]) + std::fabs(y[102]), 0.01f);
}

TEST(FilterSection, AudioPathDoesNotAllocate) {
    FilterHarness h;
    h.set(0, 0.0f);
    h.set(1, 1.0f);
    h.set(10, kKt1);
    h.set(11, 0.5f);
    const std::vector<float> x = noise(256, 0.5f);
    std::copy(x.begin(), x.end(), h.in1L.begin());
    std::copy(x.begin(), x.end(), h.in1R.begin());
    h.gate[7].trigger2 = 1;
    std::size_t allocations = 0;
    for (int type = 0; type <= 6; ++type) {
        for (int mode = 0; mode < 6; ++mode) {
            h.slot1(type, mode, 0.5f, 0.2f);
            h.slot2(6 - type, mode, 0.5f, 0.7f);
            h.s.m.cut1.set(0.8f); // a gliding cut-off: per-sample coefficients
            ScopedAllocCount count;
            for (int b = 0; b < 4; ++b) {
                h.s.m.updateSmoothers(256);
                h.s.m.renderVoice(0, 256, {h.in1L.data(), h.in1R.data()},
                                  {h.in2L.data(), h.in2R.data()});
            }
            allocations += count.count();
        }
    }
    EXPECT_EQ(allocations, 0u);
}

} // namespace
} // namespace torvo::test

// The matrix inside a running engine: the deferred refresh after a burst of routing writes,
// which source modules the routing switches on (and whether they render the mono voice), the
// controller numbers and the macros as sources, a macro as a target, and the in-use diodes.

#include "engine/aplugin.h"
#include "engine/controllercurves.h"
#include "engine/moduleperfomance.h"
#include "modulators/moduleenvelope.h"
#include "modulators/modulelfo.h"
#include "shell/paramtable.h"
#include "support/alloccounter.h"
#include "support/testengine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace torvo {
namespace {

using test::makeTestEngine;
using test::StereoBlock;

float listValue(int index) {
    return float(index) * kThousandth;
}
int id(const char* name) {
    const int i = findParamId(name);
    EXPECT_GE(i, 0) << name;
    return i;
}

struct MatrixEngine : testing::Test {
    static constexpr int kBlock = 64;
    MatrixEngine() : engine(makeTestEngine(44100.0f, 512)), block(512) {}
    void render(int blocks = 1, int frames = kBlock) {
        for (int b = 0; b < blocks; ++b) engine->render(block.pointers(), frames);
    }
    void set(const char* name, float value) { engine->setParameter(id(name), value, 1); }
    ModuleMatrix& matrix() { return engine->modMatrix(); }
    /// Phase of voice `v` of LFO `l` (0-based); it stays 0 while the voice does not run.
    double lfoPhase(int l, int v) {
        return static_cast<VoiceLfo*>(engine->module(kKeyLfo1 + l)->getVoice(v))->phase;
    }
    /// Largest magnitude in the last block's output of voice `v` of stepper `st` (0-based).
    float stepperPeak(int st, int v) {
        const float* out = engine->module(kKeyStepper1 + st)->getOutputs(0)[v];
        float peak = 0.0f;
        for (int i = 0; i < kBlock; ++i) peak = std::max(peak, std::fabs(out[i]));
        return peak;
    }
    /// Current output level of voice `v` of envelope `e` (0-based).
    float envelopeLevel(int e, int v) {
        return static_cast<VoiceEnvelope*>(engine->module(kKeyEnv1 + e)->getVoice(v))->value;
    }
    /// The sources whose modules run only when routed: env2..4, the LFOs, the steppers, ArpStep
    /// and the macros.
    std::vector<int> switchedSources() const {
        return {kSrcEnv1 + 1, kSrcEnv1 + 2, kSrcEnv1 + 3, kSrcLfo1,     kSrcLfo1 + 1,
                kSrcLfo1 + 2, kSrcLfo1 + 3, kSrcStepper1, kSrcStepper2, kSrcArpStep,
                kSrcMod1,     kSrcMod1 + 1, kSrcMod1 + 2, kSrcMod1 + 3};
    }

    std::unique_ptr<APlugin> engine;
    StereoBlock block;
};

TEST_F(MatrixEngine, BurstOfSlotAutomationRefreshesOnceAboutTenBlocksLater) {
    const int before = matrix().refreshCount();
    // A host sweeping slot rows: every block brings more writes while the countdown runs.
    for (int b = 0; b < 9; ++b) {
        set("slot2_Src1", listValue(kSrcLfo1));
        set("slot2_Trg1", listValue(46));
        set("slot2_Amt1", 0.5f + 0.05f * b);
        set("lfo3_amt2", 0.1f * b);
        render();
        EXPECT_EQ(matrix().refreshCount(), before) << "block " << b;
        EXPECT_EQ(matrix().useOfSource(kSrcLfo1), 0);
    }
    // Blocks of 64 take one step each: the tenth block after the first write refreshes.
    render();
    EXPECT_EQ(matrix().refreshCount(), before + 1);
    EXPECT_EQ(matrix().useOfSource(kSrcLfo1), 1);
    EXPECT_FLOAT_EQ(matrix().slot(1).amount[0], 0.9f);
    render(30);
    EXPECT_EQ(matrix().refreshCount(), before + 1);
    // Writes that route nothing arm nothing.
    set("volume", 0.3f);
    set("osc1_fine", 0.6f);
    render(30);
    EXPECT_EQ(matrix().refreshCount(), before + 1);
}

TEST_F(MatrixEngine, PatchThatRoutesNothingSwitchesEverySourceModuleOff) {
    // The new patch routes env3 to the cutoff; take that away too.
    set("env3_target1", 0.0f);
    engine->refreshMatrix();
    engine->noteOn(0, 60, 100);
    render(4);
    for (int s : switchedSources()) EXPECT_EQ(matrix().useOfSource(s), 0) << s;
    // The note plays on env1, the amplitude envelope, which always runs; the other envelopes
    // (sustain at full level in the new patch) never leave zero.
    int playing = -1;
    for (int v = 0; v < kMonoVoice; ++v)
        if (envelopeLevel(0, v) > 0.0f) playing = v;
    ASSERT_GE(playing, 0);
    for (int e = 1; e < 4; ++e)
        for (int v = 0; v < kVoiceCount; ++v) EXPECT_EQ(envelopeLevel(e, v), 0.0f) << e << v;
    for (int l = 0; l < 4; ++l)
        for (int v = 0; v < kVoiceCount; ++v) EXPECT_EQ(lfoPhase(l, v), 0.0) << l << v;
    for (int st = 0; st < 2; ++st) EXPECT_EQ(stepperPeak(st, playing), 0.0f) << st;

    // Routed to voice targets, env2 and stepper 1 run for the playing voices: a new note
    // starts them.
    set("env2_target1", listValue(45));
    set("slot3_Src2", listValue(kSrcStepper1));
    set("slot3_Trg2", listValue(46));
    engine->refreshMatrix();
    EXPECT_EQ(matrix().useOfSource(kSrcEnv1 + 1), 1);
    EXPECT_EQ(matrix().useOfSource(kSrcStepper1), 1);
    engine->noteOn(0, 67, 100);
    render(4);
    int second = -1;
    for (int v = 0; v < kMonoVoice; ++v)
        if (v != playing && envelopeLevel(0, v) > 0.0f) second = v;
    ASSERT_GE(second, 0);
    EXPECT_GT(envelopeLevel(1, second), 0.0f);
    EXPECT_EQ(envelopeLevel(2, second), 0.0f);
    EXPECT_GT(stepperPeak(0, second), 0.0f);
    EXPECT_EQ(stepperPeak(1, second), 0.0f);
}

TEST_F(MatrixEngine, LfoOnAGlobalTargetRendersTheMonoVoice) {
    // No note plays, so no voice is active: only a global target makes an LFO run, on voice 16.
    render(4);
    for (int l = 0; l < 4; ++l) EXPECT_EQ(lfoPhase(l, kMonoVoice), 0.0) << l;
    set("lfo1_target1", listValue(142)); // Rev_Wide, read with voice 16
    set("lfo2_target2", listValue(45));  // Cutoff_1, read per voice
    engine->refreshMatrix();
    EXPECT_EQ(matrix().useOfSource(kSrcLfo1), 2);
    EXPECT_EQ(matrix().useOfSource(kSrcLfo1 + 1), 1);
    render(4);
    EXPECT_GT(lfoPhase(0, kMonoVoice), 0.0);
    EXPECT_EQ(lfoPhase(1, kMonoVoice), 0.0);
    for (int v = 0; v < kMonoVoice; ++v) EXPECT_EQ(lfoPhase(0, v), 0.0) << v;
    // A stepper on Glide, an envelope on a macro: the mono voice too.
    set("slot5_Src1", listValue(kSrcStepper2));
    set("slot5_Trg4", listValue(221));
    set("env4_target2", listValue(219));
    engine->refreshMatrix();
    EXPECT_EQ(matrix().useOfSource(kSrcStepper2), 2);
    EXPECT_EQ(matrix().useOfSource(kSrcEnv1 + 3), 2);
}

TEST_F(MatrixEngine, ControllerNumbersFeedTheirSources) {
    engine->onController(1, 0.7f, 0, 0.0f);
    engine->onController(2, 0.2f, 0, 0.0f);
    engine->onController(4, 0.4f, 0, 0.0f);
    engine->onController(11, 0.9f, 0, 0.0f);
    engine->onController(66, 0.5f, 0, 0.0f);
    engine->onController(65, 0.5f, 0, -0.5f);
    engine->onController(7, 1.0f, 0, 0.0f); // not a controller the engine knows
    render();
    auto at = [&](int source, int voice, int i) { return matrix().source(source)[voice][i]; };
    // Still the first block since start: every value takes effect at once.
    for (int v : {0, 9, 16}) {
        EXPECT_NEAR(at(kSrcModWheel, v, 0), 0.7f, 1e-4f);
        EXPECT_NEAR(at(kSrcBreath, v, kBlock - 1), 0.2f, 1e-4f);
        EXPECT_NEAR(at(kSrcFootPedal, v, 5), 0.4f, 1e-4f);
        EXPECT_NEAR(at(kSrcExpression, v, 5), 0.9f, 1e-4f);
        EXPECT_NEAR(at(kSrcAftertouch, v, 5), aftertouchCurve(0.5f), 1e-4f);
        EXPECT_NEAR(at(kSrcPitchWheel, v, 5), -0.5f, 1e-4f); // the bipolar value
    }
    // The aftertouch curve rises slowly: half pressure gives about 3 %.
    EXPECT_LT(aftertouchCurve(0.5f), 0.035f);
    EXPECT_NEAR(aftertouchCurve(10.0f / 119.0f), 0.0008f, 1e-5f);
    EXPECT_NEAR(aftertouchCurve(60.0f / 119.0f), 0.032f, 1e-5f);
    EXPECT_NEAR(aftertouchCurve(100.0f / 119.0f), 0.3316f, 1e-4f);
    EXPECT_FLOAT_EQ(aftertouchCurve(1.0f), 1.0f);
    EXPECT_FLOAT_EQ(aftertouchCurve(0.0f), 0.0f);
}

TEST_F(MatrixEngine, ModWheelRouteReachesItsTargetThroughTheEngine) {
    // The new patch has slot 1 from the mod wheel; give it a target.
    set("slot1_Trg1", listValue(145)); // Main_Volume
    set("slot1_Amt1", 1.0f);
    engine->refreshMatrix();
    engine->onController(1, 0.5f, 0, 0.0f);
    render();
    EXPECT_NEAR(matrix().modulated(id("volume"), 0.2f, kBlock, kMonoVoice), 0.7f, 1e-4f);
    std::vector<float> base(kBlock + 8, 0.2f);
    const float* perSample = matrix().modulatedBuffer(id("volume"), base.data(), kBlock, 3);
    for (int i = 0; i < kBlock; ++i) EXPECT_NEAR(perSample[i], 0.7f, 1e-4f) << i;
    // The host's mod wheel row writes the same channel.
    set("mod_wheel", 0.25f);
    render();
    EXPECT_NEAR(matrix().modulated(id("volume"), 0.2f, kBlock, kMonoVoice), 0.45f, 1e-4f);
}

TEST_F(MatrixEngine, MacroIsASourceAndATarget) {
    set("macro1", 0.6f);
    set("slot2_Src1", listValue(kSrcMod1));
    set("slot2_Trg1", listValue(46)); // Reso_1 at +1
    set("slot2_Amt1", 1.0f);
    // Macro 2 moved by the constant 0.5 source: its output is 0.5 above its knob.
    set("slot3_Src1", listValue(kSrcConstant50));
    set("slot3_Trg1", listValue(218)); // Mod2
    set("slot3_Amt1", 1.0f);
    set("slot4_Src1", listValue(kSrcMod1 + 1));
    set("slot4_Trg1", listValue(47));
    engine->refreshMatrix();
    render(200); // the macro's smoother settles
    EXPECT_NEAR(matrix().modulated(id("flt1_res"), 0.0f, kBlock, kMonoVoice), 0.6f, 1e-3f);
    auto* perf = static_cast<ModulePerfomance*>(engine->module(kKeyPerformance));
    const float* mod2 = perf->getOutputs(1)[kMonoVoice];
    EXPECT_NEAR(mod2[0], 0.5f, 1e-4f);
    EXPECT_NEAR(mod2[kBlock - 1], 0.5f, 1e-4f);
    // Its own knob is still at 0.
    EXPECT_NEAR(perf->macros[1].value(), 0.0f, 1e-6f);
}

TEST_F(MatrixEngine, DiodesShowMacrosAndModWheelInUse) {
    long long d[5];
    engine->diodes(d);
    for (long long x : d) EXPECT_EQ(x, 0); // slot 1's mod wheel has no target yet
    set("slot1_Trg2", listValue(46));
    set("slot7_Src2", listValue(kSrcMod1 + 2));
    set("slot7_Trg1", listValue(164)); // a depth target counts as use too
    engine->refreshMatrix();
    engine->diodes(d);
    EXPECT_EQ(d[0], 0);
    EXPECT_EQ(d[1], 0);
    EXPECT_EQ(d[2], 1);
    EXPECT_EQ(d[3], 0);
    EXPECT_EQ(d[4], 1);
}

TEST_F(MatrixEngine, RenderWithEveryUserSlotInUseDoesNotAllocate) {
    const int sources[] = {kSrcModWheel,   kSrcVelocity,  kSrcLfo1,     kSrcEnv1 + 1,  kSrcMod1,
                           kSrcConstant10, kSrcKeyFollow, kSrcStepper1, kSrcAftertouch};
    for (int s = 0; s < 15; ++s) {
        const int base = 288 + 10 * s;
        engine->setParameter(base, listValue(sources[s % 9]), 1);
        engine->setParameter(base + 1, listValue(sources[(s + 4) % 9]), 1);
        for (int k = 0; k < 4; ++k) {
            engine->setParameter(base + 2 + 2 * k, 0.3f + 0.1f * k, 1);
            engine->setParameter(base + 3 + 2 * k, listValue(1 + (s * 13 + k * 37) % 229), 1);
        }
    }
    engine->noteOn(0, 60, 100);
    engine->noteOn(0, 64, 80);
    render(3);
    test::ScopedAllocCount allocations;
    engine->refreshMatrix();
    render(20);
    EXPECT_EQ(allocations.count(), 0u);
}

} // namespace
} // namespace torvo

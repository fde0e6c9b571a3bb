#include "engine/aplugin.h"
#include "engine/denormals.h"
#include "shell/paramtable.h"
#include "support/alloccounter.h"
#include "support/testengine.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace torvo;
using torvo::test::makeTestEngine;
using torvo::test::StereoBlock;

namespace {
float listValue(int index) {
    return index * kThousandth;
}
int id(const char* name) {
    return findParamId(name);
}
} // namespace

TEST(APluginGraph, BuildsAllTwentySevenModulesUnderTheirKeys) {
    auto engine = makeTestEngine();
    const struct {
        int key;
        const char* name;
    } expected[] = {{0, "midi"},          {1, "lfo1"},        {4, "lfo4"},
                    {5, "env1"},          {8, "env4"},        {9, "osc1"},
                    {12, "osc4"},         {13, "mix"},        {14, "filter"},
                    {16, "fx_shaper"},    {17, "fx_phaser"},  {18, "fx_chorus"},
                    {19, "fx_delay"},     {20, "fx_rever"},   {21, "fx_compressor"},
                    {22, "fx_equalizer"}, {23, "perfomance"}, {24, "extcontrol"},
                    {25, "stepper1"},     {26, "stepper2"},   {27, "arp1"}};
    for (const auto& e : expected) {
        Module* m = engine->module(e.key);
        ASSERT_NE(m, nullptr) << e.key;
        EXPECT_EQ(m->name, e.name);
    }
    EXPECT_EQ(engine->module(15), nullptr);
    // bindParameter went through the route table.
    EXPECT_EQ(engine->module(kKeyOsc1 + 2)->paramId(10), id("osc3_uden"));
}

TEST(APluginParameters, ModeChangeAcrossMonoAndPolyWaitsForTheRender) {
    auto engine = makeTestEngine();
    ASSERT_EQ(engine->currentMode(), 4);
    engine->setParameter(0, listValue(1), 1); // mono_2
    EXPECT_EQ(engine->currentMode(), 4);
    StereoBlock block(64);
    engine->render(block.pointers(), 64);
    EXPECT_EQ(engine->currentMode(), 1);
    engine->setParameter(0, listValue(5), 1);
    engine->render(block.pointers(), 64);
    EXPECT_EQ(engine->currentMode(), 5);
}

TEST(APluginParameters, RoutingRowsArmOneDeferredMatrixRefresh) {
    auto engine = makeTestEngine(44100.0f, 2048);
    EXPECT_EQ(engine->matrixCountdown(), 0);
    engine->setParameter(id("volume"), 0.7f, 1);
    EXPECT_EQ(engine->matrixCountdown(), 0);

    engine->setParameter(id("slot2_Trg1"), listValue(45), 1);
    EXPECT_EQ(engine->matrixCountdown(), 10);
    engine->setParameter(id("lfo1_target1"), listValue(45), 1);
    EXPECT_EQ(engine->matrixCountdown(), 10); // a burst arms it once

    StereoBlock block(2048);
    engine->render(block.pointers(), 256); // 256 / 128 + 1 = 3
    EXPECT_EQ(engine->matrixCountdown(), 7);
    engine->render(block.pointers(), 1024); // 9
    EXPECT_EQ(engine->matrixCountdown(), 0);
    engine->setParameter(id("env2_amt2"), 0.9f, 1); // a target row's amount is routing too
    EXPECT_EQ(engine->matrixCountdown(), 10);
    engine->render(block.pointers(), 2048); // one big block refreshes at once
    EXPECT_EQ(engine->matrixCountdown(), 0);
}

TEST(APluginParameters, DiodesFollowTheMatrixUseOfMacrosAndModWheel) {
    auto engine = makeTestEngine();
    long long diodes[5];
    engine->diodes(diodes);
    // slot1 takes the mod wheel by default, but without a target nothing is used.
    for (long long d : diodes) EXPECT_EQ(d, 0);

    engine->setParameter(id("slot1_Trg1"), listValue(45), 1);
    engine->setParameter(id("slot3_Src2"), listValue(28), 1); // Mod3
    engine->setParameter(id("slot3_Trg4"), listValue(145), 1);
    engine->refreshMatrix();
    engine->diodes(diodes);
    EXPECT_EQ(diodes[0], 0);
    EXPECT_EQ(diodes[2], 1);
    EXPECT_EQ(diodes[4], 1);
}

TEST(APluginRender, IdleEngineRendersExactSilenceAndGatesTheChain) {
    auto engine = makeTestEngine();
    StereoBlock block(512);
    block.left.assign(512, 1.0f);
    block.right.assign(512, 1.0f);
    for (int i = 0; i < 20; ++i) engine->render(block.pointers(), 512);
    for (int i = 0; i < 512; ++i) {
        ASSERT_EQ(block.left[i], 0.0f);
        ASSERT_EQ(block.right[i], 0.0f);
    }
    EXPECT_TRUE(engine->chainWasSilent());
    EXPECT_EQ(engine->peakLeft(), 0.0f);
}

TEST(APluginRender, OneSampleBlocksAndEveryRateStayFinite) {
    for (float rate : {44100.0f, 48000.0f, 88200.0f, 96000.0f}) {
        auto engine = makeTestEngine(rate, 8192);
        StereoBlock block(8192);
        for (int frames : {1, 2, 3, 64, 8192}) {
            engine->render(block.pointers(), frames);
            for (int i = 0; i < frames; ++i) ASSERT_TRUE(std::isfinite(block.left[i]));
        }
        EXPECT_FLOAT_EQ(engine->sampleRate(), rate);
    }
}

TEST(APluginRender, SteadyStateRenderDoesNotAllocate) {
    auto engine = makeTestEngine(48000.0f, 256);
    StereoBlock block(256);
    ScopedFlushDenormals flush;
    engine->render(block.pointers(), 256);
    test::ScopedAllocCount allocations;
    for (int i = 0; i < 200; ++i) {
        if (i % 10 == 0) engine->noteOn(i % 64, 48 + i % 24, 90);
        if (i % 10 == 5) engine->noteOff(3, 48 + (i - 5) % 24);
        engine->setParameter(id("flt1_cut"), float(i % 100) / 100.0f, 1);
        engine->setParameter(id("slot4_Amt2"), float(i % 7) / 7.0f, 1);
        engine->onController(1, float(i % 128) / 127.0f, 0, 0.0f);
        engine->render(block.pointers(), 1 + i % 256);
    }
    engine->clearDsp();
    engine->render(block.pointers(), 256);
    EXPECT_EQ(allocations.count(), 0u);
}

TEST(APluginParameters, OutOfRangeAndNonFiniteWritesAreClampedNotPropagated) {
    auto engine = makeTestEngine();
    StereoBlock block(128);
    for (int p = 0; p < kParamCount; ++p) {
        engine->setParameter(p, std::nanf(""), 1);
        engine->setParameter(p, 7.0f, 1);
        engine->setParameter(p, -3.0f, 1);
    }
    engine->setParameter(-1, 0.5f, 1);
    engine->setParameter(kParamCount, 0.5f, 1);
    engine->refreshMatrix();
    for (int i = 0; i < 10; ++i) engine->render(block.pointers(), 128);
    for (float x : block.left) ASSERT_TRUE(std::isfinite(x));
}

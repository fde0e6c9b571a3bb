// Start phases: the bag of fixed phases, the fixed offsets of the phase knob, free running
// mono oscillators, the analog start and retriggers that land in a running crossfade.

#include "oscrig.h"

#include "sources/pitchincrement.h"
#include "sources/startphasebag.h"

#include <gtest/gtest.h>

#include <set>

namespace torvo {
namespace {

using test::OscRig;

TEST(StartPhaseBag, DealsEachListOnceBeforeTheOther) {
    const std::set<float> first = {4084, 3694, 1063, 1164, 2624, 1240, 1650, 3870, 1459,
                                   2661, 2434, 879,  3265, 1428, 1203, 2795, 2690, 4065};
    const std::set<float> second = {1759, 3681, 3217, 713,  598,  715,  1967, 4010, 3535,
                                    2296, 157,  2075, 2086, 1524, 3929, 231,  1088, 82};
    StartPhaseBag bag;
    for (const auto* list : {&first, &second, &first}) {
        std::set<float> drawn;
        for (int i = 0; i < StartPhaseBag::kSize; ++i) drawn.insert(bag.draw());
        EXPECT_EQ(drawn, *list);
        EXPECT_EQ(bag.remaining(), 0);
    }
}

/// Phase a reader had at the first sample of the block just rendered.
float startOfBlock(const TableReader& r, float note) {
    const float inc = pitchIncrementTable()[noteToPitchIndex(note)];
    float p = r.phase - test::kRigFrames * inc;
    while (p < 0.0f) p += 4096.0f;
    return p;
}

TEST(OscillatorPhase, FixedStartSpreadsTheSlotsOverTheCycle) {
    OscRig rig(48000.0f);
    rig.unison(3);
    rig.set(9, 0.0f);
    rig.set(6, 0.5f);
    rig.render(2);
    rig.render(1, 0);
    const float v = 0.5f * 1.137f - 0.06f;
    for (int i = 0; i < 3; ++i)
        EXPECT_NEAR(startOfBlock(rig.osc.m.oscVoice(0).classic.readers[i], 69.0f),
                    (i + 1) / 3.0f * v * 4095.0f, 0.05f)
            << "slot " << i;
    // Just above the random range every slot starts at (nearly) zero.
    rig.set(6, 0.03f);
    rig.render(1, 0);
    for (int i = 0; i < 3; ++i)
        EXPECT_NEAR(startOfBlock(rig.osc.m.oscVoice(0).classic.readers[i], 69.0f), 0.0f, 0.5f);
}

TEST(OscillatorPhase, PolyRetriggersDrawFreshPhasesFromTheBag) {
    OscRig rig(48000.0f);
    rig.set(6, 0.0299f);
    std::set<int> starts;
    for (int k = 0; k < StartPhaseBag::kSize; ++k) {
        rig.render(1, 0);
        starts.insert(static_cast<int>(
            std::lround(startOfBlock(rig.osc.m.oscVoice(0).classic.readers[0], 69.0f))));
    }
    EXPECT_GE(starts.size(), 17u); // all different, up to rounding
}

TEST(OscillatorPhase, MonoOscillatorsRunFreeUnlessUnisonNeedsSpreading) {
    for (int copies : {1, 2}) {
        for (bool analog : {true, false}) {
            OscRig rig(48000.0f, kMonoVoice);
            rig.osc.shared.monoMode = true;
            rig.unison(copies);
            rig.set(14, analog ? 1.0f : 0.0f);
            rig.set(6, 0.0f);
            rig.render(3);
            const float before = rig.osc.m.oscVoice(kMonoVoice).classic.readers[0].phase;
            rig.render(1, 0);
            const float start =
                startOfBlock(rig.osc.m.oscVoice(kMonoVoice).classic.readers[0], 69.0f);
            const bool free = analog || copies == 1;
            if (free)
                EXPECT_NEAR(start, before, 0.05f) << copies << " " << analog;
            else
                EXPECT_GT(std::fabs(start - before), 0.5f) << copies << " " << analog;
        }
    }
    // One poly voice behaves as mono.
    OscRig rig(48000.0f);
    rig.inputs.polyphony = 1;
    rig.set(14, 1.0f);
    rig.render(3);
    const float before = rig.osc.m.oscVoice(0).classic.readers[0].phase;
    rig.render(1, 0);
    EXPECT_NEAR(startOfBlock(rig.osc.m.oscVoice(0).classic.readers[0], 69.0f), before, 0.05f);
}

TEST(OscillatorPhase, AnalogStartStaysNearTheLastStartOfTheSlot) {
    OscRig rig(48000.0f);
    rig.set(14, 1.0f);
    rig.inputs.secondsSinceNoteOn = 0.2f;
    rig.render(1, 0);
    const float* last = rig.osc.m.lastReaderPhase[0];
    ASSERT_EQ(last, &rig.osc.m.oscVoice(0).classic.readers[0].phase);
    rig.render(2);
    const float previous = *last;
    rig.render(1, 0);
    const float start = startOfBlock(rig.osc.m.oscVoice(0).classic.readers[0], 69.0f);
    float d = start - previous;
    if (d < 0.0f) d += 4096.0f;
    EXPECT_LE(d, 4095.0f * 0.01f + 0.05f);
    // After a long pause the start is a plain draw again, anywhere in the cycle.
    rig.inputs.secondsSinceNoteOn = 3.0f;
    std::set<int> far;
    for (int k = 0; k < 6; ++k) {
        const float p = *rig.osc.m.lastReaderPhase[0];
        rig.render(1, 0);
        float e = startOfBlock(rig.osc.m.oscVoice(0).classic.readers[0], 69.0f) - p;
        if (e < 0.0f) e += 4096.0f;
        far.insert(e > 41.0f);
    }
    EXPECT_TRUE(far.count(1));
}

TEST(OscillatorPhase, RetriggerDuringACrossfadeIsIgnored) {
    auto renderWith = [](bool second) {
        OscRig rig(48000.0f);
        rig.inputs.heldNote = true;
        rig.fresh[0] = false;
        rig.render(2);
        rig.clear();
        rig.retrig[0] = 1.0f;
        if (second) rig.retrig[100] = 1.0f;
        rig.osc.m.setInputs(rig.inputs);
        rig.osc.m.process(test::kRigFrames, 1);
        const StereoPtr out = rig.osc.m.getStereoOutputs(0)[0];
        return std::vector<float>(out.left, out.left + test::kRigFrames);
    };
    EXPECT_EQ(renderWith(true), renderWith(false));
}

} // namespace
} // namespace torvo

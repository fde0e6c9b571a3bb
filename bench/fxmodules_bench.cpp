// Cost of the chorus, delay, phaser and compressor per 256-frame block in their main
// settings, the whole chain with all seven effects on, the cost of a decaying tail against a
// block of true silence (a subnormal slowdown would show here), and one minute of noise at
// full feedback per effect, reporting the peak it reached and the level of its last second.

#include "effects/fxchain.h"
#include "effects/modulefxchorus.h"
#include "effects/modulefxcompressor.h"
#include "effects/modulefxdelay.h"
#include "effects/modulefxequalizer.h"
#include "effects/modulefxphaser.h"
#include "effects/modulefxrever.h"
#include "effects/modulefxshaper.h"
#include "shell/paramtable.h"

#include "fxbench.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

using namespace torvo;
using bench::kFrames;

constexpr float kRate = 44100.0f;

enum Effect { kChorus = 0, kDelay, kPhaser, kCompressor };

/// One of the four effects on its own, with its own pool.
struct Rig {
    Rig(int effect, int setting, float feedbackControl) : which(effect) {
        host.prepare({module()}, kRate);
        switch (which) {
        case kChorus:
            chorus.setParameter(0, static_cast<float>(setting) * kThousandth);
            chorus.delay.reset(0.5f);
            chorus.feedback.reset(feedbackControl);
            chorus.rate.reset(0.6f);
            chorus.depth.reset(0.7f);
            chorus.wide.reset(1.0f);
            chorus.hiCut.reset(0.9f);
            chorus.lowCut.reset(0.2f);
            chorus.wet.reset(1.0f);
            break;
        case kDelay:
            delay.setParameter(0, setting ? 1.0f : 0.0f);
            delay.setParameter(1, 0.0f);
            delay.timeL.reset(0.3f);
            delay.timeR.reset(0.45f);
            delay.feedback.reset(feedbackControl);
            delay.rate.reset(0.3f);
            delay.modulate.reset(0.3f);
            delay.wide.reset(setting ? 1.0f : 0.8f);
            delay.color.reset(0.5f);
            delay.wet.reset(1.0f);
            break;
        case kPhaser:
            phaser.setParameter(0, static_cast<float>(setting) * kThousandth);
            phaser.freq.reset(0.2f);
            phaser.feedback.reset(feedbackControl);
            phaser.spread.reset(1.0f);
            phaser.rate.reset(0.6f);
            phaser.depth.reset(0.9f);
            phaser.wet.reset(1.0f);
            break;
        default:
            compressor.amount.reset(1.0f);
            break;
        }
    }
    Module* module() {
        switch (which) {
        case kChorus:
            return &chorus;
        case kDelay:
            return &delay;
        case kPhaser:
            return &phaser;
        default:
            return &compressor;
        }
    }
    void block(float* l, float* r) {
        float* ptrs[2] = {l, r};
        module()->processFx(kFrames, ptrs);
    }
    void clear() {
        if (which == kChorus) chorus.clear();
        if (which == kDelay) delay.clear();
        if (which == kPhaser) phaser.clear();
    }
    bool subnormals() const {
        if (which == kChorus) return chorus.holdsSubnormals();
        if (which == kDelay) return delay.holdsSubnormals();
        if (which == kPhaser) return phaser.holdsSubnormals();
        return false;
    }
    int which;
    bench::Standalone host;
    ModuleFxChorus chorus;
    ModuleFxDelay delay;
    ModuleFxPhaser phaser;
    ModuleFxCompressor compressor;
};

/// range(0): effect; range(1): setting (chorus mode, delay ping-pong, phaser stages).
void BM_FxBlock(benchmark::State& state) {
    Rig rig(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)), 0.7f);
    std::vector<float> inL, inR;
    bench::noiseBlock(inL, inR, 0.5f);
    bench::timeBlocks(state, inL, inR, [&](float* l, float* r) { rig.block(l, r); });
    state.SetItemsProcessed(state.iterations() * kFrames);
}
BENCHMARK(BM_FxBlock)
    ->Args({kChorus, 0})
    ->Args({kChorus, 3})
    ->Args({kChorus, 5})
    ->Args({kChorus, 6})
    ->Args({kDelay, 0})
    ->Args({kDelay, 1})
    ->Args({kPhaser, 0})
    ->Args({kPhaser, 5})
    ->Args({kPhaser, 8})
    ->Args({kCompressor, 0})
    ->Unit(benchmark::kMicrosecond);

/// range(0): effect; range(1): 1 to measure the tail 20 s after two seconds of noise stopped,
/// 0 to measure an effect that was cleared and hears only silence.
void BM_FxTailAgainstSilence(benchmark::State& state) {
    const int effect = static_cast<int>(state.range(0));
    const int setting = effect == kChorus ? 3 : (effect == kPhaser ? 8 : 1);
    Rig rig(effect, setting, 0.8f);
    bench::timeTailAgainstSilence(state, rig, state.range(1) == 0);
    state.counters["subnormalState"] = rig.subnormals() ? 1 : 0;
}
BENCHMARK(BM_FxTailAgainstSilence)
    ->ArgsProduct({{kChorus, kDelay, kPhaser, kCompressor}, {1, 0}})
    ->Unit(benchmark::kMicrosecond);

/// One minute of noise at full feedback: range(0) effect, range(1) setting, range(2) the
/// feedback control (both ends of the bipolar ones). The peak and the last second's level
/// against the second second show whether the loop stays bounded.
void BM_FxMinuteAtFullFeedback(benchmark::State& state) {
    for (auto _ : state) {
        Rig rig(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)),
                static_cast<float>(state.range(2)));
        if (rig.which == kDelay) {
            rig.delay.timeL.reset(0.05f);
            rig.delay.timeR.reset(0.08f);
        }
        bench::minuteOfNoise(state, rig, kRate);
    }
}
BENCHMARK(BM_FxMinuteAtFullFeedback)
    ->Args({kChorus, 0, 1})
    ->Args({kChorus, 0, 0})
    ->Args({kChorus, 3, 1})
    ->Args({kChorus, 5, 1})
    ->Args({kChorus, 6, 1})
    ->Args({kChorus, 6, 0})
    ->Args({kDelay, 0, 1})
    ->Args({kDelay, 1, 1})
    ->Args({kPhaser, 5, 1})
    ->Args({kPhaser, 5, 0})
    ->Args({kPhaser, 8, 1})
    ->Args({kCompressor, 0, 1})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

/// All seven effects on, in chain order, per 256-frame block.
struct Chain {
    Chain() {
        host.prepare({&shaper, &phaser, &chorus, &eq, &reverb, &compressor, &delay}, kRate);
        chain = {&shaper, &phaser, &chorus, &eq, &reverb, &compressor, &delay};
        shaper.mode = ModuleFxShaper::kWarm;
        shaper.hq = true;
        shaper.drive.reset(0.5f);
        shaper.bits.reset(1.0f);
        shaper.rate.reset(1.0f);
        shaper.hiCut.reset(0.9f);
        shaper.lowCut.reset(0.1f);
        shaper.wet.reset(0.5f);
        phaser.setParameter(0, 3 * kThousandth);
        phaser.freq.reset(0.2f);
        phaser.feedback.reset(0.6f);
        phaser.spread.reset(0.5f);
        phaser.rate.reset(0.3f);
        phaser.depth.reset(0.8f);
        phaser.wet.reset(0.5f);
        chorus.setParameter(0, 6 * kThousandth);
        chorus.delay.reset(0.5f);
        chorus.feedback.reset(0.4f);
        chorus.rate.reset(0.5f);
        chorus.depth.reset(0.5f);
        chorus.wide.reset(1.0f);
        chorus.hiCut.reset(1.0f);
        chorus.lowCut.reset(0.35f);
        chorus.wet.reset(0.5f);
        eq.power = true;
        eq.warm = true;
        eq.soft = true;
        eq.volume.reset(0.5f);
        reverb.setParameter(0, 2 * kThousandth);
        reverb.wet.reset(0.3f);
        reverb.decay.reset(0.6f);
        reverb.damp.reset(0.2f);
        reverb.wide.reset(1.0f);
        reverb.color.reset(0.6f);
        compressor.amount.reset(0.5f);
        delay.setParameter(0, 1.0f);
        delay.setParameter(1, 1.0f);
        delay.setParameter(4, 7 * kThousandth);
        delay.setParameter(5, 1 * kThousandth);
        delay.feedback.reset(0.5f);
        delay.rate.reset(0.2f);
        delay.modulate.reset(0.05f);
        delay.color.reset(0.5f);
        delay.wet.reset(0.3f);
    }
    bench::Standalone host;
    ModuleFxShaper shaper;
    ModuleFxPhaser phaser;
    ModuleFxChorus chorus;
    ModuleFxEqualizer eq;
    ModuleFxRever reverb;
    ModuleFxCompressor compressor;
    ModuleFxDelay delay;
    FxChain chain;
};

void BM_FxChainAllSevenOn(benchmark::State& state) {
    Chain c;
    std::vector<float> inL, inR;
    bench::noiseBlock(inL, inR, 0.3f);
    bench::timeBlocks(state, inL, inR, [&](float* l, float* r) {
        float* st[2] = {l, r};
        c.chain.run(kFrames, st, false, false);
    });
    state.SetItemsProcessed(state.iterations() * kFrames);
}
BENCHMARK(BM_FxChainAllSevenOn)->Unit(benchmark::kMicrosecond);

} // namespace

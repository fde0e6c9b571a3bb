#pragma once
// The streams of one oscillator voice, held identical for two renders of an engine, and the
// comparison of those renders. The engines' fast paths are pinned against their sample loops
// this way: two engines seeded alike, one given blocks it may read four samples at a time, one
// told a retrigger may come (none does, but that sends it down the sample loop).

#include "engine/denormals.h"
#include "engine/pool.h"
#include "sources/oscblock.h"
#include "sources/pitchincrement.h"
#include "sources/wavebank.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace torvo::test {

constexpr int kStreamFrames = 256;
constexpr int kStreamBlocks = 12;

struct Streams {
    /// A held note with the three controls at fixed values.
    Streams(float heldNote, float a, float b, float w)
        : note(heldNote), pitch(kStreamFrames + 4, heldNote / 127.0f),
          retrig(kStreamFrames + 4, 0.0f), ctrlA(kStreamFrames + 4, a), ctrlB(kStreamFrames + 4, b),
          wtmix(kStreamFrames + 4, w), shift(kStreamFrames + 4) {
        for (int s = 0; s < kUnisonSlots; ++s) {
            detune[s] = 0.37f * float(s) - 1.4f;
            levelL[s] = 0.8f + 0.02f * float(s);
            levelR[s] = 1.0f - 0.02f * float(s);
        }
        refreshShift();
    }
    void refreshShift() {
        for (int i = 0; i < kStreamFrames + 4; ++i)
            shift[i] = static_cast<int>(ctrlB[i] * 4096.0f) * 2;
    }
    /// ctrlA rises by `span` over each block (a sweep that starts again every block).
    Streams& rampA(float span) {
        for (int i = 0; i < kStreamFrames + 4; ++i)
            ctrlA[i] += span * float(i) / float(kStreamFrames);
        return *this;
    }
    Streams& rampW(float span) {
        for (int i = 0; i < kStreamFrames + 4; ++i)
            wtmix[i] += span * float(i) / float(kStreamFrames);
        return *this;
    }
    /// The pitch moves within one pitch step and ctrlB sweeps deep enough to move an FM
    /// modulator's note across many steps.
    Streams& wander() {
        for (int i = 0; i < kStreamFrames + 4; ++i) {
            pitch[i] = (note + 1.0e-4f * std::sin(0.05f * float(i))) / 127.0f;
            ctrlB[i] += 0.2f * float(i) / float(kStreamFrames);
        }
        refreshShift();
        wandering = true;
        return *this;
    }
    /// The pitch swings `depth` semitones around the note, about three cycles a block: every
    /// sample moves to another pitch step, and the unison copies cross whole notes now and then.
    Streams& vibrato(float depth) {
        for (int i = 0; i < kStreamFrames + 4; ++i)
            pitch[i] = (note + depth * std::sin(0.07f * float(i))) / 127.0f;
        wandering = true;
        return *this;
    }

    /// The block of one render: `steady` lets the engine read four samples at a time; without
    /// it, or with `retriggers`, a retrigger may come and the sample loop runs.
    OscBlock block(bool steady, bool retriggers = false) const {
        OscBlock b;
        b.frames = frames;
        b.sampleRate = 48000.0f;
        b.pitch = pitch.data();
        b.retrig = retrig.data();
        b.ctrlA = ctrlA.data();
        b.ctrlB = ctrlB.data();
        b.wtmix = wtmix.data();
        b.shift = shift.data();
        b.ctrlAModulated = wandering || ctrlA.front() != ctrlA.back();
        b.wtmixModulated = claimWtmixModulated || (wandering && wtmix.front() != 0.0f) ||
                           wtmix.front() != wtmix.back();
        b.ctrlAValue = ctrlA.front();
        b.count = count;
        b.detune = detune;
        b.levelL = levelL;
        b.levelR = levelR;
        b.waveIndex = wave;
        b.width = width;
        b.phaseValue = phaseValue;
        b.keyTrack = keyTrack;
        b.reader.count = count;
        b.reader.wave = waveAddress(wave);
        b.reader.noRetrigger = steady && !retriggers;
        b.reader.notesSteady = !wandering;
        return b;
    }

    /// The held note, 0..127.
    float note;
    std::vector<float> pitch, retrig, ctrlA, ctrlB, wtmix;
    std::vector<int> shift;
    float detune[kUnisonSlots];
    float levelL[kUnisonSlots];
    float levelR[kUnisonSlots];
    int frames = kStreamFrames;
    int wave = 9;
    int count = kUnisonSlots;
    bool keyTrack = true;
    float width = 0.5f;
    float phaseValue = 0.0f;
    /// Claims modulation of wtmix, so that an engine may not leave the blend's reads out.
    bool claimWtmixModulated = false;
    /// The notes do not hold one value through the block.
    bool wandering = false;
};

/// How two renders differ.
struct Comparison {
    /// Largest difference of a sample, and the reference's loudest sample.
    float worst = 0.0f;
    float loudest = 0.0f;
    /// Energies of the difference, of the reference and of the other render.
    double differenceEnergy = 0.0;
    double energy = 0.0;
    double otherEnergy = 0.0;
};

/// Renders two engines seeded alike for kStreamBlocks blocks, `first` given the blocks of
/// blockA(streams, block), the reference `second` those of blockB, and measures how they differ.
template <class Engine, class BlockA, class BlockB>
Comparison compareRenders(const Streams& s, BlockA blockA, BlockB blockB,
                          float firstPhase = 13.7f) {
    ScopedFlushDenormals flush;
    setPitchIncrementRate(48000.0f);
    Pool pool;
    Engine first;
    Engine second;
    first.allocate(pool, kStreamFrames);
    second.allocate(pool, kStreamFrames);
    float phases[kUnisonSlots];
    for (int i = 0; i < kUnisonSlots; ++i) phases[i] = 455.1f * float(i) + firstPhase;
    first.seedPhases(phases);
    second.seedPhases(phases);
    Comparison c;
    for (int block = 0; block < kStreamBlocks; ++block) {
        first.render(blockA(s, block));
        second.render(blockB(s, block));
        for (int i = 0; i < s.frames; ++i) {
            const float l = first.left()[i], r = first.right()[i];
            const float refL = second.left()[i], refR = second.right()[i];
            EXPECT_TRUE(std::isfinite(l) && std::isfinite(r));
            c.worst = std::max({c.worst, std::fabs(l - refL), std::fabs(r - refR)});
            c.loudest = std::max(c.loudest, std::fabs(refL));
            c.differenceEnergy += double(l - refL) * (l - refL) + double(r - refR) * (r - refR);
            c.energy += double(refL) * refL + double(refR) * refR;
            c.otherEnergy += double(l) * l + double(r) * r;
        }
    }
    return c;
}

} // namespace torvo::test

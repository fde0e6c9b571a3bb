#include "effects/modulefxcompressor.h"

#include "effects/signaltools.h"
#include "engine/denormals.h"
#include "engine/engineshared.h"
#include "engine/pool.h"

#include <algorithm>

namespace torvo {

ModuleFxCompressor::ModuleFxCompressor() {
    controls.add(amount, 0);
}

void ModuleFxCompressor::createVoices() {
    compressorstages::amountCurve();
}

void ModuleFxCompressor::setParameter(int localIndex, float value) {
    if (localIndex == 0) amount.set(value);
}

void ModuleFxCompressor::setMaxBlockSize(int frames) {
    createVoices();
    if (!shared || !shared->pool || frames <= 0) return;
    Pool& pool = *shared->pool;
    controls.allocate(pool, frames);
    bool ok = amount.data() != nullptr;
    for (int b = 0; b < 3; ++b) {
        bandL[b] = pool.get("cmp", frames);
        bandR[b] = pool.get("cmp", frames);
        ok = ok && bandL[b] && bandR[b];
    }
    amountBuf = pool.get("cmp", frames);
    maxFrames = ok && amountBuf ? frames : 0;
}

void ModuleFxCompressor::designFilters() {
    // The designs are cached: with the rate unchanged each call is one comparison.
    const float rate = sampleRate;
    auto design = [&](int i, int type, float hz) {
        filters[i].design(rate, type, std::min(hz, 0.49f * rate), kSplitOctaves, 1.0f, true);
    };
    design(0, CookbookBiquad::kLowPass, kLowSplitHz);
    design(1, CookbookBiquad::kLowPass, kLowSplitHz);
    design(2, CookbookBiquad::kHighPass, kLowSplitHz);
    design(3, CookbookBiquad::kHighPass, kLowSplitHz);
    design(4, CookbookBiquad::kLowPass, kHighSplitHz);
    design(5, CookbookBiquad::kLowPass, kHighSplitHz);
    design(6, CookbookBiquad::kHighPass, kHighSplitHz);
    design(7, CookbookBiquad::kHighPass, kHighSplitHz);
}

void ModuleFxCompressor::processFx(int frames, float* const* stereo) {
    if (frames <= 0 || frames > maxFrames || !stereo || !stereo[0] || !stereo[1]) return;
    // At 0 the knob is off: untouched audio, and every state stands still until it returns.
    if (amount.targetValue() == 0.0f) return;
    ScopedFlushDenormals flush;
    controls.run(*this, frames);
    std::copy(controls[0], controls[0] + frames, amountBuf);
    TableRead(amountBuf, compressorstages::amountCurve(), compressorstages::kAmountSize, frames);

    float* left = stereo[0];
    float* right = stereo[1];
    designFilters();
    for (int b = 0; b < 3; ++b) {
        std::copy(left, left + frames, bandL[b]);
        std::copy(right, right + frames, bandR[b]);
    }
    using Band = CompressorStageSettings;
    for (int i = 0; i < 2; ++i) filters[i].process(bandL[Band::kLow], bandR[Band::kLow], frames);
    for (int i = 2; i < 6; ++i) filters[i].process(bandL[Band::kMid], bandR[Band::kMid], frames);
    for (int i = 6; i < 8; ++i) filters[i].process(bandL[Band::kHigh], bandR[Band::kHigh], frames);

    for (int i = 0; i < compressorstages::kStages; ++i) {
        const CompressorStageSettings& st = compressorstages::kStageTable[i];
        stages[i].setTimes(sampleRate, st.attackMs, st.releaseMs);
        stages[i].process(st, bandL[st.band], bandR[st.band], amountBuf, frames);
    }

    for (int s = 0; s < frames; ++s) {
        const float g = amountBuf[s] * 0.5f + 0.25f;
        left[s] = (bandL[0][s] + bandL[1][s] + bandL[2][s]) * g;
        right[s] = (bandR[0][s] + bandR[1][s] + bandR[2][s]) * g;
    }
}

} // namespace torvo

#include "effects/modulefxphaser.h"

#include "effects/phaservowels.h"
#include "effects/reverbcurves.h"
#include "effects/shapedlfo.h"
#include "effects/signaltools.h"
#include "engine/denormals.h"
#include "engine/engineshared.h"
#include "engine/pool.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

namespace torvo {

namespace {

// The LFO shape: a triangle with a good share of raised cosine in it.
constexpr float kLfoShape = 0.3f;

/// One first-order all-pass section on y with state s. The coefficient is the plain ratio
/// (1 − w) / (1 + w) of the rate, which saves a tangent per sample.
inline float allPass(float y, float a, float& s) {
    const float v = s - a * y;
    s = a * v + y;
    return v;
}

} // namespace

ModuleFxPhaser::ModuleFxPhaser() {
    controls.add(freq, 1);
    controls.add(feedback, 2);
    controls.add(spread, 3);
    controls.add(rate, 4);
    controls.add(depth, 5);
    controls.add(wet, 6);
}

void ModuleFxPhaser::createVoices() {
    lfocurves::prepare();
    reverbCurves();
}

void ModuleFxPhaser::setParameter(int localIndex, float value) {
    switch (localIndex) {
    case 0:
        stages = std::clamp(decodeList(value), 0, kLastStages);
        break;
    case 1:
        freq.set(value);
        break;
    case 2:
        feedback.set(value);
        break;
    case 3:
        spread.set(value);
        break;
    case 4:
        rate.set(value);
        break;
    case 5:
        depth.set(value);
        break;
    case 6:
        wet.set(value);
        break;
    case 7:
        mute = decodeOnOff(value);
        break;
    default:
        break;
    }
}

void ModuleFxPhaser::setMaxBlockSize(int frames) {
    createVoices();
    capacity = 0;
    if (!shared || !shared->pool || frames <= 0) return;
    Pool& pool = *shared->pool;
    controls.allocate(pool, frames);
    for (float** b : {&curveL, &curveR, &rateBuf, &outL, &outR}) *b = pool.get("phs", frames);
    if (curveL && curveR && rateBuf && outL && outR && wet.data()) capacity = frames;
}

void ModuleFxPhaser::stageModes(const float* const* in, int n) {
    const float* toneFreq = reverbCurves().toneFreq;
    const float* cFreq = controls[kFreq];
    const float* cDepth = controls[kDepth];
    const float* cSpread = controls[kSpread];
    const float invRate = 1.0f / sampleRate;
    // LFO, positions and section rates in buffer passes.
    for (int s = 0; s < n; ++s) {
        phase += rateBuf[s];
        if (phase >= 1.0f) phase -= 1.0f;
        const float cL = ShapedLfo(phase, kLfoShape);
        const float o = cSpread[s] * 0.125f;
        const float cR = o != 0.0f ? ShapedLfo(wrapPhase(phase + o), kLfoShape) : cL;
        curveL[s] = position(cL, cFreq[s], cDepth[s]);
        curveR[s] = position(cR, cFreq[s], cDepth[s]);
    }
    TableRead(curveL, toneFreq, ReverbCurves::kToneSize, n);
    TableRead(curveR, toneFreq, ReverbCurves::kToneSize, n);
    for (int s = 0; s < n; ++s) {
        const float wL = curveL[s] * invRate;
        const float wR = curveR[s] * invRate;
        curveL[s] = (1.0f - wL) / (1.0f + wL);
        curveR[s] = (1.0f - wR) / (1.0f + wR);
    }

    const int count = sectionCount(stages);
    const float* cFeedback = controls[kFeedback];
    const float* coefs[2] = {curveL, curveR};
    float* outs[2] = {outL, outR};
    for (int c = 0; c < 2; ++c) {
        const float* x = in[c];
        const float* a = coefs[c];
        float* out = outs[c];
        float* state = sections[c];
        float fb = stageFeedback[c];
        for (int s = 0; s < n; ++s) {
            const float f = cFeedback[s] * 1.9f - 0.95f;
            float y = x[s] + f * fb;
            for (int k = 0; k < count; ++k) y = allPass(y, a[s], state[k]);
            fb = y;
            out[s] = y;
        }
        stageFeedback[c] = fb;
    }
}

void ModuleFxPhaser::vowelModes(const float* const* in, int n) {
    const int k = stages - kFirstVowel;
    const float* cFreq = controls[kFreq];
    const float* cDepth = controls[kDepth];
    const float* cSpread = controls[kSpread];
    const float* cFeedback = controls[kFeedback];
    const float invRate = 1.0f / sampleRate;
    for (int s = 0; s < n; ++s) {
        phase += rateBuf[s];
        if (phase >= 1.0f) phase -= 1.0f;
        curveL[s] = position(ShapedLfo(phase, kLfoShape), cFreq[s], cDepth[s]);
    }
    std::fill(outL, outL + n, 0.0f);
    std::fill(outR, outR + n, 0.0f);
    float* outs[2] = {outL, outR};
    for (int r = 0; r < kFormants; ++r) {
        for (int c = 0; c < 2; ++c) {
            const float* x = in[c];
            float* out = outs[c];
            float fb = vowelFeedback[r][c];
            float& sa = vowelA[r][c];
            float& sb = vowelB[r][c];
            for (int s = 0; s < n; ++s) {
                float hz = phaservowels::formantHz(k, r, curveL[s]);
                if (c == 1) hz += 200.0f * cSpread[s];
                const float w = hz * invRate;
                const float a = (1.0f - w) / (1.0f + w);
                const float g = -0.09f * cFeedback[s] - 0.9f;
                float y = x[s] + g * fb;
                // Four steps over only two states, each state run twice per sample.
                y = allPass(y, a, sa);
                y = allPass(y, a, sb);
                y = allPass(y, a, sa);
                y = allPass(y, a, sb);
                fb = y;
                out[s] += y;
            }
            vowelFeedback[r][c] = fb;
        }
    }
    for (int s = 0; s < n; ++s) {
        outL[s] *= 0.25f;
        outR[s] *= 0.25f;
    }
}

void ModuleFxPhaser::processFx(int frames, float* const* stereo) {
    if (frames <= 0 || frames > capacity || !stereo || !stereo[0] || !stereo[1]) return;
    if (effectIsOff(mute, controls, *this, kWet, frames)) return;
    ScopedFlushDenormals flush;
    controls.run(*this, frames);

    std::copy(controls[kRate], controls[kRate] + frames, rateBuf);
    TableRead(rateBuf, lfocurves::rate(), lfocurves::kRateSize, frames);
    const float invRate = 1.0f / sampleRate;
    for (int s = 0; s < frames; ++s) rateBuf[s] *= invRate;

    if (stages < kFirstVowel)
        stageModes(stereo, frames);
    else
        vowelModes(stereo, frames);

    const float* w = controls[kWet];
    float* left = stereo[0];
    float* right = stereo[1];
    for (int s = 0; s < frames; ++s) {
        left[s] = left[s] * (1.0f - w[s]) + outL[s] * w[s];
        right[s] = right[s] * (1.0f - w[s]) + outR[s] * w[s];
    }
}

void ModuleFxPhaser::clear() {
    for (float* b : {curveL, curveR, rateBuf, outL, outR})
        if (b) std::fill(b, b + capacity, 0.0f);
}

bool ModuleFxPhaser::holdsSubnormals() const {
    auto sub = [](float x) { return std::fpclassify(x) == FP_SUBNORMAL; };
    for (int c = 0; c < 2; ++c) {
        if (sub(stageFeedback[c])) return true;
        for (float s : sections[c])
            if (sub(s)) return true;
        for (int r = 0; r < kFormants; ++r)
            if (sub(vowelFeedback[r][c]) || sub(vowelA[r][c]) || sub(vowelB[r][c])) return true;
    }
    return false;
}

} // namespace torvo

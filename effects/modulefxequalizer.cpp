#include "effects/modulefxequalizer.h"

#include "effects/reverbcurves.h"
#include "effects/signaltools.h"
#include "engine/denormals.h"
#include "engine/engineshared.h"
#include "engine/pool.h"

#include <algorithm>

#include <emmintrin.h>

namespace torvo {

namespace {
constexpr int kLocalFirstBand = 4;
constexpr int kLocalVolume = 13;

const float kGainCurve[ModuleFxEqualizer::kGainCurveSize + 1] = {
    -20.0f,    -19.3081f, -18.5276f, -17.6574f, -16.6972f, -15.6474f, -14.5094f,
    -13.2711f, -11.9499f, -10.5508f, -9.0703f,  -7.5219f,  -5.9182f,  -4.261f,
    -2.5716f,  -0.8596f,  0.8596f,   2.5716f,   4.261f,    5.9182f,   7.5219f,
    9.0703f,   10.5508f,  11.9499f,  13.2711f,  14.5094f,  15.6474f,  16.6972f,
    17.6574f,  18.5276f,  19.3081f,  20.0f,     20.0f};

// A straight line in the middle that bends smoothly into ±1 at both ends, reached at an
// input of ±2.5 / volume. A table and not a gain, so silence maps to the mean of its two
// middle points, which is exactly 0.
const float kLimiterCurve[ModuleFxEqualizer::kLimiterSize + 1] = {
    -1.0f,    -0.9826f, -0.941f,  -0.8727f, -0.7758f, -0.6504f, -0.5f,
    -0.3571f, -0.2143f, -0.0714f, 0.0714f,  0.2143f,  0.3571f,  0.5f,
    0.6504f,  0.7758f,  0.8727f,  0.941f,   0.9826f,  1.0f,     1.0f};

constexpr int kBandType[ModuleFxEqualizer::kBands] = {
    CookbookBiquad::kLowShelf, CookbookBiquad::kPeaking, CookbookBiquad::kHighShelf};

// Colour filters: `warm` takes out what is below hearing and lifts the low end; `soft` adds a
// little air, then rounds off the very top.
constexpr float kWarmHighPassHz = 5.0f, kWarmHighPassQ = 0.23023f;
constexpr float kWarmShelfHz = 68.1522f, kWarmShelfQ = 0.23562f, kWarmShelfDb = 7.75416f;
constexpr float kSoftPeakHz = 15657.91f, kSoftPeakQ = 0.37618f, kSoftPeakDb = 1.17119f;
constexpr float kSoftLowPassHz = 18848.18f, kSoftLowPassQ = 0.23023f;

// Designs above the Nyquist frequency would be unstable at low host rates.
float belowNyquist(float hz, float rate) {
    return std::min(hz, 0.49f * rate);
}

/// limit() times `scale` over a block, four samples at a time: the same steps as the scalar
/// form (the clamp that sends a NaN to the first point, the truncation, the two points and
/// their blend), so the same bits.
void limitBlock(float* x, const float* v, int frames, float scale) {
    const __m128 fifth = _mm_set1_ps(0.2f), half = _mm_set1_ps(0.5f), one = _mm_set1_ps(1.0f);
    const __m128 last = _mm_set1_ps(float(ModuleFxEqualizer::kLimiterSize - 1));
    const __m128 gain = _mm_set1_ps(scale);
    const float* curve = kLimiterCurve;
    alignas(16) int cell[4];
    int i = 0;
    for (; i + 4 <= frames; i += 4) {
        const __m128 t = _mm_add_ps(
            _mm_mul_ps(_mm_mul_ps(_mm_loadu_ps(x + i), _mm_loadu_ps(v + i)), fifth), half);
        const __m128 c = _mm_and_ps(_mm_cmpgt_ps(t, _mm_setzero_ps()), _mm_min_ps(t, one));
        const __m128 u = _mm_mul_ps(c, last);
        const __m128i whole = _mm_cvttps_epi32(u);
        const __m128 frac = _mm_sub_ps(u, _mm_cvtepi32_ps(whole));
        _mm_store_si128(reinterpret_cast<__m128i*>(cell), whole);
        const __m128 p0 =
            _mm_setr_ps(curve[cell[0]], curve[cell[1]], curve[cell[2]], curve[cell[3]]);
        const __m128 p1 = _mm_setr_ps(curve[cell[0] + 1], curve[cell[1] + 1], curve[cell[2] + 1],
                                      curve[cell[3] + 1]);
        const __m128 y = _mm_add_ps(p0, _mm_mul_ps(frac, _mm_sub_ps(p1, p0)));
        _mm_storeu_ps(x + i, _mm_mul_ps(y, gain));
    }
    for (; i < frames; ++i) x[i] = ModuleFxEqualizer::limit(x[i], v[i]) * scale;
}
} // namespace

void ModuleFxEqualizer::createVoices() {
    reverbCurves(); // built here, never on the audio thread
    if (controls.count() != 0) return;
    for (int b = 0; b < kBandValues; ++b) controls.add(bands[b], kLocalFirstBand + b);
    volumeSlot = controls.add(volume, kLocalVolume);
}

void ModuleFxEqualizer::setParameter(int localIndex, float value) {
    if (localIndex >= kLocalFirstBand && localIndex < kLocalFirstBand + kBandValues) {
        bands[localIndex - kLocalFirstBand].set(value);
        return;
    }
    switch (localIndex) {
    case 0:
        power = decodeOnOff(value);
        break;
    case 1:
        warm = decodeOnOff(value);
        break;
    case 2:
        soft = decodeOnOff(value);
        break;
    case 3:
        boost = decodeOnOff(value);
        break;
    case kLocalVolume:
        volume.set(value);
        break;
    default:
        break;
    }
}

void ModuleFxEqualizer::setMaxBlockSize(int frames) {
    if (!shared || !shared->pool || frames <= 0) return;
    if (controls.count() == 0) createVoices();
    controls.allocate(*shared->pool, frames);
    maxFrames = volume.data() ? frames : 0;
}

float ModuleFxEqualizer::bandGainDb(float level) {
    return TableValue(kGainCurve, kGainCurveSize, level);
}

// The band frequency and Q laws are the reverb's semitone and Q curves: one table each for
// the whole instrument.
float ModuleFxEqualizer::bandFrequency(float control) {
    return TableValue(reverbCurves().toneFreq, ReverbCurves::kToneSize, control);
}

float ModuleFxEqualizer::bandQ(float control) {
    return TableValue(reverbCurves().q, ReverbCurves::kQSize, control);
}

float ModuleFxEqualizer::limit(float x, float v) {
    return TableValue(kLimiterCurve, kLimiterSize, x * v * 0.2f + 0.5f);
}

void ModuleFxEqualizer::eqStage(int frames, float* const* stereo) {
    if (!power || frames <= 0 || frames > maxFrames || !stereo) return;
    ScopedFlushDenormals flush;
    for (int b = 0; b < kBandValues; ++b) controls.runOne(*this, b, frames);
    float* left = stereo[0];
    float* right = stereo[1];
    if (controlsStandStill(frames)) {
        // Every per-sample design would equal the first one, and each band is a filter of its
        // own: run the bands one after the other over the whole block.
        for (int b = 0; b < kBands; ++b) {
            designBand(b, 0);
            bandFilters[b].process(left, right, frames);
        }
        return;
    }
    for (int i = 0; i < frames; ++i) {
        float l = left[i], r = right[i];
        for (int b = 0; b < kBands; ++b) {
            // The design cache makes this a comparison while the controls stand still.
            designBand(b, i);
            l = bandFilters[b].processSample(0, l);
            r = bandFilters[b].processSample(1, r);
        }
        left[i] = l;
        right[i] = r;
    }
}

void ModuleFxEqualizer::designBand(int band, int i) {
    bandFilters[band].design(
        sampleRate, kBandType[band], belowNyquist(bandFrequency(controls[3 * band][i]), sampleRate),
        bandQ(controls[3 * band + 1][i]), bandGainDb(controls[3 * band + 2][i]));
}

bool ModuleFxEqualizer::controlsStandStill(int frames) const {
    for (int c = 0; c < kBandValues; ++c) {
        const float* x = controls[c];
        const float first = x[0];
        for (int i = 1; i < frames; ++i)
            if (x[i] != first) return false;
    }
    return true;
}

void ModuleFxEqualizer::designTone() {
    warmHighPass.design(sampleRate, CookbookBiquad::kHighPass, kWarmHighPassHz, kWarmHighPassQ,
                        0.0f);
    warmShelf.design(sampleRate, CookbookBiquad::kLowShelf, kWarmShelfHz, kWarmShelfQ,
                     kWarmShelfDb);
    softPeak.design(sampleRate, CookbookBiquad::kPeaking, belowNyquist(kSoftPeakHz, sampleRate),
                    kSoftPeakQ, kSoftPeakDb);
    softLowPass.design(sampleRate, CookbookBiquad::kLowPass,
                       belowNyquist(kSoftLowPassHz, sampleRate), kSoftLowPassQ, 0.0f);
}

void ModuleFxEqualizer::toneStage(int frames, float* const* stereo) {
    if ((!warm && !soft) || frames <= 0 || !stereo) return;
    ScopedFlushDenormals flush;
    designTone();
    if (warm) {
        warmHighPass.process(stereo[0], stereo[1], frames);
        warmShelf.process(stereo[0], stereo[1], frames);
    }
    if (soft) {
        softPeak.process(stereo[0], stereo[1], frames);
        softLowPass.process(stereo[0], stereo[1], frames);
    }
}

void ModuleFxEqualizer::outputStage(int frames, float* const* stereo) {
    if (frames <= 0 || frames > maxFrames || !stereo) return;
    ScopedFlushDenormals flush;
    controls.runOne(*this, volumeSlot, frames);
    const float* v = controls[volumeSlot];
    const float scale = boost ? 2.0f : 1.0f;
    for (int c = 0; c < 2; ++c) limitBlock(stereo[c], v, frames, scale);
}

} // namespace torvo

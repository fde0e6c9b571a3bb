#include "effects/stereosvf.h"

#include "effects/signaltools.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace torvo {

namespace {

/// The curve is one semitone a step: anchors every octave, geometric in between. It doubles
/// each octave up to index 108, then bends a little below doubling towards the top.
std::array<float, StereoSvf::kCurveSize + 1> makeCutoffCurve() {
    constexpr int kAnchorIndex[] = {0, 12, 24, 36, 48, 60, 72, 84, 96, 108, 119};
    constexpr double kAnchorValue[] = {0.000777, 0.001647, 0.003294, 0.00659,  0.013178, 0.026358,
                                       0.052706, 0.10538,  0.21043,  0.418317, 0.738};
    std::array<float, StereoSvf::kCurveSize + 1> curve{};
    for (int a = 0; a + 1 < 11; ++a) {
        const int i0 = kAnchorIndex[a];
        const int i1 = kAnchorIndex[a + 1];
        const double ratio = std::log(kAnchorValue[a + 1] / kAnchorValue[a]) / (i1 - i0);
        for (int i = i0; i <= i1; ++i)
            curve[i] = static_cast<float>(kAnchorValue[a] * std::exp(ratio * (i - i0)));
    }
    curve[StereoSvf::kCurveSize] = curve[StereoSvf::kCurveSize - 1];
    return curve;
}

constexpr int kChunk = 64;

} // namespace

const float* StereoSvf::cutoffCurve() {
    static const std::array<float, kCurveSize + 1> curve = makeCutoffCurve();
    return curve.data();
}

void StereoSvf::setSampleRate(float rate) {
    rateScale = rate == 44100.0f || !(rate > 0.0f) ? 1.0f : 44100.0f / rate;
}

void StereoSvf::reset() {
    channels[0] = Channel{};
    channels[1] = Channel{};
}

void StereoSvf::run(Channel& c, float* x, const float* f, float damping, int tap, int n) {
    float low = c.low, band = c.band, high = c.high, notch = c.notch;
    for (int i = 0; i < n; ++i) {
        const float in = x[i];
        const float fi = f[i];
        float out = 0.0f;
        for (int pass = 0; pass < 2; ++pass) {
            notch = in - band * damping;
            low = low + band * fi;
            high = notch - low;
            band = band + high * fi;
            const float selected = tap == kLow    ? low
                                   : tap == kBand ? band
                                   : tap == kHigh ? high
                                                  : notch;
            out += 0.5f * selected;
        }
        x[i] = out;
    }
    c.low = low;
    c.band = band;
    c.high = high;
    c.notch = notch;
}

void StereoSvf::process(float* left, float* right, const float* cutoff, float damping, int tap,
                        int n) {
    // Coefficients are made a chunk at a time on the stack, so the filter needs no buffers.
    float f[kChunk];
    const float* curve = cutoffCurve();
    for (int start = 0; start < n; start += kChunk) {
        const int count = std::min(kChunk, n - start);
        std::copy(cutoff + start, cutoff + start + count, f);
        TableRead(f, curve, kCurveSize, count);
        if (rateScale != 1.0f)
            for (int i = 0; i < count; ++i) f[i] *= rateScale;
        run(channels[0], left + start, f, damping, tap, count);
        run(channels[1], right + start, f, damping, tap, count);
    }
}

} // namespace torvo

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

namespace {

struct Pass {
    float low, band, high, notch;
    // One Chamberlin step on the same input; answers the selected tap.
    template <int Tap> float step(float in, float f, float damping) {
        notch = in - band * damping;
        low = low + band * f;
        high = notch - low;
        band = band + high * f;
        return Tap == StereoSvf::kLow    ? low
               : Tap == StereoSvf::kBand ? band
               : Tap == StereoSvf::kHigh ? high
                                         : notch;
    }
};

template <int Tap>
void runBoth(Pass& l, Pass& r, float* left, float* right, const float* f, float damping, int n) {
    // Both channels in one loop, so that their recursions overlap in the pipeline.
    for (int i = 0; i < n; ++i) {
        const float xl = left[i], xr = right[i], fi = f[i];
        float outL = 0.5f * l.step<Tap>(xl, fi, damping);
        float outR = 0.5f * r.step<Tap>(xr, fi, damping);
        outL += 0.5f * l.step<Tap>(xl, fi, damping);
        outR += 0.5f * r.step<Tap>(xr, fi, damping);
        left[i] = outL;
        right[i] = outR;
    }
}

} // namespace

void StereoSvf::process(float* left, float* right, const float* cutoff, float damping, int tap,
                        int n) {
    // Coefficients are made a chunk at a time on the stack, so the filter needs no buffers.
    float f[kChunk];
    const float* curve = cutoffCurve();
    Pass l{channels[0].low, channels[0].band, channels[0].high, channels[0].notch};
    Pass r{channels[1].low, channels[1].band, channels[1].high, channels[1].notch};
    for (int start = 0; start < n; start += kChunk) {
        const int count = std::min(kChunk, n - start);
        std::copy(cutoff + start, cutoff + start + count, f);
        TableRead(f, curve, kCurveSize, count);
        if (rateScale != 1.0f)
            for (int i = 0; i < count; ++i) f[i] *= rateScale;
        float* xl = left + start;
        float* xr = right + start;
        switch (tap) {
        case kLow:
            runBoth<kLow>(l, r, xl, xr, f, damping, count);
            break;
        case kBand:
            runBoth<kBand>(l, r, xl, xr, f, damping, count);
            break;
        case kHigh:
            runBoth<kHigh>(l, r, xl, xr, f, damping, count);
            break;
        default:
            runBoth<kNotch>(l, r, xl, xr, f, damping, count);
            break;
        }
    }
    channels[0] = Channel{l.low, l.band, l.high, l.notch};
    channels[1] = Channel{r.low, r.band, r.high, r.notch};
}

} // namespace torvo

#pragma once
// The LFO tables that the chorus, the delay and the phaser share: the 12-point rate law from
// 0 to 100 Hz, the 256-point raised cosine, and the shaped LFO that blends a triangle into the
// raised cosine or flattens the cosine's top.

#include "effects/signaltools.h"

namespace torvo {
namespace lfocurves {

constexpr int kRateSize = 12;
constexpr int kCosineSize = 256;

/// `RateCurve`: 0, 0.06, 0.17 ... 30, 100 Hz, read at control × 11.
const float* rate();
/// `RaisedCosine`: 0.5 − 0.5 cos(2π i / 256), three decimals, read at phase × 255.
const float* raisedCosine();

/// Builds both tables now (outside the audio thread).
void prepare();

/// Rate in Hz for a normalised rate control.
inline float rateHz(float control) {
    return TableValue(rate(), kRateSize, control);
}

/// The raised cosine at a phase in 0..1.
inline float cosineAt(float phase) {
    return TableValue(raisedCosine(), kCosineSize, phase);
}

} // namespace lfocurves

/// The shaped LFO at phase p (0..1). Up to h = 0.5 it blends the triangle 2 min(p, 1 − p)
/// into the raised cosine (h = 0: the triangle alone); above 0.5 it lifts the raised cosine
/// around its middle and clips it at the top, so that it dwells there.
inline float ShapedLfo(float p, float h) {
    const float r = lfocurves::cosineAt(p);
    if (h <= 0.5f) {
        const float triangle = 2.0f * (p < 1.0f - p ? p : 1.0f - p);
        return (1.0f - 2.0f * h) * triangle + 2.0f * h * r;
    }
    const float u = 2.0f * h - 1.0f;
    const float lifted = (1.0f + 10.0f * u * u * u) * (r - 0.5f);
    return (lifted < 0.5f ? lifted : 0.5f) + 0.5f;
}

/// Wraps a phase that may have passed 1 back into 0..1.
inline float wrapPhase(float p) {
    return p >= 1.0f ? p - static_cast<float>(static_cast<int>(p)) : p;
}

} // namespace torvo

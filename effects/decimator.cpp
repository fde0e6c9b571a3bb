#include "effects/decimator.h"

#include "effects/shapercurves.h"
#include "effects/signaltools.h"

namespace torvo {

namespace {
constexpr float kHoldUnit = 220.0f;
// Far inside the int range even after the doubling below.
constexpr float kQuantLimit = 1.0e9f;

float holdSamples(float rateControl, int factor, float sampleRate) {
    // The hold shrinks as the rate rises: 44100 / rate, not its inverse. That is the
    // instrument's sound at high rates and is kept.
    const float ratio = sampleRate > 0.0f ? 44100.0f / sampleRate : 1.0f;
    return TableValue(shapercurves::hold(), shapercurves::kLawSize, rateControl) * ratio *
               kHoldUnit * static_cast<float>(factor) +
           1.0f;
}
} // namespace

int Decimator::holdLength(float rateControl, int factor, float sampleRate) {
    return static_cast<int>(holdSamples(rateControl, factor, sampleRate));
}

float Decimator::levels(float bitControl) {
    return TableValue(shapercurves::bits(), shapercurves::kLawSize, bitControl);
}

float Decimator::quantise(float x, float levels) {
    float v = 2.0f * levels * x + 0.5f;
    v = v > kQuantLimit ? kQuantLimit : (v < -kQuantLimit ? -kQuantLimit : v);
    if (v != v) v = 0.0f;
    // Truncation, then an arithmetic shift: the rounding is deliberately lopsided below zero.
    return static_cast<float>(static_cast<int>(v) >> 1) / levels;
}

void Decimator::process(float* left, float* right, const float* bits, const float* rate, int factor,
                        float sampleRate, int n) {
    if (n <= 0) return;
    // Both laws are read again only when their control moves.
    float lastRate = rate[0];
    int hold = holdLength(lastRate, factor, sampleRate);
    float lastBits = bits[0];
    float lv = levels(lastBits);
    int c = counter;
    float hl = held[0], hr = held[1];
    for (int i = 0; i < n; ++i) {
        if (rate[i] != lastRate) {
            lastRate = rate[i];
            hold = holdLength(lastRate, factor, sampleRate);
        }
        if (++c >= hold) {
            c = 0;
            if (bits[i] != lastBits) {
                lastBits = bits[i];
                lv = levels(lastBits);
            }
            hl = quantise(left[i], lv);
            hr = quantise(right[i], lv);
        }
        left[i] = hl;
        right[i] = hr;
    }
    counter = c;
    held[0] = hl;
    held[1] = hr;
}

void Decimator::reset() {
    counter = 0;
    held[0] = held[1] = 0.0f;
}

} // namespace torvo

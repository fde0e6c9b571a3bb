#include "engine/paramsmoother.h"

#include "engine/pool.h"

#include <cmath>

namespace torvo {

namespace {
constexpr float kPi = 3.14159265358979f;
constexpr float kSlowCutoff = 24.0f;
constexpr float kFastCutoff = 240.0f;
constexpr float kSettleDistance = 0.001f;

float coefficient(float cutoffHz, float rate) {
    return std::sin(kPi * cutoffHz / rate);
}
} // namespace

void ParamSmoother::allocate(Pool& pool, int frames) {
    buffer = pool.get("prm", frames);
    state = Settled;
}

void ParamSmoother::set(float value) {
    target = value;
    state = Running;
    if (std::fabs(value - current) >= 0.5f) {
        cutoff = kFastCutoff;
        if (lastRate > 0.0f) {
            coef = coefficient(cutoff, lastRate);
            coefInverse = 1.0f - coef;
        }
    }
}

void ParamSmoother::reset(float value) {
    target = current = value;
    state = Settled;
}

void ParamSmoother::process(int frames, float rate) {
    if (!buffer || frames <= 0) return;
    if (frames != lastFrames && state == Idle) state = Settled;
    lastFrames = frames;
    if (state == Idle) return;
    if (state == Settled) {
        const int padded = (frames + 3) & ~3;
        for (int i = 0; i < padded; ++i) buffer[i] = current;
        state = Idle;
        return;
    }
    if (rate != lastRate) {
        lastRate = rate;
        coef = coefficient(cutoff, rate);
        coefInverse = 1.0f - coef;
    }
    float c = current;
    const float t = target;
    const float k = coef;
    for (int i = 0; i < frames; ++i) {
        c += (t - c) * k;
        buffer[i] = c;
    }
    current = c;
    if (std::fabs(t - c) < kSettleDistance) {
        current = t;
        state = Settled;
        cutoff = kSlowCutoff;
        coef = coefficient(cutoff, rate);
        coefInverse = 1.0f - coef;
    }
}

} // namespace torvo

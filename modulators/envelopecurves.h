#pragma once
// The shape tables of the envelope: the time law and the curves of the moving stages. Each has
// 32 points read at x * 31 with linear interpolation; at x = 1 the last point stands alone.

namespace torvo {

constexpr int kEnvCurvePoints = 32;

struct EnvelopeCurves {
    /// Stage time in units of 44 seconds, by the time parameter.
    static const float envTime[kEnvCurvePoints];
    static const float attackExp[kEnvCurvePoints];
    static const float attackPow[kEnvCurvePoints];
    static const float decayExp2[kEnvCurvePoints];
    static const float decayPow[kEnvCurvePoints];
    static const float decayExp1[kEnvCurvePoints];
    /// The short overshoot of the "Exp1" decay, 1 falling to 0.
    static const float bounceCurve[kEnvCurvePoints];
    static const float slopeExp[kEnvCurvePoints];
    static const float slopePow[kEnvCurvePoints];
    static const float releaseExp2[kEnvCurvePoints];
    static const float releasePow[kEnvCurvePoints];
    static const float releaseExp1[kEnvCurvePoints];
};

/// Reads a 32-point curve at x in 0..1 (clamped). Point 31 pairs with point 0 at fraction 0.
inline float readEnvCurve(const float* table, float x) {
    if (!(x > 0.0f)) return table[0];
    if (x >= 1.0f) return table[kEnvCurvePoints - 1];
    const float at = x * 31.0f;
    const int i = static_cast<int>(at);
    const float frac = at - static_cast<float>(i);
    const float next = i + 1 < kEnvCurvePoints ? table[i + 1] : table[0];
    return table[i] + frac * (next - table[i]);
}

/// Per-sample rate of a stage from its (modulated) time parameter: 1 / (sr * 44 * T + 1), so
/// the longest stage lasts 44 seconds and x = 0 takes exactly one sample. A value that is not
/// finite counts as time 0.
float envelopeRate(float x, float sampleRate);

} // namespace torvo

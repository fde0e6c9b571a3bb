#pragma once
// The point tables of the filter models. Each table holds one readable point behind its last
// (a copy of point 0), which the interpolating read takes with weight 0, so a read at exactly
// 1.0 needs no test for the end. Built once per process; warm() builds them off the audio path.

#include <algorithm>

namespace torvo {

struct FilterCurves {
    static constexpr int kCutoffPoints = 120;
    static constexpr int kCurvePoints = 32;
    static constexpr int kHighEdgePoints = 128;
    static constexpr int kRedOutputPoints = 20;
    static constexpr int kSinPoints = 1024;

    float ladderCutoff[kCutoffPoints + 1];
    float svfCutoff[kCutoffPoints + 1];
    float toneHz[kCutoffPoints + 1];
    float perfectoRes[kCurvePoints + 1];
    float acidoRes[kCurvePoints + 1];
    float perfectoBpGain[kCurvePoints + 1];
    float perfectoLpGain[kCurvePoints + 1];
    float svfDamping[kCurvePoints + 1];
    float scorpioSlopeRed[kCurvePoints + 1];
    float scorpioSlopeBlack2[kCurvePoints + 1];
    float scorpioSlopeBlack4[kCurvePoints + 1];
    float scorpioResCurve[kCurvePoints + 1];
    float scorpioDriveRes[kCurvePoints + 1];
    float scorpioDriveCut[kCurvePoints + 1];
    float scorpioHighEdge[kHighEdgePoints + 1];
    float redOutputCurve[kRedOutputPoints + 1];
    /// sin(pi x) over 0..1, rounded to three decimals.
    float sinCoef[kSinPoints + 1];
};

/// The process-wide tables, built on first use.
const FilterCurves& filterCurves();

/// Reads a table of M - 1 points (plus the guard) at x in 0..1 with linear interpolation;
/// x is clamped.
template <int M> inline float readCurve(const float (&table)[M], float x) {
    const float p = std::clamp(x, 0.0f, 1.0f) * float(M - 2);
    const int i = int(p);
    const float f = p - float(i);
    return table[i] + (table[i + 1] - table[i]) * f;
}

/// The same read at a point position 0..M-2 (already scaled).
template <int M> inline float readCurveAt(const float (&table)[M], float position) {
    const float p = std::clamp(position, 0.0f, float(M - 2));
    const int i = int(p);
    const float f = p - float(i);
    return table[i] + (table[i + 1] - table[i]) * f;
}

} // namespace torvo

#include "effects/reverbcurves.h"

#include "effects/smoothcurve.h"

#include <algorithm>
#include <cmath>

namespace torvo {

namespace {

constexpr double kPi = 3.14159265358979323846;

/// Fills `size` points by a monotone cubic through the knots (index, value), so the shape of
/// the listed points is kept without overshoot between them. With `logDomain` the cubic runs
/// on the logarithm of the values (for curves that grow by ratios).
void fillMonotone(float* out, int size, const int* knotIndex, const double* knotValue, int knots,
                  bool logDomain) {
    fillSmoothCurve(out, knotIndex, knotValue, knots, logDomain);
    out[size] = out[size - 1];
}

ReverbCurves build() {
    ReverbCurves c{};
    const int controlKnots[] = {0, 4, 8, 12, 16, 20, 24, 28, 31};
    const double decay[] = {0, 0.3967, 0.6242, 0.7652, 0.857, 0.9183, 0.9594, 0.9864, 1.0};
    const double damp[] = {0, 0.0258, 0.0616, 0.1125, 0.185, 0.2884, 0.4402, 0.68, 1.0};
    const double wet[] = {0, 0.048, 0.1099, 0.1905, 0.2968, 0.4379, 0.6208, 0.8358, 1.0};
    fillMonotone(c.decay, ReverbCurves::kControlSize, controlKnots, decay, 9, false);
    fillMonotone(c.damp, ReverbCurves::kControlSize, controlKnots, damp, 9, false);
    fillMonotone(c.wet, ReverbCurves::kControlSize, controlKnots, wet, 9, false);

    const int qKnots[] = {0, 16, 32, 48, 64, 80, 96, 112, 127};
    const double q[] = {0.083, 0.1226, 0.1628, 0.2136, 0.2969, 0.4664, 0.866, 1.9153, 4.0};
    fillMonotone(c.q, ReverbCurves::kQSize, qKnots, q, 9, true);

    for (int i = 0; i <= ReverbCurves::kToneSize; ++i)
        c.toneFreq[i] = static_cast<float>(20.602 * std::pow(2.0, std::min(i, 119) / 12.0));
    for (int i = 0; i <= ReverbCurves::kSineSize; ++i) {
        const int k = i < ReverbCurves::kSineSize ? i : ReverbCurves::kSineSize - 1;
        const double s = std::sin(kPi * k / double(ReverbCurves::kSineSize - 1));
        c.sineCoef[i] = static_cast<float>(std::round(s * 1000.0) / 1000.0);
    }
    const float noteTimes[] = {3.75f, 7.5f, 10,  11.25f, 15,  20,  22.5f, 30,  40,   45,  60,
                               80,    90,   120, 160,    180, 240, 480,   960, 1920, 3840};
    for (int i = 0; i < ReverbCurves::kNoteTimes; ++i) c.noteTime[i] = noteTimes[i];
    return c;
}

} // namespace

const ReverbCurves& reverbCurves() {
    static const ReverbCurves curves = build();
    return curves;
}

} // namespace torvo

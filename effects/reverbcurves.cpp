#include "effects/reverbcurves.h"

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
    double y[16];
    double slope[16];
    double m[16];
    for (int k = 0; k < knots; ++k) y[k] = logDomain ? std::log(knotValue[k]) : knotValue[k];
    for (int k = 0; k + 1 < knots; ++k)
        slope[k] = (y[k + 1] - y[k]) / double(knotIndex[k + 1] - knotIndex[k]);
    m[0] = slope[0];
    m[knots - 1] = slope[knots - 2];
    for (int k = 1; k + 1 < knots; ++k) {
        if (slope[k - 1] * slope[k] <= 0.0) {
            m[k] = 0.0;
        } else {
            const double h0 = knotIndex[k] - knotIndex[k - 1];
            const double h1 = knotIndex[k + 1] - knotIndex[k];
            const double w1 = 2.0 * h1 + h0;
            const double w2 = h1 + 2.0 * h0;
            m[k] = (w1 + w2) / (w1 / slope[k - 1] + w2 / slope[k]);
        }
    }
    for (int k = 0; k + 1 < knots; ++k) {
        const double h = knotIndex[k + 1] - knotIndex[k];
        for (int i = knotIndex[k]; i <= knotIndex[k + 1]; ++i) {
            const double t = (i - knotIndex[k]) / h;
            const double t2 = t * t;
            const double t3 = t2 * t;
            const double v = (2 * t3 - 3 * t2 + 1) * y[k] + (t3 - 2 * t2 + t) * h * m[k] +
                             (-2 * t3 + 3 * t2) * y[k + 1] + (t3 - t2) * h * m[k + 1];
            out[i] = static_cast<float>(logDomain ? std::exp(v) : v);
        }
    }
    for (int k = 0; k < knots; ++k) out[knotIndex[k]] = static_cast<float>(knotValue[k]);
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

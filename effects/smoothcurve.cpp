#include "effects/smoothcurve.h"

#include <cmath>

namespace torvo {

void fillSmoothCurve(float* out, const int* knotIndex, const double* knotValue, int knots,
                     bool logDomain) {
    constexpr int kMaxKnots = 32;
    if (knots < 2 || knots > kMaxKnots) return;
    double y[kMaxKnots];
    for (int k = 0; k < knots; ++k) y[k] = logDomain ? std::log(knotValue[k]) : knotValue[k];
    double slope[kMaxKnots];
    double m[kMaxKnots];
    for (int k = 0; k + 1 < knots; ++k)
        slope[k] = (y[k + 1] - y[k]) / double(knotIndex[k + 1] - knotIndex[k]);
    m[0] = slope[0];
    m[knots - 1] = slope[knots - 2];
    for (int k = 1; k + 1 < knots; ++k) {
        if (slope[k - 1] * slope[k] <= 0.0) {
            m[k] = 0.0;
            continue;
        }
        // Weighted harmonic mean of the neighbouring slopes (Fritsch-Butland): keeps the
        // cubic inside the range of its two knots.
        const double h0 = knotIndex[k] - knotIndex[k - 1];
        const double h1 = knotIndex[k + 1] - knotIndex[k];
        const double w1 = 2.0 * h1 + h0;
        const double w2 = h1 + 2.0 * h0;
        m[k] = (w1 + w2) / (w1 / slope[k - 1] + w2 / slope[k]);
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
    out[knotIndex[knots - 1] + 1] = out[knotIndex[knots - 1]];
}

} // namespace torvo

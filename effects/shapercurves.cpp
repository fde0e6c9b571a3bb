#include "effects/shapercurves.h"

#include <array>
#include <cmath>

namespace torvo {
namespace shapercurves {

namespace {

constexpr int kKnots = 17;
using Knots = std::array<double, kKnots>;
using Shape = std::array<float, kShapeSize + 1>;

/// The 1024-point curves are drawn through 17 knots at 0, 64 ... 960 and 1023 by a natural
/// cubic spline: it keeps the soft shoulders and lets the folded curves peak between knots,
/// as `warm` and `tube1` do. Values are kept to four decimals.
Shape splineCurve(const Knots& y, int decimals = 4) {
    double x[kKnots];
    for (int k = 0; k < kKnots; ++k) x[k] = k == kKnots - 1 ? 1023.0 : 64.0 * k;
    // Second derivatives by the tridiagonal system with natural ends.
    double m[kKnots] = {}, c[kKnots] = {}, d[kKnots] = {};
    for (int k = 1; k < kKnots - 1; ++k) {
        const double h0 = x[k] - x[k - 1];
        const double h1 = x[k + 1] - x[k];
        const double a = h0, b = 2.0 * (h0 + h1), cc = h1;
        const double r = 6.0 * ((y[k + 1] - y[k]) / h1 - (y[k] - y[k - 1]) / h0);
        const double denom = b - a * c[k - 1];
        c[k] = cc / denom;
        d[k] = (r - a * d[k - 1]) / denom;
    }
    for (int k = kKnots - 2; k >= 1; --k) m[k] = d[k] - c[k] * m[k + 1];

    const double scale = std::pow(10.0, decimals);
    Shape out{};
    int seg = 0;
    for (int i = 0; i < kShapeSize; ++i) {
        while (seg < kKnots - 2 && i > x[seg + 1]) ++seg;
        const double h = x[seg + 1] - x[seg];
        const double t0 = x[seg + 1] - i, t1 = i - x[seg];
        const double v = m[seg] * t0 * t0 * t0 / (6 * h) + m[seg + 1] * t1 * t1 * t1 / (6 * h) +
                         (y[seg] / h - m[seg] * h / 6) * t0 +
                         (y[seg + 1] / h - m[seg + 1] * h / 6) * t1;
        out[i] = static_cast<float>(std::round(v * scale) / scale);
    }
    out[kShapeSize] = out[kShapeSize - 1];
    return out;
}

template <std::size_t N> std::array<float, N + 1> withGuard(const std::array<float, N>& points) {
    std::array<float, N + 1> out{};
    for (std::size_t i = 0; i < N; ++i) out[i] = points[i];
    out[N] = points[N - 1];
    return out;
}

const Shape& softTable() {
    static const Shape t =
        splineCurve({-1.0, -0.9882, -0.9523, -0.8871, -0.7875, -0.6473, -0.4648, -0.2436, 0.002,
                     0.2473, 0.468, 0.6497, 0.7895, 0.8883, 0.953, 0.9885, 1.0});
    return t;
}

const Shape& warmTable() {
    static const Shape t =
        splineCurve({-0.8, -0.904, -0.9643, -0.9722, -0.918, -0.7907, -0.5874, -0.3144, 0.0025,
                     0.319, 0.5912, 0.7932, 0.9195, 0.9724, 0.9637, 0.9025, 0.8});
    return t;
}

const Shape& hardTable() {
    static const Shape t =
        splineCurve({-1.0, -0.9964, -0.9847, -0.9616, -0.9242, -0.8647, -0.7674, -0.5876, 0.0096,
                     0.5915, 0.7694, 0.8659, 0.9249, 0.9621, 0.985, 0.9965, 1.0});
    return t;
}

const Shape& tube1Table() {
    static const Shape t =
        splineCurve({-1.0, -0.9925, -0.9692, -0.9244, -0.8519, -0.74, -0.5733, -0.3273, -0.0043,
                     0.2741, 0.4099, 0.44, 0.408, 0.3381, 0.2434, 0.1308, 0.008});
    return t;
}

const Shape& foldNegTable() {
    static const Shape t =
        splineCurve({-1.0, -1.0714, -1.1297, -1.1757, -1.2099, -1.2324, -1.2431, -1.2418, -1.2276,
                     -1.1996, -1.156, -1.0945, -1.011, -0.8979, -0.7423, -0.5092, 0.0});
    return t;
}

Shape makeClip() {
    Shape t{};
    // The clamp of the table read is the clipper; the table itself is a straight line.
    for (int i = 0; i < kShapeSize; ++i) t[i] = static_cast<float>(-0.9 + 1.8 * i / 1023.0);
    t[kShapeSize] = t[kShapeSize - 1];
    return t;
}

Shape makeFbSin() {
    constexpr double kTwoPi = 6.283185307179586;
    Shape t{};
    for (int i = 0; i < kShapeSize; ++i)
        t[i] = static_cast<float>(std::round(-std::sin(kTwoPi * i / 1023.0) * 1000.0) / 1000.0);
    t[kShapeSize] = t[kShapeSize - 1];
    return t;
}

} // namespace

const float* soft() {
    return softTable().data();
}
const float* warm() {
    return warmTable().data();
}
const float* hard() {
    return hardTable().data();
}
const float* tube1() {
    return tube1Table().data();
}
const float* foldNeg() {
    return foldNegTable().data();
}

const float* clip() {
    static const Shape t = makeClip();
    return t.data();
}

const float* fbSin() {
    static const Shape t = makeFbSin();
    return t.data();
}

const float* tube2() {
    static const auto t = withGuard<kTube2Size>(
        {-1.0f,    -0.8809f, -0.7685f, -0.6638f, -0.5677f, -0.4814f, -0.4072f, -0.3467f,
         -0.3009f, -0.2763f, -0.2758f, -0.3075f, -0.3856f, -0.5296f, -0.6226f, 0.0f,
         0.0f,     0.6226f,  0.5296f,  0.3856f,  0.3075f,  0.2758f,  0.2763f,  0.3009f,
         0.3467f,  0.4072f,  0.4814f,  0.5677f,  0.6638f,  0.7685f,  0.8809f,  1.0f});
    return t.data();
}

const float* fbTri() {
    static const auto t = withGuard<kFbTriSize>({0.0f, -1.0f, 0.0f, 1.0f, 0.0f});
    return t.data();
}

const float* drive() {
    static const auto t =
        withGuard<kLawSize>({0.0f,    0.0053f, 0.0105f, 0.0166f, 0.0227f, 0.0297f, 0.0369f, 0.045f,
                             0.0535f, 0.0627f, 0.0728f, 0.0836f, 0.0955f, 0.1085f, 0.1226f, 0.1379f,
                             0.1551f, 0.1742f, 0.1952f, 0.2188f, 0.2454f, 0.2756f, 0.3101f, 0.3512f,
                             0.3993f, 0.4582f, 0.5316f, 0.6265f, 0.7557f, 0.9349f, 1.1633f, 1.4f});
    return t.data();
}

const float* bits() {
    static const auto t = withGuard<kLawSize>(
        {4.0f,     4.6441f,  5.3411f,  6.1023f,   6.9396f,   7.8657f,   8.8939f,  10.039f,
         11.3168f, 12.7613f, 14.3795f, 16.1895f,  18.2141f,  20.479f,   23.0133f, 25.8497f,
         29.0257f, 32.5844f, 36.5754f, 41.0567f,  46.0959f,  51.7965f,  58.3251f, 65.7518f,
         74.2311f, 84.1073f, 95.7564f, 109.6956f, 126.8414f, 149.2447f, 256.0f,   65535.0f});
    return t.data();
}

const float* hold() {
    static const auto t =
        withGuard<kLawSize>({1.0f,    0.8843f, 0.7774f, 0.681f,  0.5936f, 0.5162f, 0.4478f, 0.388f,
                             0.3367f, 0.2924f, 0.2555f, 0.224f,  0.1983f, 0.1767f, 0.1589f, 0.1443f,
                             0.132f,  0.1218f, 0.113f,  0.1053f, 0.0981f, 0.0914f, 0.0847f, 0.0778f,
                             0.0706f, 0.0629f, 0.0545f, 0.0454f, 0.0354f, 0.0246f, 0.0128f, 0.0f});
    return t.data();
}

void prepare() {
    for (const float* t : {soft(), warm(), hard(), clip(), tube1(), fbSin(), foldNeg(), tube2(),
                           fbTri(), drive(), bits(), hold()})
        (void)t;
}

} // namespace shapercurves
} // namespace torvo

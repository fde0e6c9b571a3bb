#include "effects/shapedlfo.h"

#include <array>
#include <cmath>

namespace torvo {
namespace lfocurves {

namespace {

constexpr double kTwoPi = 6.283185307179586;

std::array<float, kRateSize + 1> makeRate() {
    std::array<float, kRateSize + 1> t = {0.0f, 0.06f, 0.17f, 0.33f, 0.83f,  1.25f, 2.0f,
                                          2.9f, 5.0f,  10.0f, 30.0f, 100.0f, 100.0f};
    return t;
}

std::array<float, kCosineSize + 1> makeCosine() {
    std::array<float, kCosineSize + 1> t{};
    for (int i = 0; i <= kCosineSize; ++i) {
        const double v = 0.5 - 0.5 * std::cos(kTwoPi * i / kCosineSize);
        t[i] = static_cast<float>(std::round(v * 1000.0) / 1000.0);
    }
    return t;
}

} // namespace

const float* rate() {
    static const auto t = makeRate();
    return t.data();
}

const float* raisedCosine() {
    static const auto t = makeCosine();
    return t.data();
}

void prepare() {
    rate();
    raisedCosine();
}

} // namespace lfocurves
} // namespace torvo

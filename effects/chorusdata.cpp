#include "effects/chorusdata.h"

#include "effects/smoothcurve.h"

#include <array>

namespace torvo {
namespace chorusdata {

const float kTapFactors[kRows][kMaxVoices] = {{0.04f, 0.0f, 0.0f, 0.0f},
                                              {0.032f, 0.041f, 0.0f, 0.0f},
                                              {0.025f, 0.034f, 0.045f, 0.0f},
                                              {0.012f, 0.023f, 0.037f, 0.042f}};
const float kFeedbackScale[kRows] = {1.0f, 0.9f, 0.8f, 0.7f};
const float kRateFactors[kRows][kMaxVoices] = {{0.0f, 0.0f, 0.0f, 0.0f},
                                               {0.0f, 0.0f, 0.0f, 0.0f},
                                               {0.5f, 0.75f, 1.0f, 0.0f},
                                               {0.25f, 0.5f, 0.75f, 1.0f}};

namespace {

constexpr int kKnots[] = {0, 4, 8, 12, 16, 20, 24, 28, 31};

std::array<float, kLawSize + 1> makeLaw(const double (&points)[9]) {
    std::array<float, kLawSize + 1> t{};
    fillSmoothCurve(t.data(), kKnots, points, 9);
    return t;
}

} // namespace

const float* wideCurve() {
    static constexpr double kPoints[9] = {0,      0.0154, 0.0361, 0.0665, 0.1142,
                                          0.1925, 0.3294, 0.5926, 1.0};
    static const auto t = makeLaw(kPoints);
    return t.data();
}

const float* depthCurve() {
    static constexpr double kPoints[9] = {0,      0.0409, 0.0941, 0.1627, 0.2515,
                                          0.3674, 0.5229, 0.745,  1.0};
    static const auto t = makeLaw(kPoints);
    return t.data();
}

void prepare() {
    wideCurve();
    depthCurve();
}

} // namespace chorusdata
} // namespace torvo

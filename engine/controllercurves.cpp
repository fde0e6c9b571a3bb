#include "engine/controllercurves.h"

#include <algorithm>
#include <array>

namespace torvo {

namespace {
// Anchor points of the 120-point curve; the points in between are linear between anchors.
struct Anchor {
    int index;
    float value;
};
constexpr Anchor kAnchors[] = {{0, 0.0f},      {10, 0.0008f}, {20, 0.0023f}, {30, 0.0048f},
                               {40, 0.0094f},  {60, 0.032f},  {80, 0.1038f}, {100, 0.3316f},
                               {110, 0.5916f}, {119, 1.0f}};

std::array<float, 121> buildCurve() {
    std::array<float, 121> c{};
    for (std::size_t a = 0; a + 1 < std::size(kAnchors); ++a) {
        const Anchor lo = kAnchors[a], hi = kAnchors[a + 1];
        for (int i = lo.index; i <= hi.index; ++i)
            c[i] =
                lo.value + (hi.value - lo.value) * float(i - lo.index) / float(hi.index - lo.index);
    }
    c[120] = 1.0f; // readable point behind the last, taken with weight 0
    return c;
}

const std::array<float, 121> kCurve = buildCurve();
} // namespace

float aftertouchCurve(float value) {
    const float x = std::clamp(value, 0.0f, 1.0f) * 119.0f;
    const int i = static_cast<int>(x);
    const float frac = x - float(i);
    return kCurve[i] + frac * (kCurve[i + 1] - kCurve[i]);
}

} // namespace torvo

#include "sources/startphasebag.h"

#include <cmath>

namespace torvo {

namespace {
constexpr float kFirstList[StartPhaseBag::kSize] = {4084, 3694, 1063, 1164, 2624, 1240,
                                                    1650, 3870, 1459, 2661, 2434, 879,
                                                    3265, 1428, 1203, 2795, 2690, 4065};
constexpr float kSecondList[StartPhaseBag::kSize] = {1759, 3681, 3217, 713,  598,  715,
                                                     1967, 4010, 3535, 2296, 157,  2075,
                                                     2086, 1524, 3929, 231,  1088, 82};
constexpr float kTwoToMinus31 = 4.656612873077393e-10f;
} // namespace

float StartPhaseBag::draw() {
    if (count == 0) {
        const float* list = toggle ? kSecondList : kFirstList;
        toggle = !toggle;
        for (int i = 0; i < kSize; ++i) working[i] = list[i];
        count = kSize;
    }
    const uint32_t s = b;
    a ^= b;
    b = a + s;
    const float x = std::fabs(static_cast<float>(static_cast<int32_t>(s)) * kTwoToMinus31) *
                    static_cast<float>(count);
    int pick = static_cast<int>(x);
    if (pick >= count) pick = count - 1;
    const float phase = working[pick];
    for (int i = pick; i + 1 < count; ++i) working[i] = working[i + 1];
    --count;
    return phase;
}

} // namespace torvo

#include "sources/startphasebag.h"

namespace torvo {

namespace {
constexpr float kFirstList[StartPhaseBag::kSize] = {4084, 3694, 1063, 1164, 2624, 1240,
                                                    1650, 3870, 1459, 2661, 2434, 879,
                                                    3265, 1428, 1203, 2795, 2690, 4065};
constexpr float kSecondList[StartPhaseBag::kSize] = {1759, 3681, 3217, 713,  598,  715,
                                                     1967, 4010, 3535, 2296, 157,  2075,
                                                     2086, 1524, 3929, 231,  1088, 82};
} // namespace

StartPhaseBag::StartPhaseBag() : ShuffledDeck(kFirstList, kSecondList) {}

} // namespace torvo

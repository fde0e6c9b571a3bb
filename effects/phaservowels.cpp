#include "effects/phaservowels.h"

#include "effects/signaltools.h"

namespace torvo {
namespace phaservowels {

const float kFormantTable[kFormants][kPositions + 1] = {
    {805.0f, 660.0f, 305.0f, 480.0f, 325.0f, 325.0f},
    {1140.0f, 1670.0f, 2300.0f, 890.0f, 600.0f, 600.0f},
    {2900.0f, 2660.0f, 3000.0f, 2400.0f, 2400.0f, 2400.0f},
    {3900.0f, 3600.0f, 3650.0f, 3300.0f, 3400.0f, 3400.0f}};

float formantHz(int k, int row, float x) {
    const float hz = TableValue(kFormantTable[row], kPositions, x);
    switch (k) {
    case 0:
        return hz * 1.2f - 100.0f;
    case 1:
        return hz * 1.5f;
    default:
        return hz * 1.5f + 500.0f;
    }
}

} // namespace phaservowels
} // namespace torvo

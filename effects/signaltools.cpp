#include "effects/signaltools.h"

#include <cmath>

namespace torvo {

namespace {
constexpr float kSilenceThreshold = 0.01f;
}

bool SilenceCheck(const float* buffer, int n) {
    float sum = 0.0f;
    for (int i = 0; i < n; ++i) {
        sum += std::fabs(buffer[i]);
        if (sum > kSilenceThreshold) return false;
    }
    return true;
}

void TableRead(float* buffer, const float* table, int size, int n) {
    const float top = static_cast<float>(size - 1);
    for (int i = 0; i < n; ++i) {
        // Written so that a NaN lands on 0 rather than on an undefined index.
        const float x = buffer[i] > 0.0f ? (buffer[i] < 1.0f ? buffer[i] : 1.0f) : 0.0f;
        const float u = x * top;
        const int index = static_cast<int>(u);
        const float frac = u - static_cast<float>(index);
        buffer[i] = table[index] + frac * (table[index + 1] - table[index]);
    }
}

} // namespace torvo

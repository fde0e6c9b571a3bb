#include "effects/oversampler.h"

namespace torvo {
namespace oversampler {

void up(const float* in, float* out, int n) {
    for (int i = 0; i < n; ++i) {
        const float x = in[i];
        float* o = out + i * kFactor;
        for (int k = 0; k < kFactor; ++k) o[k] = x;
    }
}

void down(const float* in, float* out, int n) {
    for (int i = 0; i < n; ++i) {
        const float* s = in + i * kFactor;
        float sum = 0.0f;
        for (int k = 0; k < kFactor; ++k) sum += s[k];
        out[i] = sum * 0.125f;
    }
}

} // namespace oversampler
} // namespace torvo

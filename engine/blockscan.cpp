#include "engine/blockscan.h"

#include <emmintrin.h>

namespace torvo {

bool isConstant(const float* x, int frames) {
    // Four at a time: the engines ask it of several streams per voice and block.
    const __m128 first = _mm_set1_ps(x[0]);
    __m128 differ = _mm_setzero_ps();
    int i = 0;
    for (; i + 4 <= frames; i += 4)
        differ = _mm_or_ps(differ, _mm_cmpneq_ps(_mm_loadu_ps(x + i), first));
    bool any = _mm_movemask_ps(differ) != 0;
    for (; i < frames; ++i) any |= x[i] != x[0];
    return !any;
}

bool holdsValue(const float* x, int frames, float value) {
    const __m128 v = _mm_set1_ps(value);
    __m128 equal = _mm_setzero_ps();
    int i = 0;
    for (; i + 4 <= frames; i += 4)
        equal = _mm_or_ps(equal, _mm_cmpeq_ps(_mm_loadu_ps(x + i), v));
    bool any = _mm_movemask_ps(equal) != 0;
    for (; i < frames; ++i) any |= x[i] == value;
    return any;
}

} // namespace torvo

#pragma once
// Eight float lanes of a 256-bit vector: the lane type of the wide filter kernels. Include it
// only after a target pragma for AVX2, in the files built for it (filterwide*.cpp); each of
// them takes its own instantiation, so no code of it reaches a processor without AVX2.

#include "filters/filterlanes.h"

#include <immintrin.h>

namespace torvo {

template <bool Permute> struct Lanes8 {
    using V = __m256;
    static constexpr int kWidth = 8;

    static V add(V a, V b) { return _mm256_add_ps(a, b); }
    static V sub(V a, V b) { return _mm256_sub_ps(a, b); }
    static V mul(V a, V b) { return _mm256_mul_ps(a, b); }
    static V min(V a, V b) { return _mm256_min_ps(a, b); }
    static V max(V a, V b) { return _mm256_max_ps(a, b); }
    static V andNot(V a, V b) { return _mm256_andnot_ps(a, b); }
    static V bitAnd(V a, V b) { return _mm256_and_ps(a, b); }
    static V bitOr(V a, V b) { return _mm256_or_ps(a, b); }
    static V greater(V a, V b) { return _mm256_cmp_ps(a, b, _CMP_NLE_US); }
    static V set1(float x) { return _mm256_set1_ps(x); }
    static V zero() { return _mm256_setzero_ps(); }
    static V load(const float* p) { return _mm256_load_ps(p); }
    static void store(float* p, V v) { _mm256_store_ps(p, v); }
    static V lanes(const float* x) {
        return _mm256_setr_ps(x[0], x[1], x[2], x[3], x[4], x[5], x[6], x[7]);
    }
    static V perVoice(const float* v) {
        return _mm256_setr_ps(v[0], v[0], v[1], v[1], v[2], v[2], v[3], v[3]);
    }
    /// The table at u (0 <= u < its points): t[i] + (t[i + 1] - t[i]) (u - i), i = trunc(u).
    /// With `Permute` the first 16 points are one two-table permute and the rest a masked one;
    /// else each third of the table is one permute, and the index picks its third.
    static V interpolate(const LaneTable& t, V u) {
        const __m256i i = _mm256_cvttps_epi32(u);
        const V whole = _mm256_cvtepi32_ps(i);
        const V frac = _mm256_sub_ps(u, whole);
        if constexpr (Permute) {
            const __mmask8 high = _mm256_cmp_ps_mask(whole, _mm256_set1_ps(16.0f), _CMP_GE_OQ);
            const V value = pick2(t.value, i, high);
            const V step = pick2(t.step, i, high);
            return _mm256_add_ps(value, _mm256_mul_ps(step, frac));
        }
        const V second = _mm256_cmp_ps(whole, _mm256_set1_ps(8.0f), _CMP_GE_OQ);
        const V third = _mm256_cmp_ps(whole, _mm256_set1_ps(16.0f), _CMP_GE_OQ);
        const V value = pick(t.value, i, second, third);
        const V step = pick(t.step, i, second, third);
        return _mm256_add_ps(value, _mm256_mul_ps(step, frac));
    }

private:
    static V pick2(const float* table, __m256i i, __mmask8 high) {
        const V low = _mm256_permutex2var_ps(_mm256_load_ps(table), i, _mm256_load_ps(table + 8));
        return _mm256_mask_permutexvar_ps(low, high, i, _mm256_load_ps(table + 16));
    }
    static V pick(const float* table, __m256i i, V second, V third) {
        const V a = _mm256_permutevar8x32_ps(_mm256_load_ps(table), i);
        const V b = _mm256_permutevar8x32_ps(_mm256_load_ps(table + 8), i);
        const V c = _mm256_permutevar8x32_ps(_mm256_load_ps(table + 16), i);
        return _mm256_blendv_ps(_mm256_blendv_ps(a, b, second), c, third);
    }
};

} // namespace torvo

#pragma once
// The vector operations the filter kernels are written in, for 128-bit vectors on every
// x86-64 processor. A kernel takes the lane type as a template argument, so the same source
// also runs on 256-bit vectors (filterwide.cpp) where the processor has them. Each lane runs
// plain IEEE single arithmetic, so every width gives the same result in every lane.
//
// Lanes come in pairs: left and right of one voice.

#include <emmintrin.h>

namespace torvo {

enum FilterLaneLevel {
    /// 128-bit vectors, on every x86-64 processor.
    kLanesNarrow = 0,
    /// 256-bit vectors with AVX2.
    kLanesWide = 1,
    /// 256-bit vectors with the table reads of AVX-512VL.
    kLanesPermute = 2,
};

/// The widest kind of vector the filters may use: what the processor runs. Tests lower it to
/// hold each path against the narrower ones.
inline int& filterLaneLevel() {
    static int level = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl")
                           ? kLanesPermute
                       : __builtin_cpu_supports("avx2") ? kLanesWide
                                                        : kLanesNarrow;
    return level;
}

/// Whether the 256-bit kernels may run.
inline bool wideFilterLanes() {
    return filterLaneLevel() >= kLanesWide;
}

/// A small table read by linear interpolation, laid out for every lane width: point i and the
/// step to point i + 1 (the same difference the read would take), apart and side by side.
struct LaneTable {
    static constexpr int kPoints = 24;
    alignas(32) float value[kPoints] = {};
    alignas(32) float step[kPoints] = {};
    alignas(16) float pairs[2 * kPoints] = {};

    /// Points 0..count-1 of `points`, which holds one more behind them.
    void fill(const float* points, int count) {
        for (int i = 0; i < count && i < kPoints; ++i) {
            value[i] = points[i];
            step[i] = points[i + 1] - points[i];
            pairs[2 * i] = value[i];
            pairs[2 * i + 1] = step[i];
        }
    }
};

struct Lanes4 {
    using V = __m128;
    static constexpr int kWidth = 4;

    static V add(V a, V b) { return _mm_add_ps(a, b); }
    static V sub(V a, V b) { return _mm_sub_ps(a, b); }
    static V mul(V a, V b) { return _mm_mul_ps(a, b); }
    static V min(V a, V b) { return _mm_min_ps(a, b); }
    static V max(V a, V b) { return _mm_max_ps(a, b); }
    static V andNot(V a, V b) { return _mm_andnot_ps(a, b); }
    static V bitAnd(V a, V b) { return _mm_and_ps(a, b); }
    static V bitOr(V a, V b) { return _mm_or_ps(a, b); }
    static V greater(V a, V b) { return _mm_cmpnle_ps(a, b); }
    static V set1(float x) { return _mm_set1_ps(x); }
    static V zero() { return _mm_setzero_ps(); }
    static V load(const float* p) { return _mm_load_ps(p); }
    static void store(float* p, V v) { _mm_store_ps(p, v); }
    /// x[0], x[1], ... in lane order.
    static V lanes(const float* x) { return _mm_setr_ps(x[0], x[1], x[2], x[3]); }
    /// One value per voice, in both of its lanes.
    static V perVoice(const float* v) { return _mm_setr_ps(v[0], v[0], v[1], v[1]); }
    /// Truncates each lane to an integer, stored to `at`; returns it as a float.
    static V truncate(V u, int* at) {
        const __m128i i = _mm_cvttps_epi32(u);
        _mm_store_si128(reinterpret_cast<__m128i*>(at), i);
        return _mm_cvtepi32_ps(i);
    }
    /// The table at u (0 <= u < its points): t[i] + (t[i + 1] - t[i]) (u - i), i = trunc(u).
    static V interpolate(const LaneTable& t, V u) { return interpolate(t.pairs, u); }
    /// The same from a table of any length laid out as pairs (t[i], t[i + 1] - t[i]).
    static V interpolate(const float* pairs, V u) {
        alignas(16) int at[4];
        const V frac = _mm_sub_ps(u, truncate(u, at));
        const __m128 p0 = pairAt(pairs, at[0]);
        const __m128 p1 = pairAt(pairs, at[1]);
        const __m128 p2 = pairAt(pairs, at[2]);
        const __m128 p3 = pairAt(pairs, at[3]);
        const __m128 lo = _mm_unpacklo_ps(p0, p1); // v0 v1 s0 s1
        const __m128 hi = _mm_unpacklo_ps(p2, p3); // v2 v3 s2 s3
        const V value = _mm_movelh_ps(lo, hi);
        const V step = _mm_movehl_ps(hi, lo);
        return _mm_add_ps(value, _mm_mul_ps(step, frac));
    }

private:
    static __m128 pairAt(const float* pairs, int i) {
        return _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(pairs + 2 * i)));
    }
};

/// The lanes of one voice alone: only the two low lanes carry it, so only they are read from
/// the inputs and the curve; the high lanes repeat them and are dropped.
struct Lanes4One : Lanes4 {
    static V lanes(const float* x) { return _mm_unpacklo_ps(_mm_load_ss(x), _mm_load_ss(x + 1)); }
    static V interpolate(const LaneTable& t, V u) {
        alignas(16) int at[4];
        const V frac = _mm_sub_ps(u, truncate(u, at));
        const __m128 p0 = _mm_castsi128_ps(
            _mm_loadl_epi64(reinterpret_cast<const __m128i*>(t.pairs + 2 * at[0])));
        const __m128 p1 = _mm_castsi128_ps(
            _mm_loadl_epi64(reinterpret_cast<const __m128i*>(t.pairs + 2 * at[1])));
        const __m128 both = _mm_unpacklo_ps(p0, p1); // v0 v1 s0 s1
        return _mm_add_ps(_mm_movelh_ps(both, both), _mm_mul_ps(_mm_movehl_ps(both, both), frac));
    }
};

} // namespace torvo

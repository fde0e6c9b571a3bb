#include "filters/statevariable.h"

#include "filters/filtercurves.h"

#include <algorithm>
#include <cstring>

#include <xmmintrin.h>

namespace torvo {

namespace {

// One run of the filter is linear in the state (low, band) and the input x:
//   notch = x - q band; low' = low + f band; high = notch - low'; band' = band + f high
// so that low' = low + f band and band' = -f low + (1 - f q - f f) band + f x. Four runs are
// one matrix step per sample, and the sum of a tap over the four runs is a fixed combination
// of the state before them and the input. This keeps the recursion between samples to one
// multiply-add per state cell instead of four dependent runs.
struct FourRuns {
    // State update: low' = a00 low + a01 band + c0 x; band' = a10 low + a11 band + c1 x.
    float a00, a01, a10, a11, c0, c1;
    // Output: (sum of the tap over the four runs) times the gain.
    float o0, o1, oi;
};

typedef float Vec4 __attribute__((vector_size(16)));

inline Vec4 load4(const float* p) {
    Vec4 v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

inline void store4(float* p, Vec4 v) {
    std::memcpy(p, &v, sizeof v);
}

/// Per-sample sets as nine arrays, so the folding runs in vector passes.
struct FourRunsArrays {
    float* a00;
    float* a01;
    float* a10;
    float* a11;
    float* c0;
    float* c1;
    float* o0;
    float* o1;
    float* oi;

    FourRunsArrays(float* wide, int frames) {
        const int s = (frames + 3) & ~3;
        float* p[9];
        for (int j = 0; j < 9; ++j) p[j] = wide + j * s;
        a00 = p[0], a01 = p[1], a10 = p[2], a11 = p[3], c0 = p[4], c1 = p[5];
        o0 = p[6], o1 = p[7], oi = p[8];
    }
};

/// The table reads of one sample: f, q and the output gain, parked in the output arrays.
inline void readTables(const FilterCurves& fc, float c, float r, float ratio,
                       const FourRunsArrays& w, int i) {
    w.o0[i] = readCurve(fc.svfCutoff, c) * ratio;
    const float d = readCurve(fc.svfDamping, c) * (1.0f - r) + r;
    w.o1[i] = 1.85f - 1.8469f * d;
    // The mean over four runs and the resonance's level drop in one factor.
    w.oi[i] = 0.25f * (1.0f - 0.75f * r);
}

/// Folds the four runs of samples 0..n-1 (f, q and gain parked in the output arrays) into
/// their sets, four samples at a time; the arrays are padded to a multiple of four.
void fold(const FourRunsArrays& w, int n, int mode) {
    float t0s, t1f, t1keep, t1q, taus, tauf;
    // Tap t = (t0s + ..., ...) written as fixed mixes of f, keep and q.
    switch (mode) {
    case StateVariableFilter::kLp2: // t = (1, f), tau 0
        t0s = 1.0f, t1f = 1.0f, t1keep = 0.0f, t1q = 0.0f, taus = 0.0f, tauf = 0.0f;
        break;
    case StateVariableFilter::kBp2: // t = (-f, keep), tau f
        t0s = 0.0f, t1f = 0.0f, t1keep = 1.0f, t1q = 0.0f, taus = 0.0f, tauf = 1.0f;
        break;
    case StateVariableFilter::kHp2: // t = (-1, -(q + f)), tau 1
        t0s = -1.0f, t1f = -1.0f, t1keep = 0.0f, t1q = -1.0f, taus = 1.0f, tauf = 0.0f;
        break;
    default: // t = (0, -q), tau 1
        t0s = 0.0f, t1f = 0.0f, t1keep = 0.0f, t1q = -1.0f, taus = 1.0f, tauf = 0.0f;
        break;
    }
    const float t0f = mode == StateVariableFilter::kBp2 ? -1.0f : 0.0f;
    float* __restrict a00 = w.a00;
    float* __restrict a01 = w.a01;
    float* __restrict a10 = w.a10;
    float* __restrict a11 = w.a11;
    float* __restrict c0 = w.c0;
    float* __restrict c1 = w.c1;
    float* __restrict o0 = w.o0;
    float* __restrict o1 = w.o1;
    float* __restrict oi = w.oi;
    for (int i = 0; i < n; i += 4) {
        const Vec4 fi = load4(o0 + i); // f, q and the gain were parked in the output arrays
        const Vec4 qi = load4(o1 + i);
        const Vec4 g = load4(oi + i);
        const Vec4 keep = 1.0f - fi * qi - fi * fi;
        // M, M2, M3, M4 with M = (1, f; -f, keep).
        const Vec4 m2_00 = 1.0f - fi * fi, m2_01 = fi + fi * keep;
        const Vec4 m2_10 = -fi - keep * fi, m2_11 = -fi * fi + keep * keep;
        const Vec4 m3_00 = m2_00 - m2_01 * fi, m3_01 = m2_00 * fi + m2_01 * keep;
        const Vec4 m3_10 = m2_10 - m2_11 * fi, m3_11 = m2_10 * fi + m2_11 * keep;
        const Vec4 s00 = 2.0f + m2_00 + m3_00, s01 = fi + m2_01 + m3_01;
        const Vec4 s10 = -fi + m2_10 + m3_10, s11 = 1.0f + keep + m2_11 + m3_11;
        const Vec4 acc0 = fi * (2.0f * fi + m2_01);
        const Vec4 acc1 = fi * (3.0f + 2.0f * keep + m2_11);
        const Vec4 t0 = t0s + t0f * fi;
        const Vec4 t1 = t1f * fi + t1keep * keep + t1q * qi;
        const Vec4 tau = taus + tauf * fi;
        store4(a00 + i, m2_00 * m2_00 + m2_01 * m2_10);
        store4(a01 + i, m2_00 * m2_01 + m2_01 * m2_11);
        store4(a10 + i, m2_10 * m2_00 + m2_11 * m2_10);
        store4(a11 + i, m2_10 * m2_01 + m2_11 * m2_11);
        store4(c0 + i, fi * s01);
        store4(c1 + i, fi * s11);
        store4(o0 + i, (t0 * s00 + t1 * s10) * g);
        store4(o1 + i, (t0 * s01 + t1 * s11) * g);
        store4(oi + i, (t0 * acc0 + t1 * acc1 + 4.0f * tau) * g);
    }
}

inline __m128 mix3(float a, __m128 x, float b, __m128 y, float c, __m128 z) {
    return _mm_add_ps(_mm_add_ps(_mm_mul_ps(_mm_set1_ps(a), x), _mm_mul_ps(_mm_set1_ps(b), y)),
                      _mm_mul_ps(_mm_set1_ps(c), z));
}

/// Both channels in the low lanes. `Varying` reads a set per sample, else the block's one.
template <bool Varying>
void loop(InfectoState& st, const FilterBlock& b, const FourRuns& k, const FourRunsArrays* w,
          int from, int to) {
    __m128 low = _mm_setr_ps(st.channel[0].low, st.channel[1].low, 0.0f, 0.0f);
    __m128 band = _mm_setr_ps(st.channel[0].band, st.channel[1].band, 0.0f, 0.0f);
    for (int i = from; i < to; ++i) {
        const __m128 x = _mm_unpacklo_ps(_mm_load_ss(b.inL + i), _mm_load_ss(b.inR + i));
        const FourRuns s = Varying ? FourRuns{w->a00[i], w->a01[i], w->a10[i], w->a11[i], w->c0[i],
                                              w->c1[i],  w->o0[i],  w->o1[i],  w->oi[i]}
                                   : k;
        const __m128 out = mix3(s.o0, low, s.o1, band, s.oi, x);
        const __m128 lowNew = mix3(s.a00, low, s.a01, band, s.c0, x);
        band = mix3(s.a10, low, s.a11, band, s.c1, x);
        low = lowNew;
        _mm_store_ss(b.outL + i, out);
        _mm_store_ss(b.outR + i, _mm_shuffle_ps(out, out, _MM_SHUFFLE(1, 1, 1, 1)));
    }
    alignas(16) float l[4], bd[4];
    _mm_store_ps(l, low);
    _mm_store_ps(bd, band);
    st.channel[0].low = l[0];
    st.channel[1].low = l[1];
    st.channel[0].band = bd[0];
    st.channel[1].band = bd[1];
}

} // namespace

void InfectoState::clear() {
    channel[0] = SvfState{};
    channel[1] = SvfState{};
}

void StateVariableFilter::render(InfectoState& st, int mode, const FilterBlock& b) {
    static_assert(FilterBlock::kWideFloats >= 9, "nine coefficient arrays");
    const FilterCurves& fc = filterCurves();
    const int n = b.frames;
    SvfCoefCache& cache = st.cache;
    if (isConstant(b.cut, n) && isConstant(b.res, n)) {
        const float c = b.cut[0];
        const float r = b.res[0];
        if (c != cache.cut || r != cache.res || b.rateRatio != cache.ratio || mode != cache.mode) {
            // One set, by the same folding as a moving control gets (lane 0 of four).
            alignas(16) float one[9 * 4] = {};
            const FourRunsArrays w(one, 1);
            readTables(fc, c, r, b.rateRatio, w, 0);
            fold(w, 1, mode);
            const float* lanes[9] = {w.a00, w.a01, w.a10, w.a11, w.c0, w.c1, w.o0, w.o1, w.oi};
            for (int j = 0; j < 9; ++j) cache.set[j] = lanes[j][0];
            cache.cut = c;
            cache.res = r;
            cache.ratio = b.rateRatio;
            cache.mode = mode;
        }
        const float* k = cache.set;
        const FourRuns set{k[0], k[1], k[2], k[3], k[4], k[5], k[6], k[7], k[8]};
        runSegments(
            b, [&](int from, int to) { loop<false>(st, b, set, nullptr, from, to); },
            [&] { st.clear(); });
        return;
    }
    cache.cut = -1.0f;
    const FourRunsArrays w(b.wide, n);
    for (int i = 0; i < n; ++i) readTables(fc, b.cut[i], b.res[i], b.rateRatio, w, i);
    fold(w, n, mode);
    runSegments(
        b, [&](int from, int to) { loop<true>(st, b, FourRuns{}, &w, from, to); },
        [&] { st.clear(); });
}

} // namespace torvo

#include "filters/shaperfilter.h"

#include "filters/filtercurves.h"

#include <algorithm>
#include <cmath>

#include <emmintrin.h>

namespace torvo {

namespace {

struct ToneCoefs {
    float a, b;
};

inline ToneCoefs toneCoefs(const FilterCurves& fc, float t, float sr) {
    const float inv = 1.0f / sr;
    if (t > 0.5f) {
        const float hz = readCurveAt(fc.toneHz, (t - 0.5f) * 238.0f);
        return {readCurve(fc.sinCoef, hz * inv), readCurve(fc.sinCoef, 20000.0f * inv)};
    }
    const float hz = readCurveAt(fc.toneHz, t * 238.0f);
    return {readCurve(fc.sinCoef, 20.0f * inv), readCurve(fc.sinCoef, hz * inv)};
}

/// Tone coefficients into cutCoef (high-pass) and damping (low-pass); drive into gain.
void prepare(ToneCoefCache& cache, int mode, const FilterBlock& b) {
    const FilterCurves& fc = filterCurves();
    const int n = b.frames;
    const float driveSpan = mode == ShaperFilter::kSaturate ? 40.0f : 20.0f;
    for (int i = 0; i < n; ++i) b.gain[i] = driveSpan * b.res[i] + 5.0f;
    if (isConstant(b.cut, n)) {
        const float t = b.cut[0];
        if (t != cache.cut || b.sampleRate != cache.sampleRate) {
            const ToneCoefs k = toneCoefs(fc, t, b.sampleRate);
            cache = {t, b.sampleRate, k.a, k.b};
        }
        std::fill(b.cutCoef, b.cutCoef + n, cache.a);
        std::fill(b.damping, b.damping + n, cache.b);
        return;
    }
    cache.cut = -1.0f;
    for (int i = 0; i < n; ++i) {
        const ToneCoefs k = toneCoefs(fc, b.cut[i], b.sampleRate);
        b.cutCoef[i] = k.a;
        b.damping[i] = k.b;
    }
}

/// sin of both lanes for any argument: reduced by the nearest multiple of pi to |r| <= pi / 2,
/// then the odd series to r^15 (error below 1e-9), with the sign of an odd multiple flipped.
inline __m128d sinPair(__m128d x) {
    const __m128d pi = _mm_set1_pd(3.14159265358979323846);
    const __m128i n = _mm_cvtpd_epi32(_mm_mul_pd(x, _mm_set1_pd(1.0 / 3.14159265358979323846)));
    const __m128d r = _mm_sub_pd(x, _mm_mul_pd(_mm_cvtepi32_pd(n), pi));
    const __m128d r2 = _mm_mul_pd(r, r);
    __m128d p = _mm_set1_pd(-1.0 / 1307674368000.0);
    p = _mm_add_pd(_mm_mul_pd(p, r2), _mm_set1_pd(1.0 / 6227020800.0));
    p = _mm_add_pd(_mm_mul_pd(p, r2), _mm_set1_pd(-1.0 / 39916800.0));
    p = _mm_add_pd(_mm_mul_pd(p, r2), _mm_set1_pd(1.0 / 362880.0));
    p = _mm_add_pd(_mm_mul_pd(p, r2), _mm_set1_pd(-1.0 / 5040.0));
    p = _mm_add_pd(_mm_mul_pd(p, r2), _mm_set1_pd(1.0 / 120.0));
    p = _mm_add_pd(_mm_mul_pd(p, r2), _mm_set1_pd(-1.0 / 6.0));
    const __m128d s = _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(r, r2), p));
    // An odd multiple of pi flips the sign: move bit 0 of each n to the double's sign bit.
    const __m128i odd = _mm_unpacklo_epi32(_mm_setzero_si128(), _mm_slli_epi32(n, 31));
    return _mm_xor_pd(s, _mm_castsi128_pd(odd));
}

/// The four sub-step values shaped, in four lanes.
template <int Mode> inline __m128 shape(__m128 y) {
    if (Mode == ShaperFilter::kSaturate) {
        const __m128 v = _mm_min_ps(_mm_max_ps(y, _mm_set1_ps(-1.0f)), _mm_set1_ps(1.0f));
        const __m128 cube = _mm_mul_ps(_mm_mul_ps(v, v), _mm_mul_ps(v, _mm_set1_ps(1.0f / 3.0f)));
        return _mm_mul_ps(_mm_sub_ps(v, cube), _mm_set1_ps(1.5f));
    }
    // Foldback: the positive half folds over through sin(3.846 y), taken in double precision;
    // the negative half is only limited.
    const __m128 bounded = _mm_min_ps(_mm_max_ps(y, _mm_set1_ps(-1.0e6f)), _mm_set1_ps(1.0e6f));
    const __m128d k = _mm_set1_pd(3.846);
    const __m128d lo = sinPair(_mm_mul_pd(k, _mm_cvtps_pd(bounded)));
    const __m128d hi = sinPair(_mm_mul_pd(k, _mm_cvtps_pd(_mm_movehl_ps(bounded, bounded))));
    const __m128 folded = _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi));
    const __m128 limited = _mm_max_ps(y, _mm_set1_ps(-1.0f));
    const __m128 positive = _mm_cmpgt_ps(y, _mm_setzero_ps());
    return _mm_or_ps(_mm_and_ps(positive, folded), _mm_andnot_ps(positive, limited));
}

/// Four sub-steps of one channel; answers the sum of the shaped values. At sub-step j the
/// 16 newest sub-samples are j copies of x, four of each of the three previous inputs and
/// 4 - j of the fourth.
template <int Mode> inline float fourSubSteps(float* h, float x) {
    const float base = 0.25f * (h[0] + h[1] + h[2] + h[3]);
    const float stepJ = 0.0625f * (x - h[3]);
    const __m128 y = _mm_add_ps(
        _mm_set1_ps(base), _mm_mul_ps(_mm_setr_ps(1.0f, 2.0f, 3.0f, 4.0f), _mm_set1_ps(stepJ)));
    const __m128 s = shape<Mode>(y);
    const __m128 pairs = _mm_add_ps(s, _mm_movehl_ps(s, s));
    const float sum = _mm_cvtss_f32(_mm_add_ss(pairs, _mm_shuffle_ps(pairs, pairs, 1)));
    h[3] = h[2];
    h[2] = h[1];
    h[1] = h[0];
    h[0] = x;
    return sum;
}

template <int Mode> void loop(ShaperState& st, const FilterBlock& b) {
    ToneState t = st.tone;
    for (int i = 0; i < b.frames; ++i) {
        const float drive = b.gain[i];
        const float l = fourSubSteps<Mode>(st.historyL, drive * b.inL[i]) * 0.0425f;
        const float r = fourSubSteps<Mode>(st.historyR, drive * b.inR[i]) * 0.0425f;
        const float a = b.cutCoef[i];
        const float lp = b.damping[i];
        t.uL += (l - t.uL) * a;
        t.vL += ((l - t.uL) - t.vL) * lp;
        t.uR += (r - t.uR) * a;
        t.vR += ((r - t.uR) - t.vR) * lp;
        b.outL[i] = t.vL;
        b.outR[i] = t.vR;
    }
    st.tone = t;
}

} // namespace

void ShaperFilter::render(ShaperState& st, int mode, const FilterBlock& b) {
    if (mode != kSaturate && mode != kFoldback) {
        std::fill(b.outL, b.outL + b.frames, 0.0f);
        std::fill(b.outR, b.outR + b.frames, 0.0f);
        return;
    }
    prepare(st.cache, mode, b);
    if (mode == kSaturate)
        loop<kSaturate>(st, b);
    else
        loop<kFoldback>(st, b);
}

} // namespace torvo

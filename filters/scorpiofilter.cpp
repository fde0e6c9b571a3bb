#include "filters/scorpiofilter.h"

#include "filters/filtercurves.h"

#include <algorithm>

#include <emmintrin.h>

namespace torvo {

namespace {

struct ScorpioCoefs {
    float g, k, k2, drive;
};

/// Feedback before the cut-off correction: the flavour's slope at this cut-off, blended from
/// its resting value by the resonance, and scaled by the resonance curve.
inline float feedbackAt(const float (&slope)[33], float rest, float c, float r,
                        const FilterCurves& fc) {
    return (readCurve(slope, c) * r + (1.0f - r) * rest) * readCurve(fc.scorpioResCurve, r);
}

inline ScorpioCoefs scorpioCoefs(const FilterCurves& fc, float c, float r, float ratio, int mode) {
    const float g = readCurve(fc.svfCutoff, c) * ratio;
    // Below 44.1 kHz g could reach 1; keep the correction finite.
    const float open = 1.0f / std::max(1.0f - g, 0.01f);
    float k0 = 0.0f;
    float k2 = 0.0f;
    switch (mode) {
    case ScorpioFilter::kRedLp2:
    case ScorpioFilter::kRedLp4:
        k0 = feedbackAt(fc.scorpioSlopeRed, 3.76f, c, r, fc);
        break;
    case ScorpioFilter::kBlackLp2:
        k0 = feedbackAt(fc.scorpioSlopeBlack2, 3.681f, c, r, fc);
        break;
    case ScorpioFilter::kBlackLp4:
        k0 = feedbackAt(fc.scorpioSlopeBlack4, 3.681f, c, r, fc);
        break;
    case ScorpioFilter::kBlackHp4: {
        // Near the top of the range the resonance is pulled towards 0.62.
        const float x = readCurve(fc.scorpioHighEdge, c);
        const float r2 = (1.0f - x) * r + 0.62f * x;
        k0 = feedbackAt(fc.scorpioSlopeBlack4, 3.681f, c, r2, fc);
        break;
    }
    default: {
        const float x = 0.62f * readCurve(fc.scorpioHighEdge, c);
        const float kh0 = feedbackAt(fc.scorpioSlopeBlack4, 3.681f, c, x, fc);
        k2 = kh0 * open + kh0;
        k0 = feedbackAt(fc.scorpioSlopeBlack4, 3.681f, c, r, fc);
        break;
    }
    }
    const float k = k0 * open + k0;
    const float m = readCurve(fc.scorpioDriveRes, r);
    const float drive = readCurve(fc.scorpioDriveCut, c) * m + (1.0f - m);
    return {g, k, k2, drive};
}

void prepare(ScorpioCoefCache& cache, int mode, const FilterBlock& b) {
    const FilterCurves& fc = filterCurves();
    const int n = b.frames;
    if (isConstant(b.cut, n) && isConstant(b.res, n)) {
        const float c = b.cut[0];
        const float r = b.res[0];
        if (c != cache.cut || r != cache.res || mode != cache.mode || b.rateRatio != cache.ratio) {
            const ScorpioCoefs k = scorpioCoefs(fc, c, r, b.rateRatio, mode);
            cache = {c, r, b.rateRatio, mode, k.g, k.k, k.k2, k.drive};
        }
        std::fill(b.cutCoef, b.cutCoef + n, cache.g);
        std::fill(b.resCoef, b.resCoef + n, cache.k);
        std::fill(b.damping, b.damping + n, cache.k2);
        std::fill(b.gain, b.gain + n, cache.drive);
        return;
    }
    cache.cut = -1.0f;
    for (int i = 0; i < n; ++i) {
        const ScorpioCoefs k = scorpioCoefs(fc, b.cut[i], b.res[i], b.rateRatio, mode);
        b.cutCoef[i] = k.g;
        b.resCoef[i] = k.k;
        b.damping[i] = k.k2;
        b.gain[i] = k.drive;
    }
}

// Both channels run in the two low lanes of a vector. Within a sample's four iterations the
// arithmetic is regrouped so that the chain from one iteration to the next is short:
//   s1' = g nl(u) + ((1 - g) s1 + g I), where u = k (s1 - s2)
//   s2' = s2 + g (s1' - s2), and then s1' - s2' = (1 - g) (s1' - s2),
// so the next iteration's u is (1 - g) k (s1' - s2) without waiting for s2'.

const __m128 kSoftHigh = _mm_set1_ps(1.414f);
const __m128 kSoftLow = _mm_set1_ps(-1.414f);
const __m128 kMinusOne = _mm_set1_ps(-1.0f);
const __m128 kZero = _mm_setzero_ps();
const __m128 kOne = _mm_set1_ps(1.0f);

/// g times the feedback's nonlinearity: soft(u) = v - v^3 / 6 with v = clamp(u, +-1.414) for
/// Red, limit(u) = max(u, -1) for Black.
template <bool Red> inline __m128 scaledFeedback(__m128 u, __m128 g, __m128 gSixth) {
    if (Red) {
        const __m128 v = _mm_min_ps(_mm_max_ps(u, kSoftLow), kSoftHigh);
        const __m128 cube = _mm_mul_ps(_mm_mul_ps(gSixth, v), _mm_mul_ps(v, v));
        return _mm_sub_ps(_mm_mul_ps(g, v), cube);
    }
    return _mm_mul_ps(g, _mm_max_ps(u, kMinusOne));
}

/// Red output curve, lane by lane: the two channels of one voice, or of two voices.
template <bool Pair> inline __m128 redOutput(const FilterCurves& fc, __m128 s) {
    const __m128 u = _mm_mul_ps(
        _mm_min_ps(
            _mm_max_ps(_mm_add_ps(_mm_mul_ps(s, _mm_set1_ps(0.8f)), _mm_set1_ps(0.5f)), kZero),
            kOne),
        _mm_set1_ps(19.0f));
    const __m128i idx = _mm_cvttps_epi32(u);
    const __m128 frac = _mm_sub_ps(u, _mm_cvtepi32_ps(idx));
    alignas(16) int at[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(at), idx);
    const float* t = fc.redOutputCurve;
    const __m128 a = Pair ? _mm_setr_ps(t[at[0]], t[at[1]], t[at[2]], t[at[3]])
                          : _mm_setr_ps(t[at[0]], t[at[1]], 0.0f, 0.0f);
    const __m128 b = Pair ? _mm_setr_ps(t[at[0] + 1], t[at[1] + 1], t[at[2] + 1], t[at[3] + 1])
                          : _mm_setr_ps(t[at[0] + 1], t[at[1] + 1], 0.0f, 0.0f);
    return _mm_add_ps(a, _mm_mul_ps(_mm_sub_ps(b, a), frac));
}

struct Cells {
    __m128 a1, a2, a3, a4;
};

/// Four iterations of the two (or four) poles on `c` with input `x`; `tap` gets each
/// iteration's last pole and answers what to add up.
template <bool Red, bool Four, typename Tap>
inline __m128 fourIterations(Cells& c, __m128 x, __m128 g, __m128 k, Tap&& tap) {
    const __m128 oneMinusG = _mm_sub_ps(kOne, g);
    const __m128 gSixth = _mm_mul_ps(g, _mm_set1_ps(1.0f / 6.0f));
    const __m128 gx = _mm_mul_ps(g, x);
    const __m128 kk = _mm_mul_ps(oneMinusG, k);
    __m128 u = _mm_mul_ps(k, _mm_sub_ps(c.a1, c.a2));
    __m128 sum = kZero;
    for (int it = 0; it < 4; ++it) {
        const __m128 rest = _mm_add_ps(_mm_mul_ps(oneMinusG, c.a1), gx);
        c.a1 = _mm_add_ps(scaledFeedback<Red>(u, g, gSixth), rest);
        const __m128 d = _mm_sub_ps(c.a1, c.a2);
        u = _mm_mul_ps(kk, d);
        c.a2 = _mm_add_ps(c.a2, _mm_mul_ps(g, d));
        if (Four) {
            c.a3 = _mm_add_ps(c.a3, _mm_mul_ps(g, _mm_sub_ps(c.a2, c.a3)));
            c.a4 = _mm_add_ps(c.a4, _mm_mul_ps(g, _mm_sub_ps(c.a3, c.a4)));
            sum = _mm_add_ps(sum, tap(c.a4));
        } else {
            sum = _mm_add_ps(sum, tap(c.a2));
        }
    }
    return sum;
}

/// The lanes of a block: left and right of voice one, then of voice two when paired.
template <bool Pair> struct Lanes {
    static __m128 of(float a, float b) { return Pair ? _mm_setr_ps(a, a, b, b) : _mm_set1_ps(a); }
};

template <bool Pair>
inline __m128 stateLanes(ScorpioState* const* st, float ScorpioChannel::*cell) {
    const ScorpioChannel* a = st[0]->channel;
    if (Pair) {
        const ScorpioChannel* b = st[1]->channel;
        return _mm_setr_ps(a[0].*cell, a[1].*cell, b[0].*cell, b[1].*cell);
    }
    return _mm_setr_ps(a[0].*cell, a[1].*cell, 0.0f, 0.0f);
}

template <bool Pair>
inline __m128 coefLanes(const FilterBlock* const* b, float* FilterBlock::*buf, int i) {
    return Pair ? _mm_setr_ps((b[0]->*buf)[i], (b[0]->*buf)[i], (b[1]->*buf)[i], (b[1]->*buf)[i])
                : _mm_set1_ps((b[0]->*buf)[i]);
}

/// Samples [from, to) of one voice, or of two voices side by side in the four lanes. Every
/// lane runs exactly the arithmetic of the single voice, so pairing changes no result.
template <int Mode, bool Pair>
void loop(ScorpioState* const* st, const FilterBlock* const* blocks, int from, int to) {
    const FilterCurves& fc = filterCurves();
    const FilterBlock& b = *blocks[0];
    const FilterBlock& b2 = *blocks[Pair ? 1 : 0];
    using C = ScorpioChannel;
    Cells s{stateLanes<Pair>(st, &C::s1), stateLanes<Pair>(st, &C::s2),
            stateLanes<Pair>(st, &C::s3), stateLanes<Pair>(st, &C::s4)};
    Cells t{stateLanes<Pair>(st, &C::t1), stateLanes<Pair>(st, &C::t2),
            stateLanes<Pair>(st, &C::t3), stateLanes<Pair>(st, &C::t4)};
    const auto same = [](__m128 v) { return v; };
    for (int i = from; i < to; ++i) {
        const __m128 g = coefLanes<Pair>(blocks, &FilterBlock::cutCoef, i);
        const __m128 k = coefLanes<Pair>(blocks, &FilterBlock::resCoef, i);
        const __m128 in = Pair ? _mm_setr_ps(b.inL[i], b.inR[i], b2.inL[i], b2.inR[i])
                               : _mm_unpacklo_ps(_mm_load_ss(b.inL + i), _mm_load_ss(b.inR + i));
        __m128 out;
        if (Mode == ScorpioFilter::kRedLp2 || Mode == ScorpioFilter::kRedLp4) {
            const __m128 x = _mm_mul_ps(in, Lanes<Pair>::of(b.gain[i] * 1.2f, b2.gain[i] * 1.2f));
            const auto curve = [&fc](__m128 v) { return redOutput<Pair>(fc, v); };
            out = fourIterations<true, Mode == ScorpioFilter::kRedLp4>(s, x, g, k, curve);
            out = _mm_mul_ps(out, _mm_set1_ps(0.095f));
        } else if (Mode == ScorpioFilter::kBlackLp2) {
            out = fourIterations<false, false>(s, in, g, k, same);
            out = _mm_mul_ps(out, _mm_set1_ps(0.25f));
        } else if (Mode == ScorpioFilter::kBlackLp4) {
            const __m128 x = _mm_mul_ps(in, _mm_set1_ps(1.2f));
            out = fourIterations<false, true>(s, x, g, k, same);
            out = _mm_mul_ps(out, _mm_set1_ps(0.21f));
        } else {
            // The high-pass: the four-pole's low-pass taken from the input.
            const __m128 x = _mm_mul_ps(in, _mm_set1_ps(1.2f));
            const __m128 k2 = Mode == ScorpioFilter::kBlackHp4
                                  ? k
                                  : coefLanes<Pair>(blocks, &FilterBlock::damping, i);
            const __m128 c83 = _mm_set1_ps(0.83f);
            const auto high = [&](__m128 v) { return _mm_sub_ps(in, _mm_mul_ps(c83, v)); };
            out = fourIterations<false, true>(s, x, g, k2, high);
            if (Mode == ScorpioFilter::kBlackHp4) {
                out = _mm_mul_ps(out, _mm_set1_ps(0.23f));
            } else {
                // Band-pass: a second four-pole low-passes the high-pass.
                const __m128 h = _mm_mul_ps(out, _mm_set1_ps(0.252f));
                out = fourIterations<false, true>(t, h, g, k, same);
                out = _mm_mul_ps(out, _mm_set1_ps(0.21f));
            }
        }
        alignas(16) float lanes[4];
        _mm_store_ps(lanes, out);
        b.outL[i] = lanes[0];
        b.outR[i] = lanes[1];
        if (Pair) {
            b2.outL[i] = lanes[2];
            b2.outR[i] = lanes[3];
        }
    }
    alignas(16) float v[8][4];
    _mm_store_ps(v[0], s.a1);
    _mm_store_ps(v[1], s.a2);
    _mm_store_ps(v[2], s.a3);
    _mm_store_ps(v[3], s.a4);
    _mm_store_ps(v[4], t.a1);
    _mm_store_ps(v[5], t.a2);
    _mm_store_ps(v[6], t.a3);
    _mm_store_ps(v[7], t.a4);
    for (int lane = 0; lane < (Pair ? 4 : 2); ++lane) {
        ScorpioChannel& ch = st[lane / 2]->channel[lane % 2];
        ch.s1 = v[0][lane], ch.s2 = v[1][lane], ch.s3 = v[2][lane], ch.s4 = v[3][lane];
        ch.t1 = v[4][lane], ch.t2 = v[5][lane], ch.t3 = v[6][lane], ch.t4 = v[7][lane];
    }
}

template <bool Pair>
void runMode(int mode, ScorpioState* const* st, const FilterBlock* const* b, int from, int to) {
    switch (mode) {
    case ScorpioFilter::kRedLp2:
        loop<ScorpioFilter::kRedLp2, Pair>(st, b, from, to);
        break;
    case ScorpioFilter::kRedLp4:
        loop<ScorpioFilter::kRedLp4, Pair>(st, b, from, to);
        break;
    case ScorpioFilter::kBlackLp2:
        loop<ScorpioFilter::kBlackLp2, Pair>(st, b, from, to);
        break;
    case ScorpioFilter::kBlackLp4:
        loop<ScorpioFilter::kBlackLp4, Pair>(st, b, from, to);
        break;
    case ScorpioFilter::kBlackHp4:
        loop<ScorpioFilter::kBlackHp4, Pair>(st, b, from, to);
        break;
    default:
        loop<ScorpioFilter::kBlackBp4, Pair>(st, b, from, to);
        break;
    }
}

/// A new mode starts the cells from zero.
void enterMode(ScorpioState& st, int mode) {
    if (mode == st.mode) return;
    for (ScorpioChannel& c : st.channel) c.s1 = c.s2 = c.s3 = c.s4 = 0.0f;
    st.mode = mode;
}

} // namespace

void ScorpioState::clear() {
    channel[0] = ScorpioChannel{};
    channel[1] = ScorpioChannel{};
}

void ScorpioFilter::render(ScorpioState& st, int mode, const FilterBlock& b) {
    mode = std::clamp(mode, 0, int(kBlackBp4));
    enterMode(st, mode);
    prepare(st.cache, mode, b);
    ScorpioState* const states[1] = {&st};
    const FilterBlock* const blocks[1] = {&b};
    runSegments(
        b, [&](int from, int to) { runMode<false>(mode, states, blocks, from, to); },
        [&] { st.clear(); });
}

bool ScorpioFilter::pairable(const FilterBlock& b) {
    return !(b.clearAtStart && b.starts && b.starts->count > 0);
}

void ScorpioFilter::renderPair(ScorpioState& first, const FilterBlock& a, ScorpioState& second,
                               const FilterBlock& b, int mode) {
    if (a.frames != b.frames || !pairable(a) || !pairable(b)) {
        render(first, mode, a);
        render(second, mode, b);
        return;
    }
    mode = std::clamp(mode, 0, int(kBlackBp4));
    enterMode(first, mode);
    enterMode(second, mode);
    prepare(first.cache, mode, a);
    prepare(second.cache, mode, b);
    ScorpioState* const states[2] = {&first, &second};
    const FilterBlock* const blocks[2] = {&a, &b};
    if (a.frames > 0) runMode<true>(mode, states, blocks, 0, a.frames);
}

} // namespace torvo

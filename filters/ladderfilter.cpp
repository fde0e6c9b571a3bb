#include "filters/ladderfilter.h"

#include "filters/filtercurves.h"
#include "filters/filterlanes.h"
#include "filters/ladderkernel.h"

#include <algorithm>

#include <emmintrin.h>

namespace torvo {

namespace {

/// What a model and mode take from the tables and how they scale the output:
/// G = scale (1 - r + r T) (1 - dampRate r), with T the mode's gain table at the cut-off or 1.
struct LadderFlavour {
    const float* resTable; // 32 points plus guard
    float resScale;
    const float* gainTable; // 32 points plus guard, or null for T = 1
    float gainAt;           // the gain table is read at gainAt * c
    float scale;
    float dampRate;
    // The same two tables as pairs (point, step to the next point) for the four-lane reads.
    const float* resPairs;
    const float* gainPairs;
};

/// A point table as pairs (point, step to the next point): the step is the difference the
/// interpolating read takes, so the lanes read one pair where the plain read takes two points.
template <int N> struct PairTable {
    alignas(16) float pairs[2 * N] = {};
    void fill(const float* t) {
        for (int i = 0; i < N; ++i) {
            pairs[2 * i] = t[i];
            pairs[2 * i + 1] = t[i + 1] - t[i];
        }
    }
};

struct LadderPairs {
    PairTable<FilterCurves::kCutoffPoints> cutoff;
    PairTable<FilterCurves::kCurvePoints> perfectoRes, acidoRes, lpGain, bpGain;
};

const LadderPairs& ladderPairs() {
    static const LadderPairs pairs = [] {
        const FilterCurves& fc = filterCurves();
        LadderPairs p;
        p.cutoff.fill(fc.ladderCutoff);
        p.perfectoRes.fill(fc.perfectoRes);
        p.acidoRes.fill(fc.acidoRes);
        p.lpGain.fill(fc.perfectoLpGain);
        p.bpGain.fill(fc.perfectoBpGain);
        return p;
    }();
    return pairs;
}

LadderFlavour flavourOf(const FilterCurves& fc, bool acido, int mode) {
    const LadderPairs& lp = ladderPairs();
    if (acido) return {fc.acidoRes, 0.955f, nullptr, 1.0f, 1.0f, 0.3f, lp.acidoRes.pairs, nullptr};
    switch (mode) {
    case LadderFilter::kLp4:
        return {fc.perfectoRes, 1.0f,  fc.perfectoLpGain,    0.85f,
                0.5f,           0.75f, lp.perfectoRes.pairs, lp.lpGain.pairs};
    case LadderFilter::kBp4:
        return {fc.perfectoRes, 1.0f,  fc.perfectoBpGain,    1.0f,
                0.215f,         0.75f, lp.perfectoRes.pairs, lp.bpGain.pairs};
    default:
        return {fc.perfectoRes, 1.0f, nullptr, 1.0f, 0.5f, 0.75f, lp.perfectoRes.pairs, nullptr};
    }
}

inline float read32(const float* table, float x) {
    const float p = std::clamp(x, 0.0f, 1.0f) * 31.0f;
    const int i = int(p);
    return table[i] + (table[i + 1] - table[i]) * (p - float(i));
}

/// Stage one, per sample: the table reads. cutCoef gets the raw frequency coefficient,
/// resCoef the resonance table, gain the gain table (or 1).
inline void readTables(const FilterCurves& fc, const LadderFlavour& fl, float c, float ratio,
                       float& p, float& res, float& gainT) {
    p = readCurve(fc.ladderCutoff, c) * ratio;
    res = read32(fl.resTable, c);
    gainT = fl.gainTable ? read32(fl.gainTable, fl.gainAt * c) : 1.0f;
}

/// Stage one for four samples at once, lane by lane the same arithmetic as readTables(). The
/// clamp to 0..1 by min and max differs from the scalar one only in the sign of a zero, which
/// no read can tell.
inline void readTables4(const LadderFlavour& fl, const float* c, float ratio, float* p, float* res,
                        float* gainT) {
    const __m128 zero = _mm_setzero_ps();
    const __m128 one = _mm_set1_ps(1.0f);
    const __m128 x = _mm_loadu_ps(c);
    const __m128 unit = _mm_min_ps(_mm_max_ps(x, zero), one);
    const float* cutoff = ladderPairs().cutoff.pairs;
    const __m128 atCut = _mm_mul_ps(unit, _mm_set1_ps(float(FilterCurves::kCutoffPoints - 1)));
    _mm_storeu_ps(p, _mm_mul_ps(Lanes4::interpolate(cutoff, atCut), _mm_set1_ps(ratio)));
    const __m128 at32 = _mm_mul_ps(unit, _mm_set1_ps(31.0f));
    _mm_storeu_ps(res, Lanes4::interpolate(fl.resPairs, at32));
    if (!fl.gainTable) {
        _mm_storeu_ps(gainT, one);
        return;
    }
    const __m128 g = _mm_mul_ps(_mm_set1_ps(fl.gainAt), x);
    const __m128 atGain = _mm_mul_ps(_mm_min_ps(_mm_max_ps(g, zero), one), _mm_set1_ps(31.0f));
    _mm_storeu_ps(gainT, Lanes4::interpolate(fl.gainPairs, atGain));
}

/// Stage two: plain arithmetic, in place. (t^2 + 12 + 6t) / (t^2 + 12 - 6t) stands in for
/// e^t, so at a low cut-off the loop gain reaches 4 r times the resonance table.
inline void finish(const LadderFlavour& fl, float r, float& p, float& k, float& res, float& gainT) {
    const float p0 = p;
    const float pp = p0 * (1.8f - 0.8f * p0);
    const float t = (1.0f - pp) * 1.386249f;
    const float t2 = t * t;
    res = r * res * fl.resScale * ((t2 + 12.0f + 6.0f * t) / (t2 + 12.0f - 6.0f * t));
    gainT = fl.scale * (1.0f - r + r * gainT) * (1.0f - fl.dampRate * r);
    p = pp;
    k = 2.0f * pp - 1.0f;
}

/// Fills the four coefficient buffers, or, when the controls hold for the block, only the
/// cache (a settled knob costs no table reads): answers whether they held.
bool prepare(LadderCoefCache& cache, bool acido, int mode, const FilterBlock& b) {
    const FilterCurves& fc = filterCurves();
    const LadderFlavour fl = flavourOf(fc, acido, mode);
    const int n = b.frames;
    if (controlsHold(b)) {
        const float c = b.cut[0];
        const float r = b.res[0];
        if (c != cache.cut || r != cache.res || mode != cache.mode || b.rateRatio != cache.ratio) {
            float p, k, res, g;
            readTables(fc, fl, c, b.rateRatio, p, res, g);
            finish(fl, r, p, k, res, g);
            cache = {c, r, b.rateRatio, mode, p, k, res, g};
        }
        return true;
    }
    cache.cut = -1.0f; // the next constant block recomputes
    float* __restrict p = b.cutCoef;
    float* __restrict k = b.damping;
    float* __restrict res = b.resCoef;
    float* __restrict g = b.gain;
    int at = 0;
    for (; at + 4 <= n; at += 4) readTables4(fl, b.cut + at, b.rateRatio, p + at, res + at, g + at);
    for (; at < n; ++at) readTables(fc, fl, b.cut[at], b.rateRatio, p[at], res[at], g[at]);
    for (int i = 0; i < n; ++i) finish(fl, b.res[i], p[i], k[i], res[i], g[i]);
    return false;
}

/// The cached coefficients of a block that held, written out for a loop that reads buffers.
void fillFromCache(const LadderCoefCache& cache, const FilterBlock& b) {
    const int n = b.frames;
    std::fill(b.cutCoef, b.cutCoef + n, cache.p);
    std::fill(b.damping, b.damping + n, cache.k);
    std::fill(b.resCoef, b.resCoef + n, cache.feedback);
    std::fill(b.gain, b.gain + n, cache.gain);
}

/// Left and right channels of one ladder stage in the two low lanes of a vector: both run
/// the same recursion, so one instruction serves both.
struct StagePair {
    __m128 y1, y2, y3, y4, x1, x2, x3, x4;

    /// Voice one's left and right in lanes 0 and 1, voice two's in lanes 2 and 3.
    void load4(const LadderState& l, const LadderState& r, const LadderState& l2,
               const LadderState& r2) {
        y1 = _mm_setr_ps(l.y1, r.y1, l2.y1, r2.y1);
        y2 = _mm_setr_ps(l.y2, r.y2, l2.y2, r2.y2);
        y3 = _mm_setr_ps(l.y3, r.y3, l2.y3, r2.y3);
        y4 = _mm_setr_ps(l.y4, r.y4, l2.y4, r2.y4);
        x1 = _mm_setr_ps(l.x1, r.x1, l2.x1, r2.x1);
        x2 = _mm_setr_ps(l.x2, r.x2, l2.x2, r2.x2);
        x3 = _mm_setr_ps(l.x3, r.x3, l2.x3, r2.x3);
        x4 = _mm_setr_ps(l.x4, r.x4, l2.x4, r2.x4);
    }
    static void lanes4(__m128 v, float& a, float& b, float& c, float& d) {
        alignas(16) float f[4];
        _mm_store_ps(f, v);
        a = f[0];
        b = f[1];
        c = f[2];
        d = f[3];
    }
    void store4(LadderState& l, LadderState& r, LadderState& l2, LadderState& r2) const {
        lanes4(y1, l.y1, r.y1, l2.y1, r2.y1);
        lanes4(y2, l.y2, r.y2, l2.y2, r2.y2);
        lanes4(y3, l.y3, r.y3, l2.y3, r2.y3);
        lanes4(y4, l.y4, r.y4, l2.y4, r2.y4);
        lanes4(x1, l.x1, r.x1, l2.x1, r2.x1);
        lanes4(x2, l.x2, r.x2, l2.x2, r2.x2);
        lanes4(x3, l.x3, r.x3, l2.x3, r2.x3);
        lanes4(x4, l.x4, r.x4, l2.x4, r2.x4);
    }
    void load(const LadderState& l, const LadderState& r) {
        y1 = _mm_setr_ps(l.y1, r.y1, 0.0f, 0.0f);
        y2 = _mm_setr_ps(l.y2, r.y2, 0.0f, 0.0f);
        y3 = _mm_setr_ps(l.y3, r.y3, 0.0f, 0.0f);
        y4 = _mm_setr_ps(l.y4, r.y4, 0.0f, 0.0f);
        x1 = _mm_setr_ps(l.x1, r.x1, 0.0f, 0.0f);
        x2 = _mm_setr_ps(l.x2, r.x2, 0.0f, 0.0f);
        x3 = _mm_setr_ps(l.x3, r.x3, 0.0f, 0.0f);
        x4 = _mm_setr_ps(l.x4, r.x4, 0.0f, 0.0f);
    }
    static void lane(__m128 v, float& left, float& right) {
        alignas(16) float f[4];
        _mm_store_ps(f, v);
        left = f[0];
        right = f[1];
    }
    void store(LadderState& l, LadderState& r) const {
        lane(y1, l.y1, r.y1);
        lane(y2, l.y2, r.y2);
        lane(y3, l.y3, r.y3);
        lane(y4, l.y4, r.y4);
        lane(x1, l.x1, r.x1);
        lane(x2, l.x2, r.x2);
        lane(x3, l.x3, r.x3);
        lane(x4, l.x4, r.x4);
    }
};

struct Taps {
    __m128 x, y1, y2, y3, y4;
};

/// Per-sample coefficients, the same for both lanes.
struct StepCoefs {
    __m128 p, k, feedback;
    // Powers of p times the feedback: how much each pole sees of the last output.
    __m128 e1, e2, e3, e4;

    StepCoefs(float pv, float kv, float fv) {
        const float e1v = pv * fv;
        const float e2v = e1v * pv;
        const float e3v = e2v * pv;
        p = _mm_set1_ps(pv);
        k = _mm_set1_ps(kv);
        feedback = _mm_set1_ps(fv);
        e1 = _mm_set1_ps(e1v);
        e2 = _mm_set1_ps(e2v);
        e3 = _mm_set1_ps(e3v);
        e4 = _mm_set1_ps(e3v * pv + kv);
    }
    /// Two voices: the first one's coefficients in lanes 0 and 1, the second's in 2 and 3,
    /// each computed as for a voice alone.
    StepCoefs(float pv, float kv, float fv, float pw, float kw, float fw) {
        const float e1v = pv * fv;
        const float e2v = e1v * pv;
        const float e3v = e2v * pv;
        const float e1w = pw * fw;
        const float e2w = e1w * pw;
        const float e3w = e2w * pw;
        p = _mm_setr_ps(pv, pv, pw, pw);
        k = _mm_setr_ps(kv, kv, kw, kw);
        feedback = _mm_setr_ps(fv, fv, fw, fw);
        e1 = _mm_setr_ps(e1v, e1v, e1w, e1w);
        e2 = _mm_setr_ps(e2v, e2v, e2w, e2w);
        e3 = _mm_setr_ps(e3v, e3v, e3w, e3w);
        const float e4v = e3v * pv + kv;
        const float e4w = e3w * pw + kw;
        e4 = _mm_setr_ps(e4v, e4v, e4w, e4w);
    }
};

const __m128 kClip = _mm_set1_ps(1.414f);
const __m128 kSixth = _mm_set1_ps(1.0f / 6.0f);
const __m128 kSignBit = _mm_set1_ps(-0.0f);
/// The cubic at the clip bound, by the same operations as in the step: about 0.943.
const float kEdgeValue = 1.414f - (1.414f * 1.414f) * (1.414f * (1.0f / 6.0f));
const __m128 kEdge = _mm_set1_ps(kEdgeValue);

/// clip(y, +-1.414) then y - y^3 / 6. The cubic is taken of the unclipped value beside the
/// test, and the clipped ends replaced by the cubic's value at the bound: the same result with
/// a shorter path from one sample to the next. A NaN takes the bound, as the clip would.
inline __m128 clipCubic(__m128 y) {
    const __m128 sixth = _mm_mul_ps(y, kSixth);
    const __m128 cubic = _mm_sub_ps(y, _mm_mul_ps(_mm_mul_ps(y, y), sixth));
    const __m128 outside = _mm_cmpnle_ps(_mm_andnot_ps(kSignBit, y), kClip);
    const __m128 edge = _mm_or_ps(_mm_and_ps(y, kSignBit), kEdge);
    return _mm_or_ps(_mm_and_ps(outside, edge), _mm_andnot_ps(outside, cubic));
}

/// One sample through four poles: y' = (x + x_prev) p - k y for each pole, then the clip and
/// cubic on the last. Each pole's output is written as a part known before the sample starts
/// plus a multiple of the last output y4, so the only recursion left between samples is
/// y4 -> multiply-subtract -> clip, not the walk through all four poles.
inline Taps step(StagePair& s, __m128 in, const StepCoefs& c, bool withFeedback) {
    const __m128 y4old = s.y4;
    const __m128 b1 =
        _mm_add_ps(_mm_mul_ps(c.p, in), _mm_sub_ps(_mm_mul_ps(c.p, s.x1), _mm_mul_ps(c.k, s.y1)));
    const __m128 b2 =
        _mm_add_ps(_mm_mul_ps(c.p, b1), _mm_sub_ps(_mm_mul_ps(c.p, s.x2), _mm_mul_ps(c.k, s.y2)));
    const __m128 b3 =
        _mm_add_ps(_mm_mul_ps(c.p, b2), _mm_sub_ps(_mm_mul_ps(c.p, s.x3), _mm_mul_ps(c.k, s.y3)));
    const __m128 b4 = _mm_add_ps(_mm_mul_ps(c.p, b3), _mm_mul_ps(c.p, s.x4));
    __m128 x, y1, y2, y3, y4;
    if (withFeedback) {
        x = _mm_sub_ps(in, _mm_mul_ps(c.feedback, y4old));
        y1 = _mm_sub_ps(b1, _mm_mul_ps(c.e1, y4old));
        y2 = _mm_sub_ps(b2, _mm_mul_ps(c.e2, y4old));
        y3 = _mm_sub_ps(b3, _mm_mul_ps(c.e3, y4old));
        y4 = _mm_sub_ps(b4, _mm_mul_ps(c.e4, y4old));
    } else {
        x = in;
        y1 = b1;
        y2 = b2;
        y3 = b3;
        y4 = _mm_sub_ps(b4, _mm_mul_ps(c.k, y4old));
    }
    y4 = clipCubic(y4);
    s.x1 = x;
    s.x2 = y1;
    s.x3 = y2;
    s.x4 = y3;
    s.y1 = y1;
    s.y2 = y2;
    s.y3 = y3;
    s.y4 = y4;
    return {x, y1, y2, y3, y4};
}

inline __m128 loadPair(const float* l, const float* r, int i) {
    return _mm_unpacklo_ps(_mm_load_ss(l + i), _mm_load_ss(r + i));
}

inline void storePair(float* l, float* r, int i, __m128 v) {
    _mm_store_ss(l + i, v);
    _mm_store_ss(r + i, _mm_shuffle_ps(v, v, _MM_SHUFFLE(1, 1, 1, 1)));
}

void applyGain(const FilterBlock& b) {
    for (int i = 0; i < b.frames; ++i) {
        b.outL[i] *= b.gain[i];
        b.outR[i] *= b.gain[i];
    }
}

void applyGain(const FilterBlock& b, bool steady, float gain) {
    if (!steady) {
        applyGain(b);
        return;
    }
    for (int i = 0; i < b.frames; ++i) {
        b.outL[i] *= gain;
        b.outR[i] *= gain;
    }
}

/// The four lanes of two voices' blocks, voice one in lanes 0 and 1.
struct PairIo {
    const FilterBlock& a;
    const FilterBlock& b;
    StepCoefs coefs(int i) const {
        return StepCoefs(a.cutCoef[i], a.damping[i], a.resCoef[i], b.cutCoef[i], b.damping[i],
                         b.resCoef[i]);
    }
    __m128 in(int i) const { return _mm_setr_ps(a.inL[i], a.inR[i], b.inL[i], b.inR[i]); }
    void out(int i, __m128 v) const {
        alignas(16) float f[4];
        _mm_store_ps(f, v);
        a.outL[i] = f[0];
        a.outR[i] = f[1];
        b.outL[i] = f[2];
        b.outR[i] = f[3];
    }
};

/// The two low lanes of one voice's block.
struct SingleIo {
    const FilterBlock& a;
    StepCoefs coefs(int i) const { return StepCoefs(a.cutCoef[i], a.damping[i], a.resCoef[i]); }
    __m128 in(int i) const { return loadPair(a.inL, a.inR, i); }
    void out(int i, __m128 v) const { storePair(a.outL, a.outR, i, v); }
};

template <int Pole, class Io>
inline void acidoSamples(StagePair& a, const Io& io, int from, int to) {
    for (int i = from; i < to; ++i) {
        const Taps t = step(a, io.in(i), io.coefs(i), true);
        io.out(i, Pole == 1 ? t.y1 : Pole == 2 ? t.y2 : Pole == 3 ? t.y3 : t.y4);
    }
}

template <int Pole> void acidoLoop(AcidoState& st, const FilterBlock& b, int from, int to) {
    StagePair a;
    a.load(st.stage[0], st.stage[1]);
    acidoSamples<Pole>(a, SingleIo{b}, from, to);
    a.store(st.stage[0], st.stage[1]);
}

template <int Pole>
void acidoPairLoop(AcidoState& s1, const FilterBlock& b1, AcidoState& s2, const FilterBlock& b2) {
    StagePair a;
    a.load4(s1.stage[0], s1.stage[1], s2.stage[0], s2.stage[1]);
    acidoSamples<Pole>(a, PairIo{b1, b2}, 0, b1.frames);
    a.store4(s1.stage[0], s1.stage[1], s2.stage[0], s2.stage[1]);
}

/// Whether two blocks may run side by side: the same length, and no restart at a note start.
bool pairable(const FilterBlock& a, const FilterBlock& b) {
    const auto plain = [](const FilterBlock& x) {
        return !(x.clearAtStart && x.starts && x.starts->count > 0);
    };
    return a.frames == b.frames && plain(a) && plain(b);
}

/// Up to PerfectoGroup::kMax voices through one loop; blocks of equal length without a
/// restart.
void runPerfectoGroup(PerfectoState* const* states, const FilterBlock* const* blocks, int count,
                      int mode) {
    PerfectoGroup g;
    g.count = count;
    g.mode = mode;
    g.steady = true;
    bool held[PerfectoGroup::kMax];
    for (int j = 0; j < count; ++j) {
        g.state[j] = states[j];
        g.block[j] = blocks[j];
        held[j] = prepare(states[j]->cache, false, mode, *blocks[j]);
        g.steady = g.steady && held[j];
    }
    if (!g.steady)
        for (int j = 0; j < count; ++j)
            if (held[j]) fillFromCache(states[j]->cache, *blocks[j]);
    const int frames = blocks[0]->frames;
    if (frames > 0) {
        // Four voices fill a 256-bit vector; beyond that a second one runs beside it.
        if (wideFilterLanes() && count > 2)
            perfectoGroupWide(g, count > 4 ? 2 : 1, 0, frames);
        else if (count > 2)
            ladderkernel::run<Lanes4, 2>(g, 0, frames);
        else
            ladderkernel::run<Lanes4, 1>(g, 0, frames);
    }
    for (int j = 0; j < count; ++j) applyGain(*blocks[j], g.steady, states[j]->cache.gain);
}

} // namespace

void LadderFilter::warm() {
    ladderPairs();
}

void PerfectoState::clear() {
    for (LadderState& s : stage) s = LadderState{};
}

void AcidoState::clear() {
    for (LadderState& s : stage) s = LadderState{};
}

void LadderFilter::renderPerfecto(PerfectoState& st, int mode, const FilterBlock& b) {
    PerfectoGroup g;
    g.count = 1;
    g.mode = mode;
    g.steady = prepare(st.cache, false, mode, b);
    g.state[0] = &st;
    g.block[0] = &b;
    runSegments(
        b, [&](int from, int to) { ladderkernel::run<Lanes4One, 1>(g, from, to); },
        [&] { st.clear(); });
    applyGain(b, g.steady, st.cache.gain);
}

void LadderFilter::renderPerfectoPair(PerfectoState& s1, const FilterBlock& b1, PerfectoState& s2,
                                      const FilterBlock& b2, int mode) {
    PerfectoState* const states[2] = {&s1, &s2};
    const FilterBlock* const blocks[2] = {&b1, &b2};
    renderPerfectoGroup(states, blocks, 2, mode);
}

void LadderFilter::renderPerfectoGroup(PerfectoState* const* states,
                                       const FilterBlock* const* blocks, int count, int mode) {
    // Voices that restart within the block, or differ in length, go alone.
    PerfectoState* st[PerfectoGroup::kMax];
    const FilterBlock* bl[PerfectoGroup::kMax];
    int n = 0;
    const int most = wideFilterLanes() ? PerfectoGroup::kMax : PerfectoGroup::kMax / 2;
    const int frames = count > 0 ? blocks[0]->frames : 0;
    for (int v = 0; v < count; ++v) {
        if (!pairable(*blocks[v], *blocks[v]) || blocks[v]->frames != frames) {
            renderPerfecto(*states[v], mode, *blocks[v]);
            continue;
        }
        st[n] = states[v];
        bl[n] = blocks[v];
        if (++n == most) {
            runPerfectoGroup(st, bl, n, mode);
            n = 0;
        }
    }
    if (n == 1)
        renderPerfecto(*st[0], mode, *bl[0]);
    else if (n > 1)
        runPerfectoGroup(st, bl, n, mode);
}

void LadderFilter::renderAcidoPair(AcidoState& s1, const FilterBlock& b1, AcidoState& s2,
                                   const FilterBlock& b2, int mode) {
    if (!pairable(b1, b2)) {
        renderAcido(s1, mode, b1);
        renderAcido(s2, mode, b2);
        return;
    }
    if (prepare(s1.cache, true, mode, b1)) fillFromCache(s1.cache, b1);
    if (prepare(s2.cache, true, mode, b2)) fillFromCache(s2.cache, b2);
    if (b1.frames > 0) {
        switch (mode) {
        case 0:
            acidoPairLoop<1>(s1, b1, s2, b2);
            break;
        case 1:
            acidoPairLoop<2>(s1, b1, s2, b2);
            break;
        case 2:
            acidoPairLoop<3>(s1, b1, s2, b2);
            break;
        default:
            acidoPairLoop<4>(s1, b1, s2, b2);
            break;
        }
    }
    applyGain(b1);
    applyGain(b2);
}

void LadderFilter::renderAcido(AcidoState& st, int mode, const FilterBlock& b) {
    if (prepare(st.cache, true, mode, b)) fillFromCache(st.cache, b);
    runSegments(
        b,
        [&](int from, int to) {
            switch (mode) {
            case 0:
                acidoLoop<1>(st, b, from, to);
                break;
            case 1:
                acidoLoop<2>(st, b, from, to);
                break;
            case 2:
                acidoLoop<3>(st, b, from, to);
                break;
            default:
                acidoLoop<4>(st, b, from, to);
                break;
            }
        },
        [&] { st.clear(); });
    applyGain(b);
}

} // namespace torvo

#pragma once
// The sample loop of "Perfecto" over a group of voices, written once for any vector width.
// Each voice takes two lanes (left, right); a vector of W lanes holds W / 2 voices, and
// `Chains` such vectors run side by side, so the processor works on one while the others
// wait on their last sample. Every lane runs exactly the arithmetic of a voice alone.

#include "filters/filterblock.h"
#include "filters/ladderfilter.h"

namespace torvo {

/// Voices whose blocks run through one sample loop, all in the same mode.
struct PerfectoGroup {
    static constexpr int kMax = 8;
    int count = 0;
    int mode = 0;
    /// Every voice's coefficients hold for the whole block: they are in the caches, and the
    /// coefficient buffers are not filled.
    bool steady = false;
    PerfectoState* state[kMax] = {};
    const FilterBlock* block[kMax] = {};
};

/// Runs samples [from, to) of a group on 256-bit vectors: `chains` of 1 or 2 vectors of four
/// voices each. Only where wideFilterLanes() allows it; it takes the table reads of
/// AVX-512VL where filterLaneLevel() allows those.
void perfectoGroupWide(const PerfectoGroup& group, int chains, int from, int to);
/// The same built for AVX-512VL.
void perfectoGroupPermute(const PerfectoGroup& group, int chains, int from, int to);

namespace ladderkernel {

template <class L> struct Stage { typename L::V y1, y2, y3, y4, x1, x2, x3, x4; };

template <class L> struct Taps { typename L::V x, y1, y2, y3, y4; };

/// Per-sample coefficients of one chain.
template <class L> struct StepCoefs {
    typename L::V p, k, feedback;
    // Powers of p times the feedback: how much each pole sees of the last output.
    typename L::V e1, e2, e3, e4;

    void derive() {
        e1 = L::mul(p, feedback);
        e2 = L::mul(e1, p);
        e3 = L::mul(e2, p);
        e4 = L::add(L::mul(e3, p), k);
    }
};

template <class L> struct Consts {
    using V = typename L::V;
    V clip, sixth, signBit, edge, two, inScale, between;
    Consts()
        : clip(L::set1(1.414f)), sixth(L::set1(1.0f / 6.0f)), signBit(L::set1(-0.0f)),
          // The cubic at the clip bound, by the same operations as in the step: about 0.943.
          edge(L::set1(1.414f - (1.414f * 1.414f) * (1.414f * (1.0f / 6.0f)))), two(L::set1(2.0f)),
          inScale(L::set1(0.6f)), between(L::set1(4.3f)) {}
};

/// clip(y, +-1.414) then y - y^3 / 6. The cubic is taken of the unclipped value beside the
/// test, and the clipped ends replaced by the cubic's value at the bound: the same result with
/// a shorter path from one sample to the next. A NaN takes the bound, as the clip would.
template <class L> inline typename L::V clipCubic(typename L::V y, const Consts<L>& c) {
    using V = typename L::V;
    const V sixth = L::mul(y, c.sixth);
    const V cubic = L::sub(y, L::mul(L::mul(y, y), sixth));
    const V outside = L::greater(L::andNot(c.signBit, y), c.clip);
    const V edge = L::bitOr(L::bitAnd(y, c.signBit), c.edge);
    return L::bitOr(L::bitAnd(outside, edge), L::andNot(outside, cubic));
}

/// One sample through four poles: y' = (x + x_prev) p - k y for each pole, then the clip and
/// cubic on the last. Each pole's output is written as a part known before the sample starts
/// plus a multiple of the last output y4, so the only recursion left between samples is
/// y4 -> multiply-subtract -> clip, not the walk through all four poles.
template <class L, bool Feedback>
inline Taps<L> step(Stage<L>& s, typename L::V in, const StepCoefs<L>& c, const Consts<L>& k) {
    using V = typename L::V;
    const V y4old = s.y4;
    const V b1 = L::add(L::mul(c.p, in), L::sub(L::mul(c.p, s.x1), L::mul(c.k, s.y1)));
    const V b2 = L::add(L::mul(c.p, b1), L::sub(L::mul(c.p, s.x2), L::mul(c.k, s.y2)));
    const V b3 = L::add(L::mul(c.p, b2), L::sub(L::mul(c.p, s.x3), L::mul(c.k, s.y3)));
    const V b4 = L::add(L::mul(c.p, b3), L::mul(c.p, s.x4));
    Taps<L> t;
    if (Feedback) {
        t.x = L::sub(in, L::mul(c.feedback, y4old));
        t.y1 = L::sub(b1, L::mul(c.e1, y4old));
        t.y2 = L::sub(b2, L::mul(c.e2, y4old));
        t.y3 = L::sub(b3, L::mul(c.e3, y4old));
        t.y4 = L::sub(b4, L::mul(c.e4, y4old));
    } else {
        t.x = in;
        t.y1 = b1;
        t.y2 = b2;
        t.y3 = b3;
        t.y4 = L::sub(b4, L::mul(c.k, y4old));
    }
    t.y4 = clipCubic<L>(t.y4, k);
    s.x1 = t.x;
    s.x2 = t.y1;
    s.x3 = t.y2;
    s.x4 = t.y3;
    s.y1 = t.y1;
    s.y2 = t.y2;
    s.y3 = t.y3;
    s.y4 = t.y4;
    return t;
}

/// Stage `first` of each voice's left channel and stage `first + 2` of its right.
template <class L> inline void loadStage(const PerfectoGroup& g, int ch, int first, Stage<L>& s) {
    constexpr int kVoices = L::kWidth / 2;
    alignas(32) float v[8][L::kWidth];
    for (int n = 0; n < kVoices; ++n) {
        const int j = ch * kVoices + n;
        for (int side = 0; side < 2; ++side) {
            const LadderState z{};
            const LadderState& st = j < g.count ? g.state[j]->stage[first + 2 * side] : z;
            const float f[8] = {st.y1, st.y2, st.y3, st.y4, st.x1, st.x2, st.x3, st.x4};
            for (int c = 0; c < 8; ++c) v[c][2 * n + side] = f[c];
        }
    }
    s = {L::load(v[0]), L::load(v[1]), L::load(v[2]), L::load(v[3]),
         L::load(v[4]), L::load(v[5]), L::load(v[6]), L::load(v[7])};
}

template <class L>
inline void storeStage(const PerfectoGroup& g, int ch, int first, const Stage<L>& s) {
    constexpr int kVoices = L::kWidth / 2;
    alignas(32) float v[8][L::kWidth];
    const typename L::V all[8] = {s.y1, s.y2, s.y3, s.y4, s.x1, s.x2, s.x3, s.x4};
    for (int c = 0; c < 8; ++c) L::store(v[c], all[c]);
    for (int n = 0; n < kVoices; ++n) {
        const int j = ch * kVoices + n;
        if (j >= g.count) break;
        for (int side = 0; side < 2; ++side) {
            LadderState& st = g.state[j]->stage[first + 2 * side];
            st = {v[0][2 * n + side], v[1][2 * n + side], v[2][2 * n + side], v[3][2 * n + side],
                  v[4][2 * n + side], v[5][2 * n + side], v[6][2 * n + side], v[7][2 * n + side]};
        }
    }
}

/// Samples [from, to) of the group in mode `Mode`, before the output gain. `Steady` takes the
/// coefficients from the caches once; otherwise they are read per sample.
template <class L, int Mode, int Chains, bool Steady>
void groupLoop(const PerfectoGroup& g, int from, int to) {
    using V = typename L::V;
    constexpr int kVoices = L::kWidth / 2;
    constexpr int kSlots = kVoices * Chains;
    constexpr bool kTwoStages = Mode == LadderFilter::kBp4 || Mode == LadderFilter::kHp4;
    const Consts<L> c;
    // The buffers of every voice slot. Slots beyond the group's voices are stand-ins that read
    // voice 0; their results are dropped.
    const float* inL[kSlots];
    const float* inR[kSlots];
    const float* pBuf[kSlots];
    const float* kBuf[kSlots];
    const float* fBuf[kSlots];
    float* outL[kSlots];
    float* outR[kSlots];
    float p0[kSlots], k0[kSlots], f0[kSlots];
    for (int j = 0; j < kSlots; ++j) {
        const int at = j < g.count ? j : 0;
        const FilterBlock& b = *g.block[at];
        inL[j] = b.inL;
        inR[j] = b.inR;
        pBuf[j] = b.cutCoef;
        kBuf[j] = b.damping;
        fBuf[j] = b.resCoef;
        outL[j] = j < g.count ? b.outL : nullptr;
        outR[j] = j < g.count ? b.outR : nullptr;
        const LadderCoefCache& cache = g.state[at]->cache;
        p0[j] = cache.p;
        k0[j] = cache.k;
        f0[j] = cache.feedback;
    }

    Stage<L> a[Chains], s2[Chains];
    for (int ch = 0; ch < Chains; ++ch) {
        loadStage<L>(g, ch, 0, a[ch]);
        if (kTwoStages) loadStage<L>(g, ch, 1, s2[ch]);
    }

    StepCoefs<L> k[Chains];
    const auto coefsFrom = [&](const float* p, const float* kk, const float* f, int ch) {
        k[ch].p = L::perVoice(p + ch * kVoices);
        k[ch].k = L::perVoice(kk + ch * kVoices);
        k[ch].feedback = L::perVoice(f + ch * kVoices);
        k[ch].derive();
    };
    if (Steady)
        for (int ch = 0; ch < Chains; ++ch) coefsFrom(p0, k0, f0, ch);

    for (int i = from; i < to; ++i) {
        if (!Steady) {
            float p[kSlots], kk[kSlots], f[kSlots];
            for (int j = 0; j < kSlots; ++j) {
                p[j] = pBuf[j][i];
                kk[j] = kBuf[j][i];
                f[j] = fBuf[j][i];
            }
            for (int ch = 0; ch < Chains; ++ch) coefsFrom(p, kk, f, ch);
        }
        V out[Chains];
        for (int ch = 0; ch < Chains; ++ch) {
            alignas(32) float x[L::kWidth];
            for (int n = 0; n < kVoices; ++n) {
                x[2 * n] = inL[ch * kVoices + n][i];
                x[2 * n + 1] = inR[ch * kVoices + n][i];
            }
            const V in = L::lanes(x);
            if (Mode == LadderFilter::kLp4) {
                out[ch] = step<L, true>(a[ch], L::mul(c.two, in), k[ch], c).y4;
            } else if (Mode == LadderFilter::kBp4) {
                const Taps<L> first = step<L, false>(a[ch], L::mul(c.inScale, in), k[ch], c);
                const V bp = L::sub(first.y4, first.y1);
                const Taps<L> second = step<L, true>(s2[ch], L::mul(c.between, bp), k[ch], c);
                out[ch] = L::sub(second.y4, second.y1);
            } else if (Mode == LadderFilter::kHp4) {
                const Taps<L> first = step<L, false>(a[ch], L::mul(c.inScale, in), k[ch], c);
                const V hp = L::sub(first.x, first.y4);
                const Taps<L> second = step<L, true>(s2[ch], L::mul(c.between, hp), k[ch], c);
                out[ch] = L::sub(second.x, second.y4);
            } else {
                const V doubled = L::mul(c.two, in);
                const Taps<L> t = step<L, true>(a[ch], doubled, k[ch], c);
                out[ch] = L::add(L::sub(t.y4, t.y1), doubled);
            }
        }
        for (int ch = 0; ch < Chains; ++ch) {
            alignas(32) float y[L::kWidth];
            L::store(y, out[ch]);
            for (int n = 0; n < kVoices; ++n) {
                const int j = ch * kVoices + n;
                if (!outL[j]) break;
                outL[j][i] = y[2 * n];
                outR[j][i] = y[2 * n + 1];
            }
        }
    }
    for (int ch = 0; ch < Chains; ++ch) {
        storeStage<L>(g, ch, 0, a[ch]);
        if (kTwoStages) storeStage<L>(g, ch, 1, s2[ch]);
    }
}

template <class L, int Chains, bool Steady> void runMode(const PerfectoGroup& g, int from, int to) {
    switch (g.mode) {
    case LadderFilter::kLp4:
        groupLoop<L, LadderFilter::kLp4, Chains, Steady>(g, from, to);
        break;
    case LadderFilter::kBp4:
        groupLoop<L, LadderFilter::kBp4, Chains, Steady>(g, from, to);
        break;
    case LadderFilter::kHp4:
        groupLoop<L, LadderFilter::kHp4, Chains, Steady>(g, from, to);
        break;
    default:
        groupLoop<L, LadderFilter::kPeak, Chains, Steady>(g, from, to);
        break;
    }
}

template <class L, int Chains> void run(const PerfectoGroup& g, int from, int to) {
    if (g.steady)
        runMode<L, Chains, true>(g, from, to);
    else
        runMode<L, Chains, false>(g, from, to);
}

} // namespace ladderkernel
} // namespace torvo

#pragma once
// The sample loop of "Scorpio" over a group of voices, written once for any vector width.
// Each voice takes two lanes (left, right); a vector of W lanes holds W / 2 voices, and
// `Chains` such vectors run side by side. The four iterations of a sample wait on each other,
// so one chain leaves the processor idle most of the time; independent chains in the same
// loop fill that time. Every lane runs exactly the arithmetic of a voice rendered alone.
//
// Within a sample's four iterations the arithmetic is regrouped so that the chain from one
// iteration to the next is short:
//   s1' = g nl(u) + ((1 - g) s1 + g I), where u = k (s1 - s2)
//   s2' = s2 + g (s1' - s2), and then s1' - s2' = (1 - g) (s1' - s2),
// so the next iteration's u is (1 - g) k (s1' - s2) without waiting for s2'.

#include "filters/filterblock.h"
#include "filters/filterlanes.h"
#include "filters/scorpiofilter.h"

namespace torvo {

/// Voices whose blocks run through one sample loop, all in the same mode.
struct ScorpioGroup {
    static constexpr int kMax = 8;
    int count = 0;
    int mode = 0;
    /// Every voice's coefficients hold for the whole block; they are in the caches, and the
    /// coefficient buffers are not filled.
    bool steady = false;
    ScorpioState* state[kMax] = {};
    const FilterBlock* block[kMax] = {};
    /// The Red output curve.
    const LaneTable* red = nullptr;
};

/// Runs samples [from, to) of a group on 256-bit vectors: `chains` of 1 or 2 vectors of four
/// voices each. Only where wideFilterLanes() allows it; it takes the table reads of
/// AVX-512VL where filterLaneLevel() allows those.
void scorpioGroupWide(const ScorpioGroup& group, int chains, int from, int to);
/// The same with the table reads of AVX-512VL.
void scorpioGroupPermute(const ScorpioGroup& group, int chains, int from, int to);

namespace scorpiokernel {

template <class L> struct Consts {
    using V = typename L::V;
    V softHigh, softLow, minusOne, one, sixth;
    Consts()
        : softHigh(L::set1(1.414f)), softLow(L::set1(-1.414f)), minusOne(L::set1(-1.0f)),
          one(L::set1(1.0f)), sixth(L::set1(1.0f / 6.0f)) {}
};

/// The coefficients of one chain at one sample, and what follows from them.
template <class L> struct Coefs {
    using V = typename L::V;
    V g, k, oneMinusG, gSixth, kk;

    void derive(const Consts<L>& c) {
        oneMinusG = L::sub(c.one, g);
        gSixth = L::mul(g, c.sixth);
        kk = L::mul(oneMinusG, k);
    }
};

/// g times the feedback's nonlinearity: soft(u) = v - v^3 / 6 with v = clamp(u, +-1.414) for
/// Red, limit(u) = max(u, -1) for Black.
template <class L, bool Red>
inline typename L::V scaledFeedback(typename L::V u, typename L::V g, typename L::V gSixth,
                                    const Consts<L>& c) {
    if (Red) {
        const typename L::V v = L::min(L::max(u, c.softLow), c.softHigh);
        const typename L::V cube = L::mul(L::mul(gSixth, v), L::mul(v, v));
        return L::sub(L::mul(g, v), cube);
    }
    return L::mul(g, L::max(u, c.minusOne));
}

/// The Red output curve, lane by lane.
template <class L> inline typename L::V redOutput(const LaneTable& curve, typename L::V s) {
    const typename L::V u = L::mul(
        L::min(L::max(L::add(L::mul(s, L::set1(0.8f)), L::set1(0.5f)), L::zero()), L::set1(1.0f)),
        L::set1(19.0f));
    return L::interpolate(curve, u);
}

/// What a chain adds up of each iteration's last pole: the pole itself.
template <class L> struct SameTap {
    typename L::V operator()(int, typename L::V v) const { return v; }
};

/// The pole through the Red output curve.
template <class L> struct CurveTap {
    const LaneTable* curve;
    typename L::V operator()(int, typename L::V v) const { return redOutput<L>(*curve, v); }
};

/// The high-pass: the input less the four-pole's low-pass.
template <class L> struct HighTap {
    const typename L::V* in;
    typename L::V c83;
    typename L::V operator()(int ch, typename L::V v) const {
        return L::sub(in[ch], L::mul(c83, v));
    }
};

template <class L> struct Cells { typename L::V a1, a2, a3, a4; };

/// Four iterations of the two (or four) poles of every chain with inputs `x`; `tap(c, v)`
/// gets each iteration's last pole of chain c and answers what to add up into `sum`.
template <class L, bool Red, bool Four, int Chains, typename Tap>
inline void fourIterations(Cells<L>* cell, const typename L::V* x, const Coefs<L>* k,
                           const Consts<L>& c, typename L::V* sum, const Tap& tap) {
    using V = typename L::V;
    V gx[Chains], u[Chains];
    for (int ch = 0; ch < Chains; ++ch) {
        gx[ch] = L::mul(k[ch].g, x[ch]);
        u[ch] = L::mul(k[ch].k, L::sub(cell[ch].a1, cell[ch].a2));
        sum[ch] = L::zero();
    }
    for (int it = 0; it < 4; ++it) {
        for (int ch = 0; ch < Chains; ++ch) {
            Cells<L>& s = cell[ch];
            const Coefs<L>& q = k[ch];
            const V rest = L::add(L::mul(q.oneMinusG, s.a1), gx[ch]);
            s.a1 = L::add(scaledFeedback<L, Red>(u[ch], q.g, q.gSixth, c), rest);
            const V d = L::sub(s.a1, s.a2);
            u[ch] = L::mul(q.kk, d);
            s.a2 = L::add(s.a2, L::mul(q.g, d));
            if (Four) {
                s.a3 = L::add(s.a3, L::mul(q.g, L::sub(s.a2, s.a3)));
                s.a4 = L::add(s.a4, L::mul(q.g, L::sub(s.a3, s.a4)));
                sum[ch] = L::add(sum[ch], tap(ch, s.a4));
            } else {
                sum[ch] = L::add(sum[ch], tap(ch, s.a2));
            }
        }
    }
}

template <class L, int Chains>
inline void loadCells(const ScorpioGroup& g, float ScorpioChannel::*const (&cell)[4],
                      Cells<L>* to) {
    constexpr int kVoices = L::kWidth / 2;
    for (int ch = 0; ch < Chains; ++ch) {
        alignas(32) float v[4][L::kWidth];
        for (int n = 0; n < kVoices; ++n) {
            const int j = ch * kVoices + n;
            for (int c = 0; c < 4; ++c) {
                v[c][2 * n] = j < g.count ? g.state[j]->channel[0].*cell[c] : 0.0f;
                v[c][2 * n + 1] = j < g.count ? g.state[j]->channel[1].*cell[c] : 0.0f;
            }
        }
        to[ch] = {L::load(v[0]), L::load(v[1]), L::load(v[2]), L::load(v[3])};
    }
}

template <class L, int Chains>
inline void storeCells(const ScorpioGroup& g, float ScorpioChannel::*const (&cell)[4],
                       const Cells<L>* from) {
    constexpr int kVoices = L::kWidth / 2;
    for (int ch = 0; ch < Chains; ++ch) {
        alignas(32) float v[4][L::kWidth];
        L::store(v[0], from[ch].a1);
        L::store(v[1], from[ch].a2);
        L::store(v[2], from[ch].a3);
        L::store(v[3], from[ch].a4);
        for (int n = 0; n < kVoices; ++n) {
            const int j = ch * kVoices + n;
            if (j >= g.count) continue;
            for (int c = 0; c < 4; ++c) {
                g.state[j]->channel[0].*cell[c] = v[c][2 * n];
                g.state[j]->channel[1].*cell[c] = v[c][2 * n + 1];
            }
        }
    }
}

/// Per-voice values of one chain, each voice's value in its two lanes.
template <class L, typename Get> inline typename L::V perVoice(int ch, Get&& get) {
    constexpr int kVoices = L::kWidth / 2;
    float v[kVoices];
    for (int n = 0; n < kVoices; ++n) v[n] = get(ch * kVoices + n);
    return L::perVoice(v);
}

/// Samples [from, to) of the group in mode `Mode`. `Steady` takes the coefficients from the
/// caches once; otherwise they are read per sample from the coefficient buffers.
template <class L, int Mode, int Chains, bool Steady>
void groupLoop(const ScorpioGroup& g, int from, int to) {
    using V = typename L::V;
    constexpr int kVoices = L::kWidth / 2;
    constexpr int kSlots = kVoices * Chains;
    constexpr bool kRed = Mode == ScorpioFilter::kRedLp2 || Mode == ScorpioFilter::kRedLp4;
    constexpr bool kBand = Mode == ScorpioFilter::kBlackBp4;
    const Consts<L> c;
    // The buffers of every voice slot. Slots beyond the group's voices are stand-ins that read
    // voice 0; their results are dropped.
    const float* inL[kSlots];
    const float* inR[kSlots];
    const float* cutCoef[kSlots];
    const float* resCoef[kSlots];
    const float* damping[kSlots];
    const float* gain[kSlots];
    float* outL[kSlots];
    float* outR[kSlots];
    for (int j = 0; j < kSlots; ++j) {
        const FilterBlock& b = *g.block[j < g.count ? j : 0];
        inL[j] = b.inL;
        inR[j] = b.inR;
        cutCoef[j] = b.cutCoef;
        resCoef[j] = b.resCoef;
        damping[j] = b.damping;
        gain[j] = b.gain;
        outL[j] = j < g.count ? b.outL : nullptr;
        outR[j] = j < g.count ? b.outR : nullptr;
    }

    static constexpr float ScorpioChannel::*kS[4] = {&ScorpioChannel::s1, &ScorpioChannel::s2,
                                                     &ScorpioChannel::s3, &ScorpioChannel::s4};
    static constexpr float ScorpioChannel::*kT[4] = {&ScorpioChannel::t1, &ScorpioChannel::t2,
                                                     &ScorpioChannel::t3, &ScorpioChannel::t4};
    Cells<L> s[Chains];
    Cells<L> t[Chains];
    loadCells<L, Chains>(g, kS, s);
    if (kBand) loadCells<L, Chains>(g, kT, t);

    // k: the feedback of the (first) four-pole; k2: that of the high-pass's low-pass.
    Coefs<L> k[Chains], k2[Chains];
    V drive[Chains];
    const auto coefsAt = [&](int i) {
        for (int ch = 0; ch < Chains; ++ch) {
            const auto cache = [&](int j) -> const ScorpioCoefCache& {
                return g.state[j < g.count ? j : 0]->cache;
            };
            if (Steady) {
                k[ch].g = perVoice<L>(ch, [&](int j) { return cache(j).g; });
                k[ch].k = perVoice<L>(ch, [&](int j) { return cache(j).k; });
                if (kBand) k2[ch].k = perVoice<L>(ch, [&](int j) { return cache(j).k2; });
                if (kRed) drive[ch] = perVoice<L>(ch, [&](int j) { return cache(j).drive; });
            } else {
                k[ch].g = perVoice<L>(ch, [&](int j) { return cutCoef[j][i]; });
                k[ch].k = perVoice<L>(ch, [&](int j) { return resCoef[j][i]; });
                if (kBand) k2[ch].k = perVoice<L>(ch, [&](int j) { return damping[j][i]; });
                if (kRed) drive[ch] = perVoice<L>(ch, [&](int j) { return gain[j][i]; });
            }
            k[ch].derive(c);
            if (kBand) {
                k2[ch].g = k[ch].g;
                k2[ch].oneMinusG = k[ch].oneMinusG;
                k2[ch].gSixth = k[ch].gSixth;
                k2[ch].kk = L::mul(k2[ch].oneMinusG, k2[ch].k);
            }
        }
    };
    if (Steady) coefsAt(from);

    const SameTap<L> same;
    for (int i = from; i < to; ++i) {
        if (!Steady) coefsAt(i);
        V in[Chains], out[Chains];
        for (int ch = 0; ch < Chains; ++ch) {
            alignas(32) float x[L::kWidth];
            for (int n = 0; n < kVoices; ++n) {
                x[2 * n] = inL[ch * kVoices + n][i];
                x[2 * n + 1] = inR[ch * kVoices + n][i];
            }
            in[ch] = L::lanes(x);
        }
        if (kRed) {
            V x[Chains];
            for (int ch = 0; ch < Chains; ++ch)
                x[ch] = L::mul(in[ch], L::mul(drive[ch], L::set1(1.2f)));
            const CurveTap<L> curve{g.red};
            fourIterations<L, true, Mode == ScorpioFilter::kRedLp4, Chains>(s, x, k, c, out, curve);
            for (int ch = 0; ch < Chains; ++ch) out[ch] = L::mul(out[ch], L::set1(0.095f));
        } else if (Mode == ScorpioFilter::kBlackLp2) {
            fourIterations<L, false, false, Chains>(s, in, k, c, out, same);
            for (int ch = 0; ch < Chains; ++ch) out[ch] = L::mul(out[ch], L::set1(0.25f));
        } else if (Mode == ScorpioFilter::kBlackLp4) {
            V x[Chains];
            for (int ch = 0; ch < Chains; ++ch) x[ch] = L::mul(in[ch], L::set1(1.2f));
            fourIterations<L, false, true, Chains>(s, x, k, c, out, same);
            for (int ch = 0; ch < Chains; ++ch) out[ch] = L::mul(out[ch], L::set1(0.21f));
        } else {
            // The high-pass: the four-pole's low-pass taken from the input.
            V x[Chains];
            for (int ch = 0; ch < Chains; ++ch) x[ch] = L::mul(in[ch], L::set1(1.2f));
            const HighTap<L> high{in, L::set1(0.83f)};
            fourIterations<L, false, true, Chains>(s, x, kBand ? k2 : k, c, out, high);
            if (!kBand) {
                for (int ch = 0; ch < Chains; ++ch) out[ch] = L::mul(out[ch], L::set1(0.23f));
            } else {
                // Band-pass: a second four-pole low-passes the high-pass.
                V h[Chains];
                for (int ch = 0; ch < Chains; ++ch) h[ch] = L::mul(out[ch], L::set1(0.252f));
                fourIterations<L, false, true, Chains>(t, h, k, c, out, same);
                for (int ch = 0; ch < Chains; ++ch) out[ch] = L::mul(out[ch], L::set1(0.21f));
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
    storeCells<L, Chains>(g, kS, s);
    if (kBand) storeCells<L, Chains>(g, kT, t);
}

template <class L, int Chains, bool Steady> void runMode(const ScorpioGroup& g, int from, int to) {
    switch (g.mode) {
    case ScorpioFilter::kRedLp2:
        groupLoop<L, ScorpioFilter::kRedLp2, Chains, Steady>(g, from, to);
        break;
    case ScorpioFilter::kRedLp4:
        groupLoop<L, ScorpioFilter::kRedLp4, Chains, Steady>(g, from, to);
        break;
    case ScorpioFilter::kBlackLp2:
        groupLoop<L, ScorpioFilter::kBlackLp2, Chains, Steady>(g, from, to);
        break;
    case ScorpioFilter::kBlackLp4:
        groupLoop<L, ScorpioFilter::kBlackLp4, Chains, Steady>(g, from, to);
        break;
    case ScorpioFilter::kBlackHp4:
        groupLoop<L, ScorpioFilter::kBlackHp4, Chains, Steady>(g, from, to);
        break;
    default:
        groupLoop<L, ScorpioFilter::kBlackBp4, Chains, Steady>(g, from, to);
        break;
    }
}

template <class L, int Chains> void run(const ScorpioGroup& g, int from, int to) {
    if (g.steady)
        runMode<L, Chains, true>(g, from, to);
    else
        runMode<L, Chains, false>(g, from, to);
}

} // namespace scorpiokernel
} // namespace torvo

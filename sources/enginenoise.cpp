#include "sources/enginenoise.h"

#include "engine/globaltables.h"
#include "sources/steadygroups.h"

#include <algorithm>
#include <cmath>

namespace torvo {

namespace {
constexpr uint32_t kSeedA = 1732584193u;
constexpr uint32_t kSeedLeft = 0xefcdab89u;
constexpr uint32_t kSeedRight = 0xefabcd89u;
constexpr float kWhiteScale = 6.9849196e-11f;
/// An octave on the 0..1 pitch scale.
constexpr float kOctave = 12.0f / 127.0f;

struct SinTable {
    float v[1024];
    SinTable() {
        for (int i = 0; i < 1024; ++i)
            v[i] = static_cast<float>(std::round(std::sin(3.14159265358979 * i / 1023.0) * 1000.0) /
                                      1000.0);
    }
};
const SinTable kSin;

float readNoteFrequency(float x) {
    const float* hz = noteFrequencyTable();
    const float n = x * 127.0f;
    const int i = static_cast<int>(n);
    const int next = std::min(i + 1, 127);
    return hz[i] + (hz[next] - hz[i]) * (n - static_cast<float>(i));
}

float coefficientFor(float x, float invRate) {
    const float ratio = std::clamp(readNoteFrequency(x) * invRate, 0.0f, 1.0f) * 1023.0f;
    const int i = static_cast<int>(ratio);
    const int next = std::min(i + 1, 1023);
    return kSin.v[i] + (kSin.v[next] - kSin.v[i]) * (ratio - static_cast<float>(i));
}
} // namespace

const float* sinTable() {
    return kSin.v;
}

void PinkNoise::seed(uint32_t aSeed, uint32_t bSeed) {
    a = aSeed;
    b = bSeed;
    b0 = b1 = b2 = 0.0f;
}

float PinkNoise::next() {
    const uint32_t s = b;
    a ^= s;
    b = a + s;
    const float white = static_cast<float>(static_cast<int32_t>(s)) * kWhiteScale;
    b0 = 0.99765f * b0 + 0.099046f * white;
    b1 = 0.963f * b1 + 0.2965164f * white;
    b2 = 0.57f * b2 + 1.0526913f * white;
    return b0 + b1 + b2 + 0.1848f * white;
}

EngineNoise::EngineNoise() {
    left.seed(kSeedA, kSeedLeft);
    right.seed(kSeedA, kSeedRight);
}

void EngineNoise::seedPhases(const float* phases) {
    for (int i = 0; i < kUnisonSlots; ++i) readers[i].seed(phases[i]);
}

void EngineNoise::fillCutoff(const OscBlock& b, float* cut) const {
    const int n = b.frames;
    const float inv = 1.0f / b.sampleRate;
    if (b.keyTrack) {
        // The filter follows the key an octave down.
        const float offset = b.detune[0] * (1.0f / 127.0f) - kOctave;
        if (isConstant(b.pitch, n)) {
            // A held key: one coefficient for the block.
            const float f = coefficientFor(std::clamp(b.pitch[0] + offset, 0.0f, 0.9f), inv);
            std::fill(cut, cut + ((n + 3) & ~3), f);
            return;
        }
        float last = -1.0f;
        float f = 0.0f;
        for (int i = 0; i < n; ++i) {
            const float x = std::clamp(b.pitch[i] + offset, 0.0f, 0.9f);
            if (x != last) {
                last = x;
                f = coefficientFor(x, inv);
            }
            cut[i] = f;
        }
        return;
    }
    // The upper half of ctrlA repeats the lower half's cut-off with the high-pass tap.
    if (isConstant(b.ctrlA, n)) {
        const float fold = b.ctrlA[0] > 0.5f ? 0.5f : 0.0f;
        const float f = coefficientFor(std::clamp(2.0f * (b.ctrlA[0] - fold), 0.0f, 0.9f), inv);
        std::fill(cut, cut + ((n + 3) & ~3), f);
        return;
    }
    float last = -1.0f;
    float f = 0.0f;
    for (int i = 0; i < n; i += 4) {
        const float fold = b.ctrlA[i] > 0.5f ? 0.5f : 0.0f;
        for (int k = 0; k < 4; ++k) {
            const float x = std::clamp(2.0f * (b.ctrlA[i + k] - fold), 0.0f, 0.9f);
            if (x != last) {
                last = x;
                f = coefficientFor(x, inv);
            }
            cut[i + k] = f;
        }
    }
}

void NoiseSvfStep::set(float f, float q, bool highPass) {
    // Each quantity as its coefficients on (low, band, in) at the start of the sample.
    struct Form {
        double low, band, in;
    };
    const double F = f;
    const double Q = q;
    Form low{1.0, 0.0, 0.0};
    Form band{0.0, 1.0, 0.0};
    Form tap{0.0, 0.0, 0.0};
    for (int pass = 0; pass < 4; ++pass) {
        const Form h{-Q * band.low, -Q * band.band, 1.0 - Q * band.in};
        low = {low.low + F * band.low, low.band + F * band.band, low.in + F * band.in};
        const Form high{h.low - low.low, h.band - low.band, h.in - low.in};
        band = {band.low + F * high.low, band.band + F * high.band, band.in + F * high.in};
        const Form& t = highPass ? high : low;
        tap = {tap.low + t.low, tap.band + t.band, tap.in + t.in};
    }
    a00 = low.low;
    a01 = low.band;
    b0 = low.in;
    a10 = band.low;
    a11 = band.band;
    b1 = band.in;
    c0 = 0.25 * tap.low;
    c1 = 0.25 * tap.band;
    d = 0.25 * tap.in;
}

void EngineNoise::renderSlots(const OscBlock& b) {
    const int n = b.frames;
    const float* W = b.wtmix;
    // Smoothed streams move monotonically: 0 at both ends and no route means 0 throughout.
    // The wave is then multiplied away, and its readers only have to keep time.
    const bool noWave = !b.wtmixModulated && W[0] == 0.0f && W[n - 1] == 0.0f;
    const auto levels = [](const float*, const float* la, const float* lb, float wa, float wb,
                           float p, int) { return readLevels(la, lb, wa, wb, p); };
    const auto levels4 = [](const TableReader& t, const simd::Cells4& c, int) {
        return simd::readLevels4(t.tables, c);
    };
    if (noWave) {
        for (int slot = 0; slot < b.count; ++slot) {
            TableReader& r = readers[slot];
            const bool one = r.readsOneNote(b.reader);
            slotNotes(b.pitch, b.detune[slot], buffers.note, one ? 1 : n, b.reader.notesSteady);
            if (r.skipSteady(b.reader, buffers.note, n)) continue;
            r.runVectorInto(b.reader, slot, buffers.note, b.retrig, buffers.slot, n, levels,
                            levels4,
                            SlotSum{buffers.sumL, buffers.sumR, b.levelL[slot], b.levelR[slot]});
        }
        return;
    }
    renderSlotsGrouped<3>(readers, b, buffers, simd::FixedPhase(), levels4,
                          [&](TableReader& r, int slot, const SlotSum& sum) {
                              r.runVectorInto(b.reader, slot, buffers.note, b.retrig, buffers.slot,
                                              n, levels, levels4, sum);
                          });
}

namespace {
/// Both channels' filter states side by side (left in the low lane) and the step they take.
struct NoiseFilterLanes {
    void take(const NoiseSvfStep& s) {
        a00 = _mm_set1_pd(s.a00);
        a01 = _mm_set1_pd(s.a01);
        a10 = _mm_set1_pd(s.a10);
        a11 = _mm_set1_pd(s.a11);
        b0 = _mm_set1_pd(s.b0);
        b1 = _mm_set1_pd(s.b1);
        c0 = _mm_set1_pd(s.c0);
        c1 = _mm_set1_pd(s.c1);
        d = _mm_set1_pd(s.d);
    }
    /// One sample of both channels from the inputs in the low two lanes of `in`; answers the
    /// outputs in the low two lanes.
    __m128 step(__m128 in) {
        const __m128d x = _mm_cvtps_pd(in);
        const __m128d y =
            _mm_add_pd(_mm_add_pd(_mm_mul_pd(c0, low), _mm_mul_pd(c1, band)), _mm_mul_pd(d, x));
        const __m128d nextLow =
            _mm_add_pd(_mm_add_pd(_mm_mul_pd(a00, low), _mm_mul_pd(b0, x)), _mm_mul_pd(a01, band));
        band =
            _mm_add_pd(_mm_add_pd(_mm_mul_pd(a11, band), _mm_mul_pd(b1, x)), _mm_mul_pd(a10, low));
        low = nextLow;
        return _mm_cvtpd_ps(y);
    }
    __m128d low, band;
    __m128d a00{}, a01{}, a10{}, a11{}, b0{}, b1{}, c0{}, c1{}, d{};
};

/// Both pink filters side by side (left in lane 0, right in lane 1): each lane does exactly
/// the arithmetic of PinkNoise::next().
struct PinkLanes {
    PinkLanes(const PinkNoise& l, const PinkNoise& r)
        : b0(_mm_setr_ps(l.b0, r.b0, 0.0f, 0.0f)), b1(_mm_setr_ps(l.b1, r.b1, 0.0f, 0.0f)),
          b2(_mm_setr_ps(l.b2, r.b2, 0.0f, 0.0f)) {}
    void store(PinkNoise& l, PinkNoise& r) const {
        alignas(16) float v0[4], v1[4], v2[4];
        _mm_store_ps(v0, b0);
        _mm_store_ps(v1, b1);
        _mm_store_ps(v2, b2);
        l.b0 = v0[0];
        l.b1 = v1[0];
        l.b2 = v2[0];
        r.b0 = v0[1];
        r.b1 = v1[1];
        r.b2 = v2[1];
    }
    void clear() { b0 = b1 = b2 = _mm_setzero_ps(); }
    /// The next pink values of both channels from the generators' words.
    __m128 next(uint32_t sl, uint32_t sr) {
        const __m128 white =
            _mm_mul_ps(_mm_cvtepi32_ps(_mm_setr_epi32(static_cast<int32_t>(sl),
                                                      static_cast<int32_t>(sr), 0, 0)),
                       _mm_set1_ps(kWhiteScale));
        b0 = _mm_add_ps(_mm_mul_ps(_mm_set1_ps(0.99765f), b0),
                        _mm_mul_ps(_mm_set1_ps(0.099046f), white));
        b1 = _mm_add_ps(_mm_mul_ps(_mm_set1_ps(0.963f), b1),
                        _mm_mul_ps(_mm_set1_ps(0.2965164f), white));
        b2 = _mm_add_ps(_mm_mul_ps(_mm_set1_ps(0.57f), b2),
                        _mm_mul_ps(_mm_set1_ps(1.0526913f), white));
        return _mm_add_ps(_mm_add_ps(_mm_add_ps(b0, b1), b2),
                          _mm_mul_ps(_mm_set1_ps(0.1848f), white));
    }
    __m128 b0, b1, b2;
};

/// The generator's step of PinkNoise::next(): answers the word the white value comes from.
inline uint32_t stepWords(PinkNoise& g) {
    const uint32_t s = g.b;
    g.a ^= s;
    g.b = g.a + s;
    return s;
}
} // namespace

void EngineNoise::render(const OscBlock& b, float* outL, float* outR, float* cut, float* res) {
    const int n = b.frames;
    clearBlock(buffers.sumL, n);
    clearBlock(buffers.sumR, n);
    renderSlots(b);

    fillCutoff(b, cut);
    const float* W = b.wtmix;
    const float* B = b.ctrlB;
    for (int i = 0; i < n; ++i) res[i] = 0.9f - (1.0f - W[i]) * B[i] * 0.89f;

    const bool repeatable = b.phaseValue > 0.0f;
    // Every note then starts the same noise: seeds and filters from a known state.
    const bool restarts = repeatable && holdsValue(b.retrig, n, 1.0f);
    const uint32_t seedL = 0xefcd0000u + static_cast<uint32_t>(b.phaseValue * 43913.0f);
    const uint32_t seedR = 0xefab0000u + static_cast<uint32_t>(b.phaseValue * 52617.0f);
    const float c = (b.width + 1.0f) * 0.5f;
    const __m128 keyHighPass =
        b.ctrlAValue > 0.5f ? _mm_castsi128_ps(_mm_set1_epi32(-1)) : _mm_setzero_ps();
    const float* sumL = buffers.sumL;
    const float* sumR = buffers.sumR;
    PinkLanes pink(left, right);
    // The generators' words in locals: the stores of the output cannot touch them.
    PinkNoise gl = left;
    PinkNoise gr = right;
    NoiseFilterLanes filter;
    filter.low = _mm_setr_pd(filterL.low, filterR.low);
    filter.band = _mm_setr_pd(filterL.band, filterR.band);
    // The step is worked out again only when the cut-off, the damping or the tap moves.
    NoiseSvfStep step;
    float lastCut = -1.0f;
    float lastRes = -1.0f;
    int lastHighPass = -1;
    const __m128 one = _mm_set1_ps(1.0f);
    for (int i = 0; i < n; i += 4) {
        const int m = std::min(4, n - i);
        // Pink noise of four samples, the channels side by side, kept in registers.
        __m128 p[4];
        for (int k = 0; k < 4; ++k) {
            if (k >= m) {
                p[k] = _mm_setzero_ps();
                continue;
            }
            if (restarts && b.retrig[i + k] == 1.0f) {
                gl.seed(kSeedA, seedL);
                gr.seed(kSeedA, seedR);
                pink.clear();
            }
            p[k] = pink.next(stepWords(gl), stepWords(gr));
        }
        const __m128 p01 = _mm_movelh_ps(p[0], p[1]);
        const __m128 p23 = _mm_movelh_ps(p[2], p[3]);
        // The mix of four samples.
        const __m128 w = _mm_loadu_ps(W + i);
        const __m128 l = _mm_shuffle_ps(p01, p23, _MM_SHUFFLE(2, 0, 2, 0));
        const __m128 r = _mm_shuffle_ps(p01, p23, _MM_SHUFFLE(3, 1, 3, 1));
        const __m128 cc = _mm_set1_ps(c);
        const __m128 oc = _mm_set1_ps(1.0f - c);
        const __m128 ow = _mm_sub_ps(one, w);
        const __m128 inL =
            _mm_add_ps(_mm_mul_ps(_mm_add_ps(_mm_mul_ps(r, oc), _mm_mul_ps(l, cc)), ow),
                       _mm_mul_ps(w, _mm_loadu_ps(sumL + i)));
        const __m128 inR =
            _mm_add_ps(_mm_mul_ps(_mm_add_ps(_mm_mul_ps(l, oc), _mm_mul_ps(r, cc)), ow),
                       _mm_mul_ps(w, _mm_loadu_ps(sumR + i)));
        // Pairs (left, right) per sample.
        const __m128 lr01 = _mm_unpacklo_ps(inL, inR);
        const __m128 lr23 = _mm_unpackhi_ps(inL, inR);
        const __m128 in[4] = {lr01, _mm_movehl_ps(lr01, lr01), lr23, _mm_movehl_ps(lr23, lr23)};
        const __m128 highPass =
            b.keyTrack ? keyHighPass : _mm_cmpgt_ps(_mm_loadu_ps(b.ctrlA + i), _mm_set1_ps(0.5f));
        const int hpBits = _mm_movemask_ps(highPass);
        const __m128 moved = _mm_or_ps(_mm_cmpneq_ps(_mm_loadu_ps(cut + i), _mm_set1_ps(lastCut)),
                                       _mm_cmpneq_ps(_mm_loadu_ps(res + i), _mm_set1_ps(lastRes)));
        const bool held = m == 4 && _mm_movemask_ps(moved) == 0 &&
                          hpBits == (lastHighPass == 1 ? 15 : (lastHighPass == 0 ? 0 : -1));
        __m128 y[4];
        for (int k = 0; k < m; ++k) {
            if (!held) {
                const int hp = (hpBits >> k) & 1;
                if (cut[i + k] != lastCut || res[i + k] != lastRes || hp != lastHighPass) {
                    lastCut = cut[i + k];
                    lastRes = res[i + k];
                    lastHighPass = hp;
                    step.set(lastCut, lastRes, hp != 0);
                    filter.take(step);
                }
            }
            if (restarts && b.retrig[i + k] == 1.0f) {
                filter.low = _mm_setzero_pd();
                filter.band = _mm_setzero_pd();
            }
            y[k] = filter.step(in[k]);
        }
        for (int k = m; k < 4; ++k) y[k] = _mm_setzero_ps();
        const __m128 y01 = _mm_movelh_ps(y[0], y[1]);
        const __m128 y23 = _mm_movelh_ps(y[2], y[3]);
        _mm_storeu_ps(outL + i, _mm_shuffle_ps(y01, y23, _MM_SHUFFLE(2, 0, 2, 0)));
        _mm_storeu_ps(outR + i, _mm_shuffle_ps(y01, y23, _MM_SHUFFLE(3, 1, 3, 1)));
    }
    left = gl;
    right = gr;
    pink.store(left, right);
    _mm_storel_pd(&filterL.low, filter.low);
    _mm_storeh_pd(&filterR.low, filter.low);
    _mm_storel_pd(&filterL.band, filter.band);
    _mm_storeh_pd(&filterR.band, filter.band);
}

} // namespace torvo

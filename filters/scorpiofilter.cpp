#include "filters/scorpiofilter.h"

#include "filters/filtercurves.h"
#include "filters/filterlanes.h"
#include "filters/scorpiokernel.h"

#include <algorithm>

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

/// Fills the coefficient buffers, or, when the controls hold for the block, only the cache:
/// answers whether they held.
bool prepare(ScorpioCoefCache& cache, int mode, const FilterBlock& b) {
    const FilterCurves& fc = filterCurves();
    const int n = b.frames;
    if (controlsHold(b)) {
        const float c = b.cut[0];
        const float r = b.res[0];
        if (c != cache.cut || r != cache.res || mode != cache.mode || b.rateRatio != cache.ratio) {
            const ScorpioCoefs k = scorpioCoefs(fc, c, r, b.rateRatio, mode);
            cache = {c, r, b.rateRatio, mode, k.g, k.k, k.k2, k.drive};
        }
        return true;
    }
    cache.cut = -1.0f;
    for (int i = 0; i < n; ++i) {
        const ScorpioCoefs k = scorpioCoefs(fc, b.cut[i], b.res[i], b.rateRatio, mode);
        b.cutCoef[i] = k.g;
        b.resCoef[i] = k.k;
        b.damping[i] = k.k2;
        b.gain[i] = k.drive;
    }
    return false;
}

/// The cached coefficients of a block that held, written out for a loop that reads buffers.
void fillFromCache(const ScorpioCoefCache& cache, const FilterBlock& b) {
    const int n = b.frames;
    std::fill(b.cutCoef, b.cutCoef + n, cache.g);
    std::fill(b.resCoef, b.resCoef + n, cache.k);
    std::fill(b.damping, b.damping + n, cache.k2);
    std::fill(b.gain, b.gain + n, cache.drive);
}

/// The Red output curve laid out for the vector reads.
const LaneTable* redCurve() {
    static const LaneTable table = [] {
        LaneTable t;
        t.fill(filterCurves().redOutputCurve, FilterCurves::kRedOutputPoints);
        return t;
    }();
    return &table;
}

/// A new mode starts the cells from zero.
void enterMode(ScorpioState& st, int mode) {
    if (mode == st.mode) return;
    for (ScorpioChannel& c : st.channel) c.s1 = c.s2 = c.s3 = c.s4 = 0.0f;
    st.mode = mode;
}

/// Up to ScorpioGroup::kMax voices through one loop; blocks of equal length without a
/// restart.
void runGroup(ScorpioState* const* states, const FilterBlock* const* blocks, int count, int mode) {
    ScorpioGroup g;
    g.count = count;
    g.mode = mode;
    g.red = redCurve();
    g.steady = true;
    bool held[ScorpioGroup::kMax];
    for (int j = 0; j < count; ++j) {
        g.state[j] = states[j];
        g.block[j] = blocks[j];
        enterMode(*states[j], mode);
        held[j] = prepare(states[j]->cache, mode, *blocks[j]);
        g.steady = g.steady && held[j];
    }
    if (!g.steady)
        for (int j = 0; j < count; ++j)
            if (held[j]) fillFromCache(states[j]->cache, *blocks[j]);
    const int frames = blocks[0]->frames;
    if (frames <= 0) return;
    // Four voices fill a 256-bit vector; beyond that a second one runs beside it.
    if (wideFilterLanes() && count > 2)
        scorpioGroupWide(g, count > 4 ? 2 : 1, 0, frames);
    else if (count > 2)
        scorpiokernel::run<Lanes4, 2>(g, 0, frames);
    else
        scorpiokernel::run<Lanes4, 1>(g, 0, frames);
}

} // namespace

void ScorpioState::clear() {
    channel[0] = ScorpioChannel{};
    channel[1] = ScorpioChannel{};
}

void ScorpioFilter::render(ScorpioState& st, int mode, const FilterBlock& b) {
    mode = std::clamp(mode, 0, int(kBlackBp4));
    enterMode(st, mode);
    ScorpioGroup g;
    g.count = 1;
    g.mode = mode;
    g.red = redCurve();
    g.steady = prepare(st.cache, mode, b);
    g.state[0] = &st;
    g.block[0] = &b;
    runSegments(
        b, [&](int from, int to) { scorpiokernel::run<Lanes4One, 1>(g, from, to); },
        [&] { st.clear(); });
}

void ScorpioFilter::warm() {
    redCurve();
    wideFilterLanes();
}

bool ScorpioFilter::pairable(const FilterBlock& b) {
    return !(b.clearAtStart && b.starts && b.starts->count > 0);
}

void ScorpioFilter::renderPair(ScorpioState& first, const FilterBlock& a, ScorpioState& second,
                               const FilterBlock& b, int mode) {
    ScorpioState* const states[2] = {&first, &second};
    const FilterBlock* const blocks[2] = {&a, &b};
    renderGroup(states, blocks, 2, mode);
}

void ScorpioFilter::renderGroup(ScorpioState* const* states, const FilterBlock* const* blocks,
                                int count, int mode) {
    mode = std::clamp(mode, 0, int(kBlackBp4));
    // Voices that restart within the block, or differ in length, go alone.
    ScorpioState* st[ScorpioGroup::kMax];
    const FilterBlock* bl[ScorpioGroup::kMax];
    int n = 0;
    const int most = wideFilterLanes() ? ScorpioGroup::kMax : ScorpioGroup::kMax / 2;
    const int frames = count > 0 ? blocks[0]->frames : 0;
    for (int v = 0; v < count; ++v) {
        if (!pairable(*blocks[v]) || blocks[v]->frames != frames) {
            render(*states[v], mode, *blocks[v]);
            continue;
        }
        st[n] = states[v];
        bl[n] = blocks[v];
        if (++n == most) {
            runGroup(st, bl, n, mode);
            n = 0;
        }
    }
    if (n == 1)
        render(*st[0], mode, *bl[0]);
    else if (n > 1)
        runGroup(st, bl, n, mode);
}

} // namespace torvo

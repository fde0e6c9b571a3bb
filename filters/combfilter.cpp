#include "filters/combfilter.h"

#include "filters/filtercurves.h"

#include <algorithm>
#include <cstring>

namespace torvo {

namespace {

constexpr int kLen = ComboState::kLineLength;

struct ModeConstants {
    float feedbackSign;
    float stereoOffset;
};

ModeConstants modeConstants(int mode) {
    switch (mode) {
    case CombFilter::kMonoPlus:
        return {0.99f, 0.0f};
    case CombFilter::kMonoMinus:
        return {-0.99f, 0.0f};
    case CombFilter::kStereoPlus:
        return {0.99f, 0.005f};
    case CombFilter::kStereoMinus:
        return {-0.99f, 0.005f};
    default:
        return {0.95f, 0.0f};
    }
}

struct CombCoefs {
    float delayL, delayR, feedback;
};

inline CombCoefs combCoefs(const FilterCurves& fc, float c, float r, float sr, ModeConstants m) {
    const float e = 1.0f - c;
    // Up to 4070 samples at 44.1 kHz; only rates far above 192 kHz could reach the line's end.
    constexpr float kLongest = float(kLen - 2);
    const float delayL = std::min(readCurve(fc.svfCutoff, e) * sr * 0.125f, kLongest);
    const float delayR =
        std::min(readCurve(fc.svfCutoff, e + m.stereoOffset) * sr * 0.125f, kLongest);
    const float open = 1.0f - r;
    return {delayL, delayR, (1.0f - open * open) * m.feedbackSign};
}

void prepare(CombCoefCache& cache, int mode, const FilterBlock& b) {
    const FilterCurves& fc = filterCurves();
    const ModeConstants m = modeConstants(mode);
    const int n = b.frames;
    if (isConstant(b.cut, n) && isConstant(b.res, n)) {
        const float c = b.cut[0];
        const float r = b.res[0];
        if (c != cache.cut || r != cache.res || mode != cache.mode ||
            b.sampleRate != cache.sampleRate) {
            const CombCoefs k = combCoefs(fc, c, r, b.sampleRate, m);
            cache = {c, r, b.sampleRate, mode, k.delayL, k.delayR, k.feedback};
        }
        std::fill(b.cutCoef, b.cutCoef + n, cache.delayL);
        std::fill(b.damping, b.damping + n, cache.delayR);
        std::fill(b.resCoef, b.resCoef + n, cache.feedback);
        return;
    }
    cache.cut = -1.0f;
    for (int i = 0; i < n; ++i) {
        const CombCoefs k = combCoefs(fc, b.cut[i], b.res[i], b.sampleRate, m);
        b.cutCoef[i] = k.delayL;
        b.damping[i] = k.delayR;
        b.resCoef[i] = k.feedback;
    }
}

/// Reads a line `delay` samples behind the write index, interpolated.
inline float readBehind(const float* line, int write, float delay) {
    float pos = float(write) - delay;
    if (pos < 0.0f) pos += float(kLen);
    int i = int(pos);
    const float g = pos - float(i);
    if (i >= kLen) i -= kLen; // pos rounded up to the length
    const int j = i + 1 == kLen ? 0 : i + 1;
    return (1.0f - g) * line[i] + g * line[j];
}

void loop(ComboState& st, const FilterBlock& b, int from, int to) {
    float* lineL = st.line[0];
    float* lineR = st.line[1];
    int w = st.writeIndex;
    for (int i = from; i < to; ++i) {
        const float inL = b.inL[i];
        const float inR = b.inR[i];
        const float fb = b.resCoef[i];
        const float vl = readBehind(lineL, w, b.cutCoef[i]);
        const float vr = readBehind(lineR, w, b.damping[i]);
        lineL[w] = fb * vl + inL;
        lineR[w] = fb * vr + inR;
        if (++w == kLen) w = 0;
        b.outL[i] = 0.62f * vl + 0.38f * inL;
        b.outR[i] = 0.62f * vr + 0.38f * inR;
    }
    st.writeIndex = w;
}

} // namespace

void ComboState::clearLines() {
    for (float* l : line)
        if (l) std::memset(l, 0, sizeof(float) * kLen);
}

void CombFilter::render(ComboState& st, int mode, const FilterBlock& b) {
    if (!st.line[0] || !st.line[1]) {
        std::copy(b.inL, b.inL + b.frames, b.outL);
        std::copy(b.inR, b.inR + b.frames, b.outR);
        return;
    }
    prepare(st.cache, mode, b);
    // A note start with little feedback starts from clean lines, whatever the voice did before.
    int from = 0;
    if (b.starts) {
        for (int e = 0; e < b.starts->count; ++e) {
            const int at = std::clamp(b.starts->position[e], from, b.frames);
            if (at >= b.frames || !(b.res[at] < 0.2f)) continue;
            if (at > from) loop(st, b, from, at);
            st.clearLines();
            from = at;
        }
    }
    if (b.frames > from) loop(st, b, from, b.frames);
}

} // namespace torvo

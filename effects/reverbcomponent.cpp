#include "effects/reverbcomponent.h"

#include <algorithm>
#include <cmath>

namespace torvo {

namespace {

/// 1 / 29761: converts the stored reference times to seconds.
constexpr float kReferencePeriod = 3.360102e-5f;
constexpr float kBranchOut = 0.6f;
/// Fixed corners of the input tone section, as indices of the tone curve and in Hz.
constexpr float kToneHighPassIndex = 23.8f;
constexpr float kToneOpenLowPass = 20000.0f;

/// Lines start this many floats apart beyond their length, so that write positions advancing
/// in step do not all fall on the same cache sets.
constexpr std::size_t kLineStagger = 80;

std::size_t nextPowerOfTwo(std::size_t n) {
    std::size_t p = 1;
    while (p < n) p <<= 1;
    return p;
}

float clamp01(float x) {
    return x > 0.0f ? (x < 1.0f ? x : 1.0f) : 0.0f;
}

bool isSubnormal(float x) {
    return std::fpclassify(x) == FP_SUBNORMAL;
}

} // namespace

ComponentRever::ComponentRever() : curves(reverbCurves()) {
    for (RandomLfo& l : lfo) l.reset();
}

void ComponentRever::setSampleRate(float newRate) {
    newRate = std::max(newRate, kMinRate);
    if (newRate == rate && ready()) return;
    rate = newRate;
    invRate = 1.0f / rate;
    const float memoryRate = std::min(rate, kMaxRate);
    lineSize = nextPowerOfTwo(static_cast<std::size_t>(memoryRate));
    lines.assign(lineStride() * kLineCount, 0.0f);
    preDelay.assign(static_cast<std::size_t>(kPreDelaySeconds * memoryRate), 0.0f);
    linesWritten = preWritten = 0;
    assignLines();
    clear();
    updateTimes();
    designFilters();
}

std::size_t ComponentRever::lineStride() const {
    return lineSize + kLineStagger;
}

void ComponentRever::assignLines() {
    float* base = lines.data();
    const uint32_t mask = static_cast<uint32_t>(lineSize - 1);
    for (ReverbLine* l : allLines()) {
        l->data = base;
        l->mask = mask;
        l->w = 0;
        base += lineStride();
    }
    // Reads go through a single wrap: keep every delay below the window, with room for the
    // cubic read's neighbours.
    maxDelay = static_cast<float>(lineSize - 4);
}

void ComponentRever::clear() {
    // Writes start at the front of every line after a clear, so only the part written since
    // the last clear holds anything: a short burst of use costs a short clear on the audio
    // thread, not the whole memory.
    for (ReverbLine* l : allLines()) {
        std::fill(l->data, l->data + linesWritten, 0.0f);
        l->w = 0;
    }
    std::fill(preDelay.begin(), preDelay.begin() + static_cast<std::ptrdiff_t>(preWritten), 0.0f);
    linesWritten = 0;
    preWritten = 0;
    preWrite = 0;
    lp = hp = 0.0f;
    for (Branch* b : {&left, &right}) b->damp = b->fb = 0.0f;
    notch[0].reset();
    notch[1].reset();
}

std::array<ReverbLine*, ComponentRever::kLineCount> ComponentRever::allLines() {
    std::array<ReverbLine*, kLineCount> all{};
    std::size_t k = 0;
    for (ReverbLine& l : mt) all[k++] = &l;
    for (ReverbLine& l : df) all[k++] = &l;
    for (Branch* b : {&left, &right})
        for (ReverbLine* l : {&b->ap1, &b->wg1, &b->ap2, &b->wg2}) all[k++] = l;
    for (ReverbLine& l : cl) all[k++] = &l;
    return all;
}

void ComponentRever::load(const ReverbData& set, int newMode) {
    data = set;
    mode = newMode;
    updateTimes();
    designFilters();
}

void ComponentRever::updateTimes() {
    if (!ready()) return;
    const int trr = std::max(data.trr, 1);
    ratio = rate * kReferencePeriod * static_cast<float>(trr);
    invT = 1.0f / static_cast<float>(trr);
    for (int i = 0; i < 4; ++i) lfo[i].increment = data.lfoDelta[i] * invRate;

    auto fixed = [&](float delay) {
        return static_cast<uint32_t>(std::clamp(ratio * delay, 0.0f, maxDelay));
    };
    for (int i = 0; i < kMtLines; ++i) mtBase[i] = invT * ratio * data.dlyMT[i][0];
    for (int i = 0; i < kDfLines; ++i) dfBase[i] = ratio * data.dlyDF[i][0];

    auto setBranch = [&](Branch& b, const float(*ap)[2], const float(*wg)[3]) {
        b.d1 = fixed(ap[0][0]);
        b.g1 = ap[0][1];
        b.d2 = fixed(ap[1][0]);
        b.g2 = ap[1][1];
        b.wg1Base = ratio * wg[0][0] * (invT * data.dlyInside[0]);
        b.wg2Base = ratio * wg[1][0] * (invT * data.dlyInside[1]);
        b.depth1 = wg[0][1];
        b.depth2 = wg[1][1];
        b.depth2b = wg[1][2];
    };
    setBranch(left, data.dlyAP_L, data.dlyWG_L);
    setBranch(right, data.dlyAP_R, data.dlyWG_R);
    // The right branch's second waveguide moves with one LFO alone.
    right.depth2b = 0.0f;

    for (int r = 0; r < kReverbClRows; ++r) {
        for (int side = 0; side < 2; ++side) {
            const float* row = side == 0 ? data.dlyCL_L[r] : data.dlyCL_R[r];
            const int k = side * kReverbClRows + r;
            clIndex[k] = std::clamp(static_cast<int>(row[0]), 0, 5);
            clDelay[k] = fixed(row[1]);
            clGain[k] = row[2];
        }
    }
    // Force the control-derived values to follow the new set and rate.
    lastColor = lastDecay = lastDamp = -1.0f;
}

void ComponentRever::designFilters() {
    if (!ready()) return;
    for (int r = 0; r < 2; ++r) {
        const float q = readCurve(curves.q, ReverbCurves::kQSize,
                                  data.notch[r][1] * static_cast<float>(ReverbCurves::kQSize - 1));
        const float hz = std::clamp(data.notch[r][0], 1.0f, 0.45f * rate);
        notch[r].design(rate, CookbookBiquad::kPeaking, hz, q, data.notch[r][2]);
    }
}

void ComponentRever::setColor(float c) {
    lastColor = c;
    float lowPass = kToneOpenLowPass;
    float highPassIndex = kToneHighPassIndex;
    if (c < 0.49f)
        lowPass = readCurve(curves.toneFreq, ReverbCurves::kToneSize, c * 238.0f);
    else if (c >= 0.51f)
        highPassIndex = (c - 0.5f) * 190.4f + kToneHighPassIndex;
    const float highPass = readCurve(curves.toneFreq, ReverbCurves::kToneSize, highPassIndex);
    k1 = sineCoefficient(curves, lowPass, invRate);
    k2 = sineCoefficient(curves, highPass, invRate);
}

void ComponentRever::setDecay(float v) {
    lastDecay = v;
    const float c = readCurve(curves.decay, ReverbCurves::kControlSize,
                              clamp01(v) * static_cast<float>(ReverbCurves::kControlSize - 1));
    const float sizeMt = data.rngSizeMt[0] + c * data.rngSizeMt[1];
    sizeDf = data.rngSizeDiff[0] + c * data.rngSizeDiff[1];
    tail = data.rngDecTail[0] + c * data.rngDecTail[1];
    for (int i = 0; i < kMtLines; ++i)
        mtDelay[i] = static_cast<uint32_t>(std::clamp(sizeMt * mtBase[i], 0.0f, maxDelay));
    for (int i = 0; i < kDfLines; ++i)
        dfDelay[i] = static_cast<uint32_t>(std::clamp(dfBase[i] * sizeDf, 0.0f, maxDelay));
}

void ComponentRever::setDamp(float v) {
    lastDamp = v;
    const float d = readCurve(curves.damp, ReverbCurves::kControlSize,
                              clamp01(v) * static_cast<float>(ReverbCurves::kControlSize - 1));
    const float hz = readCurve(curves.toneFreq, ReverbCurves::kToneSize,
                               (1.0f - d) * static_cast<float>(ReverbCurves::kToneSize - 1));
    kd = sineCoefficient(curves, hz, invRate);
}

void ComponentRever::process(int frames, float* outLeft, float* outRight, const ReverbControls& c) {
    if (!ready() || frames <= 0) return;
    const bool useMt = data.useMtDfTlPd[0] != 0;
    const bool useDf = data.useMtDfTlPd[1] != 0;
    const bool useTaps = data.useMtDfTlPd[2] != 0 && data.useMtDfTlPd[3] != 0;
    const int mtRows = std::clamp(data.mtRows, 0, kMtLines);
    const int dfRows = std::clamp(data.dfRows, 0, kDfLines);
    const int preSize = static_cast<int>(preDelay.size());
    const float preMax = static_cast<float>(preSize - 2);
    const float tempo = c.tempo > 0.0f ? c.tempo : 120.0f;
    const float syncDelay = curves.noteTime[std::clamp(c.preTimeSync, 0, 20)] / tempo * rate;
    float* pre = preDelay.data();
    std::size_t preWrites = 0;

    for (int n = 0; n < frames; ++n) {
        const float lfo1 = lfo[0].next();
        const float lfo2 = lfo[1].next();
        const float lfo3 = lfo[2].next();
        const float lfo4 = lfo[3].next();

        // Input tone: a one-pole low-pass, minus a one-pole low-pass of it (the high-pass).
        const float m = (outLeft[n] + outRight[n]) * 0.5f;
        if (c.color[n] != lastColor) setColor(c.color[n]);
        lp += (m - lp) * k1;
        hp += (lp - hp) * k2;
        float x = lp - hp;

        // Pre-delay: bypassed and left unwritten while it is off.
        const float preTime = c.preTime[n];
        if (c.sync || preTime != 0.0f) {
            const float d = std::clamp(c.sync ? syncDelay : rate * preTime, 0.0f, preMax);
            pre[preWrite] = x;
            const int whole = static_cast<int>(d);
            const float t = d - static_cast<float>(whole);
            int a = preWrite - whole;
            if (a < 0) a += preSize;
            const int b = a > 0 ? a - 1 : preSize - 1;
            x = (1.0f - t) * pre[a] + t * pre[b];
            if (++preWrite >= preSize) preWrite = 0;
            ++preWrites;
        }

        if (c.decay[n] != lastDecay) setDecay(c.decay[n]);

        if (useMt) {
            float e = x;
            for (int r = 0; r < mtRows; ++r) {
                const float tapped = mt[r].tap(mtDelay[r]);
                mt[r].push(x);
                e += data.dlyMT[r][1] * tapped;
            }
            x = e;
        }
        if (useDf) {
            for (int r = 0; r < dfRows; ++r) {
                const float g = data.dlyDF[r][1];
                const float y = g * x + df[r].tap(dfDelay[r]);
                df[r].push(x - g * y);
                x = y;
            }
        }

        if (c.damp[n] != lastDamp) setDamp(c.damp[n]);

        // The tank: each branch feeds the other, so the loop runs through both.
        float tp[6];
        float branchOut[2];
        for (int side = 0; side < 2; ++side) {
            Branch& b = side == 0 ? left : right;
            const float feed = side == 0 ? right.fb : left.fb;
            const float a = tail * feed + x;
            const float y1 = b.g1 * a + b.ap1.tap(b.d1);
            b.ap1.push(a - b.g1 * y1);
            const float mod1 = side == 0 ? lfo3 : lfo1;
            const float d1 = std::clamp(b.wg1Base + mod1 * b.depth1, 0.0f, maxDelay);
            const float r1 = b.wg1.cubic(d1);
            b.wg1.push(y1);
            b.damp += (r1 - b.damp) * kd;
            const float bb = b.damp * tail;
            const float y2 = b.g2 * bb + b.ap2.tap(b.d2);
            b.ap2.push(bb - b.g2 * y2);
            branchOut[side] = (b.damp + y2) * kBranchOut;
            const float mod2 = side == 0 ? lfo2 * b.depth2 - lfo3 * b.depth2b : lfo4 * b.depth2;
            const float d2 = std::clamp(b.wg2Base + mod2, 0.0f, maxDelay);
            b.fb = b.wg2.cubic(d2);
            b.wg2.push(y2);
            tp[side * 3 + 0] = y1;
            tp[side * 3 + 1] = b.damp;
            tp[side * 3 + 2] = y2;
        }
        float outL = branchOut[0];
        float outR = branchOut[1];

        if (useTaps) {
            float sum[2] = {0.0f, 0.0f};
            for (int k = 0; k < kClLines; ++k) {
                const float tapped = cl[k].tap(clDelay[k]);
                cl[k].push(tp[clIndex[k]]);
                sum[k / kReverbClRows] += clGain[k] * tapped;
            }
            outL = sum[0];
            outR = sum[1];
        }

        for (CookbookBiquad& f : notch) {
            outL = f.processSample(0, outL);
            outR = f.processSample(1, outR);
        }

        const float w = (clamp01(c.wide[n]) + 1.0f) * 0.5f;
        const float wetL = outL * w + outR * (1.0f - w);
        const float wetR = outR * w + outL * (1.0f - w);
        const float wet = readCurve(curves.wet, ReverbCurves::kControlSize,
                                    clamp01(c.wet[n]) * (ReverbCurves::kControlSize - 1));
        if (wet >= 0.7f) {
            // Past 0.7 the wet stays at full level while the dry falls.
            const float dry = (0.3f - (wet - 0.7f)) * 3.3333f;
            outLeft[n] = outLeft[n] * dry + wetL;
            outRight[n] = outRight[n] * dry + wetR;
        } else {
            outLeft[n] += wet * 1.43f * wetL;
            outRight[n] += wet * 1.43f * wetR;
        }
    }
    linesWritten = std::min(linesWritten + static_cast<std::size_t>(frames), lineSize);
    preWritten = std::min(preWritten + preWrites, preDelay.size());
}

bool ComponentRever::holdsSubnormals() const {
    for (float v : lines)
        if (isSubnormal(v)) return true;
    for (float v : preDelay)
        if (isSubnormal(v)) return true;
    for (float v : {lp, hp, left.damp, left.fb, right.damp, right.fb})
        if (isSubnormal(v)) return true;
    return false;
}

} // namespace torvo

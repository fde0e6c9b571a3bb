#include "effects/modulefxchorus.h"

#include "effects/chorusdata.h"
#include "effects/reverbcurves.h"
#include "effects/shapedlfo.h"
#include "effects/signaltools.h"
#include "engine/denormals.h"
#include "engine/engineshared.h"
#include "engine/pool.h"

#include <algorithm>
#include <cmath>

namespace torvo {

namespace {

constexpr float kHiCutDamping = 1.2f;
constexpr float kLowCutDamping = 2.0f;
// Bipolar feedback: the control's middle is no feedback at all.
inline float bipolarFeedback(float control) {
    return control * 1.9f - 0.95f;
}

} // namespace

ModuleFxChorus::ModuleFxChorus() {
    controls.add(delay, 1);
    controls.add(feedback, 2);
    controls.add(rate, 3);
    controls.add(depth, 4);
    controls.add(wide, 5);
    controls.add(hiCut, 6);
    controls.add(lowCut, 7);
    controls.add(wet, 8);
}

void ModuleFxChorus::createVoices() {
    chorusdata::prepare();
    lfocurves::prepare();
    reverbCurves();
}

void ModuleFxChorus::setParameter(int localIndex, float value) {
    switch (localIndex) {
    case 0:
        mode = std::clamp(decodeList(value), 0, kEnsemble);
        break;
    case 1:
        delay.set(value);
        break;
    case 2:
        feedback.set(value);
        break;
    case 3:
        rate.set(value);
        break;
    case 4:
        depth.set(value);
        break;
    case 5:
        wide.set(value);
        break;
    case 6:
        hiCut.set(value);
        break;
    case 7:
        lowCut.set(value);
        break;
    case 8:
        wet.set(value);
        break;
    case 9:
        mute = decodeOnOff(value);
        break;
    default:
        break;
    }
}

void ModuleFxChorus::sizeLines() {
    const int wanted = static_cast<int>(kLineSeconds * std::min(sampleRate, kMaxRate));
    if (wanted == capacity && !memory.empty()) return;
    capacity = std::max(wanted, 8);
    memory.assign(static_cast<size_t>(capacity) * kLines, 0.0f);
    writeIndex = 0;
}

void ModuleFxChorus::setSampleRate(float rateHz) {
    Module::setSampleRate(rateHz);
    hiCutFilter.setSampleRate(rateHz);
    lowCutFilter.setSampleRate(rateHz);
    sizeLines();
}

void ModuleFxChorus::setMaxBlockSize(int frames) {
    createVoices();
    sizeLines();
    if (!shared || !shared->pool || frames <= 0) return;
    Pool& pool = *shared->pool;
    controls.allocate(pool, frames);
    inputL = pool.get("chr", frames);
    inputR = pool.get("chr", frames);
    sumL = pool.get("chr", frames);
    sumR = pool.get("chr", frames);
    maxFrames = inputL && inputR && sumL && sumR && wet.data() ? frames : 0;
}

float ModuleFxChorus::read(int line, float delaySamples) const {
    const float d = std::clamp(delaySamples, 0.0f, static_cast<float>(length - 3));
    const int whole = static_cast<int>(d);
    const float frac = d - static_cast<float>(whole);
    // Position writeIndex − d, split as an index and the fraction towards the next sample.
    int i = writeIndex - whole;
    float t = 0.0f;
    if (frac > 0.0f) {
        i -= 1;
        t = 1.0f - frac;
    }
    if (i < 0) i += length;
    const float* b = memory.data() + static_cast<size_t>(line) * capacity;
    const int im = i == 0 ? length - 1 : i - 1;
    const int i1 = i + 1 < length ? i + 1 : i + 1 - length;
    const int i2 = i + 2 < length ? i + 2 : i + 2 - length;
    const float ym = b[im], y0 = b[i], y1 = b[i1], y2 = b[i2];
    const float c3 = 1.5f * (y0 - y1) + 0.5f * (y2 - ym);
    const float c2 = ym - 2.5f * y0 + 2.0f * y1 - 0.5f * y2;
    const float c1 = 0.5f * (y1 - ym);
    return ((c3 * t + c2) * t + c1) * t + y0;
}

void ModuleFxChorus::tapModes(int n) {
    const int row = mode;
    const int voices = mode + 1;
    const float* wideC = chorusdata::wideCurve();
    const float* depthC = chorusdata::depthCurve();
    const float* cDelay = controls[kDelay];
    const float* cFeedback = controls[kFeedback];
    const float* cRate = controls[kRate];
    const float* cDepth = controls[kDepth];
    const float* cWide = controls[kWide];
    const float invRate = 1.0f / sampleRate;
    const float* taps = chorusdata::kTapFactors[row];
    const float* rateC = lfocurves::rate();
    const float* cosine = lfocurves::raisedCosine();
    auto cosineAt = [cosine](float p) { return TableValue(cosine, lfocurves::kCosineSize, p); };
    for (int s = 0; s < n; ++s) {
        const float w = TableValue(wideC, chorusdata::kLawSize, cWide[s]);
        const float dep = TableValue(depthC, chorusdata::kLawSize, cDepth[s]) * 0.24f;
        phase += TableValue(rateC, lfocurves::kRateSize, cRate[s]) * invRate;
        if (phase >= 1.0f) phase -= 1.0f;
        const float base = cDelay[s] + 0.01f;
        const float tL = std::clamp(cosineAt(phase) * dep + base, 0.01f, 1.0f) * sampleRate;
        float tR = tL;
        // Width is a phase offset of up to a quarter cycle between the sides.
        const float offset = w * 0.25f;
        if (offset != 0.0f)
            tR = std::clamp(cosineAt(wrapPhase(phase + offset)) * dep + base, 0.01f, 1.0f) *
                 sampleRate;
        const float f = bipolarFeedback(cFeedback[s]) * chorusdata::kFeedbackScale[row];
        // Every line is fed back with the running sum of the voices so far.
        float accL = 0.0f, accR = 0.0f;
        for (int v = 0; v < voices; ++v) {
            accL += read(v, tL * taps[v]);
            write(v, accL * f + inputL[s]);
            accR += read(4 + v, tR * taps[v]);
            write(4 + v, accR * f + inputR[s]);
        }
        advance();
        sumL[s] = accL;
        sumR[s] = accR;
    }
}

void ModuleFxChorus::voiceModes(int n) {
    const int row = mode - 2;
    const int voices = mode - 1;
    const float spreadFactor = mode == 5 ? 2.0f : 1.0f;
    const float* wideC = chorusdata::wideCurve();
    const float* depthC = chorusdata::depthCurve();
    const float* cDelay = controls[kDelay];
    const float* cFeedback = controls[kFeedback];
    const float* cRate = controls[kRate];
    const float* cDepth = controls[kDepth];
    const float* cWide = controls[kWide];
    const float invRate = 1.0f / sampleRate;
    const float* taps = chorusdata::kTapFactors[row];
    const float* rates = chorusdata::kRateFactors[row];
    const float* rateC = lfocurves::rate();
    const float* cosine = lfocurves::raisedCosine();
    auto cosineAt = [cosine](float p) { return TableValue(cosine, lfocurves::kCosineSize, p); };
    for (int s = 0; s < n; ++s) {
        const float w = TableValue(wideC, chorusdata::kLawSize, cWide[s]);
        const float dep = TableValue(depthC, chorusdata::kLawSize, cDepth[s]) * 0.24f;
        const float offset = w * 0.25f;
        const float base = cDelay[s] + 0.01f;
        const float f = bipolarFeedback(cFeedback[s]) * chorusdata::kFeedbackScale[row];
        float accL = 0.0f, accR = 0.0f;
        for (int v = 0; v < voices; ++v) {
            float& p = voicePhase[v];
            p += TableValue(rateC, lfocurves::kRateSize, cRate[s] * rates[v]) * invRate;
            if (p >= 1.0f) p -= 1.0f;
            const float tL = std::clamp(cosineAt(p) * dep + base, 0.01f, 1.0f) * sampleRate;
            float tR = tL;
            if (offset != 0.0f)
                tR = std::clamp(cosineAt(wrapPhase(p + offset)) * dep + base, 0.01f, 1.0f) *
                     sampleRate;
            const float tap = taps[v] * spreadFactor;
            accL += read(v, tL * tap);
            write(v, accL * f + inputL[s]);
            accR += read(4 + v, tR * tap);
            write(4 + v, accR * f + inputR[s]);
        }
        advance();
        sumL[s] = accL;
        sumR[s] = accR;
    }
}

void ModuleFxChorus::ensemble(int n) {
    const ReverbCurves& curves = reverbCurves();
    const float* cDelay = controls[kDelay];
    const float* cFeedback = controls[kFeedback];
    const float* cRate = controls[kRate];
    const float* cDepth = controls[kDepth];
    const float* cWide = controls[kWide];
    const float* cHiCut = controls[kHiCut];
    const float invRate = 1.0f / sampleRate;
    float& p = voicePhase[0];
    for (int s = 0; s < n; ++s) {
        // The rate runs 0 to 2 Hz here, without the rate law.
        p += 2.0f * cRate[s] * invRate;
        if (p >= 1.0f) p -= 1.0f;
        const float a = ShapedLfo(p, 0.0f) * cDepth[s];
        const float b = ShapedLfo(wrapPhase(p + cWide[s] * 0.25f), 0.0f) * cDepth[s];
        const float span = std::max(cDelay[s], 0.002f) * sampleRate * 0.06f;
        const float e = cWide[s] * 0.05f;
        const float f = bipolarFeedback(cFeedback[s]);

        float accL = read(0, (a + 1.0f) * 0.5f * span);
        write(0, accL * f + inputL[s]);
        accL -= read(1, (2.0f - a) * 0.5f * span);
        write(1, accL * f + inputL[s]);
        float accR = read(4, ((b + 1.0f) * 0.5f + e) * span);
        write(4, accR * f + inputR[s]);
        accR -= read(5, ((2.0f - b) * 0.5f + e) * span);
        write(5, accR * f + inputR[s]);
        advance();

        const float corner = readCurve(curves.toneFreq, ReverbCurves::kToneSize,
                                       cHiCut[s] * float(ReverbCurves::kToneSize - 1));
        const float k = sineCoefficient(curves, corner, invRate);
        ensembleLow[0] += (accL - ensembleLow[0]) * k;
        ensembleLow[1] += (accR - ensembleLow[1]) * k;
        sumL[s] = ensembleLow[0];
        sumR[s] = ensembleLow[1];
    }
}

void ModuleFxChorus::processFx(int frames, float* const* stereo) {
    if (frames <= 0 || frames > maxFrames || !stereo || !stereo[0] || !stereo[1]) return;
    if (memory.empty()) return;
    if (effectIsOff(mute, controls, *this, kWet, frames)) return;
    ScopedFlushDenormals flush;
    controls.run(*this, frames);
    length = std::min(static_cast<int>(kLineSeconds * sampleRate), capacity);
    if (writeIndex >= length) writeIndex = 0;

    float* left = stereo[0];
    float* right = stereo[1];
    std::copy(left, left + frames, inputL);
    std::copy(right, right + frames, inputR);
    if (mode != kEnsemble)
        hiCutFilter.process(inputL, inputR, controls[kHiCut], kHiCutDamping, StereoSvf::kLow,
                            frames);
    lowCutFilter.process(inputL, inputR, controls[kLowCut], kLowCutDamping, StereoSvf::kHigh,
                         frames);

    if (mode < 4)
        tapModes(frames);
    else if (mode < kEnsemble)
        voiceModes(frames);
    else
        ensemble(frames);

    const float* w = controls[kWet];
    for (int i = 0; i < frames; ++i) {
        left[i] = left[i] * (1.0f - w[i]) + sumL[i] * w[i];
        right[i] = right[i] * (1.0f - w[i]) + sumR[i] * w[i];
    }
}

void ModuleFxChorus::clear() {
    std::fill(memory.begin(), memory.end(), 0.0f);
}

bool ModuleFxChorus::holdsSubnormals() const {
    auto sub = [](float x) { return std::fpclassify(x) == FP_SUBNORMAL; };
    if (std::any_of(memory.begin(), memory.end(), sub)) return true;
    return sub(ensembleLow[0]) || sub(ensembleLow[1]);
}

} // namespace torvo

#include "effects/modulefxdelay.h"

#include "effects/reverbcurves.h"
#include "effects/shapedlfo.h"
#include "engine/denormals.h"
#include "engine/engineshared.h"
#include "engine/pool.h"

#include <algorithm>
#include <cmath>

namespace torvo {

namespace {

// Peak swing of the read positions in seconds at full modulation.
constexpr float kModulationSeconds = 0.02f;
// Free times have a floor of 10 ms.
constexpr float kFreeFloor = 0.01f;

} // namespace

ModuleFxDelay::ModuleFxDelay() {
    controls.add(timeL, 2);
    controls.add(timeR, 3);
    controls.add(feedback, 6);
    controls.add(rate, 7);
    controls.add(modulate, 8);
    controls.add(wide, 9);
    controls.add(color, 10);
    controls.add(wet, 11);
}

void ModuleFxDelay::createVoices() {
    lfocurves::prepare();
    reverbCurves();
}

void ModuleFxDelay::setParameter(int localIndex, float value) {
    switch (localIndex) {
    case 0:
        pingPong = decodeOnOff(value);
        break;
    case 1:
        sync = decodeOnOff(value);
        break;
    case 2:
        timeL.set(value);
        break;
    case 3:
        timeR.set(value);
        break;
    case 4:
        syncTimeL = std::clamp(decodeList(value), 0, kLastNoteTime);
        break;
    case 5:
        syncTimeR = std::clamp(decodeList(value), 0, kLastNoteTime);
        break;
    case 6:
        feedback.set(value);
        break;
    case 7:
        rate.set(value);
        break;
    case 8:
        modulate.set(value);
        break;
    case 9:
        wide.set(value);
        break;
    case 10:
        color.set(value);
        break;
    case 11:
        wet.set(value);
        break;
    case 12:
        mute = decodeOnOff(value);
        break;
    default:
        break;
    }
}

void ModuleFxDelay::sizeLines() {
    const int wanted = static_cast<int>(kLineSeconds * std::min(sampleRate, kMaxRate));
    if (wanted == capacity && !lineL.empty()) return;
    capacity = std::max(wanted, 8);
    lineL.assign(static_cast<size_t>(capacity), 0.0f);
    lineR.assign(static_cast<size_t>(capacity), 0.0f);
    writeIndex = 0;
}

void ModuleFxDelay::setSampleRate(float rateHz) {
    Module::setSampleRate(rateHz);
    sizeLines();
    lastColor = -1.0f;
}

void ModuleFxDelay::setMaxBlockSize(int frames) {
    createVoices();
    sizeLines();
    if (!shared || !shared->pool || frames <= 0) return;
    controls.allocate(*shared->pool, frames);
    maxFrames = wet.data() ? frames : 0;
}

float ModuleFxDelay::read(const std::vector<float>& line, float delaySamples) const {
    const int whole = static_cast<int>(delaySamples);
    const float t = delaySamples - static_cast<float>(whole);
    int i0 = writeIndex - whole;
    if (i0 < 0) i0 += length;
    const int i1 = i0 == 0 ? length - 1 : i0 - 1;
    return (1.0f - t) * line[i0] + t * line[i1];
}

void ModuleFxDelay::setColor(float c) {
    if (c == lastColor && sampleRate == lastColorRate) return;
    lastColor = c;
    lastColorRate = sampleRate;
    const ReverbCurves& curves = reverbCurves();
    auto tone = [&curves](float index) {
        return readCurve(curves.toneFreq, ReverbCurves::kToneSize, index);
    };
    float lowHz, highHz;
    if (c < 0.49f) {
        // Dark end: the low-pass falls below the high-pass corner and the band narrows.
        highHz = tone(47.6f - c * 95.2f);
        lowHz = tone(c * 166.6f + 35.7f);
    } else if (c < 0.51f) {
        lowHz = 20000.0f;
        highHz = 20.0f;
    } else {
        highHz = tone((c - 0.5f) * 166.6f);
        lowHz = tone(119.0f - (c - 0.5f) * 47.6f);
    }
    const float invRate = 1.0f / sampleRate;
    kLow = sineCoefficient(curves, lowHz, invRate);
    kHigh = sineCoefficient(curves, highHz, invRate);
}

void ModuleFxDelay::processFx(int frames, float* const* stereo) {
    if (frames <= 0 || frames > maxFrames || !stereo || !stereo[0] || !stereo[1]) return;
    if (lineL.empty()) return;
    // Muted or at wet 0 the lines are not written either, so old echoes wait in them.
    if (effectIsOff(mute, controls, *this, kWet, frames)) return;
    ScopedFlushDenormals flush;
    controls.run(*this, frames);
    length = std::min(static_cast<int>(kLineSeconds * sampleRate), capacity);
    if (writeIndex >= length) writeIndex = 0;

    const float* noteTime = reverbCurves().noteTime;
    const float tempo = shared && shared->tempo > 0.0f ? shared->tempo : 120.0f;
    const float syncL = noteTime[syncTimeL] / tempo;
    const float syncR = noteTime[syncTimeR] / tempo;
    const double invRate = 1.0 / sampleRate;
    const float maxDelay = std::min(kMaxSeconds * sampleRate, static_cast<float>(length - 2));

    const float* cTimeL = controls[kTimeL];
    const float* cTimeR = controls[kTimeR];
    const float* cFeedback = controls[kFeedback];
    const float* cRate = controls[kRate];
    const float* cModulate = controls[kModulate];
    const float* cWide = controls[kWide];
    const float* cColor = controls[kColor];
    const float* cWet = controls[kWet];
    float* left = stereo[0];
    float* right = stereo[1];

    for (int s = 0; s < frames; ++s) {
        phase += double(lfocurves::rateHz(cRate[s])) * invRate;
        if (phase > 1.0) phase -= 1.0;
        const float m = (lfocurves::cosineAt(static_cast<float>(phase)) - 0.5f) *
                        kModulationSeconds * cModulate[s];

        // The modulation moves the two read positions in opposite directions.
        float tL, tR;
        if (sync) {
            tL = syncL + m;
            tR = syncR - m;
        } else {
            tL = cTimeL[s] + m + kFreeFloor;
            tR = cTimeR[s] - m + kFreeFloor;
        }
        const float dL = std::min(std::clamp(tL, 0.0f, kMaxSeconds) * sampleRate, maxDelay);
        const float dR = std::min(std::clamp(tR, 0.0f, kMaxSeconds) * sampleRate, maxDelay);
        float yL = read(lineL, dL);
        float yR = read(lineR, dR);

        setColor(cColor[s]);
        low[0] += (yL - low[0]) * kLow;
        high[0] += (low[0] - high[0]) * kHigh;
        yL = low[0] - high[0];
        low[1] += (yR - low[1]) * kLow;
        high[1] += (low[1] - high[1]) * kHigh;
        yR = low[1] - high[1];

        const float f = cFeedback[s];
        const float a = cWide[s];
        const float inL = left[s];
        const float inR = right[s];
        if (!pingPong) {
            lineL[writeIndex] = inL + yL * f;
            lineR[writeIndex] = inR + yR * f;
        } else if (a < 0.5f) {
            lineL[writeIndex] = inL + yR * f;
            lineR[writeIndex] = inR + yL * f;
        } else {
            // Both inputs enter on the left alone, so the echoes bounce from side to side.
            lineL[writeIndex] = inL + inR + yR * f;
            lineR[writeIndex] = yL * f;
        }
        if (++writeIndex >= length) writeIndex = 0;

        // With ping-pong the width folds around its middle so both ends are full width.
        const float width = pingPong ? (std::fabs(2.0f * a - 1.0f) + 1.0f) * 0.5f : a;
        const float oL = yL * width + yR * (1.0f - width);
        const float oR = yR * width + yL * (1.0f - width);

        // Below 0.7 the echoes rise under a full dry signal; above it the dry falls away.
        const float v = cWet[s];
        if (v >= 0.7f) {
            const float dry = (0.3f - (v - 0.7f)) * 3.3333f;
            left[s] = inL * dry + oL;
            right[s] = inR * dry + oR;
        } else {
            left[s] = inL + v * oL * 1.43f;
            right[s] = inR + v * oR * 1.43f;
        }
    }
}

void ModuleFxDelay::clear() {
    std::fill(lineL.begin(), lineL.end(), 0.0f);
    std::fill(lineR.begin(), lineR.end(), 0.0f);
}

bool ModuleFxDelay::holdsSubnormals() const {
    auto sub = [](float x) { return std::fpclassify(x) == FP_SUBNORMAL; };
    if (std::any_of(lineL.begin(), lineL.end(), sub)) return true;
    if (std::any_of(lineR.begin(), lineR.end(), sub)) return true;
    return sub(low[0]) || sub(low[1]) || sub(high[0]) || sub(high[1]);
}

} // namespace torvo

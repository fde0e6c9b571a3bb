#include "effects/modulefxshaper.h"

#include "effects/oversampler.h"
#include "effects/shapercurves.h"
#include "effects/signaltools.h"
#include "engine/denormals.h"
#include "engine/engineshared.h"
#include "engine/pool.h"

#include <algorithm>
#include <cmath>

namespace torvo {

namespace {

constexpr int kLocalDrive = 3;
constexpr int kLocalBits = 4;
constexpr int kLocalRate = 5;
constexpr int kLocalHiCut = 6;
constexpr int kLocalLowCut = 7;
constexpr int kLocalWet = 8;

constexpr float kHiCutDamping = 1.2f;
constexpr float kLowCutDamping = 2.0f;

// Image filter of the repeated signal, designed at the base rate so that at eight times the
// rate it lies at 8 × 1378.125 Hz = 11025 Hz for 44.1 kHz.
constexpr float kAntiImageHz = 1378.125f;
constexpr float kAntiImageQ = 1.0259684f;
// Gives back the top that hold-and-low-pass took away.
constexpr float kRestoreHz = 20200.0f;
constexpr float kRestoreQ = 0.2607296f;
constexpr float kRestoreDb = 5.7690518f;

struct TableMode {
    const float* (*table)();
    int size;
    float a, b, outGain;
    bool wrap;
};

// Modes 0..8; tube3 (6) has its own two-half rule and no entry of use here.
const TableMode kTableModes[] = {
    {shapercurves::soft, shapercurves::kShapeSize, 60.0f, 1.0f, 0.4f, false},
    {shapercurves::warm, shapercurves::kShapeSize, 150.0f, 1.0f, 0.4f, false},
    {shapercurves::hard, shapercurves::kShapeSize, 150.0f, 1.0f, 0.4f, false},
    {shapercurves::clip, shapercurves::kShapeSize, 500.0f, 1.0f, 0.42f, false},
    {shapercurves::tube1, shapercurves::kShapeSize, 200.0f, 1.0f, 0.4f, false},
    {shapercurves::tube2, shapercurves::kTube2Size, 60.0f, 1.0f, 0.4f, false},
    {shapercurves::clip, shapercurves::kShapeSize, 180.0f, 1.0f, 0.42f, false},
    {shapercurves::fbTri, shapercurves::kFbTriSize, 62.38f, 0.74f, 0.4f, true},
    {shapercurves::fbSin, shapercurves::kShapeSize, 79.6178f, 0.1592f, 0.4f, true},
};

inline float wrapUnit(float u) {
    if (u >= 1.0f) return u - std::trunc(u);
    if (u < 0.0f) return 1.0f - (-u - std::trunc(-u));
    return u;
}

void addResidual(float* w, const float* residual, const float* gain, int n) {
    // What the tone filters took away comes back, raised with the drive.
    for (int i = 0; i < n; ++i) w[i] += (1.0f + 2.0f * gain[i]) * residual[i];
}

} // namespace

void ModuleFxShaper::createVoices() {
    factor = oversampler::kFactor;
    shapercurves::prepare();
    if (controls.count() == 0) {
        controls.add(drive, kLocalDrive);
        controls.add(bits, kLocalBits);
        controls.add(rate, kLocalRate);
        controls.add(hiCut, kLocalHiCut);
        controls.add(lowCut, kLocalLowCut);
        controls.add(wet, kLocalWet);
    }
}

void ModuleFxShaper::setParameter(int localIndex, float value) {
    switch (localIndex) {
    case 0:
        mode = std::clamp(decodeList(value), 0, static_cast<int>(kDecimate));
        break;
    case 1:
        band = decodeOnOff(value);
        break;
    case 2:
        hq = decodeOnOff(value);
        break;
    case kLocalDrive:
        drive.set(value);
        break;
    case kLocalBits:
        bits.set(value);
        break;
    case kLocalRate:
        rate.set(value);
        break;
    case kLocalHiCut:
        hiCut.set(value);
        break;
    case kLocalLowCut:
        lowCut.set(value);
        break;
    case kLocalWet:
        wet.set(value);
        break;
    case 9:
        mute = decodeOnOff(value);
        break;
    default:
        break;
    }
}

void ModuleFxShaper::setSampleRate(float rateHz) {
    Module::setSampleRate(rateHz);
    hiCutFilter.setSampleRate(rateHz);
    lowCutFilter.setSampleRate(rateHz);
}

void ModuleFxShaper::setMaxBlockSize(int frames) {
    if (!shared || !shared->pool || frames <= 0) return;
    if (controls.count() == 0) createVoices();
    Pool& pool = *shared->pool;
    controls.allocate(pool, frames);
    const int up = frames * oversampler::kFactor;
    workL = pool.get("shp", frames);
    workR = pool.get("shp", frames);
    upL = pool.get("shp", up);
    upR = pool.get("shp", up);
    residualL = pool.get("shp", up);
    residualR = pool.get("shp", up);
    gainCurve = pool.get("shp", up);
    upDrive = pool.get("shp", up);
    upBits = pool.get("shp", up);
    upRate = pool.get("shp", up);
    const bool ok = workL && workR && upL && upR && residualL && residualR && gainCurve &&
                    upDrive && upBits && upRate;
    maxFrames = ok ? frames : 0;
}

float ModuleFxShaper::driveGain(float driveControl) {
    return TableValue(shapercurves::drive(), shapercurves::kLawSize, driveControl);
}

void ModuleFxShaper::shape(int mode, float* x, const float* driveControl, const float* gain,
                           bool silent, int n) {
    if (mode == kTube3) {
        const float* pos = shapercurves::clip();
        const float* neg = shapercurves::foldNeg();
        constexpr int size = shapercurves::kShapeSize;
        for (int i = 0; i < n; ++i) {
            const float k = gain[i] * 180.0f + 1.0f;
            const float v = x[i];
            const float p = std::clamp(v, 0.0f, 10.0f) * k + 0.5f;
            const float q = std::clamp(v, -10.0f, 0.0f) * k * 0.25f + 1.0f;
            const float y = TableValue(pos, size, p) + TableValue(neg, size, q);
            x[i] = y * 0.42f / (1.0f + driveControl[i]);
        }
        return;
    }
    if (mode < 0 || mode > kFbSin || n <= 0) return;
    if (silent) {
        // The curves are not exactly 0 at their centre; silence must stay silence.
        std::fill(x, x + n, 0.0f);
        return;
    }
    const TableMode& m = kTableModes[mode];
    const float* table = m.table();
    // The output scale changes only with the drive; it is recomputed when the drive moves.
    float lastDrive = driveControl[0];
    float scale = m.outGain / (1.0f + lastDrive);
    for (int i = 0; i < n; ++i) {
        if (driveControl[i] != lastDrive) {
            lastDrive = driveControl[i];
            scale = m.outGain / (1.0f + lastDrive);
        }
        float u = x[i] * (gain[i] * m.a + m.b) + 0.5f;
        if (m.wrap) u = wrapUnit(u);
        x[i] = TableValue(table, m.size, u) * scale;
    }
}

void ModuleFxShaper::toneFilters(float* left, float* right, int n) {
    hiCutFilter.process(left, right, controls[kHiCut], kHiCutDamping, StereoSvf::kLow, n);
    lowCutFilter.process(left, right, controls[kLowCut], kLowCutDamping, StereoSvf::kHigh, n);
}

void ModuleFxShaper::shapeBoth(float* left, float* right, const float* driveControl, float* gain,
                               int n) {
    std::copy(driveControl, driveControl + n, gain);
    TableRead(gain, shapercurves::drive(), shapercurves::kLawSize, n);
    const bool silentL = mode != kTube3 && SilenceCheck(left, n);
    const bool silentR = mode != kTube3 && SilenceCheck(right, n);
    shape(mode, left, driveControl, gain, silentL, n);
    shape(mode, right, driveControl, gain, silentR, n);
}

void ModuleFxShaper::tablePath(const float* const* in, int n) {
    toneFilters(workL, workR, n);
    if (!band) {
        for (int i = 0; i < n; ++i) {
            residualL[i] = in[0][i] - workL[i];
            residualR[i] = in[1][i] - workR[i];
        }
    }
    shapeBoth(workL, workR, controls[kDrive], gainCurve, n);
    if (!band) {
        addResidual(workL, residualL, gainCurve, n);
        addResidual(workR, residualR, gainCurve, n);
    }
    decimator.process(workL, workR, controls[kBits], controls[kRate], 1, sampleRate, n);
}

void ModuleFxShaper::tablePathOversampled(const float* const* in, int n) {
    const int nUp = n * factor;
    toneFilters(workL, workR, n);
    oversampler::up(workL, upL, n);
    oversampler::up(workR, upR, n);
    oversampler::up(controls[kDrive], upDrive, n);
    oversampler::up(controls[kBits], upBits, n);
    oversampler::up(controls[kRate], upRate, n);
    antiImage.design(sampleRate, CookbookBiquad::kLowPass, kAntiImageHz, kAntiImageQ, 0.0f);
    antiImage.process(upL, upR, nUp);
    if (!band) {
        oversampler::up(in[0], residualL, n);
        oversampler::up(in[1], residualR, n);
        for (int i = 0; i < nUp; ++i) {
            residualL[i] -= upL[i];
            residualR[i] -= upR[i];
        }
    }
    shapeBoth(upL, upR, upDrive, gainCurve, nUp);
    if (!band) {
        addResidual(upL, residualL, gainCurve, nUp);
        addResidual(upR, residualR, gainCurve, nUp);
    }
    decimator.process(upL, upR, upBits, upRate, factor, sampleRate, nUp);
    oversampler::down(upL, workL, n);
    oversampler::down(upR, workR, n);
    if (band) {
        restore.design(sampleRate, CookbookBiquad::kPeaking,
                       std::min(kRestoreHz, 0.49f * sampleRate), kRestoreQ, kRestoreDb);
        restore.process(workL, workR, n);
    }
}

void ModuleFxShaper::reducer(int n) {
    if (!hq) {
        decimator.process(workL, workR, controls[kBits], controls[kRate], 1, sampleRate, n);
        return;
    }
    const int nUp = n * factor;
    oversampler::up(workL, upL, n);
    oversampler::up(workR, upR, n);
    oversampler::up(controls[kBits], upBits, n);
    oversampler::up(controls[kRate], upRate, n);
    antiImage.design(sampleRate, CookbookBiquad::kLowPass, kAntiImageHz, kAntiImageQ, 0.0f);
    antiImage.process(upL, upR, nUp);
    decimator.process(upL, upR, upBits, upRate, factor, sampleRate, nUp);
    oversampler::down(upL, workL, n);
    oversampler::down(upR, workR, n);
    restore.design(sampleRate, CookbookBiquad::kPeaking, std::min(kRestoreHz, 0.49f * sampleRate),
                   kRestoreQ, kRestoreDb);
    restore.process(workL, workR, n);
}

void ModuleFxShaper::processFx(int frames, float* const* stereo) {
    if (frames <= 0 || frames > maxFrames || !stereo || !stereo[0] || !stereo[1]) return;
    if (effectIsOff(mute, controls, *this, kWet, frames)) return;
    ScopedFlushDenormals flush;
    controls.run(*this, frames);

    float* inL = stereo[0];
    float* inR = stereo[1];
    std::copy(inL, inL + frames, workL);
    std::copy(inR, inR + frames, workR);
    if (mode <= kFbSin) {
        if (hq)
            tablePathOversampled(stereo, frames);
        else
            tablePath(stereo, frames);
    } else if (mode == kFilterDecimate && band) {
        toneFilters(workL, workR, frames);
        reducer(frames);
    } else if (mode == kFilterDecimate) {
        reducer(frames);
        toneFilters(workL, workR, frames);
    } else {
        reducer(frames);
    }

    const float* w = controls[kWet];
    for (int i = 0; i < frames; ++i) {
        inL[i] = inL[i] * (1.0f - w[i]) + workL[i] * w[i];
        inR[i] = inR[i] * (1.0f - w[i]) + workR[i] * w[i];
    }
}

} // namespace torvo

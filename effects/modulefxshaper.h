#pragma once
// The first effect of the chain: a table waveshaper with a band option, an 8-times oversampled
// mode, hi- and low-cut tone filters around the shaper and a bit and sample-rate reducer.

#include "effects/cookbookbiquad.h"
#include "effects/decimator.h"
#include "effects/fxcontrols.h"
#include "effects/stereosvf.h"
#include "engine/module.h"
#include "engine/paramsmoother.h"

namespace torvo {

class ModuleFxShaper : public Module {
public:
    enum Mode {
        kSoft = 0,
        kWarm,
        kHard,
        kClip,
        kTube1,
        kTube2,
        kTube3,
        kFbTri,
        kFbSin,
        kFilterDecimate,
        kDecimate
    };
    /// Control slots, in the order the controls are registered.
    enum Control { kDrive = 0, kBits, kRate, kHiCut, kLowCut, kWet };

    void createVoices() override;
    void setParameter(int localIndex, float value) override;
    void setSampleRate(float rate) override;
    void setMaxBlockSize(int frames) override;
    void processFx(int frames, float* const* stereo) override;

    /// The table path of one channel in place (modes 0 to 8): x becomes the shaped signal;
    /// gain receives g, the drive curve per sample, and driveControl is the raw drive.
    /// With silent set, the table modes answer exact zeros (tube3 has no such test).
    static void shape(int mode, float* x, const float* driveControl, const float* gain, bool silent,
                      int n);
    /// g for a drive control: the drive curve.
    static float driveGain(float driveControl);

    int mode = kWarm;
    bool band = false;
    bool hq = true;
    ParamSmoother drive;
    ParamSmoother bits;
    ParamSmoother rate;
    ParamSmoother hiCut;
    ParamSmoother lowCut;
    ParamSmoother wet;
    bool mute = false;

private:
    void toneFilters(float* left, float* right, int n);
    void tablePath(const float* const* in, int n);
    void tablePathOversampled(const float* const* in, int n);
    void reducer(int n);
    void shapeBoth(float* left, float* right, const float* driveControl, float* gain, int n);

    FxControls controls;
    StereoSvf hiCutFilter;
    StereoSvf lowCutFilter;
    CookbookBiquad antiImage;
    CookbookBiquad restore;
    Decimator decimator;
    int factor = 1;
    int maxFrames = 0;
    // Base rate: the working pair W.
    float* workL = nullptr;
    float* workR = nullptr;
    // Eight times the block: the up-sampled pair, the dry residual, the gain curve and the
    // three up-sampled controls.
    float* upL = nullptr;
    float* upR = nullptr;
    float* residualL = nullptr;
    float* residualR = nullptr;
    float* gainCurve = nullptr;
    float* upDrive = nullptr;
    float* upBits = nullptr;
    float* upRate = nullptr;
};

} // namespace torvo

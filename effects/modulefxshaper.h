#pragma once
// The first effect of the chain: a table waveshaper with a band option, an 8-times oversampled
// mode, hi- and low-cut tone filters around the shaper and a bit and sample-rate reducer.

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

    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;
    void processFx(int frames, float* const* stereo) override;

    int mode = kSoft;
    bool band = false;
    bool hq = false;
    ParamSmoother drive;
    ParamSmoother bits;
    ParamSmoother rate;
    ParamSmoother hiCut;
    ParamSmoother lowCut;
    ParamSmoother wet;
    bool mute = false;
};

} // namespace torvo

#pragma once
// A stereo reverb whose seven characters are seven data sets for one network: multi-tap early
// section, input diffusers, a figure-of-eight loop with modulated delays, output taps and two
// peaking filters. Its place in the chain depends on the mode.

#include "engine/module.h"
#include "engine/paramsmoother.h"

namespace torvo {

class ModuleFxRever : public Module {
public:
    enum Mode { kPlate1 = 0, kPlate2, kHall, kSparkles, kAmbience, kDmension, kAura };
    static constexpr int kLastNoteTime = 20;

    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;
    void processFx(int frames, float* const* stereo) override;
    /// Empties every delay line.
    void clear();

    int mode = kPlate1;
    bool sync = false;
    int preTimeSync = 0;
    ParamSmoother preTime;
    ParamSmoother damp;
    ParamSmoother wide;
    ParamSmoother decay;
    ParamSmoother color;
    ParamSmoother wet;
    bool mute = false;
};

} // namespace torvo

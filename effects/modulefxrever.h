#pragma once
// A stereo reverb whose seven characters are seven data sets for one network: multi-tap early
// section, input diffusers, a figure-of-eight loop with modulated delays, output taps and two
// peaking filters. Its place in the chain depends on the mode.

#include "effects/fxcontrols.h"
#include "effects/reverbcomponent.h"
#include "engine/module.h"
#include "engine/paramsmoother.h"

namespace torvo {

class ModuleFxRever : public Module {
public:
    enum Mode { kPlate1 = 0, kPlate2, kHall, kSparkles, kAmbience, kDmension, kAura };
    static constexpr int kLastNoteTime = 20;

    ModuleFxRever();
    void setParameter(int localIndex, float value) override;
    /// Sizes the delay memory for the rate; a new rate empties it.
    void setSampleRate(float rate) override;
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

    ComponentRever component;

private:
    FxControls controls;
    int preTimeSlot = 0, dampSlot = 0, wideSlot = 0, decaySlot = 0, colorSlot = 0, wetSlot = 0;
    int maxFrames = 0;
};

} // namespace torvo

#pragma once
// Chorus in seven modes: four with one LFO for up to four taps, two with an LFO per tap, and
// an ensemble of two lines per side with a triangle LFO and the second line subtracted.

#include "engine/module.h"
#include "engine/paramsmoother.h"

namespace torvo {

class ModuleFxChorus : public Module {
public:
    /// Modes "01".."06" are 0..5, "J8" is 6.
    static constexpr int kEnsemble = 6;

    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;
    void processFx(int frames, float* const* stereo) override;
    /// Empties the delay lines.
    void clear();

    int mode = 0;
    ParamSmoother delay;
    ParamSmoother feedback;
    ParamSmoother rate;
    ParamSmoother depth;
    ParamSmoother wide;
    ParamSmoother hiCut;
    ParamSmoother lowCut;
    ParamSmoother wet;
    bool mute = false;
};

} // namespace torvo

#pragma once
// A stereo delay of up to ten seconds per side: two times, free or tempo-locked, a slow sine
// that moves the two read positions in opposite directions, a band filter in the echo path,
// ping-pong routing and a width control.

#include "engine/module.h"
#include "engine/paramsmoother.h"

namespace torvo {

class ModuleFxDelay : public Module {
public:
    /// Note values "1/64".."16/1" of the tempo-locked times.
    static constexpr int kLastNoteTime = 20;

    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;
    void processFx(int frames, float* const* stereo) override;
    /// Empties both lines.
    void clear();

    bool pingPong = false;
    bool sync = false;
    ParamSmoother timeL;
    ParamSmoother timeR;
    int syncTimeL = 0;
    int syncTimeR = 0;
    ParamSmoother feedback;
    ParamSmoother rate;
    ParamSmoother modulate;
    ParamSmoother wide;
    ParamSmoother color;
    ParamSmoother wet;
    bool mute = false;
};

} // namespace torvo

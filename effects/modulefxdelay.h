#pragma once
// A stereo delay of up to ten seconds per side: two times, free or tempo-locked, a slow sine
// that moves the two read positions in opposite directions, a band filter in the echo path,
// ping-pong routing and a width control.

#include "effects/fxcontrols.h"
#include "engine/module.h"
#include "engine/paramsmoother.h"

#include <vector>

namespace torvo {

class ModuleFxDelay : public Module {
public:
    /// Note values "1/64".."16/1" of the tempo-locked times.
    static constexpr int kLastNoteTime = 20;
    static constexpr float kMaxSeconds = 10.0f;
    /// Each line holds more than the longest time, so the oldest sample is never read.
    static constexpr float kLineSeconds = 12.0f;
    /// The lines are sized for rates up to this; above it the times are held inside them.
    static constexpr float kMaxRate = 192000.0f;
    /// Control slots, in the order the controls are registered.
    enum Control { kTimeL = 0, kTimeR, kFeedback, kRate, kModulate, kWide, kColor, kWet };

    ModuleFxDelay();
    void createVoices() override;
    void setParameter(int localIndex, float value) override;
    /// Sizes the lines for the rate (allocates: never on the audio thread).
    void setSampleRate(float rate) override;
    void setMaxBlockSize(int frames) override;
    void processFx(int frames, float* const* stereo) override;
    /// Empties both lines.
    void clear();

    /// Samples per line at the current rate.
    int lineLength() const { return length; }
    /// True when any line sample or filter state is subnormal.
    bool holdsSubnormals() const;

    bool pingPong = true;
    bool sync = true;
    ParamSmoother timeL;
    ParamSmoother timeR;
    int syncTimeL = 7;
    int syncTimeR = 1;
    ParamSmoother feedback;
    ParamSmoother rate;
    ParamSmoother modulate;
    ParamSmoother wide;
    ParamSmoother color;
    ParamSmoother wet;
    bool mute = false;

private:
    void sizeLines();
    float read(const std::vector<float>& line, float delaySamples) const;
    void setColor(float c);

    FxControls controls;
    std::vector<float> lineL;
    std::vector<float> lineR;
    int capacity = 0;
    int length = 0;
    int writeIndex = 0;
    // In double: the swing is up to ±10 ms, and a float phase would drift by a few samples
    // over a slow cycle.
    double phase = 0.0;
    // One-pole low- and high-pass of the echo band, per side.
    float low[2] = {};
    float high[2] = {};
    // Colour coefficients, worked out again only when the colour control moves.
    float lastColor = -1.0f;
    float lastColorRate = 0.0f;
    float kLow = 1.0f;
    float kHigh = 0.0f;
    int maxFrames = 0;
};

} // namespace torvo

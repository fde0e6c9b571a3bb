#pragma once
// Chorus in seven modes: four with one LFO for up to four taps, two with an LFO per tap, and
// an ensemble of two lines per side with a triangle LFO and the second line subtracted.

#include "effects/fxcontrols.h"
#include "effects/stereosvf.h"
#include "engine/module.h"
#include "engine/paramsmoother.h"

#include <vector>

namespace torvo {

class ModuleFxChorus : public Module {
public:
    /// Modes "01".."06" are 0..5, "J8" is 6.
    static constexpr int kEnsemble = 6;
    /// Four lines per side: 0..3 left, 4..7 right.
    static constexpr int kLines = 8;
    static constexpr float kLineSeconds = 0.1f;
    /// The lines are sized for rates up to this; above it the taps are held inside them.
    static constexpr float kMaxRate = 192000.0f;
    /// Control slots, in the order the controls are registered.
    enum Control { kDelay = 0, kFeedback, kRate, kDepth, kWide, kHiCut, kLowCut, kWet };

    ModuleFxChorus();
    void createVoices() override;
    void setParameter(int localIndex, float value) override;
    /// Sizes the lines for the rate (allocates: never on the audio thread).
    void setSampleRate(float rate) override;
    void setMaxBlockSize(int frames) override;
    void processFx(int frames, float* const* stereo) override;
    /// Empties the delay lines; filters and LFO phases are kept.
    void clear();

    /// Samples per line at the current rate.
    int lineLength() const { return length; }
    /// True when any line sample or state value is subnormal.
    bool holdsSubnormals() const;

    int mode = kEnsemble;
    ParamSmoother delay;
    ParamSmoother feedback;
    ParamSmoother rate;
    ParamSmoother depth;
    ParamSmoother wide;
    ParamSmoother hiCut;
    ParamSmoother lowCut;
    ParamSmoother wet;
    bool mute = false;

private:
    void sizeLines();
    void tapModes(int n);
    void voiceModes(int n);
    void ensemble(int n);
    /// Four-point cubic read `delaySamples` behind the next write of a line.
    float read(int line, float delaySamples) const;
    void write(int line, float x) { memory[static_cast<size_t>(line) * capacity + writeIndex] = x; }
    void advance() {
        if (++writeIndex >= length) writeIndex = 0;
    }

    FxControls controls;
    StereoSvf hiCutFilter;
    StereoSvf lowCutFilter;
    std::vector<float> memory;
    int capacity = 0;
    int length = 0;
    int writeIndex = 0;
    float phase = 0.0f;
    float voicePhase[4] = {};
    float ensembleLow[2] = {};
    int maxFrames = 0;
    // Filtered input and the summed taps of a block, per side.
    float* inputL = nullptr;
    float* inputR = nullptr;
    float* sumL = nullptr;
    float* sumR = nullptr;
};

} // namespace torvo

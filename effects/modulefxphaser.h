#pragma once
// A stereo first-order all-pass phaser of 2 to 12 sections; its last three settings turn it
// into a vowel filter of four formant chains on a moving vowel table.

#include "engine/module.h"
#include "engine/paramsmoother.h"

namespace torvo {

class ModuleFxPhaser : public Module {
public:
    /// Index 0..5 are 2 * index + 2 sections; 6..8 the vowel modes.
    static constexpr int kLastStages = 8;

    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;
    void processFx(int frames, float* const* stereo) override;
    /// Zeroes the working buffers; the all-pass states are kept.
    void clear();

    int stages = 0;
    ParamSmoother freq;
    ParamSmoother feedback;
    ParamSmoother spread;
    ParamSmoother rate;
    ParamSmoother depth;
    ParamSmoother wet;
    bool mute = false;

private:
    // Working buffers of a block: the two LFO curves, the rate and the two outputs.
    float* curveL = nullptr;
    float* curveR = nullptr;
    float* rateBuf = nullptr;
    float* outL = nullptr;
    float* outR = nullptr;
    int capacity = 0;
};

} // namespace torvo

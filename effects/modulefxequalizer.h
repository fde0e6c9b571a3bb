#pragma once
// The equaliser and the instrument's output stage, called at three places of the chain: the
// three-band equaliser after the chorus, the `warm` and `soft` colour filters after the
// compressor, and the output level with its soft limiter and `boost` at the very end.

#include "effects/cookbookbiquad.h"
#include "effects/fxcontrols.h"
#include "engine/module.h"
#include "engine/paramsmoother.h"

#include <array>

namespace torvo {

class ModuleFxEqualizer : public Module {
public:
    /// Band values in table order: low, mid, high; each frequency, Q, level.
    static constexpr int kBandValues = 9;
    static constexpr int kBands = 3;
    static constexpr int kGainCurveSize = 32;
    static constexpr int kLimiterSize = 20;

    void createVoices() override;
    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;

    /// The three-band equaliser; leaves the audio alone while `eq_power` is off.
    virtual void eqStage(int frames, float* const* stereo);
    /// The `warm` and `soft` colour filters.
    virtual void toneStage(int frames, float* const* stereo);
    /// Output level through the limiter curve, doubled by `boost`.
    virtual void outputStage(int frames, float* const* stereo);

    /// The band gain in dB for a level control: −20 to +20 dB, exactly 0 at 0.5.
    static float bandGainDb(float level);
    /// The band frequency in Hz and Q for their controls.
    static float bandFrequency(float control);
    static float bandQ(float control);
    /// The output curve for one sample at volume v, without `boost`.
    static float limit(float x, float v);

    bool power = false;
    bool warm = true;
    bool soft = false;
    bool boost = true;
    std::array<ParamSmoother, kBandValues> bands;
    ParamSmoother volume;

    /// The seven filters: three bands, then the two of `warm`, then the two of `soft`.
    std::array<CookbookBiquad, kBands> bandFilters;
    CookbookBiquad warmHighPass, warmShelf, softPeak, softLowPass;

private:
    void designTone();
    /// Designs a band from its controls at sample i.
    void designBand(int band, int i);
    /// True when all nine band controls hold one value over the block.
    bool controlsStandStill(int frames) const;

    FxControls controls;
    int volumeSlot = 0;
    int maxFrames = 0;
};

} // namespace torvo

#pragma once
// A one-knob three-band compressor: the amount drives six fixed stages, for each band one that
// lifts what is quiet and one that pulls down what is loud. There is no dry path.

#include "effects/compressorstages.h"
#include "effects/cookbookbiquad.h"
#include "effects/fxcontrols.h"
#include "engine/module.h"
#include "engine/paramsmoother.h"

namespace torvo {

class ModuleFxCompressor : public Module {
public:
    static constexpr float kLowSplitHz = 88.3f;
    static constexpr float kHighSplitHz = 2500.0f;
    /// Band-split filters: bandwidth 2 octaves.
    static constexpr float kSplitOctaves = 2.0f;

    ModuleFxCompressor();
    void createVoices() override;
    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;
    void processFx(int frames, float* const* stereo) override;

    /// The band-split filters in the order low (2), mid (4), high (2); designed on the first
    /// processed block.
    const CookbookBiquad& splitFilter(int i) const { return filters[i]; }
    const CompressorStage& stage(int i) const { return stages[i]; }

    ParamSmoother amount;

private:
    void designFilters();

    FxControls controls;
    CookbookBiquad filters[8];
    CompressorStage stages[compressorstages::kStages];
    float* bandL[3] = {};
    float* bandR[3] = {};
    float* amountBuf = nullptr;
    int maxFrames = 0;
};

} // namespace torvo

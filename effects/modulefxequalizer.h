#pragma once
// The equaliser and the instrument's output stage, called at three places of the chain: the
// three-band equaliser after the chorus, the `warm` and `soft` colour filters after the
// compressor, and the output level with its soft limiter and `boost` at the very end.

#include "engine/module.h"
#include "engine/paramsmoother.h"

#include <array>

namespace torvo {

class ModuleFxEqualizer : public Module {
public:
    /// Band values in table order: low, mid, high; each frequency, Q, level.
    static constexpr int kBandValues = 9;

    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;

    /// The three-band equaliser.
    void stage1(int frames, float* const* stereo);
    /// The colour filters.
    void stage2(int frames, float* const* stereo);
    /// Output level, limiter and boost.
    void stage3(int frames, float* const* stereo);

    bool power = false;
    bool warm = false;
    bool soft = false;
    bool boost = false;
    std::array<ParamSmoother, kBandValues> bands;
    ParamSmoother volume;
};

} // namespace torvo

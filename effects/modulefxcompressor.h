#pragma once
// A one-knob three-band compressor: the amount drives six fixed stages, for each band one that
// lifts what is quiet and one that pulls down what is loud. There is no dry path.

#include "engine/module.h"
#include "engine/paramsmoother.h"

namespace torvo {

class ModuleFxCompressor : public Module {
public:
    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;
    void processFx(int frames, float* const* stereo) override;

    ParamSmoother amount;
};

} // namespace torvo

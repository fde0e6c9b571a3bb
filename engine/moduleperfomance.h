#pragma once
// The four macro knobs as modulation sources. Each macro lives in a smoother; per block the
// module hands every voice four output buffers. A macro can itself be a modulation target, so
// a voice's output is the macro's smoothed buffer with that voice's modulation added.

#include "engine/module.h"
#include "engine/paramsmoother.h"

#include <array>

namespace torvo {

constexpr int kMacroCount = 4;

/// One voice's view of the four macros.
struct ComponentPerfomance {
    int index = 0;
    std::array<float*, kMacroCount> outputs{};
};

class ModulePerfomance : public ModulePoly {
public:
    void createVoices() override;
    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;
    void process(int frames, int use) override;
    /// Macro `index` (0..3): 17 per-voice buffers.
    float* const* getOutputs(int index) override;

    std::array<ParamSmoother, kMacroCount> macros;
    std::array<ComponentPerfomance, kVoiceCount> components;

private:
    void pointOutputsAtSmoothers();

    std::array<std::array<float*, kVoiceCount>, kMacroCount> outputTables{};
};

} // namespace torvo

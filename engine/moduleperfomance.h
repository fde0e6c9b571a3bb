#pragma once
// The four macro knobs as modulation sources. Each macro lives in a smoother; per block every
// voice that plays gets four output buffers. A macro can itself be a modulation target, so a
// voice's output is the macro's smoothed buffer with that voice's modulation added: a macro
// moved by velocity differs from voice to voice.

#include "engine/module.h"
#include "engine/paramsmoother.h"

#include <array>

namespace torvo {

constexpr int kMacroCount = 4;

/// One voice's view of the four macros.
struct ComponentPerfomance {
    int index = 0;
    std::array<float*, kMacroCount> outputs{};
    /// Where this voice's output lives when the matrix modulates a macro.
    std::array<float*, kMacroCount> own{};
};

class ModulePerfomance : public ModulePoly {
public:
    /// Parameter of macro 1; the other three follow it.
    static constexpr int kFirstMacroParam = 714;

    void createVoices() override;
    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;
    /// use 2 also renders voice 16, which global targets read.
    void process(int frames, int use) override;
    /// Macro `index` (0..3): 17 per-voice buffers.
    float* const* getOutputs(int index) override;

    std::array<ParamSmoother, kMacroCount> macros;
    std::array<ComponentPerfomance, kVoiceCount> components;

private:
    int macroParam(int m) const;
    void renderVoice(int voice, int frames);
    void pointVoiceAtSmoothers(int voice);

    std::array<std::array<float*, kVoiceCount>, kMacroCount> outputTables{};
};

} // namespace torvo

#pragma once
// Sums the four oscillators of a voice onto two stereo buses, one per filter slot, with level,
// pan, mute and the split between the filters. Pan and split follow the same law: flat up to
// the centre, then a linear fall on the far side, so the centre feeds both sides at full level.

#include "engine/module.h"
#include "engine/paramsmoother.h"

#include <array>

namespace torvo {

constexpr int kMixerInputs = 4;

class VoiceMixer : public Voice {
public:
    /// The oscillators' outputs for this voice, wired each block.
    std::array<StereoPtr, kMixerInputs> osc{};
    // Bus one feeds filter slot one, bus two slot two.
    float* bus1L = nullptr;
    float* bus1R = nullptr;
    float* bus2L = nullptr;
    float* bus2R = nullptr;
};

class ModuleMixer : public ModulePoly {
public:
    /// Levels below this are off; above it the level is reduced by it.
    static constexpr float kLevelDeadZone = 0.03f;

    void createVoices() override;
    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;
    /// Advances the smoothers, then mixes every active wired voice onto its buses.
    void process(int frames, int use) override;
    /// Bus 0 or 1: 17 left/right pairs.
    const StereoPtr* getStereoOutputs(int index) override;

    void wireVoice(int voice, const StereoPtr osc[kMixerInputs]);
    /// Mixes one voice's wired oscillators onto its two buses.
    void renderVoice(int voice, int frames);

    /// Raw `mix_oscN` value: the oscillator renders only while it is non-zero.
    float level(int osc) const { return levels[osc]; }
    bool muted(int osc) const { return !oscOn[osc]; }

    std::array<ParamSmoother, kMixerInputs> pan;
    std::array<ParamSmoother, kMixerInputs> levelSmoother;
    std::array<ParamSmoother, kMixerInputs> mixTo;
    std::array<float, kMixerInputs> levels{};
    /// Whether an oscillator counts as sounding by its level (outside the dead zone's zero).
    std::array<bool, kMixerInputs> sounding{};
    /// The mute rows inverted: true while the oscillator is heard.
    std::array<bool, kMixerInputs> oscOn{true, true, true, true};

private:
    void setLevel(int osc, float value);
    void updateSmoothers(int frames);

    std::array<VoiceMixer, kVoiceCount> mixVoices;
    std::array<StereoPtr, kVoiceCount> busOne{};
    std::array<StereoPtr, kVoiceCount> busTwo{};
};

} // namespace torvo

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
    /// Per bus: how many frames from the start are known to hold zeros, so that a bus no
    /// oscillator feeds is cleared once rather than every block.
    std::array<int, 2> zeroFrames{};
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

    /// True when bus 0 or 1 of a voice holds only zeros over the `frames` of the last block:
    /// nothing fed it, so a reader may skip it.
    bool busSilent(int voice, int bus, int frames) const {
        return voice >= 0 && voice < kVoiceCount && bus >= 0 && bus < 2 &&
               mixVoices[voice].zeroFrames[bus] >= frames;
    }
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
    /// Whether a smoother's buffer holds one value for the whole block and no route moves it.
    bool steady(const ParamSmoother& s, const float* answer) const {
        return answer == s.data() && s.state == ParamSmoother::Idle;
    }

    std::array<VoiceMixer, kVoiceCount> mixVoices;
    std::array<StereoPtr, kVoiceCount> busOne{};
    std::array<StereoPtr, kVoiceCount> busTwo{};
};

} // namespace torvo

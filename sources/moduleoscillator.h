#pragma once
// One oscillator slot (osc1..osc4) with its 17 voices. The module holds the slot's decoded
// parameters and the values derived from them (pitch offset, start phase mode); each voice
// renders the selected engine into its own stereo buffers, which the mixer reads.

#include "engine/module.h"
#include "engine/paramsmoother.h"

#include <array>

namespace torvo {

constexpr int kUnisonSlots = 9;

class VoiceOscillator : public Voice {
public:
    // Block buffers ("osc L", "osc R", ...).
    float* oscL = nullptr;
    float* oscR = nullptr;
    float* oscFltL = nullptr;
    float* oscFltR = nullptr;
    float* pitchBuf = nullptr;
    float* retrigBuf = nullptr;
    float* ctrlBBuf = nullptr;
    float* calcCut = nullptr;
    float* calcRes = nullptr;
    /// Per unison slot: detune in semitones and pan levels.
    std::array<float, kUnisonSlots> detune{};
    std::array<float, kUnisonSlots> levelL{};
    std::array<float, kUnisonSlots> levelR{};
    int waveIndex = -1;
    float waveModulation = -1.0f;
    int lastFrames = 0;
};

class ModuleOscillator : public ModulePoly {
public:
    enum Type { kClassic = 0, kNoise, kFM, kAMSync, kSawPwm, kHardFM, kVowel };
    /// Phase start modes: free running, analog (random), fixed value.
    enum PhaseMode { kPhaseFree = 0, kPhaseAnalog = 1, kPhaseFixed = 2 };

    void createVoices() override;
    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;
    void process(int frames, int use) override;
    /// Per voice: the left output.
    float* const* getOutputs(int index) override;
    /// Per voice: the left and right outputs.
    const StereoPtr* getStereoOutputs(int index) override;

    /// Fine tuning in semitones, -0.99..0.99, from the normalised `fine` value.
    static float fineCurve(float v);

    int type = kClassic;
    int octave = 0;
    int note = 0;
    float fine = 0.5f;
    ParamSmoother ctrlA;
    ParamSmoother ctrlB;
    float phase = 0.0f;
    int wave = 0;
    ParamSmoother wtmix;
    float unisonDetune = 0.0f;
    float unisonDensity = 0.0f;
    /// Unison voices minus one, 0..8.
    int unisonCount = 0;
    int unisonOctave = 0;
    float unisonWidth = 0.0f;
    bool analog = false;
    bool invert = false;
    bool keyTrack = false;

    /// Semitones: octave * 12 + note + fine curve.
    float pitchOffset = 0.0f;
    int phaseMode = kPhaseFree;
    float phaseValue = 0.0f;

private:
    void updatePitchOffset();
    void updatePhaseMode();

    std::array<VoiceOscillator, kVoiceCount> oscVoices;
    std::array<float*, kVoiceCount> monoTable{};
    std::array<StereoPtr, kVoiceCount> stereoTable{};
};

} // namespace torvo

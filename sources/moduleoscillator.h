#pragma once
// One oscillator slot (osc1..osc4) with its 17 voices. The module holds the slot's decoded
// parameters and what derives from them (pitch offset, start phase mode, the start phase bag);
// each voice prepares its streams once a block and hands them to the engine of the selected
// type, whose stereo sums the mixer reads. A voice holds all seven engines at once, so that a
// change of type is only a change of dispatch and every engine keeps its phases.

#include "engine/module.h"
#include "engine/notevoice.h"
#include "engine/paramsmoother.h"
#include "sources/engineamsync.h"
#include "sources/engineclassic.h"
#include "sources/enginefm.h"
#include "sources/enginehardfm.h"
#include "sources/enginenoise.h"
#include "sources/enginesawpwm.h"
#include "sources/enginevowel.h"
#include "sources/oscblock.h"
#include "sources/startphasebag.h"
#include "sources/unisontables.h"

#include <array>

namespace torvo {

class ModuleOscillator;

/// What the note handling gives the oscillators each block.
struct OscillatorInputs {
    /// Per voice: the note stream (pitch and retrigger word per sample). When given, it is
    /// read instead of the two tables below.
    TriggerRecord* const* noteStream = nullptr;
    /// Per voice: pitch per sample as note / 127, and 1 on a retriggering sample. A missing
    /// retrigger table means no retriggers.
    float* const* pitch = nullptr;
    float* const* retrigger = nullptr;
    /// Seconds between the last two note-ons, by the process clock.
    float secondsSinceNoteOn = 10.0f;
    /// True while a key is held (the top of the held-key list is not 0).
    bool heldNote = false;
    /// Voices of the poly allocator, 1..16.
    int polyphony = 4;
};

class VoiceOscillator : public Voice {
public:
    /// Renders one block of this voice with the selected engine.
    void renderVoice(int frames, float sampleRate, const float* pitchStream,
                     const float* retrigStream, const TriggerRecord* noteStream = nullptr);
    /// Left and right output of the current type.
    StereoPtr outputs() const;

    ModuleOscillator* owner = nullptr;
    int index = 0;
    // Block buffers ("osc L", "osc R", ...), block length plus 4 floats.
    float* oscL = nullptr;
    float* oscR = nullptr;
    float* oscFltL = nullptr;
    float* oscFltR = nullptr;
    float* pitchBuf = nullptr;
    float* retrigBuf = nullptr;
    int* ctrlBBuf = nullptr;
    float* calcCut = nullptr;
    float* calcRes = nullptr;
    /// Per unison slot: detune in semitones and pan levels.
    std::array<float, kUnisonSlots> detune{};
    std::array<float, kUnisonSlots> levelL{};
    std::array<float, kUnisonSlots> levelR{};
    int waveIndex = -1;
    /// The `osc1_wave` value and wave modulation the wave pointer was chosen for.
    int waveParam = -1;
    float waveModulation = -1.0f;
    const float* wave = nullptr;
    int lastFrames = 0;
    /// The voice's own nine start phases, drawn at creation.
    std::array<float, kUnisonSlots> startPhases{};

    EngineClassic classic;
    EngineNoise noise;
    EngineFM fm;
    EngineAMSync amSync;
    EngineSawPwm sawPwm;
    EngineHardFM hardFm;
    EngineVowel vowel;

private:
    /// Fills the pitch, retrigger and width streams; answers whether a sample retriggers.
    bool prepareStreams(int frames, const float* pitchStream, const float* retrigStream,
                        const TriggerRecord* noteStream, const float* ctrlB);
    void applyPitchModulation(int frames);
};

class ModuleOscillator : public ModulePoly {
public:
    enum Type { kClassic = 0, kNoise, kFM, kAMSync, kSawPwm, kHardFM, kVowel };
    /// Phase start modes: random from the bag, analog (near the last start), fixed value.
    enum PhaseMode { kPhaseFree = 0, kPhaseAnalog = 1, kPhaseFixed = 2 };
    /// Note 48 / 127: the pitch every key plays without key tracking.
    static constexpr float kUntrackedPitch = 0.37795299f;
    /// Global parameter of the pitch target shared by all oscillators.
    static constexpr int kOscAllPitchParam = 723;

    void createVoices() override;
    void setParameter(int localIndex, float value) override;
    void setSampleRate(float rate) override;
    void setMaxBlockSize(int frames) override;
    void process(int frames, int use) override;
    /// Per voice: the left output.
    float* const* getOutputs(int index) override;
    /// Per voice: the left and right outputs.
    const StereoPtr* getStereoOutputs(int index) override;

    /// Note streams and note-handling state for the next block.
    void setInputs(const OscillatorInputs& in) { inputs = in; }
    VoiceOscillator& oscVoice(int v) { return oscVoices[v]; }

    /// Fine tuning in semitones, -0.99..0.99, from the normalised `fine` value.
    static float fineCurve(float v);
    /// Start value of the fixed phase mode at a (modulated) `osc1_phase` value.
    static float phaseValueFor(float phase);
    /// The start mode of this block for a modulated phase value and a unison count.
    int startModeFor(float value, int count) const;

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

    StartPhaseBag startPhaseBag;
    /// Per unison slot: the phase of the reader last retriggered in that slot.
    std::array<float*, kUnisonSlots> lastReaderPhase{};
    OscillatorInputs inputs;

private:
    void updatePitchOffset();
    void updatePhaseMode();

    std::array<float, kUnisonSlots> firstPhases{};
    std::array<VoiceOscillator, kVoiceCount> oscVoices;
    std::array<float*, kVoiceCount> monoTable{};
    std::array<StereoPtr, kVoiceCount> stereoTable{};
};

} // namespace torvo

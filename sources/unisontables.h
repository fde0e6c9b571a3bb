#pragma once
// Unison: every oscillator sounds 1 to 9 stacked copies of itself. Their detuning pattern,
// chord offsets, pan positions and levels all come from small tables indexed by the number of
// copies; nothing is derived by formula from a copy's index, so every count can be voiced by
// ear. computeUnison() turns the knobs into per-copy detune and left/right levels once a block.

#include <array>

namespace torvo {

constexpr int kUnisonSlots = 9;
/// Number of `osc1_uoct` entries ("1_Octave" .. "Perfect4th").
constexpr int kUnisonChords = 18;

struct UnisonSettings {
    int count = 0;         ///< `osc1_ucnt`: copies minus one, 0..8
    int chord = 0;         ///< `osc1_uoct`: 0..17
    float detune = 0.5f;   ///< `osc1_udet`, modulated, 0..1
    float density = 0.5f;  ///< `osc1_uden`, modulated, 0..1
    float width = 0.0f;    ///< `osc1_uwid`, modulated, 0..1
    float pitchOffset = 0; ///< semitones added to every copy
    bool invert = false;   ///< `osc1_inv`
};

struct UnisonSpread {
    std::array<float, kUnisonSlots> detune{}; ///< semitones
    std::array<float, kUnisonSlots> levelL{};
    std::array<float, kUnisonSlots> levelR{};
};

/// Detune spread in semitones at a `osc1_udet` value: mostly fine detune, the last sixteenth
/// of the knob runs up to a semitone.
float udetCurve(float v);
/// Detune pattern of copy `voice` in a stack of c + 1 at a density value.
float unisonPattern(int c, int voice, float density);
/// Chord offset in semitones of copy `voice` in a stack of c + 1.
float unisonChord(int chord, int c, int voice);
/// Level of a whole stack of c + 1 copies.
float unisonLevel(int c);
/// Pan of copy `voice`, -1 left to 1 right.
float unisonPan(int c, int voice);

/// Fills detune and levels of copies 0..count; the rest stay 0.
void computeUnison(const UnisonSettings& s, UnisonSpread& out);

} // namespace torvo

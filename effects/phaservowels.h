#pragma once
// The moving vowel table of the phaser's vowel settings: four formants across five vowel
// positions, and how each of the three settings places the formants.

namespace torvo {
namespace phaservowels {

constexpr int kFormants = 4;
constexpr int kPositions = 5;

/// One five-point curve per formant in Hz, each with one readable element behind the last.
extern const float kFormantTable[kFormants][kPositions + 1];

/// Hz of formant `row` at position x (0..1) for the vowel setting k (0 low, 1 mid, 2 high).
float formantHz(int k, int row, float x);

} // namespace phaservowels
} // namespace torvo

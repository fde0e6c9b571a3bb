#pragma once
// The two constant stores every oscillator and LFO reads: the `waveBank` (49 single-cycle waves,
// each in 8 band-limited levels) and the `sawBank` (one band-limited rising saw per MIDI note).
// Both are built once per process from compact spectral data, shared read-only by every voice of
// every instance, and pinned in RAM while an engine exists (see globaltables.h).
//
// Table cell format: 4096 phase points stored as 4096 pairs (value at i, value at i+1 minus value
// at i), 8192 floats, the last difference wrapping to point 0. A linear read is then one
// multiply-add and never looks at the next pair.

#include <array>
#include <cstdint>

namespace torvo {

constexpr int kTablePoints = 4096;
constexpr int kTableFloats = 8192;
/// Mask of a float index inside one table (hexadecimal 1fff).
constexpr int kTableFloatMask = kTableFloats - 1;
constexpr int kWaveCount = 49;
constexpr int kWaveLevels = 8;
/// Floats of one wave: its 8 levels back to back (index shifted left by 16).
constexpr int kWaveFloats = kWaveLevels * kTableFloats;
constexpr int kWaveBankFloats = kWaveCount * kWaveFloats;
constexpr int kSawTableCount = 128;
constexpr int kSawBankFloats = kSawTableCount * kTableFloats;
/// Level 0 holds harmonics 1..128; level L keeps 1..(128 >> L).
constexpr int kMaxHarmonics = 128;
/// Pitch resolution of the increment lookup: 1280 steps per semitone.
constexpr int kPitchStepsPerNote = 1280;
constexpr int kPitchIndexCount = 128 * kPitchStepsPerNote;

/// Builds both banks if they do not exist yet. Thread-safe; every later call returns at once.
/// Every accessor below calls it, so a first use anywhere is enough.
void buildWaveBanks();

/// The builders behind buildWaveBanks(), writing into the caller's memory (kWaveBankFloats and
/// kSawBankFloats floats): the process-wide banks never need them; start-up cost is measured
/// with them.
void fillWaveBank(float* dest);
void fillSawBank(float* dest);

/// The whole `waveBank`: 49 waves of 65536 floats, in the order of `osc1_wave`.
const float* waveBank();
/// The whole `sawBank`: 128 tables of 8192 floats, note shifted left by 13.
const float* sawBank();
/// Start of wave `index` (clamped to 0..48): its level 0; level L lies L * 8192 floats further.
const float* waveAddress(int index);
/// Start of the saw table of `note` (clamped to 0..127).
const float* sawAddress(int note);
/// Menu name of wave `index` ("Sin", "Tri", ...), or "" out of range.
const char* waveName(int index);

/// Pins both banks in physical memory (counted; `mlock` failure is ignored: pinning only spares
/// the audio thread page faults). The last unlock releases them.
void lockWaveBanks();
void unlockWaveBanks();

// Level choice, per integer note: a wave sample is (1 - w) * read(level A) + w * read(level B),
// with the offsets in floats from the wave's start. The weight is 1 at the start of each octave
// from note 48 and falls in exact twelfths; from note 120 level 7 stands alone (the jump in
// timbre there is intended).
struct LevelChoiceTable {
    std::array<int, 128> levelOffsetA{};
    std::array<int, 128> levelOffsetB{};
    std::array<float, 128> levelWeightB{};
};

constexpr LevelChoiceTable makeLevelChoiceTable() {
    LevelChoiceTable t{};
    for (int n = 0; n < 128; ++n) {
        if (n < 48) {
            t.levelOffsetA[n] = 0;
            t.levelOffsetB[n] = 0;
            t.levelWeightB[n] = 0.0f;
        } else if (n >= 120) {
            t.levelOffsetA[n] = 7 * kTableFloats;
            t.levelOffsetB[n] = 0;
            t.levelWeightB[n] = 0.0f;
        } else {
            const int octave = (n - 48) / 12; // 0..5
            t.levelOffsetA[n] = (octave + 1) * kTableFloats;
            t.levelOffsetB[n] = octave * kTableFloats;
            t.levelWeightB[n] = 1.0f - static_cast<float>(n - 48 - octave * 12) / 12.0f;
        }
    }
    return t;
}

inline constexpr LevelChoiceTable kLevelChoice = makeLevelChoiceTable();
inline constexpr const std::array<int, 128>& levelOffsetA = kLevelChoice.levelOffsetA;
inline constexpr const std::array<int, 128>& levelOffsetB = kLevelChoice.levelOffsetB;
inline constexpr const std::array<float, 128>& levelWeightB = kLevelChoice.levelWeightB;

/// What a reader reads for one whole note of a wave: the note's saw, and the wave's two levels
/// with their weights.
struct NoteTables {
    const float* saw = nullptr;
    const float* levelA = nullptr;
    const float* levelB = nullptr;
    float weightB = 0.0f;
    float weightA = 1.0f;
};

/// The tables of whole note `note` (0..127) of the wave starting at `wave`.
inline NoteTables noteTables(const float* wave, int note) {
    NoteTables t;
    t.saw = sawAddress(note);
    t.levelA = wave + levelOffsetA[note];
    t.levelB = wave + levelOffsetB[note];
    t.weightB = levelWeightB[note];
    t.weightA = 1.0f - t.weightB;
    return t;
}

/// The note (0..127, pitch times 127) rounded to the nearest 1/1280 of a semitone: the index
/// into `phaseIncrementTable`. Readers compare it with their cached value so that the lookups
/// run only when the pitch really moves.
inline int noteToPitchIndex(float note) {
    return static_cast<int>(note * 2560.0f + 0.5f) >> 1;
}

/// Linear read of one table at `phase` in [0, 4096).
inline float readTable(const float* table, float phase) {
    const int whole = static_cast<int>(phase);
    const float frac = phase - static_cast<float>(whole);
    const int i = (whole & (kTablePoints - 1)) << 1;
    return table[i] + frac * table[i + 1];
}

/// Read with a phase offset in float-index units (int(w * 4096) * 2 for a fraction w of a cycle).
/// The fraction comes from the unshifted phase. An odd offset could land on the last float; its
/// difference is then taken from float 0.
inline float readTableOffset(const float* table, float phase, int offsetFloats) {
    const int whole = static_cast<int>(phase);
    const float frac = phase - static_cast<float>(whole);
    const int i = ((whole << 1) + offsetFloats) & kTableFloatMask;
    const float diff = i == kTableFloatMask ? table[0] : table[i + 1];
    return table[i] + frac * diff;
}

/// The two-level read of a wave: levels A and B chosen by the level table, mixed by weight.
inline float readLevels(const float* levelA, const float* levelB, float weightA, float weightB,
                        float phase) {
    return weightA * readTable(levelA, phase) + weightB * readTable(levelB, phase);
}

} // namespace torvo

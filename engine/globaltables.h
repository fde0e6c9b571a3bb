#pragma once
// Process-wide tables that depend on the sample rate. They are shared by all instances: a
// second instance at another rate overwrites them, as the wave tables do. Written only while
// no render runs (setupProcessing/engine construction), so readers take them without a lock.

namespace torvo {

constexpr int kNoteCount = 128;

/// Recomputes the rate-dependent tables when `rate` differs from the last one.
void setGlobalSampleRate(float rate);
float globalSampleRate();
float globalInvSampleRate();
/// 44100 / sample rate.
float globalRateRatio();

/// Frequency in Hz of MIDI note i: 440 * 2^((i - 69) / 12). Independent of the rate.
const float* noteFrequencyTable();
/// 128 pairs (value, difference to the next note) in the layout of a wave table; value =
/// note frequency * 4096 / sample rate. The last difference is 0.
const float* noteIncrementTable();
/// 163,840 floats (128 notes * 1280 steps per semitone), indexed by noteToPitchIndex():
/// entry j = 2^((j / 1280 - 69) / 12) * 440 * 4096 / sample rate, the increment in table
/// points per sample.
const float* phaseIncrementTable();
/// Per integer note: frequency * 4096 / sample rate (the values of noteIncrementTable).
const float* phaseIncrementTable4096();

/// Pins the process-wide tables and both wave banks in RAM so the audio thread never
/// page-faults on them; builds the banks on first use. Counted: the memory is unlocked when
/// the last engine lets go. Refusal is harmless.
void lockGlobalTables();
void unlockGlobalTables();

} // namespace torvo

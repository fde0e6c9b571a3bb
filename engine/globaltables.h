#pragma once
// Process-wide tables that depend on the sample rate. They are shared by all instances: a
// second instance at another rate overwrites them, as the wave tables do.

namespace torvo {

constexpr int kNoteCount = 128;

/// Recomputes the rate-dependent tables when `rate` differs from the last one.
void setGlobalSampleRate(float rate);
float globalSampleRate();
float globalInvSampleRate();
/// 44100 / sample rate.
float globalRateRatio();

/// Frequency in Hz of MIDI note i: 440 * 2^((i - 69) / 12).
const float* noteFrequencyTable();
/// Phase increment per sample of note i: frequency / sample rate.
const float* phaseIncrementTable();
/// The same times 4096, for table oscillators with a 4096-point cycle.
const float* phaseIncrementTable4096();

/// Pins the process-wide tables in RAM so the audio thread never page-faults on them.
/// Counted: the memory is unlocked when the last engine lets go. Refusal is harmless.
void lockGlobalTables();
void unlockGlobalTables();

} // namespace torvo

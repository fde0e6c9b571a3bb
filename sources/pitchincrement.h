#pragma once
// Phase increments of the table readers, in table points per sample, for every note in steps
// of 1/1280 of a semitone. Process-wide and refilled when the sample rate changes: a second
// instance at another rate overwrites it, as with the other rate-dependent tables.

namespace torvo {

/// Refills the table if `rate` differs from the rate it was built for. Not for the audio thread.
void setPitchIncrementRate(float rate);
/// 163,840 increments: entry j = 440 * 2^((j / 1280 - 69) / 12) * 4096 / rate.
const float* pitchIncrementTable();
/// The rate the table was last built for (0 before the first build).
float pitchIncrementRate();

} // namespace torvo

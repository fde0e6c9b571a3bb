#pragma once
// The point curves of note handling: how long a glide takes, how a key velocity becomes a
// level, and the shape of a logarithmic glide. Each is 32 points read with linear
// interpolation; a 33rd point repeats the last so the read at the very end stays in bounds.

namespace torvo {

/// Linear interpolation in a 32-point curve at x in 0..31 (clamped).
float curveAt(const float* curve, float x);

/// Glide time curve: seconds / 4 at g * 31.
extern const float kGlideTimeCurve[33];
/// Velocity 0..127 read at velocity * 31 / 127.
extern const float kVelocityCurve[33];
/// Share of the distance left to go in a logarithmic glide, read at the glide phase * 31.
extern const float kGlideLogCurve[33];

/// Per-sample glide phase step for a glide value g in 0..1: 0 for no glide, else
/// 1 / (c * sampleRate * 4 + 1), so the longest glide takes 4 seconds.
float glideStepFor(float g, float sampleRate);

/// Velocity level of a key velocity 0..127.
float velocityLevel(int velocity);

/// sin(pi * x) for x in 0..1, read from a 1024-point table.
float sinPiTable(float x);

} // namespace torvo

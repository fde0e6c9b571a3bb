#pragma once
// Small signal tools that every effect shares: the silence test of the chain's gate and the
// point-table read through which nearly every normalised control becomes a physical value.

namespace torvo {

/// True when the block is silent: the sum of |x| over n samples is at most 0.01. Stops as
/// soon as the sum passes the threshold.
bool SilenceCheck(const float* buffer, int n);

/// Maps every sample of `buffer` in place through a `size`-point table: x is clamped to 0..1,
/// scaled to 0..size - 1 and read with linear interpolation. The table must hold one readable
/// element behind its last point; it is taken with weight 0.
void TableRead(float* buffer, const float* table, int size, int n);

/// One value read the way TableRead reads a buffer, for loops that need a curve per sample.
inline float TableValue(const float* table, int size, float x) {
    // Written so that a NaN lands on the first point rather than on an undefined index.
    const float c = x > 0.0f ? (x < 1.0f ? x : 1.0f) : 0.0f;
    const float u = c * static_cast<float>(size - 1);
    const int index = static_cast<int>(u);
    const float frac = u - static_cast<float>(index);
    return table[index] + frac * (table[index + 1] - table[index]);
}

} // namespace torvo

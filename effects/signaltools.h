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

} // namespace torvo

#pragma once
// Builds a point table from a few known points by a monotone cubic: the curve passes through
// every listed point, follows their slope and never overshoots between them, so a law that
// rises steadily in its listed points rises steadily in every point.

namespace torvo {

/// Fills out[0 .. knotIndex[knots - 1]] through the knots (ascending indices) and sets the
/// readable element behind the last point to the last value.
void fillSmoothCurve(float* out, const int* knotIndex, const double* knotValue, int knots);

} // namespace torvo

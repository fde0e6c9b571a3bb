#pragma once
// Builds a point table from a few known points by a monotone cubic: the curve passes through
// every listed point, follows their slope and never overshoots between them, so a law that
// rises steadily in its listed points rises steadily in every point.

namespace torvo {

/// Fills out[0 .. knotIndex[knots - 1]] through the knots (ascending indices) and sets the
/// readable element behind the last point to the last value. With `logDomain` the cubic runs
/// on the logarithms of the (positive) values: for laws that grow by ratios, such as Q.
void fillSmoothCurve(float* out, const int* knotIndex, const double* knotValue, int knots,
                     bool logDomain = false);

} // namespace torvo

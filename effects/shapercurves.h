#pragma once
// The point tables of the shaper: the transfer curves of its modes, the drive law and the
// two laws of the bit and sample-rate reducer. Every table carries one readable element
// behind its last point, as TableRead expects.

namespace torvo {
namespace shapercurves {

constexpr int kShapeSize = 1024;
constexpr int kTube2Size = 32;
constexpr int kFbTriSize = 5;
constexpr int kLawSize = 32;

/// 1024-point transfer curves, indexed by u × 1023.
const float* soft();
const float* warm();
const float* hard();
const float* clip();
const float* tube1();
/// One period of −sine, three decimals.
const float* fbSin();
/// The negative half of `tube3`.
const float* foldNeg();
/// 32 points, deliberately non-monotonic around the centre.
const float* tube2();
/// 0, −1, 0, 1, 0: a triangle for the wrapping fold-back mode.
const float* fbTri();

/// Drive control to the gain g (32 points).
const float* drive();
/// `shp_bit` to the number of levels of the reducer (32 points).
const float* bits();
/// `shp_sr` to the hold length at 44.1 kHz in units of 220 samples (32 points).
const float* hold();

/// Builds every table now, so that the first block does not pay for it.
void prepare();

} // namespace shapercurves
} // namespace torvo

#pragma once
// Questions asked of a block buffer before deciding how to render it: does it hold one value
// throughout, does it hold a given value anywhere. Asked of several streams per voice and
// block, so they look at four samples at a time.

namespace torvo {

/// True when the first `frames` values of `x` are all the same.
bool isConstant(const float* x, int frames);
/// True when one of the first `frames` values of `x` equals `value`.
bool holdsValue(const float* x, int frames, float value);

} // namespace torvo

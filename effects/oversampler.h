#pragma once
// The shaper's 8-times rate change: up by repeating each sample, down by averaging each group
// of eight. The image filtering lives with the caller, which low-passes the repeated signal.

namespace torvo {

namespace oversampler {

constexpr int kFactor = 8;

/// Writes n × 8 samples: each input sample eight times.
void up(const float* in, float* out, int n);
/// Writes n samples: the mean of each group of eight input samples.
void down(const float* in, float* out, int n);

} // namespace oversampler

} // namespace torvo

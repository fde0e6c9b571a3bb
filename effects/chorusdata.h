#pragma once
// The fixed data of the chorus: the tap factors and feedback scales by voice count, the
// per-voice rate factors of the two modes with an LFO per voice, and the width and depth laws.

namespace torvo {
namespace chorusdata {

constexpr int kRows = 4;
constexpr int kMaxVoices = 4;
constexpr int kLawSize = 32;

/// Delay of each voice as a share of the time control, one row per voice count 1 to 4.
extern const float kTapFactors[kRows][kMaxVoices];
/// The feedback is scaled down as voices add up in the running sum.
extern const float kFeedbackScale[kRows];
/// Rate factors of the voices in the modes with an LFO each (rows 2 and 3 only).
extern const float kRateFactors[kRows][kMaxVoices];

/// Width law W, 32 points, read at control × 31.
const float* wideCurve();
/// Depth law D, 32 points, read at control × 31.
const float* depthCurve();

/// Builds both laws now (outside the audio thread).
void prepare();

} // namespace chorusdata
} // namespace torvo

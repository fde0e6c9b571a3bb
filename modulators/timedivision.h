#pragma once
// Tempo divisions shared by the LFOs, the step sequencers and the arpeggiator.

namespace torvo {

/// Beats per minute divided by one of these gives the rate of a tempo division, in the order
/// of the list "16/1 8/1 4/1 2/1 1/1 3/4 2/3 1/2 3/8 1/3 1/4 3/16 1/6 1/8 3/32 1/12 1/16
/// 3/64 1/24 1/32 1/64".
constexpr int kTimeDivisionCount = 21;
constexpr float kTimeDivisors[kTimeDivisionCount] = {
    3840.0f, 1920.0f, 960.0f, 480.0f, 240.0f, 180.0f, 160.0f, 120.0f, 90.0f, 80.0f, 60.0f,
    45.0f,   40.0f,   30.0f,  22.5f,  20.0f,  15.0f,  11.25f, 10.0f,  7.5f,  3.75f};

} // namespace torvo

#pragma once
// The seven characters of the reverb. They are not seven algorithms but seven data sets for one
// network; every time is in samples of a 29761 Hz reference rate and is scaled to the running
// rate when a set is loaded. Rows a set does not list stay zero.

namespace torvo {

constexpr int kReverbModeCount = 7;
constexpr int kReverbMtRows = 6;
constexpr int kReverbDfRows = 6;
constexpr int kReverbClRows = 7;
/// The rate in which every network time is stored.
constexpr float kReverbReferenceRate = 29761.0f;

struct ReverbData {
    const char* name;
    /// Time ratio (1 or 2): stretches the all-pass, diffuser and output-tap times.
    int trr;
    /// [0] run the multi-tap section, [1] run the diffusers, [2] and [3] both set: output
    /// through the output taps instead of straight from the loop.
    int useMtDfTlPd[4];
    /// Rates in Hz of the four random LFOs.
    float lfoDelta[4];
    /// [base, slope] over the decay curve of the multi-tap size, diffuser size and tail gain.
    float rngSizeMt[2];
    float rngSizeDiff[2];
    float rngDecTail[2];
    int mtRows;
    float dlyMT[kReverbMtRows][2]; ///< [delay, gain]
    int dfRows;
    float dlyDF[kReverbDfRows][2]; ///< [delay, all-pass gain]
    /// Scales of the first and of the second waveguides.
    float dlyInside[2];
    float dlyAP_L[2][2]; ///< [delay, all-pass gain]: first and second all-pass of the branch
    float dlyWG_L[2][3]; ///< [length, depth, second depth (row 1 only)]
    float dlyAP_R[2][2];
    float dlyWG_R[2][3];
    float dlyCL_L[kReverbClRows][3]; ///< [tap signal 0..5, delay, gain]
    float dlyCL_R[kReverbClRows][3];
    float notch[2][3]; ///< [frequency Hz, normalised Q, gain dB]
};

/// The data set of a mode index (clamped to 0..6).
const ReverbData& reverbDataSet(int mode);

} // namespace torvo

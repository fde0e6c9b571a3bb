#pragma once
// The six fixed stages of the one-knob compressor: for each of three bands one stage that
// lifts what is quiet and one that pulls down what is loud, and the amount law of the knob.

namespace torvo {

/// The fixed settings of one stage.
struct CompressorStageSettings {
    enum Band { kLow = 0, kMid = 1, kHigh = 2 };
    enum Kind { kUp = 0, kDown = 1 };
    int band;
    int kind;
    double inputScale;
    double outputGain;
    float threshold;
    float amountFactor;
    float attackMs;
    float releaseMs;
};

namespace compressorstages {

constexpr int kStages = 6;
constexpr int kAmountSize = 32;

/// The six stages in the order they run.
extern const CompressorStageSettings kStageTable[kStages];

/// Amount law A, 32 points, read at x-comp × 31.
const float* amountCurve();

} // namespace compressorstages

/// The running state of one stage: detector, peak and smoothed level, and its time
/// coefficients for the current rate.
class CompressorStage {
public:
    /// Works out the attack and release coefficients; returns at once when nothing changed.
    void setTimes(float sampleRate, float attackMs, float releaseMs);
    /// Runs the stage in place on one band. amount holds a, the amount law per sample.
    void process(const CompressorStageSettings& settings, float* left, float* right,
                 const float* amount, int n);
    void reset();

    float attack = 0.0f;
    float release = 0.0f;
    float detector = 0.0f;
    float peak = 0.0f;
    float smooth = 0.0f;

private:
    float lastRate = -1.0f;
    float lastAttack = -1.0f;
    float lastRelease = -1.0f;
};

} // namespace torvo

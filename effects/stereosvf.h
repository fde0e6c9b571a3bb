#pragma once
// A stereo Chamberlin state-variable filter for the effects' tone controls. It runs twice per
// sample on the same input and averages the two outputs, which keeps it stable up to the top
// of its cut-off curve at 44.1 kHz without oversampling buffers.

namespace torvo {

class StereoSvf {
public:
    enum Tap { kLow = 0, kBand = 1, kHigh = 2, kNotch = 3 };
    static constexpr int kCurveSize = 120;

    /// Rescales the coefficients, which the curve gives for 44.1 kHz.
    void setSampleRate(float rate);
    void reset();
    /// Filters both channels in place. cutoff holds n normalised controls (0..1) read through
    /// the cut-off curve; damping is constant for the call; tap picks the output.
    void process(float* left, float* right, const float* cutoff, float damping, int tap, int n);

    /// The 120-point cut-off curve plus its readable element behind the last point.
    static const float* cutoffCurve();

private:
    struct Channel {
        float low = 0.0f, band = 0.0f, high = 0.0f, notch = 0.0f;
    };

    Channel channels[2];
    float rateScale = 1.0f;
};

} // namespace torvo

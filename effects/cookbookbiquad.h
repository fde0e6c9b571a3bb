#pragma once
// A stereo direct-form-I biquad with the well-known cookbook designs. Coefficients are made in
// double precision and stored as floats; a design call with the same six inputs as the last
// returns at once, so effects may call it every sample while their controls stand still.

namespace torvo {

class CookbookBiquad {
public:
    enum Type {
        kLowPass = 0,
        kHighPass = 1,
        kBandPassSkirt = 2, ///< constant skirt gain: b0 = sin / 2
        kBandPassPeak = 3,  ///< constant peak gain: b0 = alpha
        kNotch = 4,
        kAllPass = 5,
        kPeaking = 6,
        kLowShelf = 7,
        kHighShelf = 8
    };

    /// With `bandwidth` set, q is the bandwidth in octaves. Leaves the filter state alone.
    void design(float sampleRate, int type, float frequency, float q, float gainDb,
                bool bandwidth = false);
    void reset();
    /// Filters both channels in place.
    void process(float* left, float* right, int n);
    /// One channel (0 or 1) in place.
    void processChannel(int channel, float* x, int n);
    float processSample(int channel, float x) {
        State& s = state[channel];
        const float y = b0 * x + b1 * s.x1 + b2 * s.x2 - a1 * s.y1 - a2 * s.y2;
        s.x2 = s.x1;
        s.x1 = x;
        s.y2 = s.y1;
        s.y1 = y;
        return y;
    }

    /// Magnitude of the current design at `hz`, for tests and displays.
    double magnitudeAt(double hz, double sampleRate) const;

    float b0 = 1.0f, b1 = 0.0f, b2 = 0.0f, a1 = 0.0f, a2 = 0.0f;

private:
    struct State {
        float x1 = 0.0f, x2 = 0.0f, y1 = 0.0f, y2 = 0.0f;
    };
    State state[2];
    float lastRate = -1.0f, lastFrequency = -1.0f, lastQ = -1.0f, lastGain = -1.0f;
    int lastType = -1;
    bool lastBandwidth = false;
};

} // namespace torvo

#pragma once
// The bit and sample-rate reducer of the shaper. It holds each taken sample for a number of
// samples set by the rate control and rounds it to a number of levels set by the bit control.
// The hold length is tuned at 44.1 kHz and multiplied by the oversampling factor when it runs
// inside the 8-times path, so that it keeps its length in base-rate samples there.

namespace torvo {

class Decimator {
public:
    /// Reduces both channels in place. bits and rate hold n normalised controls; factor is 1,
    /// or 8 when the signal runs at eight times the base rate.
    void process(float* left, float* right, const float* bits, const float* rate, int factor,
                 float sampleRate, int n);
    void reset();

    /// The hold length in samples for a rate control, as the reducer truncates it.
    static int holdLength(float rateControl, int factor, float sampleRate);
    /// The number of levels for a bit control.
    static float levels(float bitControl);
    /// One sample rounded to `levels` levels.
    static float quantise(float x, float levels);

    int counter = 0;
    float held[2] = {0.0f, 0.0f};
};

} // namespace torvo

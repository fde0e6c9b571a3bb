#pragma once
// Measuring helpers of the effect tests: test tones, the amplitude of one frequency in a
// stretch of signal, and the check that a signal holds only normal, finite numbers.

#include <cmath>
#include <vector>

namespace torvo::test {

constexpr double kTwoPi = 6.283185307179586;

inline std::vector<float> sine(double hz, double rate, int n, float amplitude = 1.0f) {
    std::vector<float> x(n);
    for (int i = 0; i < n; ++i) x[i] = amplitude * float(std::sin(kTwoPi * hz * i / rate));
    return x;
}

/// Amplitude of the component at `hz` in x[from .. from + count), by correlation.
inline double amplitudeAt(const std::vector<float>& x, double hz, double rate, int from,
                          int count) {
    double re = 0.0, im = 0.0;
    for (int i = 0; i < count; ++i) {
        const double ph = kTwoPi * hz * (from + i) / rate;
        re += x[from + i] * std::cos(ph);
        im += x[from + i] * std::sin(ph);
    }
    return 2.0 * std::sqrt(re * re + im * im) / count;
}

inline double toDb(double ratio) {
    return 20.0 * std::log10(ratio);
}

/// True when every sample is finite and none is subnormal.
inline bool allClean(const float* x, int n) {
    for (int i = 0; i < n; ++i) {
        const int c = std::fpclassify(x[i]);
        if (c == FP_NAN || c == FP_INFINITE || c == FP_SUBNORMAL) return false;
    }
    return true;
}

} // namespace torvo::test

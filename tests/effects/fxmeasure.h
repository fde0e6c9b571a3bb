#pragma once
// Measuring helpers of the effect tests: an effect on its own pool, stereo signals run through
// it in blocks, impulses, noise and test tones, the amplitude of one frequency in a stretch of
// signal, and the check that a signal holds only normal, finite numbers.

#include "support/standalonemodule.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

namespace torvo::test {

constexpr double kTwoPi = 6.283185307179586;
constexpr int kFxBlock = 256;

/// An effect on its own pool, set up for blocks of kFxBlock at `rate`.
template <typename M>
std::unique_ptr<Standalone<M>> makeStandaloneFx(const char* name, float rate) {
    auto rig = std::make_unique<Standalone<M>>(kFxBlock, name);
    rig->m.setSampleRate(rate);
    return rig;
}

struct Stereo {
    std::vector<float> l, r;
    explicit Stereo(int n = 0) : l(n), r(n) {}
};

/// Runs both channels through the effect in place, in blocks of at most kFxBlock.
template <typename M> void run(M& m, Stereo& s) {
    const int n = static_cast<int>(s.l.size());
    for (int i = 0; i < n; i += kFxBlock) {
        float* ptrs[2] = {s.l.data() + i, s.r.data() + i};
        m.processFx(std::min(kFxBlock, n - i), ptrs);
    }
}

/// The first n samples of the effect's answer to a unit impulse on both channels.
template <typename M> Stereo impulseResponse(M& m, int n) {
    Stereo s(n);
    s.l[0] = s.r[0] = 1.0f;
    run(m, s);
    return s;
}

/// Uniform noise in [-level, level) on both channels from a linear congruential generator, so
/// each seed always gives the same signal.
inline Stereo noise(int n, float level, uint32_t seed) {
    Stereo s(n);
    for (int i = 0; i < n; ++i) {
        seed = seed * 1664525u + 1013904223u;
        s.l[i] = level * (static_cast<float>(seed >> 8) / 8388608.0f - 1.0f);
        seed = seed * 1664525u + 1013904223u;
        s.r[i] = level * (static_cast<float>(seed >> 8) / 8388608.0f - 1.0f);
    }
    return s;
}

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

/// Largest |sample| of either channel in [from, to).
inline float peakOf(const Stereo& s, int from, int to) {
    float peak = 0.0f;
    for (int i = from; i < to; ++i) peak = std::max({peak, std::fabs(s.l[i]), std::fabs(s.r[i])});
    return peak;
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

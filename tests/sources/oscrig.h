#pragma once
// A single oscillator slot driven on its own: one voice (voice 0 unless told), a pitch stream
// and a retrigger stream owned by the test, and the rendered stereo output collected for
// measurement. Plus the few measurements the oscillator tests share: zero-crossing frequency,
// a windowed spectrum and band energies.

#include "engine/denormals.h"
#include "shell/paramtable.h"
#include "sources/moduleoscillator.h"
#include "support/standalonemodule.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <vector>

namespace torvo::test {

constexpr int kRigFrames = 256;
constexpr double kPi = 3.14159265358979323846;

/// Normalised `osc1_note`/`osc1_oct` values of an index in their spread lists.
inline float noteShiftValue(int semitones) {
    return static_cast<float>(semitones + 11) / 22.0f;
}
inline float octaveValue(int octaves) {
    return static_cast<float>(octaves + 4) / 8.0f;
}

struct OscRig {
    explicit OscRig(float rate = 48000.0f, int voice = 0) : voiceIndex(voice) {
        osc.m.setSampleRate(rate);
        osc.shared.sampleRate = rate;
        pitch.assign(kRigFrames + 4, 69.0f / 127.0f);
        retrig.assign(kRigFrames + 4, 0.0f);
        for (int v = 0; v < kVoiceCount; ++v) {
            pitchPtrs[v] = pitch.data();
            retrigPtrs[v] = retrig.data();
            fresh[v] = true;
            envAtRetrig[v] = 0.0f;
            osc.shared.env1FreshStart[v] = &fresh[v];
            osc.shared.env1ValueAtRetrig[v] = &envAtRetrig[v];
        }
        osc.shared.active[voice] = 1;
        inputs.pitch = pitchPtrs;
        inputs.retrigger = retrigPtrs;
        inputs.polyphony = 4;
        // Settings of a plain test tone: key tracking on, random starts, no unison.
        set(16, 1.0f);
        set(11, 0.0f);
        set(9, 0.0f);
        set(10, 0.5f);
        set(1, octaveValue(0));
        set(2, noteShiftValue(0));
        set(3, 0.5f);
    }

    void set(int local, float v) {
        osc.m.setParameter(local, v);
        // Jump the smoothed controls so that a test hears the value at once.
        if (local == 4) osc.m.ctrlA.reset(v);
        if (local == 5) osc.m.ctrlB.reset(v);
        if (local == 8) osc.m.wtmix.reset(v);
    }
    void type(int t) { set(0, t * kThousandth); }
    void wave(int w) { set(7, w * kThousandth); }
    void unison(int count) { set(11, (count - 1) * kThousandth); }
    void chord(int u) { set(12, u * kThousandth); }
    void note(float n) { std::fill(pitch.begin(), pitch.end(), n / 127.0f); }

    /// Renders `blocks` blocks; retriggers at the first sample of block `retrigAt` (if >= 0).
    void render(int blocks, int retrigAt = -1) {
        ScopedFlushDenormals ftz;
        for (int k = 0; k < blocks; ++k) {
            retrig[0] = k == retrigAt ? 1.0f : 0.0f;
            osc.m.setInputs(inputs);
            osc.m.process(kRigFrames, 1);
            const StereoPtr out = osc.m.getStereoOutputs(0)[voiceIndex];
            left.insert(left.end(), out.left, out.left + kRigFrames);
            right.insert(right.end(), out.right, out.right + kRigFrames);
        }
        retrig[0] = 0.0f;
    }
    /// Renders about `seconds` of audio.
    void renderSeconds(float seconds) {
        render(static_cast<int>(seconds * osc.shared.sampleRate / kRigFrames) + 1);
    }
    float rate() const { return osc.shared.sampleRate; }
    void clear() {
        left.clear();
        right.clear();
    }

    Standalone<ModuleOscillator> osc{kRigFrames, "ModuleOscillator::osc1"};
    int voiceIndex;
    OscillatorInputs inputs;
    std::vector<float> pitch;
    std::vector<float> retrig;
    float* pitchPtrs[kVoiceCount] = {};
    float* retrigPtrs[kVoiceCount] = {};
    bool fresh[kVoiceCount] = {};
    float envAtRetrig[kVoiceCount] = {};
    std::vector<float> left;
    std::vector<float> right;
};

/// Frequency from upward zero crossings, interpolated linearly, after `skip` samples.
inline double zeroCrossingHz(const std::vector<float>& x, double rate, std::size_t skip = 0) {
    double first = -1.0;
    double last = -1.0;
    int crossings = 0;
    for (std::size_t i = std::max<std::size_t>(skip, 1); i < x.size(); ++i) {
        if (x[i - 1] < 0.0f && x[i] >= 0.0f) {
            const double t = static_cast<double>(i - 1) + x[i - 1] / double(x[i - 1] - x[i]);
            if (first < 0.0) first = t;
            last = t;
            ++crossings;
        }
    }
    if (crossings < 2) return 0.0;
    return (crossings - 1) * rate / (last - first);
}

inline double cents(double hz, double reference) {
    return 1200.0 * std::log2(hz / reference);
}

/// Power spectrum (|X|^2 per bin, 0..n/2) of `n` samples from `start`, Blackman-Harris window.
inline std::vector<double> powerSpectrum(const std::vector<float>& x, std::size_t start,
                                         std::size_t n) {
    std::vector<std::complex<double>> a(n);
    for (std::size_t i = 0; i < n; ++i) {
        const double t = 2.0 * kPi * i / (n - 1);
        const double w =
            0.35875 - 0.48829 * std::cos(t) + 0.14128 * std::cos(2 * t) - 0.01168 * std::cos(3 * t);
        a[i] = x[start + i] * w;
    }
    // Iterative radix-2 transform; n is a power of two.
    for (std::size_t i = 1, j = 0; i < n; ++i) {
        std::size_t bit = n >> 1;
        for (; j & bit; bit >>= 1) j ^= bit;
        j ^= bit;
        if (i < j) std::swap(a[i], a[j]);
    }
    for (std::size_t len = 2; len <= n; len <<= 1) {
        const std::complex<double> wl = std::polar(1.0, -2.0 * kPi / len);
        for (std::size_t i = 0; i < n; i += len) {
            std::complex<double> w = 1.0;
            for (std::size_t k = 0; k < len / 2; ++k) {
                const auto u = a[i + k];
                const auto v = a[i + k + len / 2] * w;
                a[i + k] = u + v;
                a[i + k + len / 2] = u - v;
                w *= wl;
            }
        }
    }
    std::vector<double> p(n / 2 + 1);
    for (std::size_t i = 0; i <= n / 2; ++i) p[i] = std::norm(a[i]);
    return p;
}

/// Energy of the bins within `halfWidth` of frequency `hz`.
inline double bandEnergy(const std::vector<double>& p, double hz, double rate, std::size_t n,
                         int halfWidth = 6) {
    const long centre = std::lround(hz * n / rate);
    double e = 0.0;
    for (long k = centre - halfWidth; k <= centre + halfWidth; ++k)
        if (k >= 0 && k < static_cast<long>(p.size())) e += p[k];
    return e;
}

/// Frequency of the strongest bin between lo and hi Hz, refined by a parabola.
inline double peakHz(const std::vector<double>& p, double lo, double hi, double rate,
                     std::size_t n) {
    const std::size_t a = static_cast<std::size_t>(lo * n / rate);
    const std::size_t b = std::min(p.size() - 2, static_cast<std::size_t>(hi * n / rate));
    std::size_t best = a;
    for (std::size_t k = a; k <= b; ++k)
        if (p[k] > p[best]) best = k;
    const double l = std::log(p[best - 1] + 1e-300);
    const double c = std::log(p[best] + 1e-300);
    const double r = std::log(p[best + 1] + 1e-300);
    const double shift = 0.5 * (l - r) / (l - 2 * c + r);
    return (best + shift) * rate / n;
}

/// Energy of everything below `maxHz` that is not within `halfWidth` bins of a multiple of
/// f0, relative to the energy of all the harmonics, in dB.
inline double inharmonicDb(const std::vector<double>& p, double f0, double rate, std::size_t n,
                           double maxHz, int halfWidth = 8) {
    std::vector<bool> harmonic(p.size(), false);
    for (double f = f0; f < rate / 2; f += f0) {
        const long c = std::lround(f * n / rate);
        for (long k = c - halfWidth; k <= c + halfWidth; ++k)
            if (k >= 0 && k < static_cast<long>(p.size())) harmonic[k] = true;
    }
    for (long k = 0; k <= halfWidth; ++k) harmonic[k] = true; // DC and the window's skirt
    const std::size_t top = std::min(p.size(), static_cast<std::size_t>(maxHz * n / rate));
    double rest = 0.0;
    double tone = 0.0;
    for (std::size_t k = 0; k < p.size(); ++k) {
        if (harmonic[k])
            tone += p[k];
        else if (k < top)
            rest += p[k];
    }
    return 10.0 * std::log10((rest + 1e-30) / tone);
}

/// True if the `count` strongest spectral peaks all lie within a bin of a multiple of f0.
inline bool strongestPeaksAreHarmonic(const std::vector<double>& p, double f0, double rate,
                                      std::size_t n, int count) {
    std::vector<std::pair<double, std::size_t>> peaks;
    for (std::size_t k = 2; k + 1 < p.size(); ++k)
        if (p[k] > p[k - 1] && p[k] >= p[k + 1]) peaks.push_back({p[k], k});
    std::sort(peaks.rbegin(), peaks.rend());
    for (int i = 0; i < count && i < static_cast<int>(peaks.size()); ++i) {
        const double hz = peaks[i].second * rate / n;
        const double h = std::round(hz / f0);
        if (h < 1 || std::fabs(hz - h * f0) > 1.5 * rate / n) return false;
    }
    return true;
}

inline float maxStep(const std::vector<float>& x, std::size_t from, std::size_t to) {
    float m = 0.0f;
    for (std::size_t i = std::max<std::size_t>(from, 1); i < std::min(to, x.size()); ++i)
        m = std::max(m, std::fabs(x[i] - x[i - 1]));
    return m;
}

inline float peak(const std::vector<float>& x, std::size_t from = 0) {
    float m = 0.0f;
    for (std::size_t i = from; i < x.size(); ++i) m = std::max(m, std::fabs(x[i]));
    return m;
}

} // namespace torvo::test

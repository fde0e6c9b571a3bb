#pragma once
// The 49 waves of the wave bank as compact spectral recipes. A recipe names a few numbers (lead
// amplitudes, a power-law tail, formant bumps, an FM pair) from which the sine coefficients of
// harmonics 1..128 follow; the bank turns them into tables at start-up.

#include <array>
#include <cstdint>

namespace torvo {

enum class PhaseLaw : std::uint8_t {
    Sine,         ///< every harmonic a sin(k t): rising from 0
    Cosine,       ///< every harmonic a cos(k t): peaked at the start of the cycle
    Alternate,    ///< signs +, -, +, ... by harmonic number
    OddAlternate, ///< the triangle's signs: +, +, -, -, ... on odd and even pairs
    Scattered,    ///< fixed pseudo-random phases from `seed`: a low crest factor
};

/// How level 0 reaches full scale.
enum class Fit : std::uint8_t {
    None,  ///< the amplitudes are final as written
    Whole, ///< everything scaled to a peak of 1
    Tail,  ///< the lead stays as written; the tail is scaled until the peak is kFitPeak
};
constexpr float kFitPeak = 0.99f;

struct Formant {
    float centre = 0.0f; ///< harmonic number of the peak
    float width = 1.0f;  ///< in harmonics
    float gain = 0.0f;   ///< added to the tail law at the centre
};

struct WaveDesign {
    const char* name;
    /// Amplitudes of harmonics 1..leadCount, given directly.
    std::array<float, 8> lead;
    int leadCount;
    /// The tail above the lead: tailGain * k^-tailPower * (1 + formants), even harmonics
    /// scaled by evenGain (0 leaves odd harmonics only).
    float tailGain;
    float tailPower;
    float evenGain;
    std::array<Formant, 3> formants;
    /// Comb of a struck or plucked string or a pulse: the tail times |sin(pi k / comb)|
    /// (0 for none).
    float comb;
    /// Frequency modulation instead of the additive law when fmRatio > 0: sin(t + I sin(m t))
    /// expanded in Bessel terms; lead and tail then add on top.
    int fmRatio;
    float fmIndex;
    /// Highest harmonic present (at most 128).
    int top;
    PhaseLaw phase;
    std::uint32_t seed;
    Fit fit;
};

constexpr int kDesignCount = 49;

const WaveDesign& waveDesign(int index);

/// Coefficients of harmonics 0..128 (index 0 unused, always 0): the sample at angle t is the
/// sum of sinPart[k] sin(k t) + cosPart[k] cos(k t). The lead (and FM) part is taken with
/// leadScale, the tail with tailScale, so the two can be built apart.
void designSpectrum(const WaveDesign& d, double leadScale, double tailScale, double* sinPart,
                    double* cosPart);

} // namespace torvo

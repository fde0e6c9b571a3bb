#include "sources/wavedesigns.h"

#include <cmath>
#include <initializer_list>

namespace torvo {

namespace {

/// Fluent builder, so that each wave reads as one line of its recipe.
struct Recipe {
    WaveDesign d{};

    explicit Recipe(const char* name) {
        d.name = name;
        d.evenGain = 1.0f;
        d.top = 128;
        d.phase = PhaseLaw::Sine;
        d.fit = Fit::Whole;
    }
    Recipe& lead(std::initializer_list<float> amps) {
        int i = 0;
        for (float a : amps)
            if (i < 8) d.lead[i++] = a;
        d.leadCount = i;
        return *this;
    }
    Recipe& tail(float gain, float power, float even = 1.0f) {
        d.tailGain = gain;
        d.tailPower = power;
        d.evenGain = even;
        return *this;
    }
    Recipe& formant(float centre, float width, float gain) {
        for (Formant& f : d.formants)
            if (f.gain == 0.0f) {
                f = Formant{centre, width, gain};
                break;
            }
        return *this;
    }
    Recipe& comb(float period) {
        d.comb = period;
        return *this;
    }
    Recipe& fm(int ratio, float index) {
        d.fmRatio = ratio;
        d.fmIndex = index;
        return *this;
    }
    Recipe& top(int harmonic) {
        d.top = harmonic;
        return *this;
    }
    Recipe& phase(PhaseLaw law, std::uint32_t seed = 0) {
        d.phase = law;
        d.seed = seed;
        return *this;
    }
    Recipe& fit(Fit f) {
        d.fit = f;
        return *this;
    }
    operator WaveDesign() const { return d; }
};

// Vowel formants as harmonic numbers of a voice near 110 Hz (F1, F2, F3 of the vowel).
const WaveDesign kDesigns[kDesignCount] = {
    // Sine and the simple geometric shapes.
    Recipe("Sin").lead({1.0f}).top(1).fit(Fit::None),
    Recipe("Tri").tail(0.8105695f, 2.0f, 0.0f).phase(PhaseLaw::OddAlternate).fit(Fit::None),
    Recipe("TriSine")
        .lead({0.8998f, 0.0f, 0.4278f, 0.0f, 0.1540f})
        .tail(3.85f, 2.0f, 0.0f)
        .top(127)
        .phase(PhaseLaw::Sine)
        .fit(Fit::Tail),
    // Parabolic waves: 1/k^2 series, softer than a saw, brighter than a triangle.
    Recipe("Para_1")
        .lead({0.6288f, 0.1570f, 0.0695f, 0.0389f, 0.0247f})
        .tail(0.6288f, 2.0f)
        .top(36)
        .phase(PhaseLaw::Cosine)
        .fit(Fit::None),
    Recipe("Para_2").tail(1.0f, 2.0f, 0.5f).top(64).phase(PhaseLaw::Cosine),
    Recipe("Para_3")
        .lead({0.8543f, 0.2766f, 0.1293f, 0.0735f, 0.0468f})
        .tail(1.17f, 2.0f)
        .top(99)
        .phase(PhaseLaw::Sine)
        .fit(Fit::Tail),
    Recipe("Para_4").tail(1.0f, 1.7f).phase(PhaseLaw::Alternate),
    // Basses: strong low partials, early roll-off.
    Recipe("Bass_1")
        .lead({0.6157f, 0.2982f, 0.2281f, 0.1552f, 0.0864f})
        .tail(0.966f, 1.5f)
        .top(29)
        .phase(PhaseLaw::Sine)
        .fit(Fit::Tail),
    Recipe("Bass_2").tail(1.0f, 1.2f).formant(3.0f, 1.5f, 2.0f).top(48),
    Recipe("Bass_3")
        .tail(1.0f, 1.0f, 0.3f)
        .formant(5.0f, 2.0f, 1.5f)
        .top(40)
        .phase(PhaseLaw::Scattered, 3),
    Recipe("Bass_4").fm(1, 2.5f).top(40),
    // Pianos: hammer comb on a 1/k^p string spectrum.
    Recipe("Piano_A1")
        .tail(1.0f, 1.4f, 0.8f)
        .comb(7.0f)
        .formant(3.0f, 1.5f, 1.0f)
        .top(64)
        .phase(PhaseLaw::Scattered, 11),
    Recipe("Piano_A2").tail(1.0f, 1.6f).comb(8.3f).top(96).phase(PhaseLaw::Scattered, 12),
    Recipe("Piano_A3")
        .lead({1.0f, 0.5f, 0.6f, 0.25f, 0.2f})
        .tail(1.0f, 1.8f)
        .comb(9.0f)
        .top(80)
        .phase(PhaseLaw::Scattered, 13),
    Recipe("Piano_A4")
        .tail(1.0f, 1.3f)
        .comb(6.5f)
        .formant(8.0f, 4.0f, 1.0f)
        .phase(PhaseLaw::Scattered, 14),
    // Bowed and reed instruments: saw-like sources through body resonances.
    Recipe("Violin_1")
        .tail(1.0f, 1.0f)
        .formant(3.0f, 1.5f, 2.0f)
        .formant(8.0f, 3.0f, 1.5f)
        .formant(14.0f, 4.0f, 1.0f)
        .phase(PhaseLaw::Scattered, 15),
    Recipe("Violin_2")
        .lead({0.0432f, 0.3758f, 0.1305f, 0.4540f, 0.1112f})
        .tail(0.3f, 1.0f)
        .formant(9.0f, 3.0f, 1.0f)
        .phase(PhaseLaw::Scattered, 16)
        .fit(Fit::Tail),
    // Violin_3 bows like Violin_2 in its first partials, with a brighter body above.
    Recipe("Violin_3")
        .lead({0.0432f, 0.3758f, 0.1305f, 0.4540f, 0.1112f})
        .tail(0.3f, 0.8f)
        .formant(6.0f, 2.0f, 1.5f)
        .formant(14.0f, 3.0f, 1.0f)
        .phase(PhaseLaw::Scattered, 16)
        .fit(Fit::Tail),
    Recipe("Oboe").tail(1.0f, 1.5f).formant(4.0f, 1.5f, 4.0f).formant(9.0f, 2.0f, 1.0f).top(64),
    Recipe("Sitar")
        .tail(1.0f, 0.8f)
        .formant(12.0f, 6.0f, 2.0f)
        .formant(25.0f, 8.0f, 1.0f)
        .phase(PhaseLaw::Scattered, 19),
    Recipe("Bayan_1")
        .tail(1.0f, 1.0f, 0.7f)
        .formant(6.0f, 3.0f, 1.0f)
        .top(96)
        .phase(PhaseLaw::Scattered, 20),
    Recipe("Bayan_2")
        .tail(1.0f, 0.9f)
        .formant(3.0f, 1.0f, 1.0f)
        .formant(10.0f, 4.0f, 1.0f)
        .phase(PhaseLaw::Scattered, 21),
    // Guitars: pluck comb, then a driven one with odd emphasis.
    Recipe("Guitar_1").tail(1.0f, 1.5f).comb(5.0f).top(64).phase(PhaseLaw::Scattered, 22),
    Recipe("Guitar_2")
        .tail(1.0f, 1.2f)
        .comb(4.3f)
        .formant(4.0f, 2.0f, 1.0f)
        .top(80)
        .phase(PhaseLaw::Scattered, 23),
    Recipe("Guitar_3").tail(1.0f, 0.9f, 0.4f).phase(PhaseLaw::Scattered, 24),
    // Organs: drawbar registrations on the harmonics 1, 2, 3, 4, 6, 8.
    Recipe("Organ_1").lead({1.0f, 0.8f, 0.6f, 0.5f, 0.0f, 0.35f, 0.0f, 0.25f}).top(8),
    Recipe("Organ_2")
        .lead({1.0f, 0.0f, 0.6f, 0.0f, 0.45f, 0.0f, 0.35f, 0.0f})
        .tail(1.0f, 1.5f, 0.0f)
        .top(16)
        .phase(PhaseLaw::Cosine),
    Recipe("Organ_3")
        .lead({0.8f, 1.0f, 0.3f, 0.5f, 0.1f, 0.4f, 0.05f, 0.3f})
        .top(8)
        .phase(PhaseLaw::Alternate),
    // Brass: the partials grow up to the 3rd before they fall.
    Recipe("Brass_1").lead({0.6f, 0.9f, 1.0f, 0.9f, 0.75f, 0.6f}).tail(21.6f, 2.0f).top(60),
    Recipe("Brass_2")
        .lead({0.8f, 1.0f, 0.85f, 0.6f, 0.4f})
        .tail(5.2f, 1.6f)
        .top(90)
        .phase(PhaseLaw::Scattered, 29),
    // Voices: a glottal 1/k source through three vowel formants.
    Recipe("Vocal_1") // "a"
        .tail(0.3f, 1.0f)
        .formant(6.6f, 1.2f, 6.0f)
        .formant(9.9f, 1.5f, 4.0f)
        .formant(22.0f, 2.5f, 2.0f)
        .top(64)
        .phase(PhaseLaw::Scattered, 30),
    Recipe("Vocal_2") // "e"
        .tail(0.3f, 1.0f)
        .formant(4.8f, 1.2f, 6.0f)
        .formant(16.7f, 1.5f, 4.0f)
        .formant(22.5f, 2.5f, 2.0f)
        .top(64)
        .phase(PhaseLaw::Scattered, 31),
    Recipe("Vocal_3") // "i"
        .tail(0.3f, 1.0f)
        .formant(2.5f, 1.0f, 6.0f)
        .formant(20.8f, 1.5f, 4.0f)
        .formant(27.4f, 2.5f, 2.0f)
        .top(64)
        .phase(PhaseLaw::Scattered, 32),
    Recipe("Vocal_4") // "o"
        .tail(0.3f, 1.0f)
        .formant(5.2f, 1.2f, 6.0f)
        .formant(7.6f, 1.5f, 4.0f)
        .formant(21.9f, 2.5f, 2.0f)
        .top(64)
        .phase(PhaseLaw::Scattered, 33),
    Recipe("Vocal_5") // "u"
        .tail(0.3f, 1.0f)
        .formant(2.7f, 1.0f, 6.0f)
        .formant(7.9f, 1.5f, 4.0f)
        .formant(20.4f, 2.5f, 2.0f)
        .top(64)
        .phase(PhaseLaw::Scattered, 34),
    Recipe("Vocal_6") // a choir "ah" an octave up
        .tail(0.3f, 1.0f)
        .formant(3.3f, 0.8f, 6.0f)
        .formant(5.0f, 1.0f, 4.0f)
        .formant(11.0f, 1.5f, 2.0f)
        .top(48)
        .phase(PhaseLaw::Scattered, 35),
    // Robotic: narrow clusters of partials over a thin floor.
    Recipe("Robo_1")
        .lead({1.0f, 0.0f, 0.0f, 0.0f, 0.8f})
        .tail(0.05f, 0.5f)
        .formant(16.0f, 0.8f, 10.0f)
        .top(32),
    Recipe("Robo_2")
        .tail(0.1f, 0.7f)
        .formant(9.0f, 0.6f, 8.0f)
        .formant(23.0f, 0.6f, 6.0f)
        .top(48)
        .phase(PhaseLaw::Alternate),
    Recipe("Robo_3").fm(3, 4.0f).top(64),
    // Classic synth shapes: square, saw, 25 % pulse.
    Recipe("Synth_1").tail(1.0f, 1.0f, 0.0f),
    Recipe("Synth_2").tail(1.0f, 1.0f),
    Recipe("Synth_3").tail(1.0f, 1.0f).comb(4.0f),
    // In-between shapes.
    Recipe("Inter_1")
        .tail(1.0f, 1.0f)
        .comb(3.0f)
        .formant(20.0f, 5.0f, 2.0f)
        .phase(PhaseLaw::Scattered, 42),
    // Inter_2 leads over into the FM group: FM_1's opening with a scattered, steeper tail.
    Recipe("Inter_2")
        .lead({0.9839f, 0.0173f, 0.0290f, 0.0030f, 0.0086f})
        .tail(0.0593f, 1.15f, 0.3f)
        .top(127)
        .phase(PhaseLaw::Scattered, 43)
        .fit(Fit::None),
    // Frequency modulation.
    Recipe("FM_1")
        .lead({0.9839f, 0.0173f, 0.0290f, 0.0030f, 0.0086f})
        .tail(0.0593f, 1.2f, 0.3f)
        .top(127)
        .fit(Fit::None),
    Recipe("FM_2").fm(2, 2.0f),
    Recipe("FM_3").fm(5, 3.0f),
    // Alarms: piercing clusters with a weak fundamental.
    Recipe("Alarm_1")
        .tail(0.02f, 0.0f)
        .formant(7.0f, 0.5f, 40.0f)
        .formant(11.0f, 0.5f, 30.0f)
        .top(64),
    Recipe("Alarm_2")
        .lead({0.0047f, 0.0473f, 0.1465f, 0.0031f, 0.0490f})
        .tail(0.004f, 0.3f)
        .formant(9.0f, 1.2f, 80.0f)
        .formant(15.0f, 1.5f, 40.0f)
        .formant(23.0f, 2.0f, 20.0f)
        .phase(PhaseLaw::Scattered, 48)
        .fit(Fit::Tail),
};

/// Fixed pseudo-random angle in [0, 2 pi) for harmonic k of a seeded wave.
double scatteredAngle(std::uint32_t seed, int k) {
    std::uint32_t h = seed * 0x9E3779B9u + static_cast<std::uint32_t>(k) * 0x85EBCA6Bu;
    h ^= h >> 16;
    h *= 0x7FEB352Du;
    h ^= h >> 15;
    h *= 0x846CA68Bu;
    h ^= h >> 16;
    return 6.283185307179586 * (h / 4294967296.0);
}

double tailAmplitude(const WaveDesign& d, int k) {
    double a = d.tailGain * std::pow(static_cast<double>(k), -d.tailPower);
    if (k % 2 == 0) a *= d.evenGain;
    double bump = 1.0;
    for (const Formant& f : d.formants) {
        if (f.gain == 0.0f) continue;
        const double x = (k - f.centre) / f.width;
        bump += f.gain * std::exp(-x * x);
    }
    a *= bump;
    if (d.comb > 0.0f) a *= std::fabs(std::sin(3.141592653589793 * k / d.comb));
    return a;
}

} // namespace

const WaveDesign& waveDesign(int index) {
    if (index < 0) index = 0;
    if (index >= kDesignCount) index = kDesignCount - 1;
    return kDesigns[index];
}

void designSpectrum(const WaveDesign& d, double leadScale, double tailScale, double* sinPart,
                    double* cosPart) {
    for (int k = 0; k <= 128; ++k) sinPart[k] = cosPart[k] = 0.0;
    const int top = d.top < 128 ? d.top : 128;
    for (int k = 1; k <= top; ++k) {
        const bool isLead = k <= d.leadCount;
        const double a = isLead ? leadScale * d.lead[k - 1] : tailScale * tailAmplitude(d, k);
        switch (d.phase) {
        case PhaseLaw::Sine:
            sinPart[k] = a;
            break;
        case PhaseLaw::Cosine:
            cosPart[k] = a;
            break;
        case PhaseLaw::Alternate:
            sinPart[k] = k % 2 == 1 ? a : -a;
            break;
        case PhaseLaw::OddAlternate:
            sinPart[k] = ((k - 1) / 2) % 2 == 0 ? a : -a;
            break;
        case PhaseLaw::Scattered: {
            const double angle = scatteredAngle(d.seed, k);
            sinPart[k] = a * std::cos(angle);
            cosPart[k] = a * std::sin(angle);
            break;
        }
        }
    }
    // sin(t + I sin(m t)) = sum over n of J_n(I) sin((1 + n m) t); a negative frequency folds
    // back with its sign flipped, and a zero one is DC and dropped.
    if (d.fmRatio > 0) {
        for (int n = -64; n <= 64; ++n) {
            const int f = 1 + n * d.fmRatio;
            if (f == 0) continue;
            const int k = f < 0 ? -f : f;
            if (k > top) continue;
            double j = std::cyl_bessel_j(static_cast<double>(n < 0 ? -n : n), d.fmIndex);
            if (n < 0 && (n % 2) != 0) j = -j;
            sinPart[k] += leadScale * (f < 0 ? -j : j);
        }
    }
}

} // namespace torvo

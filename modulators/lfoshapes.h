#pragma once
// The calculated LFO shapes and the tables behind the LFO's rate and fade-in. Every shape maps
// a phase p in 0..1 and a morph m to a value in 0..1; the wave-bank shapes cross-fade three
// neighbouring waves of the bank by the morph.

#include "engine/shuffleddeck.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace torvo {

constexpr int kLfoRatePoints = 12;
constexpr int kLfoFadePoints = 32;
/// Forms 0..4 are calculated; form f from 5 on reads wave f - 3 of the bank, since the bank's
/// first two waves (sine and triangle) are calculated shapes here.
constexpr int kLfoWaveFormOffset = 3;
constexpr int kLfoFirstWaveForm = 5;

struct LfoTables {
    /// Free rate in hertz, read at the rate knob times 11.
    static const float rate[kLfoRatePoints];
    /// Fade-in time in seconds, read at the fade knob times 31.
    static const float fadeTime[kLfoFadePoints];
    /// The rise of a fade-in over its time, read at the fade position times 31.
    static const float fadeCurve[kLfoFadePoints];
};

/// Linear read of the 12-point rate table at x (0..11 and a little beyond): the point after
/// the last is the first, so a drift offset past the top slows the LFO down again.
float readLfoRate(float x);
/// Linear read of a 32-point table at x in 0..31 (clamped); point 31 stands alone. Read once
/// per sample during a fade-in, so defined here to be inlined.
inline float readLfoFadeTable(const float* table, float x) {
    if (!(x > 0.0f)) return table[0];
    if (x >= static_cast<float>(kLfoFadePoints - 1)) return table[kLfoFadePoints - 1];
    const int i = static_cast<int>(x);
    const float f = x - static_cast<float>(i);
    return table[i] + f * (table[i + 1] - table[i]);
}

// Calculated shapes, before the phase advances.
/// Sine; morph above 0.5 drives it towards a square, below 0.5 towards a triangle.
float lfoSine(double p, float m);
// These run once per sample and voice: defined here so the render loops inline them.
/// The same with the raised sine c = (sin(2 pi p - pi / 2) + 1) / 2 given.
inline float lfoSineMorph(double p, float m, double c) {
    if (m > 0.5f) {
        const double w = 2.0 * (static_cast<double>(m) - 0.5);
        const double squared = (10.0 * w * w * w + 1.0) * (c - 0.5);
        return static_cast<float>(std::clamp(squared, -0.5, 0.5) + 0.5);
    }
    const double t = p <= 0.5 ? 2.0 * p : 2.0 * (1.0 - p);
    return static_cast<float>((1.0 - 2.0 * m) * t + 2.0 * m * c);
}
/// The angle whose sine the sine shape raises, at phase p; taken in double precision around
/// the single-precision value of pi.
inline double lfoSineAngle(double p) {
    constexpr double kPi = static_cast<double>(3.14159265f);
    return 2.0 * kPi * p - kPi / 2.0;
}
/// Triangle whose peak sits at m: m = 0 is a falling saw, m = 1 a rising one.
inline float lfoTriangle(double p, float m) {
    const float x = static_cast<float>(p);
    if (!(x > m) && m != 0.0f) return x / m;
    if (m != 1.0f) return (1.0f - x) / (1.0f - m);
    return x;
}
/// Pulse of width 0.98 m + 0.01, never quite 0 or 1.
inline float lfoSquare(double p, float m) {
    return 0.98f * m + 0.01f >= static_cast<float>(p) ? 1.0f : 0.0f;
}

/// The three waves a bank form cross-fades: previous, current and next.
struct LfoWaveSet {
    int previous = 0;
    int current = 0;
    int next = 0;
};
/// For a form of 5 or more. The previous of the first bank form is the last wave, the next of
/// the last is the bank's first non-calculated wave.
LfoWaveSet lfoWavesOf(int form);

/// Start phases of retriggered LFOs: two lists of eight phases dealt like a shuffled deck, each
/// draw removing its entry, then the other list.
class LfoPhaseBag : public ShuffledDeck<8> {
public:
    /// Draws give a phase in 0..1.
    LfoPhaseBag();
};

} // namespace torvo

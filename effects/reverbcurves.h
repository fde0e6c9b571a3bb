#pragma once
// Point tables through which the reverb maps its controls, so that the sample loop makes no
// transcendental call. Every table holds one readable element behind its last point.

namespace torvo {

struct ReverbCurves {
    static constexpr int kControlSize = 32;
    static constexpr int kQSize = 128;
    static constexpr int kToneSize = 120;
    static constexpr int kSineSize = 1024;
    static constexpr int kNoteTimes = 21;

    /// `DecayCurve`, `DampCurve`, `WetCurve`: read at value x 31.
    float decay[kControlSize + 1];
    float damp[kControlSize + 1];
    float wet[kControlSize + 1];
    /// `QCurve`: peaking Q from a normalised Q, read at value x 127.
    float q[kQSize + 1];
    /// `ToneFreqCurve`: 20.602 Hz x 2^(i / 12), one semitone per point.
    float toneFreq[kToneSize + 1];
    /// `SineCoefCurve`: sin(pi x i / 1023) kept to three decimals; one-pole coefficients.
    float sineCoef[kSineSize + 1];
    /// `NoteTimeTable`: seconds x beats per minute of the 21 synced note values.
    float noteTime[kNoteTimes];
};

/// The process-wide tables, built on the first call (make that call outside the audio thread).
const ReverbCurves& reverbCurves();

/// Linear read at a fractional index, clamped to the table.
inline float readCurve(const float* table, int size, float index) {
    const float top = static_cast<float>(size - 1);
    const float u = index > 0.0f ? (index < top ? index : top) : 0.0f;
    const int i = static_cast<int>(u);
    return table[i] + (u - static_cast<float>(i)) * (table[i + 1] - table[i]);
}

/// One-pole coefficient for a corner frequency: `SineCoefCurve` at f / rate x 1023.
inline float sineCoefficient(const ReverbCurves& curves, float hz, float invRate) {
    return readCurve(curves.sineCoef, ReverbCurves::kSineSize,
                     hz * invRate * static_cast<float>(ReverbCurves::kSineSize - 1));
}

} // namespace torvo

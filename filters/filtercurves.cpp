#include "filters/filtercurves.h"

#include <cmath>

namespace torvo {

namespace {

constexpr float kPerfectoRes[32] = {1.3832f, 1.3796f, 1.375f,  1.3695f, 1.3623f, 1.3538f, 1.3439f,
                                    1.3325f, 1.3194f, 1.3046f, 1.2878f, 1.269f,  1.248f,  1.2248f,
                                    1.1994f, 1.1718f, 1.1421f, 1.1101f, 1.0768f, 1.0424f, 1.0083f,
                                    0.9758f, 0.9466f, 0.9226f, 0.9055f, 0.8962f, 0.895f,  0.9015f,
                                    0.9153f, 0.9156f, 0.9114f, 0.9918f};
constexpr float kAcidoRes[32] = {0.794f,  0.8077f, 0.8214f, 0.8343f, 0.8472f, 0.8594f, 0.8714f,
                                 0.8826f, 0.8935f, 0.9037f, 0.9133f, 0.9224f, 0.9306f, 0.9379f,
                                 0.9445f, 0.9501f, 0.9547f, 0.9579f, 0.9597f, 0.9598f, 0.958f,
                                 0.954f,  0.9476f, 0.9381f, 0.9252f, 0.9091f, 0.8923f, 0.8811f,
                                 0.8832f, 0.8995f, 0.9256f, 0.958f};
constexpr float kPerfectoBpGain[32] = {
    3.5f,    3.5113f, 3.522f,  3.5319f, 3.5409f, 3.5487f, 3.5549f, 3.5591f,
    3.5608f, 3.5595f, 3.5547f, 3.5455f, 3.5312f, 3.511f,  3.4838f, 3.4479f,
    3.4016f, 3.3445f, 3.2734f, 3.1872f, 3.0836f, 2.9611f, 2.8166f, 2.6508f,
    2.4602f, 2.2457f, 2.0082f, 1.7463f, 1.4632f, 1.1609f, 0.8395f, 0.504f};
constexpr float kPerfectoLpGain[32] = {
    6.0f,    5.9904f, 5.9737f, 5.949f,  5.9154f, 5.8722f, 5.8185f, 5.7534f,
    5.6739f, 5.5807f, 5.473f,  5.348f,  5.2078f, 5.0494f, 4.8758f, 4.6857f,
    4.482f,  4.2656f, 4.0387f, 3.8033f, 3.5617f, 3.3154f, 3.0665f, 2.8162f,
    2.5657f, 2.316f,  2.0677f, 1.8215f, 1.5777f, 1.3369f, 1.0989f, 0.864f};
constexpr float kSvfDamping[32] = {0.008f,  0.0146f, 0.0211f, 0.0274f, 0.0335f, 0.0395f, 0.0454f,
                                   0.0513f, 0.0571f, 0.063f,  0.0689f, 0.0749f, 0.0812f, 0.0878f,
                                   0.0948f, 0.1024f, 0.1106f, 0.1197f, 0.1298f, 0.1413f, 0.1545f,
                                   0.1699f, 0.1882f, 0.2098f, 0.236f,  0.2681f, 0.3086f, 0.3603f,
                                   0.4285f, 0.5233f, 0.6655f, 0.918f};
constexpr float kScorpioSlopeRed[32] = {
    4.918f, 5.144f, 5.324f, 5.456f, 5.545f, 5.596f, 5.61f,  5.594f, 5.549f, 5.484f, 5.398f,
    5.299f, 5.189f, 5.071f, 4.948f, 4.824f, 4.7f,   4.578f, 4.461f, 4.35f,  4.246f, 4.15f,
    4.062f, 3.985f, 3.918f, 3.862f, 3.817f, 3.783f, 3.76f,  3.749f, 3.749f, 3.76f};
constexpr float kScorpioSlopeBlack2[32] = {
    3.004f, 3.429f, 3.796f, 4.099f, 4.346f, 4.541f, 4.683f, 4.786f, 4.844f, 4.872f, 4.868f,
    4.841f, 4.793f, 4.729f, 4.654f, 4.569f, 4.479f, 4.387f, 4.294f, 4.203f, 4.115f, 4.033f,
    3.956f, 3.887f, 3.827f, 3.776f, 3.734f, 3.702f, 3.681f, 3.67f,  3.67f,  3.681f};
constexpr float kScorpioSlopeBlack4[32] = {
    4.358f, 4.535f, 4.678f, 4.786f, 4.862f, 4.909f, 4.929f, 4.926f, 4.902f, 4.861f, 4.805f,
    4.738f, 4.661f, 4.579f, 4.494f, 4.406f, 4.318f, 4.232f, 4.15f,  4.071f, 3.998f, 3.931f,
    3.87f,  3.816f, 3.77f,  3.733f, 3.703f, 3.682f, 3.669f, 3.665f, 3.669f, 3.681f};
constexpr float kScorpioResCurve[32] = {
    0.0f,    0.0453f, 0.0773f, 0.1019f, 0.1212f, 0.1372f, 0.1503f, 0.1614f,
    0.1708f, 0.1788f, 0.1856f, 0.1915f, 0.1967f, 0.2011f, 0.205f,  0.2085f,
    0.2115f, 0.2143f, 0.217f,  0.2194f, 0.2218f, 0.2243f, 0.2268f, 0.2295f,
    0.2325f, 0.2358f, 0.2396f, 0.244f,  0.2491f, 0.2553f, 0.2627f, 0.2715f};
constexpr float kScorpioDriveRes[32] = {
    0.0f,    0.0002f, 0.0004f, 0.0007f, 0.001f,  0.0013f, 0.0017f, 0.0022f,
    0.0028f, 0.0036f, 0.0046f, 0.0056f, 0.0071f, 0.0089f, 0.011f,  0.0137f,
    0.0169f, 0.0208f, 0.0256f, 0.0314f, 0.0386f, 0.0476f, 0.0588f, 0.0729f,
    0.0909f, 0.114f,  0.1451f, 0.1882f, 0.2508f, 0.3524f, 0.5473f, 1.0f};
constexpr float kScorpioDriveCut[32] = {
    1.0f,    1.0f,    1.001f,  0.9995f, 0.9982f, 0.9952f, 0.9918f, 0.9868f,
    0.9806f, 0.9732f, 0.9636f, 0.952f,  0.9383f, 0.9218f, 0.9018f, 0.8773f,
    0.8473f, 0.8104f, 0.7622f, 0.6992f, 0.6136f, 0.5046f, 0.3976f, 0.3189f,
    0.2654f, 0.2282f, 0.2017f, 0.1828f, 0.1694f, 0.16f,   0.1538f, 0.15f};
constexpr float kScorpioHighEdgeTop[7] = {0.0019f, 0.0048f, 0.0105f, 0.0225f, 0.05f, 0.1245f, 1.0f};
constexpr float kRedOutputLowerHalf[10] = {-1.0f,    -0.9826f, -0.941f,  -0.8727f, -0.7758f,
                                           -0.6504f, -0.5f,    -0.3571f, -0.2143f, -0.0714f};
// The ladder's coefficient bends away from the semitone grid near the top.
constexpr float kLadderCutoffTop[16] = {0.43462f, 0.46256f, 0.49134f, 0.54662f, 0.56718f, 0.59957f,
                                        0.6372f,  0.6687f,  0.7072f,  0.7542f,  0.8032f,  0.8512f,
                                        0.9037f,  0.9497f,  0.987f,   1.0f};
// The state-variable coefficient is 2 sin(pi f / 44100) of a note per point up to point 111;
// the last points are bent down to keep four iterations per sample stable.
constexpr float kSvfCutoffTop[8] = {0.5256f, 0.5548f, 0.587f,  0.6191f,
                                    0.6563f, 0.6927f, 0.7323f, 0.738f};

template <int M> void copyWithGuard(float (&dst)[M], const float* src) {
    for (int i = 0; i < M - 1; ++i) dst[i] = src[i];
    dst[M - 1] = dst[0];
}

FilterCurves build() {
    FilterCurves c{};
    // Ladder: from 0.000851 at point 0 to 0.40653 at point 103 on an even (near-semitone)
    // ratio, then the measured bend to 1.
    const double ladderRatio = std::pow(0.40653 / 0.000851, 1.0 / 103.0);
    for (int i = 0; i <= 103; ++i) c.ladderCutoff[i] = float(0.000851 * std::pow(ladderRatio, i));
    c.ladderCutoff[103] = 0.40653f;
    for (int i = 0; i < 16; ++i) c.ladderCutoff[104 + i] = kLadderCutoffTop[i];

    // State-variable: point i is note i - 6 at 44.1 kHz; the lowest points join 0.000777 at
    // point 0 to the note grid at point 16 on an even ratio.
    constexpr double kPi = 3.14159265358979323846;
    for (int i = 16; i < 112; ++i) {
        const double hz = 440.0 * std::pow(2.0, (i - 6 - 69) / 12.0);
        c.svfCutoff[i] = float(2.0 * std::sin(kPi * hz / 44100.0));
    }
    const double lowRatio = std::pow(double(c.svfCutoff[16]) / 0.000777, 1.0 / 16.0);
    for (int i = 0; i < 16; ++i) c.svfCutoff[i] = float(0.000777 * std::pow(lowRatio, i));
    for (int i = 0; i < 8; ++i) c.svfCutoff[112 + i] = kSvfCutoffTop[i];

    // Tone frequencies: semitones with 27.5 Hz at point 5.
    for (int i = 0; i < FilterCurves::kCutoffPoints; ++i)
        c.toneHz[i] = float(27.5 * std::pow(2.0, (i - 5) / 12.0));

    c.ladderCutoff[120] = c.ladderCutoff[0];
    c.svfCutoff[120] = c.svfCutoff[0];
    c.toneHz[120] = c.toneHz[0];

    copyWithGuard(c.perfectoRes, kPerfectoRes);
    copyWithGuard(c.acidoRes, kAcidoRes);
    copyWithGuard(c.perfectoBpGain, kPerfectoBpGain);
    copyWithGuard(c.perfectoLpGain, kPerfectoLpGain);
    copyWithGuard(c.svfDamping, kSvfDamping);
    copyWithGuard(c.scorpioSlopeRed, kScorpioSlopeRed);
    copyWithGuard(c.scorpioSlopeBlack2, kScorpioSlopeBlack2);
    copyWithGuard(c.scorpioSlopeBlack4, kScorpioSlopeBlack4);
    copyWithGuard(c.scorpioResCurve, kScorpioResCurve);
    copyWithGuard(c.scorpioDriveRes, kScorpioDriveRes);
    copyWithGuard(c.scorpioDriveCut, kScorpioDriveCut);

    for (int i = 0; i < 121; ++i) c.scorpioHighEdge[i] = 0.0f;
    for (int i = 0; i < 7; ++i) c.scorpioHighEdge[121 + i] = kScorpioHighEdgeTop[i];
    c.scorpioHighEdge[128] = c.scorpioHighEdge[0];

    for (int i = 0; i < 10; ++i) {
        c.redOutputCurve[i] = kRedOutputLowerHalf[i];
        c.redOutputCurve[19 - i] = -kRedOutputLowerHalf[i];
    }
    c.redOutputCurve[20] = c.redOutputCurve[0];

    for (int i = 0; i < FilterCurves::kSinPoints; ++i)
        c.sinCoef[i] = float(std::round(std::sin(kPi * i / 1023.0) * 1000.0) / 1000.0);
    c.sinCoef[FilterCurves::kSinPoints] = c.sinCoef[0];
    return c;
}

} // namespace

const FilterCurves& filterCurves() {
    static const FilterCurves curves = build();
    return curves;
}

} // namespace torvo

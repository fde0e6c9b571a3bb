#include "effects/compressorstages.h"

#include "effects/smoothcurve.h"

#include <array>
#include <cmath>

namespace torvo {

namespace compressorstages {

const CompressorStageSettings kStageTable[kStages] = {
    {CompressorStageSettings::kLow, CompressorStageSettings::kUp, 2.455761, 1.0, 0.00912f,
     0.760192f, 15.936f, 70.5f},
    {CompressorStageSettings::kLow, CompressorStageSettings::kDown, 1.0, 6.821032, 0.020417f,
     0.985008f, 15.936f, 70.5f},
    {CompressorStageSettings::kMid, CompressorStageSettings::kUp, 2.455761, 1.0, 0.008128f,
     0.760192f, 7.304f, 70.5f},
    {CompressorStageSettings::kMid, CompressorStageSettings::kDown, 1.0, 2.927525, 0.030549f,
     0.985008f, 7.304f, 70.5f},
    {CompressorStageSettings::kHigh, CompressorStageSettings::kUp, 2.819701, 1.0, 0.02884f,
     0.760192f, 15.0f, 60.0f},
    {CompressorStageSettings::kHigh, CompressorStageSettings::kDown, 1.0, 3.06538, 0.016788f, 1.0f,
     15.0f, 60.0f},
};

const float* amountCurve() {
    static const auto table = [] {
        static constexpr int kKnots[] = {0, 4, 8, 12, 16, 20, 24, 28, 31};
        static constexpr double kPoints[] = {0,      0.012,  0.0294, 0.0579, 0.1064,
                                             0.1895, 0.3346, 0.6042, 1.0};
        std::array<float, kAmountSize + 1> t{};
        fillSmoothCurve(t.data(), kKnots, kPoints, 9);
        return t;
    }();
    return table.data();
}

} // namespace compressorstages

namespace {

float timeCoefficient(float sampleRate, float ms) {
    if (!(ms > 0.0f) || !(sampleRate > 0.0f)) return 0.0f;
    return static_cast<float>(std::exp(-1000.0 / (double(sampleRate) * ms)));
}

} // namespace

void CompressorStage::setTimes(float sampleRate, float attackMs, float releaseMs) {
    if (sampleRate == lastRate && attackMs == lastAttack && releaseMs == lastRelease) return;
    lastRate = sampleRate;
    lastAttack = attackMs;
    lastRelease = releaseMs;
    attack = timeCoefficient(sampleRate, attackMs);
    release = timeCoefficient(sampleRate, releaseMs);
}

void CompressorStage::reset() {
    detector = peak = smooth = 0.0f;
}

void CompressorStage::process(const CompressorStageSettings& settings, float* left, float* right,
                              const float* amount, int n) {
    const float scale = static_cast<float>(settings.inputScale);
    const bool down = settings.kind == CompressorStageSettings::kDown;
    const float t = settings.threshold;
    const double td = t;
    float det = detector, pk = peak, sm = smooth;
    for (int i = 0; i < n; ++i) {
        const float l = left[i] * scale;
        const float r = right[i] * scale;
        const float s = l + r;
        // The loud side listens to a slow average, the quiet side to every sample.
        if (down)
            det += (std::fabs(s * 0.97f) - det) * 0.01f;
        else
            det = std::fabs(s * 0.5f);
        pk = det > pk ? det : (1.0f - release) * det + release * pk;
        sm = (1.0f - attack) * pk + attack * sm;

        const double m = double(amount[i]) * settings.amountFactor;
        double gain = 1.0;
        if (down && sm > t)
            gain = td / ((1.0 - m) * td + m * sm);
        else if (!down && pk < t)
            gain = td / ((1.0 - m) * td + m * pk);
        gain *= settings.outputGain;
        left[i] = static_cast<float>(l * gain);
        right[i] = static_cast<float>(r * gain);
    }
    detector = det;
    peak = pk;
    smooth = sm;
}

} // namespace torvo

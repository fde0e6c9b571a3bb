#include "engine/notecurves.h"

#include <array>
#include <cmath>

namespace torvo {

const float kGlideTimeCurve[33] = {0.0f,    0.0017f, 0.0035f, 0.0053f, 0.0073f, 0.0094f, 0.0117f,
                                   0.0143f, 0.0173f, 0.0207f, 0.0247f, 0.0293f, 0.0347f, 0.0412f,
                                   0.0488f, 0.0579f, 0.0687f, 0.0816f, 0.0974f, 0.1164f, 0.1389f,
                                   0.1668f, 0.2001f, 0.2409f, 0.2903f, 0.3499f, 0.4216f, 0.5071f,
                                   0.6077f, 0.7238f, 0.855f,  1.0f,    1.0f};

const float kVelocityCurve[33] = {0.0f,    0.0058f, 0.0125f, 0.0201f, 0.0286f, 0.0381f, 0.0485f,
                                  0.06f,   0.0725f, 0.0861f, 0.101f,  0.117f,  0.1344f, 0.1533f,
                                  0.1736f, 0.1955f, 0.2191f, 0.2445f, 0.2718f, 0.3015f, 0.3336f,
                                  0.3682f, 0.4056f, 0.4467f, 0.4913f, 0.5403f, 0.5946f, 0.655f,
                                  0.7227f, 0.8005f, 0.8911f, 1.0f,    1.0f};

const float kGlideLogCurve[33] = {0.0f,    0.0032f, 0.0064f, 0.0095f, 0.0126f, 0.0158f, 0.0192f,
                                  0.0227f, 0.0266f, 0.0309f, 0.0358f, 0.0416f, 0.0484f, 0.0566f,
                                  0.0669f, 0.0794f, 0.0947f, 0.1141f, 0.1377f, 0.1669f, 0.2025f,
                                  0.245f,  0.2949f, 0.3528f, 0.4177f, 0.4889f, 0.5656f, 0.6471f,
                                  0.7318f, 0.8195f, 0.9091f, 1.0f,    1.0f};

float curveAt(const float* curve, float x) {
    if (!(x > 0.0f)) return curve[0];
    if (x >= 31.0f) return curve[31];
    const int i = static_cast<int>(x);
    const float t = x - static_cast<float>(i);
    return curve[i] + (curve[i + 1] - curve[i]) * t;
}

float glideStepFor(float g, float sampleRate) {
    if (!(g > 0.0f)) return 0.0f;
    if (g > 1.0f) g = 1.0f;
    const float c = curveAt(kGlideTimeCurve, g * 31.0f);
    return 1.0f / (c * sampleRate * 4.0f + 1.0f);
}

float velocityLevel(int velocity) {
    return curveAt(kVelocityCurve, static_cast<float>(velocity) * 31.0f / 127.0f);
}

namespace {
constexpr int kSinPoints = 1024;

struct SinPiTable {
    SinPiTable() {
        for (int i = 0; i <= kSinPoints; ++i)
            values[i] = static_cast<float>(std::sin(M_PI * i / kSinPoints));
    }
    std::array<float, kSinPoints + 1> values{};
};

// Built when the library loads, never on the audio thread.
const SinPiTable sinPi;
} // namespace

float sinPiTable(float x) {
    if (!(x > 0.0f)) return 0.0f;
    if (x >= 1.0f) return 0.0f;
    const float f = x * kSinPoints;
    const int i = static_cast<int>(f);
    const float t = f - static_cast<float>(i);
    return sinPi.values[i] + (sinPi.values[i + 1] - sinPi.values[i]) * t;
}

} // namespace torvo

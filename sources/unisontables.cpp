#include "sources/unisontables.h"

#include <algorithm>

namespace torvo {

namespace {
using Row = std::array<float, kUnisonSlots>;
using Pattern = std::array<Row, kUnisonSlots>;

constexpr float kUdetCurve[17] = {0.0f,       0.00967268f, 0.0220363f, 0.0339636f, 0.0467636f,
                                  0.0591273f, 0.0714909f,  0.0838545f, 0.0967273f, 0.121527f,
                                  0.147127f,  0.193455f,   0.243418f,  0.293382f,  0.343345f,
                                  0.3928f,    1.0f};

// Detune patterns at density 0, 0.5, 0.75 and 1; the knob morphs linearly between them.
constexpr Pattern kDensityA = {{
    {0},
    {-2, 3},
    {-2, 0, 3},
    {-1.1f, -2, 3, 1.5f},
    {-1.1f, -2, 0, 2.5f, 1.5f},
    {-0.8f, -1.1f, -2, 2.4f, 1.5f, 1},
    {-0.8f, -1.1f, -2, 0, 2.3f, 1.5f, 1},
    {-0.5f, -0.8f, -1.1f, -2, 2.2f, 1.5f, 1, 0.5f},
    {-0.5f, -0.8f, -1.1f, -2, 0, 2.1f, 1.5f, 1, 0.5f},
}};
constexpr Pattern kDensityB = {{
    {0},
    {-0.49f, 0.5f},
    {-0.62f, 0.01f, 0.64f},
    {-0.74f, -0.24f, 0.26f, 0.76f},
    {-0.86f, -0.42f, 0.02f, 0.46f, 0.91f},
    {-0.98f, -0.58f, -0.17f, 0.24f, 0.64f, 1.05f},
    {-1.12f, -0.74f, -0.36f, 0.01f, 0.38f, 0.76f, 1.13f},
    {-1.25f, -0.89f, -0.53f, -0.18f, 0.18f, 0.54f, 0.9f, 1.25f},
    {-1.37f, -1.03f, -0.69f, -0.34f, 0, 0.35f, 0.69f, 1.03f, 1.38f},
}};
constexpr Pattern kDensityC = {{
    {0},
    {-4, 4},
    {-4, 0, 4},
    {-3, -4, 4, 3},
    {-3, -4, 0, 4, 3},
    {-2, -3, -4, 4, 3, 2},
    {-2, -3, -4, 0, 4, 3, 2},
    {-1, -2, -3, -4, 4, 3, 2, 1},
    {-1, -2, -3, -4, 0, 4, 3, 2, 1},
}};
constexpr Pattern kDensityD = {{
    {0},
    {-0.34f, 0.34f},
    {-0.34f, 0, 0.34f},
    {-1.12f, -0.34f, 0.34f, 1.05f},
    {-1.12f, -0.34f, 0, 0.34f, 1.05f},
    {-2.23f, -1.12f, -0.34f, 0.34f, 1.05f, 2.02f},
    {-2.23f, -1.12f, -0.34f, 0, 0.34f, 1.05f, 2.02f},
    {-3.62f, -2.23f, -1.12f, -0.34f, 0.34f, 1.05f, 2.02f, 3.48f},
    {-3.62f, -2.23f, -1.12f, -0.34f, 0, 0.34f, 1.05f, 2.02f, 3.48f},
}};

constexpr float kUnisonLevel[kUnisonSlots] = {1.0f,  0.67f,  0.58f, 0.49f, 0.45f,
                                              0.42f, 0.395f, 0.38f, 0.36f};

// Pans alternate sides so that neighbouring detunings fall on opposite sides of the image.
constexpr Pattern kUnisonPan = {{
    {0},
    {-1, 1},
    {-1, 0, 1},
    {1, -0.5f, 0.5f, -1},
    {1, -0.5f, 0, 0.5f, -1},
    {-1, 0.66f, -0.33f, 0.33f, -0.66f, 1},
    {-1, 0.66f, -0.33f, 0, 0.33f, -0.66f, 1},
    {1, -0.75f, 0.5f, -0.25f, 0.25f, -0.5f, 0.75f, -1},
    {1, -0.75f, 0.5f, -0.25f, 0, 0.25f, -0.5f, 0.75f, -1},
}};

// The octave spreads depend on the count: low copies first.
constexpr Pattern kTwoOctaves = {{
    {0},
    {0, 12},
    {0, 12, 12},
    {0, 0, 12, 12},
    {0, 0, 12, 12, 12},
    {0, 0, 0, 12, 12, 12},
    {0, 0, 0, 12, 12, 12, 12},
    {0, 0, 0, 0, 12, 12, 12, 12},
    {0, 0, 0, 0, 12, 12, 12, 12, 12},
}};
constexpr Pattern kThreeOctaves = {{
    {0},
    {0, 24},
    {0, 24, 24},
    {0, 0, 24, 24},
    {0, 0, 12, 24, 24},
    {0, 0, 12, 12, 24, 24},
    {0, 0, 12, 12, 24, 24, 24},
    {0, 0, 0, 12, 12, 24, 24, 24},
    {0, 0, 0, 12, 12, 12, 24, 24, 24},
}};

// Chords from "Major3rd" on: a smaller stack takes the first copies of the full one.
constexpr Row kChords[kUnisonChords - 3] = {
    {0, 4, 7, 12, 16, 19, 24, 28, 31},
    {0, 3, 7, 12, 15, 19, 24, 27, 31},
    {0, 4, 7, 11, 12, 16, 19, 23, 24},
    {0, 4, 7, 10, 12, 16, 19, 22, 24},
    {0, 3, 7, 11, 12, 15, 19, 23, 24},
    {0, 3, 7, 10, 12, 15, 19, 22, 24},
    {0, 14, 7, 3, 10, 19, 22, 15, 26},
    {0, 14, 7, 4, 11, 19, 23, 16, 26},
    {0, 10, 14, 4, 7, 16, 19, 22, 26},
    {0, 6, 3, 10, 12, 18, 15, 22, 24},
    {0, 6, 3, 9, 12, 18, 15, 21, 24},
    {0, 2, 7, 12, 14, 19, 24, 26, 31},
    {0, 5, 7, 12, 17, 19, 24, 29, 31},
    {0, 7.0195f, 12, 19.0195f, 24, 31.0195f, -24, -16.9805f, -12},
    {0, 4.9804f, 12, 16.9804f, 24, 28.9804f, -24, -19.0196f, -12},
};

bool inStack(int c, int voice) {
    return c >= 0 && c < kUnisonSlots && voice >= 0 && voice <= c;
}
} // namespace

float udetCurve(float v) {
    const float x = std::clamp(v, 0.0f, 1.0f) * 16.0f;
    const int i = std::min(static_cast<int>(x), 16);
    const float next = i < 16 ? kUdetCurve[i + 1] : kUdetCurve[0];
    return kUdetCurve[i] + (next - kUdetCurve[i]) * (x - static_cast<float>(i));
}

float unisonPattern(int c, int voice, float density) {
    if (!inStack(c, voice)) return 0.0f;
    const float d = std::clamp(density, 0.0f, 1.0f);
    if (d < 0.5f) {
        const float t = 2.0f * d;
        return (1.0f - t) * kDensityA[c][voice] + t * kDensityB[c][voice];
    }
    if (d < 0.75f) {
        const float t = (d - 0.5f) * 4.0f;
        return (1.0f - t) * kDensityB[c][voice] + t * kDensityC[c][voice];
    }
    const float t = (d - 0.75f) * 4.0f;
    return (1.0f - t) * kDensityC[c][voice] + t * kDensityD[c][voice];
}

float unisonChord(int chord, int c, int voice) {
    if (!inStack(c, voice) || chord < 0 || chord >= kUnisonChords) return 0.0f;
    switch (chord) {
    case 0:
        return 0.0f;
    case 1:
        return kTwoOctaves[c][voice];
    case 2:
        return kThreeOctaves[c][voice];
    default:
        return kChords[chord - 3][voice];
    }
}

float unisonLevel(int c) {
    return c >= 0 && c < kUnisonSlots ? kUnisonLevel[c] : 0.0f;
}

float unisonPan(int c, int voice) {
    return inStack(c, voice) ? kUnisonPan[c][voice] : 0.0f;
}

void computeUnison(const UnisonSettings& s, UnisonSpread& out) {
    const int c = std::clamp(s.count, 0, kUnisonSlots - 1);
    const float spread = udetCurve(s.detune);
    const float level = unisonLevel(c) * (s.invert ? -1.0f : 1.0f);
    out.detune.fill(0.0f);
    out.levelL.fill(0.0f);
    out.levelR.fill(0.0f);
    for (int i = 0; i <= c; ++i) {
        out.detune[i] =
            s.pitchOffset + unisonChord(s.chord, c, i) + spread * unisonPattern(c, i, s.density);
        const float w = (s.width * unisonPan(c, i) + 1.0f) * 0.5f;
        out.levelL[i] = (1.0f - w) * level;
        out.levelR[i] = w * level;
    }
    // The centre copy of an odd stack would otherwise sound on both sides at once.
    int centre = -1;
    float weaken = 1.0f;
    switch (c) {
    case 2:
        centre = 1;
        weaken = 0.7f;
        break;
    case 4:
        centre = 2;
        weaken = 0.5f;
        break;
    case 6:
        centre = 3;
        weaken = 0.5f;
        break;
    case 8:
        centre = 4;
        weaken = 0.5f;
        break;
    default:
        break;
    }
    if (centre >= 0) {
        out.levelL[centre] *= weaken;
        out.levelR[centre] *= weaken;
    }
}

} // namespace torvo

#include "modulators/lfoshapes.h"

#include "sources/wavebank.h"

#include <algorithm>
#include <cmath>

namespace torvo {

const float LfoTables::rate[kLfoRatePoints] = {0.0f, 0.06f, 0.17f, 0.33f, 0.83f, 1.25f,
                                               2.0f, 2.9f,  5.0f,  10.0f, 30.0f, 100.0f};

const float LfoTables::fadeTime[kLfoFadePoints] = {
    0.0f,    0.0275f, 0.0555f, 0.0868f, 0.1196f, 0.1557f, 0.1954f, 0.2374f,
    0.2865f, 0.3394f, 0.3973f, 0.4653f, 0.5407f, 0.6254f, 0.7213f, 0.8332f,
    0.9628f, 1.113f,  1.289f,  1.495f,  1.744f,  2.046f,  2.411f,  2.868f,
    3.441f,  4.184f,  5.171f,  6.487f,  8.249f,  10.51f,  13.16f,  16.0f};

const float LfoTables::fadeCurve[kLfoFadePoints] = {
    0.0f,    0.0155f, 0.032f,  0.0494f, 0.0677f, 0.087f,  0.1071f, 0.1282f,
    0.1502f, 0.1731f, 0.1969f, 0.2216f, 0.2474f, 0.2742f, 0.3019f, 0.3306f,
    0.3604f, 0.3912f, 0.4232f, 0.4565f, 0.4909f, 0.5267f, 0.564f,  0.6028f,
    0.6432f, 0.6857f, 0.7301f, 0.7771f, 0.8269f, 0.8799f, 0.9372f, 1.0f};

namespace {
constexpr float kFirstBagList[LfoPhaseBag::kSize] = {0.0f,  0.0625f, 0.125f, 0.1875f,
                                                     0.25f, 0.3125f, 0.375f, 0.4375f};
constexpr float kSecondBagList[LfoPhaseBag::kSize] = {0.5f,  0.5625f, 0.625f, 0.6875f,
                                                      0.75f, 0.8125f, 0.875f, 0.9375f};
} // namespace

float readLfoRate(float x) {
    if (!(x > 0.0f)) return LfoTables::rate[0];
    x = std::min(x, static_cast<float>(kLfoRatePoints) - 0.0001f);
    const int i = static_cast<int>(x);
    const float f = x - static_cast<float>(i);
    const float a = LfoTables::rate[i];
    const float b = LfoTables::rate[(i + 1) % kLfoRatePoints];
    return a + f * (b - a);
}

float lfoSine(double p, float m) {
    return lfoSineMorph(p, m, (std::sin(lfoSineAngle(p)) + 1.0) * 0.5);
}

LfoWaveSet lfoWavesOf(int form) {
    LfoWaveSet s;
    s.current = std::clamp(form - kLfoWaveFormOffset, 0, kWaveCount - 1);
    s.previous = form - 4 < 2 ? kWaveCount - 1 : form - 4;
    s.next = form - 2 >= kWaveCount ? 2 : form - 2;
    return s;
}

LfoPhaseBag::LfoPhaseBag() : ShuffledDeck(kFirstBagList, kSecondBagList) {}

} // namespace torvo

#include "sources/enginevowel.h"

#include <algorithm>

namespace torvo {

namespace {
constexpr float kFormantHz[EngineVowel::kFormants][EngineVowel::kVowels] = {
    {805, 660, 305, 480, 325},
    {1140, 1670, 2300, 890, 600},
    {2900, 2660, 3000, 2400, 2400},
    {3900, 3600, 3650, 3300, 3400},
};
} // namespace

float FormantStage::process(float in, float a, float fb) {
    x = fb * x + in;
    // Two cells, each used twice: s0, s1, s0, s1.
    float y = s0 - a * x;
    s0 = a * y + x;
    x = y;
    y = s1 - a * x;
    s1 = a * y + x;
    x = y;
    y = s0 - a * x;
    s0 = a * y + x;
    x = y;
    y = s1 - a * x;
    s1 = a * y + x;
    x = y;
    return x;
}

float EngineVowel::formantHz(int k, float position) {
    const float y = std::clamp(position, 0.0f, 1.0f) * 4.0f;
    const int i = static_cast<int>(y);
    const float g = y - static_cast<float>(i);
    const int next = std::min(i + 1, kVowels - 1);
    return kFormantHz[k][i] * (1.0f - g) + kFormantHz[k][next] * g;
}

void EngineVowel::seedPhases(const float* phases) {
    for (int i = 0; i < kUnisonSlots; ++i) readers[i].seed(phases[i]);
}

void EngineVowel::render(const OscBlock& b) {
    const int n = b.frames;
    float* sumL = buffers.sumL;
    float* sumR = buffers.sumR;
    clearBlock(sumL, n);
    clearBlock(sumR, n);
    const float* W = b.wtmix;
    for (int slot = 0; slot < b.count; ++slot) {
        slotNotes(b.pitch, b.detune[slot], buffers.note, n, b.reader.notesSteady);
        readers[slot].runInto(
            b.reader, slot, buffers.note, b.retrig, buffers.slot, n,
            [W](const float* saw, const float* la, const float* lb, float wa, float wb, float p,
                int i) {
                const float s = readTable(saw, p);
                return (1.0f - W[i]) * s + W[i] * readLevels(la, lb, wa, wb, p);
            },
            SlotSum{sumL, sumR, b.levelL[slot], b.levelR[slot]});
    }

    const float invRate = 1.0f / b.sampleRate;
    // The coefficients follow the controls; they are recomputed only when a control moves.
    float lastA = -1.0f;
    float lastB = -1.0f;
    float coef[kFormants] = {};
    float feedback[kFormants] = {};
    for (int i = 0; i < n; ++i) {
        const float A = b.ctrlA[i];
        const float B = b.ctrlB[i];
        if (A != lastA || B != lastB) {
            lastA = A;
            lastB = B;
            for (int k = 0; k < kFormants; ++k) {
                const float f =
                    (formantHz(k, A) * (1.1f + 2.4f * B) - 100.0f + 600.0f * B) * invRate;
                coef[k] = (1.0f - f) / (1.0f + f);
                feedback[k] = k == 0 && B < 0.2f ? -0.9f - 0.38f * B : -0.976f;
            }
        }
        const float inL = sumL[i];
        const float inR = sumR[i];
        float outL = 0.0f;
        float outR = 0.0f;
        for (int k = 0; k < kFormants; ++k) {
            outL += stagesL[k].process(inL, coef[k], feedback[k]);
            outR += stagesR[k].process(inR, coef[k], feedback[k]);
        }
        sumL[i] = outL * 0.25f;
        sumR[i] = outR * 0.25f;
    }
}

} // namespace torvo

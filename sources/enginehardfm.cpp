#include "sources/enginehardfm.h"

#include "engine/pool.h"
#include "sources/wavebank.h"

#include <algorithm>

namespace torvo {

namespace {
constexpr float kInterval[EngineHardFM::kIntervals] = {
    -12.0f, -7.0195f, 0.0f, 4.9806f, 7.0195f, 12.0f, 15.8637f, 19.0199f, 24.0f, 27.8631f, 31.02f};

using DepthRow = std::array<float, EngineHardFM::kDepthColumns>;
// Rows by brightness: the brighter a wave, the earlier its depth falls with the modulator's
// pitch, so that its side-bands stay below the band edge.
constexpr DepthRow kPure = {1, 1, 1, 1, 1, 1, 1, 0.75f, 0};
constexpr DepthRow kSoft = {1, 1, 1, 1, 1, 1, 0.62f, 0.5f, 0};
constexpr DepthRow kWarm = {1, 1, 1, 0.9f, 0.7f, 0.45f, 0.25f, 0.12f, 0};
constexpr DepthRow kRound = {1, 1, 0.845f, 0.55f, 0.195f, 0.085f, 0.03f, 0.03f, 0};
constexpr DepthRow kBright = {1, 0.8f, 0.5f, 0.25f, 0.1f, 0.04f, 0.02f, 0.02f, 0};
constexpr DepthRow kSharp = {1, 0.535f, 0.24f, 0.07f, 0.02f, 0.01f, 0.005f, 0.02f, 0};
constexpr DepthRow kHarsh = {1, 0.48f, 0.225f, 0.1f, 0.055f, 0.015f, 0.015f, 0.01f, 0};

constexpr const DepthRow* kFmDepthTable[kWaveCount] = {
    &kPure,   &kSoft,   &kSoft,   &kWarm,   &kWarm,   &kWarm,   &kWarm,   // Sin .. Para_4
    &kRound,  &kRound,  &kRound,  &kRound,                                // Bass
    &kRound,  &kRound,  &kRound,  &kRound,                                // Piano
    &kBright, &kBright, &kBright, &kBright, &kSharp,  &kBright, &kBright, // Violin .. Bayan
    &kRound,  &kBright, &kBright,                                         // Guitar
    &kWarm,   &kBright, &kBright,                                         // Organ
    &kBright, &kSharp,                                                    // Brass
    &kBright, &kBright, &kSharp,  &kSharp,  &kBright, &kBright,           // Vocal
    &kSharp,  &kSharp,  &kSharp,                                          // Robo
    &kBright, &kSharp,  &kSharp,                                          // Synth
    &kBright, &kSharp,                                                    // Inter
    &kSoft,   &kBright, &kSharp,                                          // FM
    &kHarsh,  &kHarsh,                                                    // Alarm
};
static_assert(sizeof(kFmDepthTable) / sizeof(kFmDepthTable[0]) == kWaveCount);

float clampNote(float n) {
    return n < 0.0f ? 0.0f : (n > 127.0f ? 127.0f : n);
}
} // namespace

float EngineHardFM::intervalFor(float ctrlB) {
    const float t = std::clamp(ctrlB, 0.0f, 1.0f) * 10.0f;
    const int i = static_cast<int>(t);
    const float g = t - static_cast<float>(i);
    // The knob snaps to harmonic ratios; inside a step it slides only slightly.
    return kInterval[i] + (g > 0.3f ? (g - 0.3f) * 0.004f * 127.0f : 0.0f);
}

float EngineHardFM::depthRow(int wave, float modNote) {
    const DepthRow& row = *kFmDepthTable[std::clamp(wave, 0, kWaveCount - 1)];
    const float x = std::clamp((modNote + 24.0f) * 8.0f / 127.0f, 0.0f, 8.0f);
    const int j = static_cast<int>(x);
    const float g = x - static_cast<float>(j);
    const float next = j < kDepthColumns - 1 ? row[j + 1] : row[0];
    return row[j] + (next - row[j]) * g;
}

void EngineHardFM::allocate(Pool& pool, int frames) {
    buffers.allocate(pool, frames);
    const int twice = 2 * frames;
    pitch2 = pool.get("hardfm pitch", twice);
    a2 = pool.get("hardfm ctrlA", twice);
    b2 = pool.get("hardfm ctrlB", twice);
    w2 = pool.get("hardfm wtmix", twice);
    retrig2 = pool.get("hardfm retrig", twice);
    carrierNote = pool.get("hardfm carrier note", twice);
    note1 = pool.get("hardfm mod note", twice);
    note2 = pool.get("hardfm next note", twice);
    out1 = pool.get("hardfm mod", twice);
    out2 = pool.get("hardfm next", twice);
    depth2 = pool.get("hardfm depth", twice);
    slot2 = pool.get("hardfm slot", twice);
    sumL2 = pool.get("hardfm sum L", twice);
    sumR2 = pool.get("hardfm sum R", twice);
    for (auto* group : {&modA, &modB, &carrier})
        for (TableReader& r : *group) r.incrementRatio = 0.5f;
}

void EngineHardFM::seedPhases(const float* phases) {
    for (int i = 0; i < kUnisonSlots; ++i) {
        modA[i].seed(phases[i]);
        modB[i].seed(phases[i]);
        carrier[i].seed(phases[i]);
    }
}

void EngineHardFM::render(const OscBlock& b) {
    const int n = b.frames;
    const int n2 = 2 * n;
    float y = smoothPitch < 0.0f ? b.pitch[0] : smoothPitch;
    for (int i = 0; i < n; ++i) {
        for (int k = 0; k < 2; ++k) {
            y += 0.05f * (b.pitch[i] - y);
            pitch2[2 * i + k] = y;
            a2[2 * i + k] = b.ctrlA[i];
            b2[2 * i + k] = b.ctrlB[i];
            w2[2 * i + k] = b.wtmix[i];
        }
        retrig2[2 * i] = b.retrig[i];
        retrig2[2 * i + 1] = 0.0f;
    }
    smoothPitch = y;
    // At twice the rate the glide takes half the step per sub-sample.
    depth.fill(a2, retrig2, b.envAtRetrig != 0.0f, 200.0f / b.sampleRate, depth2, n2);
    clearBlock(sumL2, n2);
    clearBlock(sumR2, n2);

    ReaderBlock rb = b.reader;
    rb.fadeStep *= 0.5f;
    rb.notesSteady = isConstant(pitch2, n2);
    ReaderBlock modBlock = rb;
    modBlock.notesSteady = rb.notesSteady && isConstant(b2, n2);
    ReaderBlock next = modBlock;
    const int wave = b.waveIndex;
    const int nextWave = wave + 1 < kWaveCount ? wave + 1 : 0;
    next.wave = waveAddress(nextWave);
    const auto levels = [](const float*, const float* la, const float* lb, float wa, float wb,
                           float p, int) { return readLevels(la, lb, wa, wb, p); };
    for (int slot = 0; slot < b.count; ++slot) {
        const float det = b.detune[slot];
        float lastB = -1.0f;
        float interval = 0.0f;
        for (int i = 0; i < n2; ++i) {
            if (b2[i] != lastB) {
                lastB = b2[i];
                interval = intervalFor(lastB) * (1.0f / 127.0f);
            }
            const float m = clampNote((pitch2[i] + interval) * 127.0f + det);
            note1[i] = clampNote(m - 12.0f);
            note2[i] = clampNote(note1[i] - 12.0f);
            carrierNote[i] = clampNote(pitch2[i] * 127.0f + det);
        }
        modA[slot].run(modBlock, slot, note1, retrig2, out1, n2, levels);
        modB[slot].run(next, slot, note2, retrig2, out2, n2, levels);
        float lastNote = -1.0f;
        float r1 = 0.0f;
        float r2 = 0.0f;
        for (int i = 0; i < n2; ++i) {
            const float w = w2[i];
            if (note2[i] != lastNote) {
                lastNote = note2[i];
                r1 = depthRow(wave, lastNote);
                r2 = depthRow(nextWave, lastNote);
            }
            float d = ((1.0f - w) * r1 + w * r2) * depth2[i];
            if (wave != 0) d *= 1.0f + w;
            out1[i] = ((1.0f - w) * out1[i] + w * out2[i]) * d * 4096.0f;
        }
        const float* mod = out1;
        carrier[slot].run(
            rb, slot, carrierNote, retrig2, slot2, n2,
            [mod](const float*, const float* la, const float* lb, float wa, float wb, float p,
                  int i) { return readLevels(la, lb, wa, wb, wrapOnce(p + mod[i])); });
        const float l = b.levelL[slot];
        const float r = b.levelR[slot];
        for (int i = 0; i < n2; ++i) {
            sumL2[i] += l * slot2[i];
            sumR2[i] += r * slot2[i];
        }
    }
    for (int i = 0; i < n; ++i) {
        buffers.sumL[i] = 0.5f * (sumL2[2 * i] + sumL2[2 * i + 1]);
        buffers.sumR[i] = 0.5f * (sumR2[2 * i] + sumR2[2 * i + 1]);
    }
}

} // namespace torvo

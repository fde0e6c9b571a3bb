#include "sources/enginenoise.h"

#include "engine/globaltables.h"

#include <algorithm>
#include <cmath>

namespace torvo {

namespace {
constexpr uint32_t kSeedA = 1732584193u;
constexpr uint32_t kSeedLeft = 0xefcdab89u;
constexpr uint32_t kSeedRight = 0xefabcd89u;
constexpr float kWhiteScale = 6.9849196e-11f;
/// An octave on the 0..1 pitch scale.
constexpr float kOctave = 12.0f / 127.0f;

struct SinTable {
    float v[1024];
    SinTable() {
        for (int i = 0; i < 1024; ++i)
            v[i] = static_cast<float>(std::round(std::sin(3.14159265358979 * i / 1023.0) * 1000.0) /
                                      1000.0);
    }
};
const SinTable kSin;

float readNoteFrequency(float x) {
    const float* hz = noteFrequencyTable();
    const float n = x * 127.0f;
    const int i = static_cast<int>(n);
    const int next = std::min(i + 1, 127);
    return hz[i] + (hz[next] - hz[i]) * (n - static_cast<float>(i));
}

float coefficientFor(float x, float invRate) {
    const float ratio = std::clamp(readNoteFrequency(x) * invRate, 0.0f, 1.0f) * 1023.0f;
    const int i = static_cast<int>(ratio);
    const int next = std::min(i + 1, 1023);
    return kSin.v[i] + (kSin.v[next] - kSin.v[i]) * (ratio - static_cast<float>(i));
}
} // namespace

const float* sinTable() {
    return kSin.v;
}

void PinkNoise::seed(uint32_t aSeed, uint32_t bSeed) {
    a = aSeed;
    b = bSeed;
    b0 = b1 = b2 = 0.0f;
}

float PinkNoise::next() {
    const uint32_t s = b;
    a ^= s;
    b = a + s;
    const float white = static_cast<float>(static_cast<int32_t>(s)) * kWhiteScale;
    b0 = 0.99765f * b0 + 0.099046f * white;
    b1 = 0.963f * b1 + 0.2965164f * white;
    b2 = 0.57f * b2 + 1.0526913f * white;
    return b0 + b1 + b2 + 0.1848f * white;
}

EngineNoise::EngineNoise() {
    left.seed(kSeedA, kSeedLeft);
    right.seed(kSeedA, kSeedRight);
}

void EngineNoise::seedPhases(const float* phases) {
    for (int i = 0; i < kUnisonSlots; ++i) readers[i].seed(phases[i]);
}

void EngineNoise::fillCutoff(const OscBlock& b, float* cut) const {
    const int n = b.frames;
    const float inv = 1.0f / b.sampleRate;
    if (b.keyTrack) {
        // The filter follows the key an octave down.
        const float offset = b.detune[0] * (1.0f / 127.0f) - kOctave;
        float last = -1.0f;
        float f = 0.0f;
        for (int i = 0; i < n; ++i) {
            const float x = std::clamp(b.pitch[i] + offset, 0.0f, 0.9f);
            if (x != last) {
                last = x;
                f = coefficientFor(x, inv);
            }
            cut[i] = f;
        }
        return;
    }
    // The upper half of ctrlA repeats the lower half's cut-off with the high-pass tap.
    float last = -1.0f;
    float f = 0.0f;
    for (int i = 0; i < n; i += 4) {
        const float fold = b.ctrlA[i] > 0.5f ? 0.5f : 0.0f;
        for (int k = 0; k < 4; ++k) {
            const float x = std::clamp(2.0f * (b.ctrlA[i + k] - fold), 0.0f, 0.9f);
            if (x != last) {
                last = x;
                f = coefficientFor(x, inv);
            }
            cut[i + k] = f;
        }
    }
}

template <bool kHighPass> float EngineNoise::filter(NoiseSvf& s, float in, float f, float q) {
    float sum = 0.0f;
    for (int pass = 0; pass < 4; ++pass) {
        const float h = in - q * s.band;
        s.low += f * s.band;
        const float high = h - s.low;
        s.band += f * high;
        sum += kHighPass ? high : s.low;
    }
    return sum * 0.25f;
}

void EngineNoise::render(const OscBlock& b, float* outL, float* outR, float* cut, float* res) {
    const int n = b.frames;
    clearBlock(buffers.sumL, n);
    clearBlock(buffers.sumR, n);
    for (int slot = 0; slot < b.count; ++slot) {
        slotNotes(b.pitch, b.detune[slot], buffers.note, n, b.reader.notesSteady);
        readers[slot].runInto(
            b.reader, slot, buffers.note, b.retrig, buffers.slot, n,
            [](const float*, const float* la, const float* lb, float wa, float wb, float p, int) {
                return readLevels(la, lb, wa, wb, p);
            },
            SlotSum{buffers.sumL, buffers.sumR, b.levelL[slot], b.levelR[slot]});
    }

    fillCutoff(b, cut);
    const float* W = b.wtmix;
    const float* B = b.ctrlB;
    for (int i = 0; i < n; ++i) res[i] = 0.9f - (1.0f - W[i]) * B[i] * 0.89f;

    const bool repeatable = b.phaseValue > 0.0f;
    const float c = (b.width + 1.0f) * 0.5f;
    const bool keyHighPass = b.ctrlAValue > 0.5f;
    for (int i = 0; i < n; ++i) {
        if (b.retrig[i] == 1.0f && repeatable) {
            // Every note starts the same noise: seeds and filters from a known state.
            left.seed(kSeedA, 0xefcd0000u + static_cast<uint32_t>(b.phaseValue * 43913.0f));
            right.seed(kSeedA, 0xefab0000u + static_cast<uint32_t>(b.phaseValue * 52617.0f));
            filterL = NoiseSvf{};
            filterR = NoiseSvf{};
        }
        const float pl = left.next();
        const float pr = right.next();
        const float w = W[i];
        const float inL = (pr * (1.0f - c) + pl * c) * (1.0f - w) + w * buffers.sumL[i];
        const float inR = (pl * (1.0f - c) + pr * c) * (1.0f - w) + w * buffers.sumR[i];
        const bool highPass = b.keyTrack ? keyHighPass : b.ctrlA[i] > 0.5f;
        if (highPass) {
            outL[i] = filter<true>(filterL, inL, cut[i], res[i]);
            outR[i] = filter<true>(filterR, inR, cut[i], res[i]);
        } else {
            outL[i] = filter<false>(filterL, inL, cut[i], res[i]);
            outR[i] = filter<false>(filterR, inR, cut[i], res[i]);
        }
    }
}

} // namespace torvo

#include "sources/enginehardfm.h"

#include "engine/pool.h"
#include "sources/wavebank.h"

#include <emmintrin.h>

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

/// Each of the first `frames` values twice, four at a time (the output holds 2 * frames plus
/// its padding).
void twice(const float* in, float* out, int frames) {
    for (int i = 0; i < frames; i += 4) {
        const __m128 x = _mm_loadu_ps(in + i);
        _mm_storeu_ps(out + 2 * i, _mm_unpacklo_ps(x, x));
        _mm_storeu_ps(out + 2 * i + 4, _mm_unpackhi_ps(x, x));
    }
}

/// Each value in the first of two sub-samples, 0 in the second.
void firstOfTwo(const float* in, float* out, int frames) {
    const __m128 zero = _mm_setzero_ps();
    for (int i = 0; i < frames; i += 4) {
        const __m128 x = _mm_loadu_ps(in + i);
        _mm_storeu_ps(out + 2 * i, _mm_unpacklo_ps(x, zero));
        _mm_storeu_ps(out + 2 * i + 4, _mm_unpackhi_ps(x, zero));
    }
}

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

namespace {
/// What the steady loop of one slot reads and where it adds.
struct SteadyReads {
    const TableReader& mod;
    const TableReader& next;
    const TableReader& carrier;
    float row;
    float nextRow;
    const float* morph;
    const float* depth;
    float* sumL;
    float* sumR;
    float levelL;
    float levelR;
    int padded;
};

/// The steady loop: `ReadMod` false when the depth is 0 throughout (the carrier alone),
/// `ReadNext` false when the morph is (the next wave weighs 0 and is not read), `Boosted` for
/// every wave but the first, whose depth the morph raises.
template <bool ReadMod, bool ReadNext, bool Boosted> void readSteady(const SteadyReads& s) {
    // Local copies stay in registers: the stores into the sums cannot touch them.
    const TableReader ta = s.mod;
    const TableReader tn = s.next;
    const TableReader tc = s.carrier;
    simd::FixedPhase pa(ta.phase, ta.increment);
    simd::FixedPhase pn(tn.phase, tn.increment);
    simd::FixedPhase pc(tc.phase, tc.increment);
    const __m128 r1 = _mm_set1_ps(s.row);
    const __m128 r2 = _mm_set1_ps(s.nextRow);
    const __m128 one = _mm_set1_ps(1.0f);
    const __m128 l = _mm_set1_ps(s.levelL);
    const __m128 r = _mm_set1_ps(s.levelR);
    float* __restrict sumL = s.sumL;
    float* __restrict sumR = s.sumR;
    for (int i = 0; i < s.padded; i += 4) {
        __m128i at = pc.nextPhases();
        if constexpr (ReadMod) {
            const __m128 w = _mm_loadu_ps(s.morph + i);
            const __m128 rest = _mm_sub_ps(one, w);
            const __m128 a = simd::readLevels4(ta.tables, pa.next());
            __m128 nextRead = _mm_setzero_ps();
            if constexpr (ReadNext) nextRead = simd::readLevels4(tn.tables, pn.next());
            __m128 d = _mm_mul_ps(_mm_add_ps(_mm_mul_ps(rest, r1), _mm_mul_ps(w, r2)),
                                  _mm_loadu_ps(s.depth + i));
            if constexpr (Boosted) d = _mm_mul_ps(d, _mm_add_ps(one, w));
            const __m128 mod =
                _mm_mul_ps(_mm_mul_ps(_mm_add_ps(_mm_mul_ps(rest, a), _mm_mul_ps(w, nextRead)), d),
                           _mm_set1_ps(4096.0f));
            at = wrapOnceFixed(at, mod);
        }
        const __m128 out = simd::readLevels4(tc.tables, simd::cellsOfFixed(at));
        _mm_storeu_ps(sumL + i, _mm_add_ps(_mm_loadu_ps(sumL + i), _mm_mul_ps(l, out)));
        _mm_storeu_ps(sumR + i, _mm_add_ps(_mm_loadu_ps(sumR + i), _mm_mul_ps(r, out)));
    }
}
} // namespace

void EngineHardFM::notesFor(float pitch, float ctrlB, float det, float& mod1, float& mod2,
                            float& carrierAt) {
    const float interval = intervalFor(ctrlB) * (1.0f / 127.0f);
    const float m = clampNote((pitch + interval) * 127.0f + det);
    mod1 = clampNote(m - 12.0f);
    mod2 = clampNote(mod1 - 12.0f);
    carrierAt = clampNote(pitch * 127.0f + det);
}

void EngineHardFM::renderSteadySlot(int slot, float det, float levelL, float levelR,
                                    const SteadySlot& s, int n2) {
    // One note per reader for the whole block: the notes, the depth rows and the tables are
    // looked up once, and the three phases run in fixed point, four sub-samples a step.
    float mod1 = 0.0f;
    float mod2 = 0.0f;
    float carrierAt = 0.0f;
    notesFor(pitch2[0], b2[0], det, mod1, mod2, carrierAt);
    TableReader& ra = modA[slot];
    TableReader& rn = modB[slot];
    TableReader& rc = carrier[slot];
    rc.beginSteady(*s.carrierBlock, carrierAt);
    // The readers hold one note each (readsOneNote()), so the steady checks look at the first
    // note only.
    if (s.readMod) {
        ra.beginSteady(*s.modBlock, mod1);
    } else {
        ra.skipSteady(*s.modBlock, &mod1, n2);
    }
    if (s.readNext) {
        rn.beginSteady(*s.nextBlock, mod2);
    } else {
        rn.skipSteady(*s.nextBlock, &mod2, n2);
    }
    const SteadyReads reads{ra,
                            rn,
                            rc,
                            depthRow(s.wave, mod2),
                            depthRow(s.nextWave, mod2),
                            w2,
                            depth2,
                            sumL2,
                            sumR2,
                            levelL,
                            levelR,
                            (n2 + 3) & ~3};
    // The choices that hold for the block are made once, outside the loop.
    if (!s.readMod) {
        readSteady<false, false, false>(reads);
    } else if (s.readNext) {
        if (s.wave != 0) {
            readSteady<true, true, true>(reads);
        } else {
            readSteady<true, true, false>(reads);
        }
    } else if (s.wave != 0) {
        readSteady<true, false, true>(reads);
    } else {
        readSteady<true, false, false>(reads);
    }
    rc.phase = simd::FixedPhase::after(rc.phase, rc.increment, n2);
    if (s.readMod) ra.phase = simd::FixedPhase::after(ra.phase, ra.increment, n2);
    if (s.readNext) rn.phase = simd::FixedPhase::after(rn.phase, rn.increment, n2);
}

void EngineHardFM::renderSlot(const OscBlock& b, int slot, float det, const ReaderBlock& rb,
                              const ReaderBlock& modBlock, const ReaderBlock& next) {
    const int n2 = 2 * b.frames;
    const int wave = b.waveIndex;
    const int nextWave = wave + 1 < kWaveCount ? wave + 1 : 0;
    const auto levels = [](const float*, const float* la, const float* lb, float wa, float wb,
                           float p, int) { return readLevels(la, lb, wa, wb, p); };
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
    carrier[slot].run(rb, slot, carrierNote, retrig2, slot2, n2,
                      [mod](const float*, const float* la, const float* lb, float wa, float wb,
                            float p,
                            int i) { return readLevels(la, lb, wa, wb, wrapOnce(p + mod[i])); });
    const float l = b.levelL[slot];
    const float r = b.levelR[slot];
    for (int i = 0; i < n2; ++i) {
        sumL2[i] += l * slot2[i];
        sumR2[i] += r * slot2[i];
    }
}

void EngineHardFM::render(const OscBlock& b) {
    const int n = b.frames;
    const int n2 = 2 * n;
    float y = smoothPitch < 0.0f ? b.pitch[0] : smoothPitch;
    // Once the smoothing has settled on a held pitch it stays there: a step that leaves y
    // as it is leaves it so for the whole block.
    if (y + 0.05f * (b.pitch[0] - y) == y && isConstant(b.pitch, n)) {
        std::fill(pitch2, pitch2 + n2, y);
    } else {
        for (int i = 0; i < n; ++i) {
            for (int k = 0; k < 2; ++k) {
                y += 0.05f * (b.pitch[i] - y);
                pitch2[2 * i + k] = y;
            }
        }
    }
    smoothPitch = y;
    twice(b.ctrlA, a2, n);
    twice(b.ctrlB, b2, n);
    twice(b.wtmix, w2, n);
    firstOfTwo(b.retrig, retrig2, n);
    // At twice the rate the glide takes half the step per sub-sample.
    const bool sounding = b.envAtRetrig != 0.0f;
    if (!depth.gliding && !(sounding && holdsValue(retrig2, n2, 1.0f))) {
        // No glide runs or starts: the depth is ctrlA itself, as the glide would give it.
        std::copy(a2, a2 + n2, depth2);
        depth.y = a2[n2 - 1];
    } else {
        depth.fill(a2, retrig2, sounding, 200.0f / b.sampleRate, depth2, n2);
    }
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
    // Smoothed streams move monotonically: 0 at both ends and no route means 0 throughout.
    // With no morph the next wave's reads are multiplied away; with no depth the modulators'.
    const bool noMorph = !b.wtmixModulated && b.wtmix[0] == 0.0f && b.wtmix[n - 1] == 0.0f;
    const bool noDepth = isConstant(depth2, n2) && depth2[0] == 0.0f;
    for (int slot = 0; slot < b.count; ++slot) {
        const float det = b.detune[slot];
        if (modA[slot].readsOneNote(modBlock) && modB[slot].readsOneNote(next) &&
            carrier[slot].readsOneNote(rb)) {
            SteadySlot s;
            s.modBlock = &modBlock;
            s.nextBlock = &next;
            s.carrierBlock = &rb;
            s.wave = wave;
            s.nextWave = nextWave;
            s.readNext = !noMorph && !noDepth;
            s.readMod = !noDepth;
            renderSteadySlot(slot, det, b.levelL[slot], b.levelR[slot], s, n2);
            continue;
        }
        renderSlot(b, slot, det, rb, modBlock, next);
    }
    for (int i = 0; i < n; ++i) {
        buffers.sumL[i] = 0.5f * (sumL2[2 * i] + sumL2[2 * i + 1]);
        buffers.sumR[i] = 0.5f * (sumR2[2 * i] + sumR2[2 * i + 1]);
    }
}

} // namespace torvo

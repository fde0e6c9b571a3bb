#include "sources/engineclassic.h"

namespace torvo {

void EngineClassic::seedPhases(const float* phases) {
    for (int i = 0; i < kUnisonSlots; ++i) readers[i].seed(phases[i]);
}

EngineClassic::Variant EngineClassic::variantFor(const OscBlock& b) {
    const int last = b.frames - 1;
    // Smoothed streams move monotonically, so the ends of the block tell whether a control
    // sits exactly at an end of its range for the whole block.
    const bool noPulse = !b.ctrlAModulated && b.ctrlA[0] == 0.0f && b.ctrlA[last] == 0.0f;
    const bool noWave = !b.wtmixModulated && b.wtmix[0] == 0.0f && b.wtmix[last] == 0.0f;
    const bool allWave = !b.wtmixModulated && b.wtmix[0] == 1.0f && b.wtmix[last] == 1.0f;
    if (noPulse && noWave) return kSawOnly;
    if (allWave) return kWaveOnly;
    if (noWave) return kPulseOnly;
    return kBoth;
}

void EngineClassic::render(const OscBlock& b) {
    const int n = b.frames;
    clearBlock(buffers.sumL, n);
    clearBlock(buffers.sumR, n);
    const Variant variant = variantFor(b);
    const float* A = b.ctrlA;
    const float* W = b.wtmix;
    const int* shift = b.shift;
    for (int slot = 0; slot < b.count; ++slot) {
        slotNotes(b.pitch, b.detune[slot], buffers.note, n, b.reader.notesSteady);
        TableReader& r = readers[slot];
        const SlotSum sum{buffers.sumL, buffers.sumR, b.levelL[slot], b.levelR[slot]};
        switch (variant) {
        case kSawOnly:
            r.runVectorInto(
                b.reader, slot, buffers.note, b.retrig, buffers.slot, n,
                [](const float* saw, const float*, const float*, float, float, float p, int) {
                    return readTable(saw, p);
                },
                [](const TableReader& t, simd::Cells c, int) {
                    return simd::read4(t.sawTable, c.index, c.frac);
                },
                sum);
            break;
        case kWaveOnly:
            r.runVectorInto(
                b.reader, slot, buffers.note, b.retrig, buffers.slot, n,
                [shift](const float*, const float* la, const float* lb, float wa, float wb, float p,
                        int i) {
                    return wa * readTableOffset(la, p, shift[i]) +
                           wb * readTableOffset(lb, p, shift[i]);
                },
                [shift](const TableReader& t, simd::Cells c, int i) {
                    const __m128i at = simd::shifted(
                        c.index, _mm_loadu_si128(reinterpret_cast<const __m128i*>(shift + i)));
                    return simd::readLevels4(t.levelA, t.levelB, t.weightA, t.weightB,
                                             simd::Cells{at, c.frac});
                },
                sum);
            break;
        case kPulseOnly:
            // The blend's weight is 0 throughout: the wave's reads would be multiplied away.
            r.runVectorInto(
                b.reader, slot, buffers.note, b.retrig, buffers.slot, n,
                [A, shift](const float* saw, const float*, const float*, float, float, float p,
                           int i) {
                    float s = readTable(saw, p);
                    s -= A[i] * readTableOffset(saw, p, shift[i]);
                    return s;
                },
                [A, shift](const TableReader& t, simd::Cells c, int i) {
                    const __m128i at = simd::shifted(
                        c.index, _mm_loadu_si128(reinterpret_cast<const __m128i*>(shift + i)));
                    const __m128 a = _mm_loadu_ps(A + i);
                    return _mm_sub_ps(simd::read4(t.sawTable, c.index, c.frac),
                                      _mm_mul_ps(a, simd::read4(t.sawTable, at, c.frac)));
                },
                sum);
            break;
        case kBoth:
            r.runVectorInto(
                b.reader, slot, buffers.note, b.retrig, buffers.slot, n,
                [A, W, shift](const float* saw, const float* la, const float* lb, float wa,
                              float wb, float p, int i) {
                    const int sh = shift[i];
                    float s = readTable(saw, p);
                    s -= A[i] * readTableOffset(saw, p, sh);
                    const float w =
                        wa * readTableOffset(la, p, sh) + wb * readTableOffset(lb, p, sh);
                    return (1.0f - W[i]) * s + W[i] * w;
                },
                [A, W, shift](const TableReader& t, simd::Cells c, int i) {
                    const __m128i at = simd::shifted(
                        c.index, _mm_loadu_si128(reinterpret_cast<const __m128i*>(shift + i)));
                    const __m128 a = _mm_loadu_ps(A + i);
                    const __m128 w = _mm_loadu_ps(W + i);
                    const __m128 pulse =
                        _mm_sub_ps(simd::read4(t.sawTable, c.index, c.frac),
                                   _mm_mul_ps(a, simd::read4(t.sawTable, at, c.frac)));
                    const __m128 wave = simd::readLevels4(t.levelA, t.levelB, t.weightA, t.weightB,
                                                          simd::Cells{at, c.frac});
                    return _mm_add_ps(_mm_mul_ps(_mm_sub_ps(_mm_set1_ps(1.0f), w), pulse),
                                      _mm_mul_ps(w, wave));
                },
                sum);
            break;
        }
    }
}

} // namespace torvo

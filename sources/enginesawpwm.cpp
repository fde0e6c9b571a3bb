#include "sources/enginesawpwm.h"

#include <algorithm>

namespace torvo {

namespace {

/// Four samples of the engine for a steady block, from their phases. Without `Wave` the blend
/// weight is 0 for the whole block and the wave's reads, which it would multiply away, are
/// left out.
template <bool Wave>
inline __m128 pulseSamples(const TableReader& r, float ratio, const float* B, const float* W,
                           const int* shift, __m128 p, int i) {
    const simd::Cells c = simd::cellsOf(p);
    const __m128 e = _mm_add_ps(simd::read4(r.sawTable, c.index, c.frac), _mm_set1_ps(0.7f));
    // The multiple of a phase below one cycle needs at most three wraps.
    const __m128 cycle = _mm_set1_ps(4096.0f);
    __m128 p2 = _mm_mul_ps(_mm_set1_ps(ratio), p);
    for (int w = 0; w < 3; ++w) p2 = _mm_sub_ps(p2, _mm_and_ps(_mm_cmpgt_ps(p2, cycle), cycle));
    const simd::Cells c2 = simd::cellsOf(p2);
    const __m128i back = _mm_sub_epi32(
        _mm_setzero_si128(), _mm_loadu_si128(reinterpret_cast<const __m128i*>(shift + i)));
    const __m128i at = simd::shifted(c2.index, back);
    const __m128 d = _mm_sub_ps(simd::read4(r.sawTable, c2.index, c2.frac),
                                simd::read4(r.sawTable, at, c2.frac));
    const __m128 k = _mm_sub_ps(_mm_set1_ps(1.0f), _mm_loadu_ps(B + i));
    const __m128 s = _mm_sub_ps(_mm_mul_ps(_mm_add_ps(_mm_mul_ps(_mm_set1_ps(1.3f), k), d), e),
                                _mm_mul_ps(_mm_set1_ps(0.8f), k));
    if (!Wave) return s;
    const __m128 w =
        simd::readLevels4(r.levelA, r.levelB, r.weightA, r.weightB, simd::Cells{at, c2.frac});
    const __m128 mix = _mm_loadu_ps(W + i);
    return _mm_add_ps(_mm_mul_ps(_mm_sub_ps(_mm_set1_ps(1.0f), mix), s), _mm_mul_ps(mix, w));
}

} // namespace

void EngineSawPwm::seedPhases(const float* phases) {
    for (int i = 0; i < kUnisonSlots; ++i) readers[i].seed(phases[i]);
}

void EngineSawPwm::render(const OscBlock& b) {
    const int n = b.frames;
    clearBlock(buffers.sumL, n);
    clearBlock(buffers.sumR, n);
    const float ratio = static_cast<float>(ratioFor(std::clamp(b.ctrlA[0], 0.0f, 1.0f)));
    const float* B = b.ctrlB;
    const float* W = b.wtmix;
    const int* shift = b.shift;
    // Smoothed streams move monotonically: 0 at both ends and no route means 0 throughout.
    const bool noWave = !b.wtmixModulated && W[0] == 0.0f && W[n - 1] == 0.0f;
    const auto read = [ratio, B, W, shift](const float* saw, const float* la, const float* lb,
                                           float wa, float wb, float p, int i) {
        const float e = readTable(saw, p) + 0.7f;
        float p2 = ratio * p;
        while (p2 > 4096.0f) p2 -= 4096.0f;
        const int back = -shift[i];
        const float d = readTable(saw, p2) - readTableOffset(saw, p2, back);
        const float k = 1.0f - B[i];
        const float s = (1.3f * k + d) * e - 0.8f * k;
        const float w = wa * readTableOffset(la, p2, back) + wb * readTableOffset(lb, p2, back);
        return (1.0f - W[i]) * s + W[i] * w;
    };
    for (int slot = 0; slot < b.count; ++slot) {
        TableReader& r = readers[slot];
        slotNotes(b.pitch, b.detune[slot], buffers.note, r.readsOneNote(b.reader) ? 1 : n,
                  b.reader.notesSteady);
        const SlotSum sum{buffers.sumL, buffers.sumR, b.levelL[slot], b.levelR[slot]};
        if (noWave)
            r.runPhaseVectorInto(
                b.reader, slot, buffers.note, b.retrig, buffers.slot, n, read,
                [ratio, B, W, shift](const TableReader& t, __m128 p, int i) {
                    return pulseSamples<false>(t, ratio, B, W, shift, p, i);
                },
                sum);
        else
            r.runPhaseVectorInto(
                b.reader, slot, buffers.note, b.retrig, buffers.slot, n, read,
                [ratio, B, W, shift](const TableReader& t, __m128 p, int i) {
                    return pulseSamples<true>(t, ratio, B, W, shift, p, i);
                },
                sum);
    }
}

} // namespace torvo

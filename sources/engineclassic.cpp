#include "sources/engineclassic.h"

#include "sources/steadygroups.h"

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

template <int Group, class Read, class VRead>
void EngineClassic::renderSlots(const OscBlock& b, Read read, VRead vread) {
    renderSlotsGrouped<Group>(readers, b, buffers, simd::FixedPhase(), vread,
                              [&](TableReader& r, int slot, const SlotSum& sum) {
                                  r.runVectorInto(b.reader, slot, buffers.note, b.retrig,
                                                  buffers.slot, b.frames, read, vread, sum);
                              });
}

void EngineClassic::render(const OscBlock& b) {
    const float* A = b.ctrlA;
    const float* W = b.wtmix;
    const int* shift = b.shift;
    switch (variantFor(b)) {
    case kSawOnly:
        renderSlots<3>(
            b,
            [](const float* saw, const float*, const float*, float, float, float p, int) {
                return readTable(saw, p);
            },
            [](const TableReader& t, const simd::Cells4& c, int) {
                return simd::read4(t.tables.saw, c);
            });
        break;
    case kWaveOnly:
        renderSlots<2>(
            b,
            [shift](const float*, const float* la, const float* lb, float wa, float wb, float p,
                    int i) {
                return wa * readTableOffset(la, p, shift[i]) +
                       wb * readTableOffset(lb, p, shift[i]);
            },
            [shift](const TableReader& t, const simd::Cells4& c, int i) {
                return simd::readLevels4(t.tables, simd::shifted(c, shift + i));
            });
        break;
    case kPulseOnly:
        // The blend's weight is 0 throughout: the wave's reads would be multiplied away.
        renderSlots<3>(
            b,
            [A, shift](const float* saw, const float*, const float*, float, float, float p, int i) {
                float s = readTable(saw, p);
                s -= A[i] * readTableOffset(saw, p, shift[i]);
                return s;
            },
            [A, shift](const TableReader& t, const simd::Cells4& c, int i) {
                const __m128 a = _mm_loadu_ps(A + i);
                return _mm_sub_ps(
                    simd::read4(t.tables.saw, c),
                    _mm_mul_ps(a, simd::read4(t.tables.saw, simd::shifted(c, shift + i))));
            });
        break;
    case kBoth:
        renderSlots<1>(
            b,
            [A, W, shift](const float* saw, const float* la, const float* lb, float wa, float wb,
                          float p, int i) {
                const int sh = shift[i];
                float s = readTable(saw, p);
                s -= A[i] * readTableOffset(saw, p, sh);
                const float w = wa * readTableOffset(la, p, sh) + wb * readTableOffset(lb, p, sh);
                return (1.0f - W[i]) * s + W[i] * w;
            },
            [A, W, shift](const TableReader& t, const simd::Cells4& c, int i) {
                const simd::Cells4 at = simd::shifted(c, shift + i);
                const __m128 a = _mm_loadu_ps(A + i);
                const __m128 w = _mm_loadu_ps(W + i);
                const __m128 pulse = _mm_sub_ps(simd::read4(t.tables.saw, c),
                                                _mm_mul_ps(a, simd::read4(t.tables.saw, at)));
                const __m128 wave = simd::readLevels4(t.tables, at);
                return _mm_add_ps(_mm_mul_ps(_mm_sub_ps(_mm_set1_ps(1.0f), w), pulse),
                                  _mm_mul_ps(w, wave));
            });
        break;
    }
}

} // namespace torvo

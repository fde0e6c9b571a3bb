#include "sources/enginesawpwm.h"

#include "sources/steadygroups.h"

#include <algorithm>
#include <type_traits>

namespace torvo {

namespace {

/// The note's phase and its whole multiple, for a steady block, four samples a step.
struct PulsePhases {
    struct Cells {
        simd::Cells4 note;
        simd::Cells4 fast;
    };
    void start(float phase, float increment) {
        note.start(phase, increment);
        fast = note.multiple(ratio);
    }
    Cells next() { return {note.next(), fast.next()}; }
    Cells cellsAt(__m128i phases, int) const {
        return {simd::cellsOfFixed(phases),
                simd::cellsOfFixed(simd::FixedPhase::times(phases, ratio))};
    }

    int ratio = 1;
    simd::FixedPhase note;
    simd::FixedPhase fast;
};

/// Four samples from the engine's reads: `note` the note's saw, `fast` and `back` the saw at
/// the multiple and at the multiple shifted back by the width; wave() reads the wave at the
/// shifted multiple. Without `Wave` the blend weight is 0 for the whole block and the wave's
/// reads, which it would multiply away, are left out.
template <bool Wave, class WaveRead>
inline __m128 pulseFrom(__m128 note, __m128 fast, __m128 back, WaveRead wave, const float* B,
                        const float* W, int i) {
    const __m128 e = _mm_add_ps(note, _mm_set1_ps(0.7f));
    const __m128 d = _mm_sub_ps(fast, back);
    const __m128 k = _mm_sub_ps(_mm_set1_ps(1.0f), _mm_loadu_ps(B + i));
    const __m128 s = _mm_sub_ps(_mm_mul_ps(_mm_add_ps(_mm_mul_ps(_mm_set1_ps(1.3f), k), d), e),
                                _mm_mul_ps(_mm_set1_ps(0.8f), k));
    if (!Wave) return s;
    const __m128 mix = _mm_loadu_ps(W + i);
    return _mm_add_ps(_mm_mul_ps(_mm_sub_ps(_mm_set1_ps(1.0f), mix), s), _mm_mul_ps(mix, wave()));
}

/// Four samples of a steady block from the fixed-point phases.
template <bool Wave>
inline __m128 pulseSamples(const TableReader& r, const PulsePhases::Cells& c, const float* B,
                           const float* W, const int* shift, int i) {
    const simd::Cells4 back = simd::shiftedBack(c.fast, shift + i);
    return pulseFrom<Wave>(
        simd::read4(r.tables.saw, c.note), simd::read4(r.tables.saw, c.fast),
        simd::read4(r.tables.saw, back), [&] { return simd::readLevels4(r.tables, back); }, B, W,
        i);
}

} // namespace

void EngineSawPwm::seedPhases(const float* phases) {
    for (int i = 0; i < kUnisonSlots; ++i) readers[i].seed(phases[i]);
}

void EngineSawPwm::render(const OscBlock& b) {
    const int n = b.frames;
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
    PulsePhases proto;
    proto.ratio = static_cast<int>(ratio);
    const auto slots = [&](auto wave) {
        constexpr bool kWave = decltype(wave)::value;
        const auto vread = [B, W, shift](const TableReader& t, const PulsePhases::Cells& c, int i) {
            return pulseSamples<kWave>(t, c, B, W, shift, i);
        };
        renderSlotsGrouped<kWave ? 1 : 2>(
            readers, b, buffers, proto, vread, [&](TableReader& r, int slot, const SlotSum& sum) {
                r.runVectorInto(b.reader, slot, buffers.note, b.retrig, buffers.slot, n, read,
                                vread, sum, proto);
            });
    };
    if (noWave)
        slots(std::false_type());
    else
        slots(std::true_type());
}

} // namespace torvo

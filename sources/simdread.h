#pragma once
// Four table reads side by side, for the steady blocks of the oscillators. With one increment
// for the whole block the phase is run in 32-bit fixed point, one cycle being 2^32 (20 bits
// below the table point): the wrap is then the integer overflow, and a cell's pair is one shift
// of a general register. The cell numbers never pass through a vector register, which would
// cost more than the reads themselves; only the fractions are computed four at a time. The
// cells are fetched as (value, difference) pairs, two floats per load, and interpolated
// together.

#include "sources/wavebank.h"

#include <algorithm>
#include <cstdint>

#include <emmintrin.h>

namespace torvo::simd {

/// Fixed-point units per table point.
constexpr float kFixedPerPoint = 1048576.0f;
/// Bits of a fixed-point phase below the table point.
constexpr int kFixedFractionBits = 20;

/// Four samples' pairs (table points 0..4095) and their fractions.
struct Cells4 {
    std::uint32_t at[4];
    __m128 frac;
};

/// The phase of a steady block, four samples a step.
class FixedPhase {
public:
    FixedPhase() = default;
    FixedPhase(float phase, float increment) { start(phase, increment); }

    /// Starts at `phase` in [0, 4096] (4096 is the start of the next cycle).
    void start(float phase, float increment) { *this = at(toFixed(phase), toStep(increment)); }

    /// The cells of the next four samples.
    Cells4 next() {
        Cells4 c;
        c.frac = fractions(lanes);
        lanes = _mm_add_epi32(lanes, step4);
        for (int k = 0; k < 4; ++k) {
            c.at[k] = scalar >> kFixedFractionBits;
            scalar += step;
        }
        return c;
    }
    /// The fixed-point phases of the next four samples.
    __m128i nextPhases() {
        const __m128i p = lanes;
        lanes = _mm_add_epi32(lanes, step4);
        scalar += 4 * step;
        return p;
    }

    /// The same samples at `ratio` times this phase (and so at `ratio` times the increment),
    /// from where this one stands: the product wraps exactly as the phase itself does.
    FixedPhase multiple(int ratio) const {
        const std::uint32_t r = static_cast<std::uint32_t>(ratio);
        return at(scalar * r, step * r);
    }

    /// The cells of four fixed-point phases of sample `i` onwards, for a block whose
    /// increment moves (every phase source answers this the same way).
    static Cells4 cellsAt(__m128i phases, int i);
    /// Four fixed-point phases times a whole number, wrapping as the phases do.
    static __m128i times(__m128i phases, int ratio) {
        const __m128i r = _mm_set1_epi32(ratio);
        const __m128i even = _mm_mul_epu32(phases, r);
        const __m128i odd = _mm_mul_epu32(_mm_srli_epi64(phases, 32), r);
        return _mm_unpacklo_epi32(_mm_shuffle_epi32(even, _MM_SHUFFLE(3, 1, 2, 0)),
                                  _mm_shuffle_epi32(odd, _MM_SHUFFLE(3, 1, 2, 0)));
    }

    /// The fractions of four fixed-point phases.
    static __m128 fractions(__m128i phases) {
        const __m128i below = _mm_and_si128(phases, _mm_set1_epi32(0xFFFFF));
        return _mm_mul_ps(_mm_cvtepi32_ps(below), _mm_set1_ps(1.0f / kFixedPerPoint));
    }
    /// A phase in [0, 4096] in fixed point (4096 wraps to 0).
    static std::uint32_t toFixed(float phase) {
        // A phase out of its range (never expected) starts the cycle rather than overflowing.
        if (!(phase > 0.0f && phase <= 4096.0f)) return 0;
        return static_cast<std::uint32_t>(
            static_cast<std::uint64_t>(static_cast<double>(phase) * kFixedPerPoint));
    }
    /// A fixed-point phase in table points, in [0, 4096).
    static float toPoints(std::uint32_t fixed) {
        const float p = static_cast<float>(static_cast<double>(fixed) * (1.0 / kFixedPerPoint));
        return p < 4096.0f ? p : 0.0f;
    }
    /// toStep() of four increments.
    static __m128i toSteps(__m128 increments) {
        const __m128 inc =
            _mm_min_ps(_mm_max_ps(increments, _mm_setzero_ps()), _mm_set1_ps(4095.0f));
        // Up to 2^32: converted as signed after taking 2^31 off, which the sign bit puts back.
        const __m128 x =
            _mm_sub_ps(_mm_mul_ps(inc, _mm_set1_ps(kFixedPerPoint)), _mm_set1_ps(2147483648.0f));
        return _mm_xor_si128(_mm_cvttps_epi32(x), _mm_set1_epi32(static_cast<int>(0x80000000u)));
    }
    /// Fixed-point steps per sample of an increment in table points.
    static std::uint32_t toStep(float increment) {
        // Clamped with max and min (no branch on the moving-note path); NaN gives 0.
        const float inc = std::min(std::max(0.0f, increment), 4095.0f);
        return static_cast<std::uint32_t>(inc * kFixedPerPoint);
    }

    /// The float phase `frames` samples after the start, in [0, 4096).
    static float after(float phase, float increment, int frames) {
        return toPoints(toFixed(phase) + static_cast<std::uint32_t>(frames) * toStep(increment));
    }

private:
    static FixedPhase at(std::uint32_t start, std::uint32_t perSample) {
        FixedPhase f;
        f.scalar = start;
        f.step = perSample;
        f.lanes = _mm_setr_epi32(static_cast<int>(start), static_cast<int>(start + perSample),
                                 static_cast<int>(start + 2 * perSample),
                                 static_cast<int>(start + 3 * perSample));
        f.step4 = _mm_set1_epi32(static_cast<int>(4 * perSample));
        return f;
    }

    std::uint32_t scalar = 0;
    std::uint32_t step = 0;
    __m128i lanes{};
    __m128i step4{};
};

/// The cells of four fixed-point phases that were computed in a vector.
inline Cells4 cellsOfFixed(__m128i phases) {
    alignas(16) std::uint32_t p[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(p), phases);
    Cells4 c;
    for (int k = 0; k < 4; ++k) c.at[k] = p[k] >> kFixedFractionBits;
    c.frac = FixedPhase::fractions(phases);
    return c;
}

/// The cells moved by four per-sample offsets in float-index units (even), wrapped in the
/// table; the fractions stay those of the unshifted phase.
inline Cells4 shifted(const Cells4& c, const int* offsets) {
    Cells4 s;
    for (int k = 0; k < 4; ++k)
        s.at[k] = (c.at[k] + static_cast<std::uint32_t>(offsets[k] >> 1)) & (kTablePoints - 1);
    s.frac = c.frac;
    return s;
}

inline Cells4 FixedPhase::cellsAt(__m128i phases, int) {
    return cellsOfFixed(phases);
}

/// noteToPitchIndex() of four notes.
inline __m128i pitchIndex4(__m128 notes) {
    const __m128 x = _mm_add_ps(_mm_mul_ps(notes, _mm_set1_ps(2560.0f)), _mm_set1_ps(0.5f));
    return _mm_srai_epi32(_mm_cvttps_epi32(x), 1);
}

/// The cells moved by a fixed number of table points, wrapped in the table.
inline Cells4 movedBy(const Cells4& c, std::uint32_t points) {
    Cells4 s;
    for (int k = 0; k < 4; ++k) s.at[k] = (c.at[k] + points) & (kTablePoints - 1);
    s.frac = c.frac;
    return s;
}

/// As shifted(), moved back by the offsets instead.
inline Cells4 shiftedBack(const Cells4& c, const int* offsets) {
    Cells4 s;
    for (int k = 0; k < 4; ++k)
        s.at[k] = (c.at[k] - static_cast<std::uint32_t>(offsets[k] >> 1)) & (kTablePoints - 1);
    s.frac = c.frac;
    return s;
}

/// Linear reads of `table` at four cells.
inline __m128 read4(const float* table, const Cells4& c) {
    // Addressed as 8-byte pairs, so that a cell number is used as it stands (scaled by the
    // address itself) and never doubled first.
    const std::uint64_t* pairs = reinterpret_cast<const std::uint64_t*>(table);
    const auto pair = [pairs](std::uint32_t at) {
        return _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(pairs + at)));
    };
    const auto high = [pairs](__m128 low, std::uint32_t at) {
        return _mm_loadh_pi(low, reinterpret_cast<const __m64*>(pairs + at));
    };
    const __m128 p01 = high(pair(c.at[0]), c.at[1]);
    const __m128 p23 = high(pair(c.at[2]), c.at[3]);
    const __m128 value = _mm_shuffle_ps(p01, p23, _MM_SHUFFLE(2, 0, 2, 0));
    const __m128 diff = _mm_shuffle_ps(p01, p23, _MM_SHUFFLE(3, 1, 3, 1));
    return _mm_add_ps(value, _mm_mul_ps(c.frac, diff));
}

/// The two-level read of a wave at four cells, skipping a level of weight 0.
inline __m128 readLevels4(const NoteTables& t, const Cells4& c) {
    if (t.weightB == 0.0f) return _mm_mul_ps(_mm_set1_ps(t.weightA), read4(t.levelA, c));
    if (t.weightA == 0.0f) return _mm_mul_ps(_mm_set1_ps(t.weightB), read4(t.levelB, c));
    return _mm_add_ps(_mm_mul_ps(_mm_set1_ps(t.weightA), read4(t.levelA, c)),
                      _mm_mul_ps(_mm_set1_ps(t.weightB), read4(t.levelB, c)));
}

} // namespace torvo::simd

#pragma once
// Reads of a block whose notes move (vibrato, a bend, a glide, a modulated ratio) but that
// holds no retrigger, fade or wave change. The sample loop would look the increment up on
// every sample and read one sample at a time; here a scalar pass runs the phase in fixed point
// with those increments, a chunk at a time, noting for every sample which note's tables it
// reads, and the reads then go four at a time wherever the four samples share their tables.
// As in the sample loop, a sample is read with the tables of the notes before it and moves the
// phase by its own note's increment. Included at the end of tablereader.h.

#include <algorithm>

namespace torvo {

template <class Read, class VRead, class Emit, class Phases>
void TableReader::runMoving(const float* note, int frames, Read& read, VRead& vread, Emit emit,
                            const Phases& proto) {
    using simd::FixedPhase;
    constexpr int kChunk = 64;
    // The tables a sample reads: the reader's own as the block starts (-1), else those of the
    // whole note last looked up.
    alignas(16) std::uint32_t at[kChunk];
    int tablesOf[kChunk];
    // What each sample's note would look up: its pitch step as compared, the step of the
    // clamped note, its whole note and its increment.
    alignas(16) int pitchOf[kChunk];
    alignas(16) int clampedOf[kChunk];
    alignas(16) int wholeOf[kChunk];
    alignas(16) std::uint32_t stepOf[kChunk];
    TableReader view = *this;
    int current = -1;
    int shown = -1;
    std::uint32_t p = FixedPhase::toFixed(phase);
    std::uint32_t step = FixedPhase::toStep(increment);
    int index = pitchIndex;
    bool looked = false;
    float lastLooked = 0.0f;
    const float* table = pitchIncrementTable();
    const int padded = (frames + 3) & ~3;
    for (int from = 0; from < padded; from += kChunk) {
        const int to = std::min(from + kChunk, padded);
        const int last = std::min(to, frames);
        // No sample depends on another here, so four go at a time.
        int i = from;
        for (; i + 4 <= last; i += 4) {
            const int c = i - from;
            const __m128 x = _mm_loadu_ps(note + i);
            const __m128 n = _mm_min_ps(_mm_max_ps(x, _mm_setzero_ps()), _mm_set1_ps(127.0f));
            _mm_store_si128(reinterpret_cast<__m128i*>(pitchOf + c), simd::pitchIndex4(x));
            _mm_store_si128(reinterpret_cast<__m128i*>(clampedOf + c), simd::pitchIndex4(n));
            _mm_store_si128(reinterpret_cast<__m128i*>(wholeOf + c), _mm_cvttps_epi32(n));
            // A clamped note's step never passes the table's end.
            const __m128 inc = _mm_setr_ps(table[clampedOf[c]], table[clampedOf[c + 1]],
                                           table[clampedOf[c + 2]], table[clampedOf[c + 3]]);
            _mm_store_si128(reinterpret_cast<__m128i*>(stepOf + c),
                            FixedPhase::toSteps(_mm_mul_ps(inc, _mm_set1_ps(incrementRatio))));
        }
        for (; i < last; ++i) {
            const int c = i - from;
            const float n = std::min(std::max(note[i], 0.0f), 127.0f);
            pitchOf[c] = noteToPitchIndex(note[i]);
            clampedOf[c] = noteToPitchIndex(n);
            wholeOf[c] = static_cast<int>(n);
            stepOf[c] = FixedPhase::toStep(table[clampedOf[c]] * incrementRatio);
        }
        // The sample loop's order: read with the tables looked up so far, then look up this
        // sample's note if its pitch step differs from the cached one, then move the phase.
        for (i = from; i < to; ++i) {
            const int c = i - from;
            at[c] = p;
            tablesOf[c] = current;
            if (i < last && pitchOf[c] != index) {
                index = clampedOf[c];
                current = wholeOf[c];
                step = stepOf[c];
                looked = true;
                lastLooked = note[i];
            }
            p += step;
        }
        for (i = from; i < to; i += 4) {
            const int* t = tablesOf + (i - from);
            const std::uint32_t* q = at + (i - from);
            if (t[0] == t[1] && t[1] == t[2] && t[2] == t[3]) {
                if (t[0] != shown) {
                    view.tables = t[0] < 0 ? tables : noteTables(lastWave, t[0]);
                    shown = t[0];
                }
                const __m128i phases = _mm_load_si128(reinterpret_cast<const __m128i*>(q));
                emit(i, vread(view, proto.cellsAt(phases, i), i));
                continue;
            }
            // The group crosses from one note's tables to another's: one sample at a time.
            alignas(16) float s[4];
            for (int k = 0; k < 4; ++k) {
                const NoteTables one = t[k] < 0 ? tables : noteTables(lastWave, t[k]);
                s[k] = readWith(read, one, FixedPhase::toPoints(q[k]), i + k);
            }
            emit(i, _mm_load_ps(s));
        }
    }
    // Leave the reader as the sample loop would: the last note's tables and increment, and the
    // phase after the block's last sample.
    if (looked) lookUp(lastLooked);
    phase = FixedPhase::toPoints(p - static_cast<std::uint32_t>(padded - frames) * step);
}

} // namespace torvo

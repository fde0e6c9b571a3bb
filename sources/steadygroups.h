#pragma once
// Unison readers of one engine that all hold a steady block are read several at a time: one
// pass over the block reads each of them four samples a step and adds them into the sums, so
// the sums are fetched and stored once per step for the whole group, and the independent reads
// overlap. Readers that are not steady (a retrigger, a fade, a wave change, moving notes) take
// their own loop; the slots are added in slot order either way.

#include "sources/oscblock.h"

#include <type_traits>

namespace torvo {

/// `N` readers prepared by beginSteady(), read in one pass and added into their sums in the
/// order given (with `First`, written over them instead). Each reader gets a copy of `proto`
/// started at its phase and increment; vread(tables, proto.next(), i) returns samples i..i+3.
template <int N, bool First, class Phases, class VRead>
void runSteadyGroupInto(TableReader* const* group, const SlotSum* sums, int frames,
                        const Phases& proto, VRead& vread) {
    // Local copies stay in registers: the stores into the sums cannot touch them.
    TableReader tables[N];
    Phases at[N];
    __m128 l[N], r[N];
    for (int k = 0; k < N; ++k) {
        tables[k] = *group[k];
        at[k] = proto;
        at[k].start(group[k]->phase, group[k]->increment);
        l[k] = _mm_set1_ps(sums[k].levelL);
        r[k] = _mm_set1_ps(sums[k].levelR);
    }
    float* __restrict sumL = sums[0].sumL;
    float* __restrict sumR = sums[0].sumR;
    const int padded = (frames + 3) & ~3;
    for (int i = 0; i < padded; i += 4) {
        __m128 left = First ? _mm_setzero_ps() : _mm_loadu_ps(sumL + i);
        __m128 right = First ? _mm_setzero_ps() : _mm_loadu_ps(sumR + i);
        for (int k = 0; k < N; ++k) {
            const __m128 s = vread(tables[k], at[k].next(), i);
            left = _mm_add_ps(left, _mm_mul_ps(l[k], s));
            right = _mm_add_ps(right, _mm_mul_ps(r[k], s));
        }
        _mm_storeu_ps(sumL + i, left);
        _mm_storeu_ps(sumR + i, right);
    }
    for (int k = 0; k < N; ++k)
        group[k]->phase = simd::FixedPhase::after(group[k]->phase, group[k]->increment, frames);
}

/// Every slot of a unison stack into the engine's sums, which it starts: steady readers in
/// groups of up to `Group`, read by `vread` from phases like `proto`; any other slot gets its
/// notes filled and is handed to single(reader, slot, sum) to add into the sums.
template <int Group, class Readers, class Phases, class VRead, class Single>
void renderSlotsGrouped(Readers& readers, const OscBlock& b, const EngineBuffers& buffers,
                        const Phases& proto, VRead vread, Single single) {
    const int n = b.frames;
    TableReader* group[Group];
    SlotSum sums[Group];
    int pending = 0;
    // The first group writes the sums instead of adding to them, so that they need no
    // clearing when every slot is steady.
    bool started = false;
    const auto run = [&](auto count) {
        constexpr int kCount = decltype(count)::value;
        if (started)
            runSteadyGroupInto<kCount, false>(group, sums, n, proto, vread);
        else
            runSteadyGroupInto<kCount, true>(group, sums, n, proto, vread);
        started = true;
    };
    const auto flush = [&] {
        if (pending == 1) run(std::integral_constant<int, 1>());
        if constexpr (Group >= 2)
            if (pending == 2) run(std::integral_constant<int, 2>());
        if constexpr (Group >= 3)
            if (pending == 3) run(std::integral_constant<int, 3>());
        pending = 0;
    };
    for (int slot = 0; slot < b.count; ++slot) {
        TableReader& r = readers[slot];
        const SlotSum sum{buffers.sumL, buffers.sumR, b.levelL[slot], b.levelR[slot]};
        if (r.readsOneNote(b.reader)) {
            alignas(16) float note[4];
            slotNotes(b.pitch, b.detune[slot], note, 1, true);
            r.beginSteady(b.reader, note[0]);
            group[pending] = &r;
            sums[pending] = sum;
            if (++pending == Group) flush();
            continue;
        }
        flush();
        if (!started) {
            clearBlock(buffers.sumL, n);
            clearBlock(buffers.sumR, n);
            started = true;
        }
        slotNotes(b.pitch, b.detune[slot], buffers.note, n, b.reader.notesSteady);
        single(r, slot, sum);
    }
    flush();
    if (!started) {
        clearBlock(buffers.sumL, n);
        clearBlock(buffers.sumR, n);
    }
}

} // namespace torvo

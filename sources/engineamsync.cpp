#include "sources/engineamsync.h"

#include "engine/pool.h"

namespace torvo {

namespace {
/// 72 semitones on the 0..1 pitch scale.
constexpr float kSlaveRange = 0.56692916f;
/// A quarter cycle late, in float-index units: the window starts at its trough.
constexpr int kQuarterLate = 3072 * 2;
/// Half a cycle in float-index units.
constexpr int kHalfCycle = 4096;

struct MasterHooks {
    static constexpr bool kPlain = false;
    float* sync;
    void wrapped(int i) { sync[i] = 1.0f; }
    bool forceZero(int) const { return false; }
};

struct SlaveHooks {
    static constexpr bool kPlain = false;
    const float* sync;
    void wrapped(int) {}
    bool forceZero(int i) const { return sync[i] != 0.0f; }
};
/// The fixed-point phases of a steady block, sample by sample: the master's and the slave's,
/// which restarts at 0 on every sample where the master wraps. Both readers are left where
/// the block ends.
void syncedPhases(TableReader& master, TableReader& slave, std::uint32_t* masterAt,
                  std::uint32_t* slaveAt, int frames) {
    using simd::FixedPhase;
    std::uint32_t m = FixedPhase::toFixed(master.phase);
    const std::uint32_t mStep = FixedPhase::toStep(master.increment);
    std::uint32_t s = FixedPhase::toFixed(slave.phase);
    const std::uint32_t sStep = FixedPhase::toStep(slave.increment);
    for (int i = 0; i < frames; ++i) {
        masterAt[i] = m;
        const std::uint32_t next = m + mStep;
        // The master wraps while this sample moves it on: the slave starts this sample at 0.
        if (next < m) s = 0;
        m = next;
        slaveAt[i] = s;
        s += sStep;
    }
    for (int i = frames; i < ((frames + 3) & ~3); ++i) masterAt[i] = slaveAt[i] = 0;
    master.phase = FixedPhase::toPoints(m);
    slave.phase = FixedPhase::toPoints(s);
}

/// Four windowed slave samples from the two readers' phases. Without `Pulse` or `Wave` the
/// control is 0 for the whole block and its reads, which it would multiply away, are left out.
template <bool Pulse, bool Wave>
__m128 windowedSlave(const TableReader& master, const TableReader& slave, const std::uint32_t* m,
                     const std::uint32_t* s, const float* A, const float* W, int i) {
    const simd::Cells4 window =
        simd::movedBy(simd::cellsOfFixed(_mm_loadu_si128(reinterpret_cast<const __m128i*>(m + i))),
                      kQuarterLate / 2);
    const simd::Cells4 at =
        simd::cellsOfFixed(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i)));
    const simd::Cells4 half = simd::movedBy(at, kHalfCycle / 2);
    __m128 v = simd::read4(slave.tables.saw, at);
    if (Pulse)
        v = _mm_sub_ps(v, _mm_mul_ps(_mm_loadu_ps(A + i), simd::read4(slave.tables.saw, half)));
    if (Wave) {
        const __m128 w = _mm_loadu_ps(W + i);
        const __m128 wave = simd::readLevels4(slave.tables, half);
        v = _mm_add_ps(_mm_mul_ps(_mm_sub_ps(_mm_set1_ps(1.0f), w), v), _mm_mul_ps(w, wave));
    }
    const __m128 gain =
        _mm_add_ps(_mm_mul_ps(_mm_set1_ps(0.5f), simd::read4(master.tables.levelA, window)),
                   _mm_set1_ps(0.5f));
    return _mm_mul_ps(v, gain);
}

template <bool Pulse, bool Wave>
void windowedSlaves(const TableReader& master, const TableReader& slave, const std::uint32_t* m,
                    const std::uint32_t* s, const float* A, const float* W, float* out,
                    int frames) {
    const TableReader mt = master;
    const TableReader st = slave;
    for (int i = 0; i < frames; i += 4)
        _mm_storeu_ps(out + i, windowedSlave<Pulse, Wave>(mt, st, m, s, A, W, i));
}

} // namespace

void EngineAMSync::allocate(Pool& pool, int frames) {
    buffers.allocate(pool, frames);
    slaveNote = pool.get("amsync slave note", frames);
    masterOut = pool.get("amsync master", frames);
    sync = pool.get("amsync sync", frames);
    masterAt = static_cast<std::uint32_t*>(pool.getBytes(
        "amsync master phase", sizeof(std::uint32_t) * static_cast<std::size_t>(frames + 4)));
    slaveAt = static_cast<std::uint32_t*>(pool.getBytes(
        "amsync slave phase", sizeof(std::uint32_t) * static_cast<std::size_t>(frames + 4)));
}

void EngineAMSync::seedPhases(const float* phases) {
    for (int i = 0; i < kUnisonSlots; ++i) {
        master[i].seed(phases[i]);
        slave[i].seed(phases[i]);
    }
}

void EngineAMSync::render(const OscBlock& b) {
    const int n = b.frames;
    const int padded = (n + 3) & ~3;
    clearBlock(buffers.sumL, n);
    clearBlock(buffers.sumR, n);
    ReaderBlock sine = b.reader;
    sine.wave = waveAddress(0);
    const float* A = b.ctrlA;
    const float* B = b.ctrlB;
    const float* W = b.wtmix;
    ReaderBlock slaveBlock = b.reader;
    slaveBlock.notesSteady = b.reader.notesSteady && isConstant(B, n);
    // Smoothed streams move monotonically, so the ends of the block tell whether a control
    // sits at 0 for the whole block.
    const bool pulse = b.ctrlAModulated || A[0] != 0.0f || A[n - 1] != 0.0f;
    const bool wave = b.wtmixModulated || W[0] != 0.0f || W[n - 1] != 0.0f;
    for (int slot = 0; slot < b.count; ++slot) {
        const float det = b.detune[slot];
        slotNotes(b.pitch, det, buffers.note, n);
        for (int i = 0; i < padded; ++i) {
            const float s = (b.pitch[i] + B[i] * kSlaveRange) * 127.0f + det;
            slaveNote[i] = s < 0.0f ? 0.0f : (s > 127.0f ? 127.0f : s);
        }
        TableReader& mr = master[slot];
        TableReader& sr = slave[slot];
        if (mr.readsOneNote(sine) && sr.readsOneNote(slaveBlock)) {
            mr.beginSteady(sine, buffers.note[0]);
            sr.beginSteady(slaveBlock, slaveNote[0]);
            syncedPhases(mr, sr, masterAt, slaveAt, n);
            if (pulse && wave)
                windowedSlaves<true, true>(mr, sr, masterAt, slaveAt, A, W, buffers.slot, n);
            else if (pulse)
                windowedSlaves<true, false>(mr, sr, masterAt, slaveAt, A, W, buffers.slot, n);
            else if (wave)
                windowedSlaves<false, true>(mr, sr, masterAt, slaveAt, A, W, buffers.slot, n);
            else
                windowedSlaves<false, false>(mr, sr, masterAt, slaveAt, A, W, buffers.slot, n);
            addToSums(buffers.slot, b.levelL[slot], b.levelR[slot], buffers.sumL, buffers.sumR, n);
            continue;
        }
        clearBlock(sync, n);
        mr.run(
            sine, slot, buffers.note, b.retrig, masterOut, n,
            [](const float*, const float* la, const float*, float, float, float p, int) {
                return readTableOffset(la, p, kQuarterLate);
            },
            MasterHooks{sync});
        sr.run(
            b.reader, slot, slaveNote, b.retrig, buffers.slot, n,
            [A, W](const float* saw, const float* la, const float* lb, float wa, float wb, float p,
                   int i) {
                float s = readTable(saw, p);
                s -= A[i] * readTableOffset(saw, p, kHalfCycle);
                const float w = wa * readTableOffset(la, p, kHalfCycle) +
                                wb * readTableOffset(lb, p, kHalfCycle);
                return (1.0f - W[i]) * s + W[i] * w;
            },
            SlaveHooks{sync});
        for (int i = 0; i < padded; ++i) buffers.slot[i] *= 0.5f * masterOut[i] + 0.5f;
        addToSums(buffers.slot, b.levelL[slot], b.levelR[slot], buffers.sumL, buffers.sumR, n);
    }
}

} // namespace torvo

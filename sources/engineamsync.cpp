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
} // namespace

void EngineAMSync::allocate(Pool& pool, int frames) {
    buffers.allocate(pool, frames);
    slaveNote = pool.get("amsync slave note", frames);
    masterOut = pool.get("amsync master", frames);
    sync = pool.get("amsync sync", frames);
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
    for (int slot = 0; slot < b.count; ++slot) {
        const float det = b.detune[slot];
        slotNotes(b.pitch, det, buffers.note, n);
        for (int i = 0; i < padded; ++i) {
            const float s = (b.pitch[i] + B[i] * kSlaveRange) * 127.0f + det;
            slaveNote[i] = s < 0.0f ? 0.0f : (s > 127.0f ? 127.0f : s);
        }
        clearBlock(sync, n);
        master[slot].run(
            sine, slot, buffers.note, b.retrig, masterOut, n,
            [](const float*, const float* la, const float*, float, float, float p, int) {
                return readTableOffset(la, p, kQuarterLate);
            },
            MasterHooks{sync});
        slave[slot].run(
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

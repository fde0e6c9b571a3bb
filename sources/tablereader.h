#pragma once
// The phase reader behind every oscillator engine. A reader keeps a float phase in table
// points, looks its increment, saw table and wave levels up only when the quantised pitch
// moves, and hides every discontinuity it causes behind a short crossfade: a retrigger lets the
// old sound run out over 4.5 ms while the new start fades in, and a change of wave waits for
// the next phase wrap and then fades from the old wave to the new one at the same phase.
//
// What a sample is made of differs per engine, so run() takes a small policy object that reads
// the tables (the same read serves the outgoing sound of a fade) and may react to wraps.

#include "engine/blockscan.h"
#include "sources/pitchincrement.h"
#include "sources/simdread.h"
#include "sources/startphasebag.h"
#include "sources/unisontables.h"
#include "sources/wavebank.h"

#include <type_traits>

namespace torvo {

/// True when every one of the first `frames` notes falls on pitch step `index`.
bool holdsPitchIndex(const float* note, int frames, int index);

/// Start modes of a retriggered reader.
enum StartMode : int {
    kStartRandom = 0, ///< a phase from the module's bag
    kStartAnalog = 1, ///< near the phase the last retriggered reader of the slot had
    kStartFixed = 2,  ///< the slot's fixed offset
    kStartFree = 99,  ///< the phase keeps running
};

/// What every reader of one voice needs to know for a block.
struct ReaderBlock {
    int startMode = kStartRandom;
    /// Modulated `osc1_phase` start value, 0..1.
    float phaseValue = 0.0f;
    /// Copies in the stack, 1..9.
    int count = 1;
    float fadeStep = 220.5f / 44100.0f;
    bool fadeAllowed = false;
    const bool* voiceFresh = nullptr;
    int voiceIndex = 0;
    float secondsSinceNoteOn = 10.0f;
    StartPhaseBag* bag = nullptr;
    /// Per slot: the phase of the reader last retriggered in that slot (module-wide).
    float** lastReaderPhase = nullptr;
    /// Base of the selected wave in the bank.
    const float* wave = nullptr;
    /// True when no sample of the block retriggers.
    bool noRetrigger = false;
    /// True when the notes the readers are given hold one value for the whole block.
    bool notesSteady = false;
};

/// Where a slot's samples are summed, and at which levels.
struct SlotSum {
    float* sumL;
    float* sumR;
    float levelL;
    float levelR;
};

/// Policy of a plain reader: nothing happens at a wrap, the phase is never forced.
struct ReaderHooks {
    /// Readers with hooks need the sample-by-sample loop; plain ones may take the steady one.
    static constexpr bool kPlain = true;
    void wrapped(int) {}
    bool forceZero(int) const { return false; }
};

class TableReader {
public:
    /// Sets the phase without a fade (creation of a voice).
    void seed(float startPhase) { phase = startPhase; }
    /// Forgets the cached pitch, so the next sample looks everything up again.
    void invalidate() { pitchIndex = -1; }
    /// True when a plain read of this block will take the steady path with notes that hold one
    /// value: it then reads the first note only, and the caller need not fill the others.
    bool readsOneNote(const ReaderBlock& rb) const { return rb.notesSteady && quietBlock(rb); }
    /// For a reader that readsOneNote(): takes the block's settings and looks the tables up
    /// for `note`, so that runSteadyGroupInto() can read it.
    void beginSteady(const ReaderBlock& rb, float note) {
        prepare(rb, note);
        if (noteToPitchIndex(note) != pitchIndex) lookUp(note);
    }

    /// Renders `frames` samples at the per-sample notes (0..127) into `out`. `read` is called as
    /// read(saw, levelA, levelB, weightA, weightB, phase, i); `hooks` as in ReaderHooks.
    template <class Read, class Hooks = ReaderHooks>
    void run(const ReaderBlock& rb, int slot, const float* note, const float* retrig, float* out,
             int frames, Read read, Hooks hooks = Hooks());
    /// As run(), then adds the samples into the sums at the slot's levels. A steady block
    /// sums directly and leaves `out` untouched.
    template <class Read>
    void runInto(const ReaderBlock& rb, int slot, const float* note, const float* retrig,
                 float* out, int frames, Read read, const SlotSum& sum);
    /// As runInto(), with a second form of the read for a steady block that takes four cells
    /// at once: vread(tables, simd::Cells4, i) -> __m128 for samples i..i+3, where `tables` is a
    /// copy of this reader made for the block (a local copy stays in registers: the stores into the
    /// sums cannot touch it, so the tables and weights are not fetched again per group).
    /// The cells come from a copy of `proto` started at the reader's phase and increment
    /// (plain fixed-point cells by default; engines that move or scale the phase give their
    /// own, with start(phase, increment), next(), and cellsAt(phases, i) for four
    /// fixed-point phases of a block whose notes move).
    template <class Read, class VRead, class Phases = simd::FixedPhase>
    void runVectorInto(const ReaderBlock& rb, int slot, const float* note, const float* retrig,
                       float* out, int frames, Read read, VRead vread, const SlotSum& sum,
                       const Phases& proto = Phases());
    /// As run() with a plain policy, with the cell form of the vector read for a steady block
    /// (as runVectorInto()); the samples always land in `out`.
    template <class Read, class VRead, class Phases = simd::FixedPhase>
    void runVector(const ReaderBlock& rb, int slot, const float* note, const float* retrig,
                   float* out, int frames, Read read, VRead vread, const Phases& proto = Phases());
    /// For a steady block whose samples nobody hears: moves the phase exactly as runVector()
    /// would and answers true. Answers false, having changed nothing a render depends on, when
    /// the block is not steady; the caller then renders it.
    bool skipSteady(const ReaderBlock& rb, const float* note, int frames) {
        prepare(rb, note[0]);
        if (!steadyBlock(rb, note, frames)) return false;
        if (noteToPitchIndex(note[0]) != pitchIndex) lookUp(note[0]);
        phase = simd::FixedPhase::after(phase, increment, frames);
        return true;
    }

    int pitchIndex = -1;
    float phase = 0.0f;
    float increment = 0.0f;
    /// The tables the reader reads, and those of the sound fading out.
    NoteTables tables;
    const float* lastWave = nullptr;
    float fadePhase = 0.0f;
    float fadeIncrement = 0.0f;
    NoteTables fade;
    bool fadeActive = false;
    float fadeGain = 0.0f;
    float fadeStep = 220.5f / 44100.0f;
    bool fadeAllowed = false;
    const bool* voiceFresh = nullptr;
    int voiceIndex = 0;
    /// Multiplies every looked-up increment (the engines that run at twice the rate use 0.5).
    float incrementRatio = 1.0f;
    bool waveChanged = false;

private:
    /// Nothing but the notes may move: no retrigger, no fade, no wave change (a reader that has
    /// not read yet takes the block's wave).
    bool quietBlock(const ReaderBlock& rb) const {
        const bool sameWave = !lastWave || lastWave == rb.wave;
        return rb.noRetrigger && !fadeActive && !waveChanged && sameWave;
    }
    /// The block holds nothing that needs the per-sample checks: no retrigger, no fade, no
    /// wave change and one pitch throughout. Notes that wander within the cached pitch step
    /// (a finely modulated FM ratio, say) count as one pitch: the sample loop would never
    /// look anything up for them either.
    bool steadyBlock(const ReaderBlock& rb, const float* note, int frames) const {
        return quietBlock(rb) && (rb.notesSteady || holdsPitchIndex(note, frames, pitchIndex));
    }
    void prepare(const ReaderBlock& rb, float firstNote);
    /// prepare(), then true when the block is steady, with the tables looked up for it.
    bool enterSteady(const ReaderBlock& rb, const float* note, int frames) {
        prepare(rb, note[0]);
        if (!steadyBlock(rb, note, frames)) return false;
        if (noteToPitchIndex(note[0]) != pitchIndex) lookUp(note[0]);
        return true;
    }
    /// The phase `frames` steady samples on, as the float loops compute it.
    float floatPhaseAfter(int frames) const {
        float end = phase + static_cast<float>(frames) * increment;
        end -= static_cast<float>(static_cast<int>(end * (1.0f / 4096.0f))) * 4096.0f;
        return end;
    }
    /// The steady loop of the vector forms: `source(i)` gives the phase argument of samples
    /// i..i+3, `emit(i, samples)` puts them where they belong.
    template <class Source, class VRead, class Emit>
    void steadyLoop(int frames, Source source, VRead& vread, Emit emit);

    /// A quiet block whose notes move (prepared): the phase runs in fixed point sample by sample
    /// with the increments the notes look up, and the reads go four at a time where the tables hold
    /// (see movingreads.h).
    template <class Read, class VRead, class Emit, class Phases>
    void runMoving(const float* note, int frames, Read& read, VRead& vread, Emit emit,
                   const Phases& proto);
    template <class Read> void runSteady(float* out, int frames, Read& read);
    template <class Read> void runSteadyInto(const SlotSum& sum, int frames, Read& read);
    /// The scalar read of the engines, on one set of tables.
    template <class Read>
    static float readWith(Read& read, const NoteTables& t, float phase, int i) {
        return read(t.saw, t.levelA, t.levelB, t.weightA, t.weightB, phase, i);
    }
    void lookUp(float note);
    void takeStart(const ReaderBlock& rb, int slot);
    void takeNewWave(const float* wave, float note);
};

template <class Read, class Hooks>
void TableReader::run(const ReaderBlock& rb, int slot, const float* note, const float* retrig,
                      float* out, int frames, Read read, Hooks hooks) {
    prepare(rb, note[0]);
    if constexpr (Hooks::kPlain) {
        if (steadyBlock(rb, note, frames)) {
            if (noteToPitchIndex(note[0]) != pitchIndex) lookUp(note[0]);
            runSteady(out, frames, read);
            return;
        }
    }
    float p = phase;
    for (int i = 0; i < frames; ++i) {
        if (waveChanged) {
            waveChanged = false;
            if (!fadeActive && fadeAllowed) {
                fadePhase = p;
                fadeIncrement = increment;
                fadeGain = 1.0f;
                fadeActive = true;
            }
        }
        if (retrig[i] == 1.0f && !fadeActive) {
            phase = p;
            if (fadeAllowed) {
                fadePhase = p;
                fadeIncrement = increment;
                fade = tables;
                fadeGain = 1.0f;
                fadeActive = !(voiceFresh && *voiceFresh);
            }
            takeStart(rb, slot);
            p = phase;
        }
        if (hooks.forceZero(i)) p = 0.0f;
        float s = readWith(read, tables, p, i);
        const int j = noteToPitchIndex(note[i]);
        if (j != pitchIndex) lookUp(note[i]);
        p += increment;
        if (p >= 4096.0f) {
            p -= 4096.0f;
            hooks.wrapped(i);
            if (lastWave != rb.wave) {
                fade = tables;
                takeNewWave(rb.wave, note[i]);
                waveChanged = true;
            }
        }
        if (fadeActive) {
            const float f = readWith(read, fade, fadePhase, i);
            s += fadeGain * (f - s);
            fadePhase += fadeIncrement;
            if (fadePhase >= 4096.0f) fadePhase -= 4096.0f;
            fadeGain -= fadeStep;
            if (!(fadeGain > 0.0f)) fadeActive = false;
        }
        out[i] = s;
    }
    phase = p;
}

template <class Read> void TableReader::runSteady(float* out, int frames, Read& read) {
    // With one increment for the whole block each phase follows from the block's start, so
    // the samples do not wait on each other and a group of 4 is computed side by side.
    const float base = phase;
    const float inc = increment;
    constexpr float kInvCycle = 1.0f / 4096.0f;
    const int padded = (frames + 3) & ~3;
    for (int i = 0; i < padded; i += 4) {
        for (int k = 0; k < 4; ++k) {
            float q = base + static_cast<float>(i + k) * inc;
            q -= static_cast<float>(static_cast<int>(q * kInvCycle)) * 4096.0f;
            out[i + k] = readWith(read, tables, q, i + k);
        }
    }
    phase = floatPhaseAfter(frames);
}

template <class Read> void TableReader::runSteadyInto(const SlotSum& sum, int frames, Read& read) {
    const float base = phase;
    const float inc = increment;
    const float l = sum.levelL;
    const float r = sum.levelR;
    float* __restrict sumL = sum.sumL;
    float* __restrict sumR = sum.sumR;
    constexpr float kInvCycle = 1.0f / 4096.0f;
    const int padded = (frames + 3) & ~3;
    for (int i = 0; i < padded; i += 4) {
        for (int k = 0; k < 4; ++k) {
            float q = base + static_cast<float>(i + k) * inc;
            q -= static_cast<float>(static_cast<int>(q * kInvCycle)) * 4096.0f;
            const float s = readWith(read, tables, q, i + k);
            sumL[i + k] += l * s;
            sumR[i + k] += r * s;
        }
    }
    phase = floatPhaseAfter(frames);
}

/// Adds `levelL` and `levelR` times `in` to the two sums, in groups of 4.
void addToSums(const float* in, float levelL, float levelR, float* sumL, float* sumR, int frames);

template <class Read>
void TableReader::runInto(const ReaderBlock& rb, int slot, const float* note, const float* retrig,
                          float* out, int frames, Read read, const SlotSum& sum) {
    if (enterSteady(rb, note, frames)) {
        runSteadyInto(sum, frames, read);
        return;
    }
    run(rb, slot, note, retrig, out, frames, read);
    addToSums(out, sum.levelL, sum.levelR, sum.sumL, sum.sumR, frames);
}

template <class Source, class VRead, class Emit>
void TableReader::steadyLoop(int frames, Source source, VRead& vread, Emit emit) {
    const TableReader copy = *this;
    const int padded = (frames + 3) & ~3;
    for (int i = 0; i < padded; i += 4) emit(i, vread(copy, source(i), i));
}

/// Adds four samples into the sums at a slot's levels.
struct SumEmit {
    explicit SumEmit(const SlotSum& sum)
        : sumL(sum.sumL), sumR(sum.sumR), l(_mm_set1_ps(sum.levelL)), r(_mm_set1_ps(sum.levelR)) {}
    void operator()(int i, __m128 s) const {
        _mm_storeu_ps(sumL + i, _mm_add_ps(_mm_loadu_ps(sumL + i), _mm_mul_ps(l, s)));
        _mm_storeu_ps(sumR + i, _mm_add_ps(_mm_loadu_ps(sumR + i), _mm_mul_ps(r, s)));
    }
    float* sumL;
    float* sumR;
    __m128 l;
    __m128 r;
};

/// The cells of a steady block from phases like `Phases`, four samples a step.
template <class Phases> struct CellSource {
    CellSource(const Phases& proto, float phase, float increment) : at(proto) {
        at.start(phase, increment);
    }
    auto operator()(int) { return at.next(); }
    Phases at;
};

template <class Read, class VRead, class Phases>
void TableReader::runVectorInto(const ReaderBlock& rb, int slot, const float* note,
                                const float* retrig, float* out, int frames, Read read, VRead vread,
                                const SlotSum& sum, const Phases& proto) {
    if (!enterSteady(rb, note, frames)) {
        if (quietBlock(rb)) {
            runMoving(note, frames, read, vread, SumEmit(sum), proto);
            return;
        }
        run(rb, slot, note, retrig, out, frames, read);
        addToSums(out, sum.levelL, sum.levelR, sum.sumL, sum.sumR, frames);
        return;
    }
    steadyLoop(frames, CellSource<Phases>(proto, phase, increment), vread, SumEmit(sum));
    phase = simd::FixedPhase::after(phase, increment, frames);
}

template <class Read, class VRead, class Phases>
void TableReader::runVector(const ReaderBlock& rb, int slot, const float* note, const float* retrig,
                            float* out, int frames, Read read, VRead vread, const Phases& proto) {
    const auto store = [out](int i, __m128 s) { _mm_storeu_ps(out + i, s); };
    if (!enterSteady(rb, note, frames)) {
        if (quietBlock(rb)) {
            runMoving(note, frames, read, vread, store, proto);
            return;
        }
        run(rb, slot, note, retrig, out, frames, read);
        return;
    }
    steadyLoop(frames, CellSource<Phases>(proto, phase, increment), vread, store);
    phase = simd::FixedPhase::after(phase, increment, frames);
}

/// Note of a unison slot per sample: clamp(pitch * 127 + detune, 0, 127), in groups of 4.
/// With `steady` (one pitch for the block) the buffer is just filled with the first note.
void slotNotes(const float* pitch, float detune, float* out, int frames, bool steady = false);
/// Zeroes a block buffer including its padding group.
void clearBlock(float* buffer, int frames);

} // namespace torvo

#include "sources/movingreads.h"

#include "sources/enginevowel.h"

#include "sources/steadygroups.h"

#include <algorithm>
#include <type_traits>

namespace torvo {

namespace {
constexpr float kFormantHz[EngineVowel::kFormants][EngineVowel::kVowels] = {
    {805, 660, 305, 480, 325},
    {1140, 1670, 2300, 890, 600},
    {2900, 2660, 3000, 2400, 2400},
    {3900, 3600, 3650, 3300, 3400},
};

/// The four formant stages of one channel side by side, one stage per lane. Each lane does
/// exactly the arithmetic of FormantStage::process(), so a channel sounds as it would stage
/// by stage; the stages are independent, and four of them cost what one costs.
struct FormantLanes {
    explicit FormantLanes(const std::array<FormantStage, FormantBank::kFormants>& st)
        : x(_mm_setr_ps(st[0].x, st[1].x, st[2].x, st[3].x)),
          s0(_mm_setr_ps(st[0].s0, st[1].s0, st[2].s0, st[3].s0)),
          s1(_mm_setr_ps(st[0].s1, st[1].s1, st[2].s1, st[3].s1)) {}

    void store(std::array<FormantStage, FormantBank::kFormants>& st) const {
        alignas(16) float vx[4], v0[4], v1[4];
        _mm_store_ps(vx, x);
        _mm_store_ps(v0, s0);
        _mm_store_ps(v1, s1);
        for (int k = 0; k < FormantBank::kFormants; ++k) st[k] = {vx[k], v0[k], v1[k]};
    }

    /// One sample of all four stages; answers their outputs.
    __m128 step(__m128 in, __m128 a, __m128 fb) {
        x = _mm_add_ps(_mm_mul_ps(fb, x), in);
        pass(s0, a);
        pass(s1, a);
        pass(s0, a);
        pass(s1, a);
        return x;
    }

    void pass(__m128& s, __m128 a) {
        const __m128 y = _mm_sub_ps(s, _mm_mul_ps(a, x));
        s = _mm_add_ps(_mm_mul_ps(a, y), x);
        x = y;
    }

    __m128 x, s0, s1;
};

/// The mean of the four stages of four samples, added stage by stage in the order of a
/// scalar sum that starts from 0.
inline __m128 meanOfStages(__m128 o0, __m128 o1, __m128 o2, __m128 o3) {
    _MM_TRANSPOSE4_PS(o0, o1, o2, o3);
    const __m128 sum =
        _mm_add_ps(_mm_add_ps(_mm_add_ps(_mm_add_ps(_mm_setzero_ps(), o0), o1), o2), o3);
    return _mm_mul_ps(sum, _mm_set1_ps(0.25f));
}
/// The formant bank of both channels over one block, a group of four samples at a time.
class FormantRun {
public:
    FormantRun(FormantBank& bank, float sampleRate)
        : owner(bank), invRate(1.0f / sampleRate), left(bank.stagesL), right(bank.stagesR) {}
    ~FormantRun() {
        left.store(owner.stagesL);
        right.store(owner.stagesR);
    }
    FormantRun(const FormantRun&) = delete;
    FormantRun& operator=(const FormantRun&) = delete;

    /// Filters samples i..i+m-1 (m up to 4) of the two buffers in place; the whole group of
    /// four is written.
    void group(float* sumL, float* sumR, const float* ctrlA, const float* ctrlB, int i, int m) {
        const bool same = holds(ctrlA, ctrlB, i, m);
        for (int k = 0; k < m; ++k) {
            if (!same) follow(ctrlA[i + k], ctrlB[i + k]);
            step(k, sumL[i + k], sumR[i + k]);
        }
        finish(sumL, sumR, i, m);
    }

    /// True when all four controls of the group equal those of the coefficients.
    bool holds(const float* ctrlA, const float* ctrlB, int i, int m) const {
        const __m128 moved = _mm_or_ps(_mm_cmpneq_ps(_mm_loadu_ps(ctrlA + i), _mm_set1_ps(lastA)),
                                       _mm_cmpneq_ps(_mm_loadu_ps(ctrlB + i), _mm_set1_ps(lastB)));
        return m == 4 && _mm_movemask_ps(moved) == 0;
    }
    /// The coefficients follow the controls; they are worked out again only when a control
    /// moves.
    void follow(float A, float B) {
        if (A == lastA && B == lastB) return;
        lastA = A;
        lastB = B;
        alignas(16) float coef[FormantBank::kFormants];
        alignas(16) float feedback[FormantBank::kFormants];
        EngineVowel::coefficients(A, B, invRate, coef, feedback);
        a = _mm_load_ps(coef);
        fb = _mm_load_ps(feedback);
    }
    /// Sample k of the group through the stages of both channels.
    void step(int k, float inL, float inR) {
        outL[k] = left.step(_mm_set1_ps(inL), a, fb);
        outR[k] = right.step(_mm_set1_ps(inR), a, fb);
    }
    /// Writes the means of the group's m samples (and zeros after them) at i.
    void finish(float* sumL, float* sumR, int i, int m) {
        for (int k = m; k < 4; ++k) outL[k] = outR[k] = _mm_setzero_ps();
        _mm_storeu_ps(sumL + i, meanOfStages(outL[0], outL[1], outL[2], outL[3]));
        _mm_storeu_ps(sumR + i, meanOfStages(outR[0], outR[1], outR[2], outR[3]));
    }

private:
    static_assert(FormantBank::kFormants == 4 && EngineVowel::kFormants == 4, "one stage per lane");
    FormantBank& owner;
    float invRate;
    FormantLanes left;
    FormantLanes right;
    float lastA = -1.0f;
    float lastB = -1.0f;
    __m128 a = _mm_setzero_ps();
    __m128 fb = _mm_setzero_ps();
    __m128 outL[4] = {};
    __m128 outR[4] = {};
};
} // namespace

float FormantStage::process(float in, float a, float fb) {
    x = fb * x + in;
    // Two cells, each used twice: s0, s1, s0, s1.
    float y = s0 - a * x;
    s0 = a * y + x;
    x = y;
    y = s1 - a * x;
    s1 = a * y + x;
    x = y;
    y = s0 - a * x;
    s0 = a * y + x;
    x = y;
    y = s1 - a * x;
    s1 = a * y + x;
    x = y;
    return x;
}

float EngineVowel::formantHz(int k, float position) {
    const float y = std::clamp(position, 0.0f, 1.0f) * 4.0f;
    const int i = static_cast<int>(y);
    const float g = y - static_cast<float>(i);
    const int next = std::min(i + 1, kVowels - 1);
    return kFormantHz[k][i] * (1.0f - g) + kFormantHz[k][next] * g;
}

void EngineVowel::coefficients(float A, float B, float invRate, float* coef, float* feedback) {
    for (int k = 0; k < kFormants; ++k) {
        const float f = (formantHz(k, A) * (1.1f + 2.4f * B) - 100.0f + 600.0f * B) * invRate;
        coef[k] = (1.0f - f) / (1.0f + f);
        feedback[k] = k == 0 && B < 0.2f ? -0.9f - 0.38f * B : -0.976f;
    }
}

void EngineVowel::seedPhases(const float* phases) {
    for (int i = 0; i < kUnisonSlots; ++i) readers[i].seed(phases[i]);
}

void EngineVowel::render(const OscBlock& b) {
    clearBlock(buffers.sumL, b.frames);
    clearBlock(buffers.sumR, b.frames);
    renderSlots(b);
}

void EngineVowel::renderSlots(const OscBlock& b) {
    const int n = b.frames;
    const float* W = b.wtmix;
    // Smoothed streams move monotonically: 0 at both ends and no route means 0 throughout,
    // and (1 - 0) s + 0 wave is s itself, so the wave's reads are left out.
    const bool noWave = !b.wtmixModulated && W[0] == 0.0f && W[n - 1] == 0.0f;
    // The reads run inside the formant loop when every slot holds a steady block; one copy
    // has too few reads to fill the loop's shadow and is read first.
    bool fused = b.count > 1;
    for (int slot = 0; slot < b.count; ++slot) fused &= readers[slot].readsOneNote(b.reader);
    const auto slotsWith = [&](auto group, auto read, auto vread) {
        if (fused) {
            renderFused(b, vread);
            return;
        }
        renderSlotsGrouped<decltype(group)::value>(
            readers, b, buffers, simd::FixedPhase(), vread,
            [&](TableReader& r, int slot, const SlotSum& sum) {
                r.runVectorInto(b.reader, slot, buffers.note, b.retrig, buffers.slot, n, read,
                                vread, sum);
            });
        formants.process(buffers.sumL, buffers.sumR, b.ctrlA, b.ctrlB, n, b.sampleRate);
    };
    if (noWave) {
        slotsWith(
            std::integral_constant<int, 3>(),
            [](const float* saw, const float*, const float*, float, float, float p, int) {
                return readTable(saw, p);
            },
            [](const TableReader& t, const simd::Cells4& c, int) {
                return simd::read4(t.tables.saw, c);
            });
        return;
    }
    slotsWith(
        std::integral_constant<int, 2>(),
        [W](const float* saw, const float* la, const float* lb, float wa, float wb, float p,
            int i) {
            const float s = readTable(saw, p);
            return (1.0f - W[i]) * s + W[i] * readLevels(la, lb, wa, wb, p);
        },
        [W](const TableReader& t, const simd::Cells4& c, int i) {
            const __m128 w = _mm_loadu_ps(W + i);
            return _mm_add_ps(
                _mm_mul_ps(_mm_sub_ps(_mm_set1_ps(1.0f), w), simd::read4(t.tables.saw, c)),
                _mm_mul_ps(w, simd::readLevels4(t.tables, c)));
        });
}

void FormantBank::process(float* sumL, float* sumR, const float* ctrlA, const float* ctrlB, int n,
                          float sampleRate) {
    FormantRun run(*this, sampleRate);
    for (int i = 0; i < n; i += 4) run.group(sumL, sumR, ctrlA, ctrlB, i, std::min(4, n - i));
}

template <class VRead> void EngineVowel::renderFused(const OscBlock& b, VRead vread) {
    // Every slot holds one note. The slots' reads of the next group are spread between the
    // formant steps of this one: the reads do not wait on the steps' chain of dependent
    // operations, so they run in its shadow.
    const int n = b.frames;
    const int count = b.count;
    TableReader tables[kUnisonSlots];
    simd::FixedPhase at[kUnisonSlots];
    __m128 levelL[kUnisonSlots];
    __m128 levelR[kUnisonSlots];
    for (int slot = 0; slot < count; ++slot) {
        alignas(16) float note[4];
        slotNotes(b.pitch, b.detune[slot], note, 1, true);
        readers[slot].beginSteady(b.reader, note[0]);
        tables[slot] = readers[slot];
        at[slot].start(tables[slot].phase, tables[slot].increment);
        levelL[slot] = _mm_set1_ps(b.levelL[slot]);
        levelR[slot] = _mm_set1_ps(b.levelR[slot]);
    }
    // The slots in four runs, one after each step, in slot order.
    int runEnd[4];
    for (int k = 0; k < 4; ++k) runEnd[k] = (count * (k + 1) + 3) / 4;
    // Added in slot order onto cleared sums, as the slots would be one by one.
    const auto readSlots = [&](int from, int to, int i, __m128& left, __m128& right) {
        for (int slot = from; slot < to; ++slot) {
            const __m128 s = vread(tables[slot], at[slot].next(), i);
            left = _mm_add_ps(left, _mm_mul_ps(levelL[slot], s));
            right = _mm_add_ps(right, _mm_mul_ps(levelR[slot], s));
        }
    };
    float* sumL = buffers.sumL;
    float* sumR = buffers.sumR;
    alignas(16) float inL[4];
    alignas(16) float inR[4];
    {
        __m128 left = _mm_setzero_ps();
        __m128 right = _mm_setzero_ps();
        readSlots(0, count, 0, left, right);
        _mm_store_ps(inL, left);
        _mm_store_ps(inR, right);
    }
    FormantRun run(formants, b.sampleRate);
    for (int i = 0; i < n; i += 4) {
        const int m = std::min(4, n - i);
        const bool same = run.holds(b.ctrlA, b.ctrlB, i, m);
        const bool more = i + 4 < n;
        __m128 left = _mm_setzero_ps();
        __m128 right = _mm_setzero_ps();
        for (int k = 0; k < 4; ++k) {
            if (k < m) {
                if (!same) run.follow(b.ctrlA[i + k], b.ctrlB[i + k]);
                run.step(k, inL[k], inR[k]);
            }
            if (more) readSlots(k == 0 ? 0 : runEnd[k - 1], runEnd[k], i + 4, left, right);
        }
        run.finish(sumL, sumR, i, m);
        _mm_store_ps(inL, left);
        _mm_store_ps(inR, right);
    }
    for (int slot = 0; slot < count; ++slot) {
        TableReader& r = readers[slot];
        r.phase = simd::FixedPhase::after(r.phase, r.increment, n);
    }
}

} // namespace torvo

#include "sources/modulemixer.h"

#include "engine/engineshared.h"
#include "engine/modulematrix.h"
#include "engine/pool.h"

#include <algorithm>
#include <cstdint>

#include <xmmintrin.h>

namespace torvo {

namespace {
/// One oscillator's part in a voice's mix: its output, and either per-sample level, pan and
/// split or, while all three hold still for the block, its gains.
struct MixInput {
    const float* inL;
    const float* inR;
    const float* a;
    const float* p;
    const float* to;
    bool steady;
    /// Held gains of exactly 1, whose products may be skipped: pan at the centre (both
    /// sides), full share of bus one, of bus two.
    bool unitPan, unitOne, unitTwo;
    __m128 level, panL, panR, toOne, toTwo;
};

/// Pan and split share one law: flat up to the centre, then a linear fall on the far side.
/// min(1, x) answers x for a NaN as std::min(x, 1.0f) does.
inline __m128 farSide(__m128 x) {
    const __m128 two = _mm_set1_ps(2.0f);
    return _mm_min_ps(_mm_set1_ps(1.0f), _mm_sub_ps(two, _mm_mul_ps(two, x)));
}
inline __m128 nearSide(__m128 x) {
    return _mm_min_ps(_mm_set1_ps(1.0f), _mm_mul_ps(_mm_set1_ps(2.0f), x));
}

/// Sums the inputs onto the buses in one pass, four samples at a time, each bus sum kept in a
/// register from 0 through the inputs in order: the same additions, in the same order, as
/// adding one oscillator at a time to cleared buses, so the same bits, with one store per bus
/// instead of a read and a write per oscillator. A bus left out (One, Two) is not touched.
template <bool One, bool Two>
void mixInputs(int padded, const MixInput* inputs, int count, float* b1L, float* b1R, float* b2L,
               float* b2R) {
    for (int j = 0; j < padded; j += 4) {
        __m128 s1L = _mm_setzero_ps(), s1R = _mm_setzero_ps();
        __m128 s2L = _mm_setzero_ps(), s2R = _mm_setzero_ps();
        for (int k = 0; k < count; ++k) {
            const MixInput& in = inputs[k];
            if (in.unitPan && (!One || in.unitOne) && (!Two || in.unitTwo)) {
                // x * 1 is x: the level alone, the same bits with four products fewer.
                const __m128 left = _mm_mul_ps(in.level, _mm_load_ps(in.inL + j));
                const __m128 right = _mm_mul_ps(in.level, _mm_load_ps(in.inR + j));
                if constexpr (One) {
                    s1L = _mm_add_ps(s1L, left);
                    s1R = _mm_add_ps(s1R, right);
                }
                if constexpr (Two) {
                    s2L = _mm_add_ps(s2L, left);
                    s2R = _mm_add_ps(s2R, right);
                }
                continue;
            }
            __m128 a, panL, panR, toOne, toTwo;
            if (in.steady) {
                a = in.level;
                panL = in.panL;
                panR = in.panR;
                toOne = in.toOne;
                toTwo = in.toTwo;
            } else {
                a = _mm_load_ps(in.a + j);
                const __m128 p = _mm_load_ps(in.p + j);
                const __m128 to = _mm_load_ps(in.to + j);
                panL = farSide(p);
                panR = nearSide(p);
                toOne = farSide(to);
                toTwo = nearSide(to);
            }
            const __m128 left = _mm_mul_ps(_mm_mul_ps(a, _mm_load_ps(in.inL + j)), panL);
            const __m128 right = _mm_mul_ps(_mm_mul_ps(a, _mm_load_ps(in.inR + j)), panR);
            if constexpr (One) {
                s1L = _mm_add_ps(s1L, _mm_mul_ps(toOne, left));
                s1R = _mm_add_ps(s1R, _mm_mul_ps(toOne, right));
            }
            if constexpr (Two) {
                s2L = _mm_add_ps(s2L, _mm_mul_ps(toTwo, left));
                s2R = _mm_add_ps(s2R, _mm_mul_ps(toTwo, right));
            }
        }
        if constexpr (One) {
            _mm_store_ps(b1L + j, s1L);
            _mm_store_ps(b1R + j, s1R);
        }
        if constexpr (Two) {
            _mm_store_ps(b2L + j, s2L);
            _mm_store_ps(b2R + j, s2R);
        }
    }
}

/// Groups of 4 need 16-byte alignment.
inline bool aligned(const float* p) {
    return (reinterpret_cast<std::uintptr_t>(p) & 15u) == 0;
}

/// Whether every buffer of a voice's mix may be read and written in aligned groups of 4.
bool fitsGroups(const MixInput* inputs, int count, const VoiceMixer& m) {
    if (!aligned(m.bus1L) || !aligned(m.bus1R) || !aligned(m.bus2L) || !aligned(m.bus2R))
        return false;
    for (int k = 0; k < count; ++k) {
        const MixInput& in = inputs[k];
        if (!aligned(in.inL) || !aligned(in.inR)) return false;
        if (!in.steady && (!aligned(in.a) || !aligned(in.p) || !aligned(in.to))) return false;
    }
    return true;
}
} // namespace

void ModuleMixer::createVoices() {
    for (int v = 0; v < kVoiceCount; ++v) voices[v] = &mixVoices[v];
}

void ModuleMixer::setParameter(int localIndex, float value) {
    if (localIndex < 0 || localIndex >= 4 * kMixerInputs) return;
    const int osc = localIndex % kMixerInputs;
    switch (localIndex / kMixerInputs) {
    case 0:
        pan[osc].set(value);
        break;
    case 1:
        setLevel(osc, value);
        break;
    case 2:
        mixTo[osc].set(value);
        break;
    default:
        oscOn[osc] = !decodeOnOff(value);
        break;
    }
}

void ModuleMixer::setLevel(int osc, float value) {
    levels[osc] = value;
    // A true off position: the target is 0 below the dead zone, and only exactly 0 is silent.
    if (value >= kLevelDeadZone) {
        levelSmoother[osc].set(value - kLevelDeadZone);
        sounding[osc] = true;
    } else {
        levelSmoother[osc].set(0.0f);
        sounding[osc] = value != 0.0f;
    }
}

void ModuleMixer::setMaxBlockSize(int frames) {
    if (!shared || !shared->pool) return;
    Pool& pool = *shared->pool;
    for (int i = 0; i < kMixerInputs; ++i) {
        pan[i].allocate(pool, frames);
        levelSmoother[i].allocate(pool, frames);
        mixTo[i].allocate(pool, frames);
    }
    for (int v = 0; v < kVoiceCount; ++v) {
        VoiceMixer& m = mixVoices[v];
        m.bus1L = pool.get("mix", frames);
        m.bus1R = pool.get("mix", frames);
        m.bus2L = pool.get("mix", frames);
        m.bus2R = pool.get("mix", frames);
        busOne[v] = {m.bus1L, m.bus1R};
        busTwo[v] = {m.bus2L, m.bus2R};
    }
}

void ModuleMixer::updateSmoothers(int frames) {
    for (int i = 0; i < kMixerInputs; ++i) {
        pan[i].process(frames, sampleRate);
        levelSmoother[i].process(frames, sampleRate);
        mixTo[i].process(frames, sampleRate);
    }
}

void ModuleMixer::wireVoice(int voice, const StereoPtr osc[kMixerInputs]) {
    if (voice < 0 || voice >= kVoiceCount) return;
    for (int i = 0; i < kMixerInputs; ++i) mixVoices[voice].osc[i] = osc[i];
}

void ModuleMixer::renderVoice(int voice, int frames) {
    VoiceMixer& m = mixVoices[voice];
    const int padded = (frames + 3) & ~3;
    auto buffer = [&](int local, const float* base) {
        return matrix ? matrix->modulatedBuffer(paramId(local), base, frames, voice) : base;
    };
    MixInput inputs[kMixerInputs];
    int count = 0;
    bool fed[2] = {false, false};
    for (int o = 0; o < kMixerInputs; ++o) {
        if (!sounding[o] || !oscOn[o]) continue;
        const float* inL = m.osc[o].left;
        const float* inR = m.osc[o].right;
        if (!inL || !inR) break;
        MixInput& in = inputs[count];
        in.inL = inL;
        in.inR = inR;
        in.a = buffer(kMixerInputs + o, levelSmoother[o].data());
        in.p = buffer(o, pan[o].data());
        in.to = buffer(2 * kMixerInputs + o, mixTo[o].data());
        in.steady =
            steady(levelSmoother[o], in.a) && steady(pan[o], in.p) && steady(mixTo[o], in.to);
        if (in.steady) {
            const float level = in.a[0];
            const float p = in.p[0];
            const float to = in.to[0];
            const float toOne = std::min(2.0f - 2.0f * to, 1.0f);
            const float toTwo = std::min(2.0f * to, 1.0f);
            // A held gain of 0 adds only zeros (the oscillators' output is finite), which
            // leave a sum as it is: a silent input, or a bus its split shuts, is left out.
            if (level == 0.0f) continue;
            const float panL = std::min(2.0f - 2.0f * p, 1.0f);
            const float panR = std::min(2.0f * p, 1.0f);
            in.level = _mm_set1_ps(level);
            in.panL = _mm_set1_ps(panL);
            in.panR = _mm_set1_ps(panR);
            in.toOne = _mm_set1_ps(toOne);
            in.toTwo = _mm_set1_ps(toTwo);
            in.unitPan = panL == 1.0f && panR == 1.0f;
            in.unitOne = toOne == 1.0f;
            in.unitTwo = toTwo == 1.0f;
            fed[0] |= toOne != 0.0f;
            fed[1] |= toTwo != 0.0f;
        } else {
            in.unitPan = in.unitOne = in.unitTwo = false;
            fed[0] = fed[1] = true;
        }
        ++count;
    }
    const bool inGroups = fitsGroups(inputs, count, m);
    if (count > 0 && inGroups) {
        if (fed[0] && fed[1])
            mixInputs<true, true>(padded, inputs, count, m.bus1L, m.bus1R, m.bus2L, m.bus2R);
        else if (fed[0])
            mixInputs<true, false>(padded, inputs, count, m.bus1L, m.bus1R, m.bus2L, m.bus2R);
        else if (fed[1])
            mixInputs<false, true>(padded, inputs, count, m.bus1L, m.bus1R, m.bus2L, m.bus2R);
    } else if (count > 0) {
        // Unaligned buffers (never from the pool): the same sums one sample at a time.
        float* const bus[4] = {m.bus1L, m.bus1R, m.bus2L, m.bus2R};
        for (int j = 0; j < padded; ++j) {
            float sum[4] = {0.0f, 0.0f, 0.0f, 0.0f};
            for (int k = 0; k < count; ++k) {
                const MixInput& in = inputs[k];
                float a, panL, panR, toOne, toTwo;
                if (in.steady) {
                    a = _mm_cvtss_f32(in.level);
                    panL = _mm_cvtss_f32(in.panL);
                    panR = _mm_cvtss_f32(in.panR);
                    toOne = _mm_cvtss_f32(in.toOne);
                    toTwo = _mm_cvtss_f32(in.toTwo);
                } else {
                    a = in.a[j];
                    panL = std::min(2.0f - 2.0f * in.p[j], 1.0f);
                    panR = std::min(2.0f * in.p[j], 1.0f);
                    toOne = std::min(2.0f - 2.0f * in.to[j], 1.0f);
                    toTwo = std::min(2.0f * in.to[j], 1.0f);
                }
                const float left = a * in.inL[j] * panL;
                const float right = a * in.inR[j] * panR;
                sum[0] += toOne * left;
                sum[1] += toOne * right;
                sum[2] += toTwo * left;
                sum[3] += toTwo * right;
            }
            for (int b = 0; b < 4; ++b)
                if (fed[b / 2]) bus[b][j] = sum[b];
        }
    }
    // A bus nothing fed this block is silent; it is cleared only if it still holds sound.
    float* const busL[2] = {m.bus1L, m.bus2L};
    float* const busR[2] = {m.bus1R, m.bus2R};
    for (int b = 0; b < 2; ++b) {
        if (fed[b]) {
            m.zeroFrames[b] = 0;
        } else if (m.zeroFrames[b] < padded) {
            std::fill(busL[b], busL[b] + padded, 0.0f);
            std::fill(busR[b], busR[b] + padded, 0.0f);
            m.zeroFrames[b] = padded;
        }
    }
}

void ModuleMixer::process(int frames, int use) {
    updateSmoothers(frames);
    if (frames <= 0 || !shared || !mixVoices[0].bus1L) return;
    if (shared->monoMode) {
        if (shared->active[kMonoVoice]) renderVoice(kMonoVoice, frames);
        return;
    }
    for (int v = 0; v < kMonoVoice; ++v)
        if (shared->active[v]) renderVoice(v, frames);
    if (use == 2) renderVoice(kMonoVoice, frames);
}

const StereoPtr* ModuleMixer::getStereoOutputs(int index) {
    if (index == 0) return busOne.data();
    if (index == 1) return busTwo.data();
    return nullptr;
}

} // namespace torvo

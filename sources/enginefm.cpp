#include "sources/enginefm.h"

#include "engine/pool.h"

#include <cmath>

namespace torvo {

namespace {
/// 48 semitones on the 0..1 pitch scale.
constexpr float kModRange = 0.37795275f;
constexpr float kGlideEnd = 0.0001f;

/// The modulator's note per sample: (pitch + ctrlB * 48 semitones) * 127 + detune, clamped to
/// 0..127, four at a time (`padded` is a multiple of 4).
void modulatorNotes(const float* pitch, const float* B, float det, float* out, int padded) {
    const __m128 range = _mm_set1_ps(kModRange);
    const __m128 top = _mm_set1_ps(127.0f);
    const __m128 detune = _mm_set1_ps(det);
    for (int i = 0; i < padded; i += 4) {
        const __m128 m = _mm_add_ps(
            _mm_mul_ps(_mm_add_ps(_mm_loadu_ps(pitch + i), _mm_mul_ps(_mm_loadu_ps(B + i), range)),
                       top),
            detune);
        const __m128 above = _mm_cmpgt_ps(m, top);
        const __m128 below = _mm_cmplt_ps(m, _mm_setzero_ps());
        const __m128 high = _mm_or_ps(_mm_and_ps(above, top), _mm_andnot_ps(above, m));
        _mm_storeu_ps(out + i, _mm_andnot_ps(below, high));
    }
}
/// A carrier's cells for a steady block: its own phase moved by the modulation, four samples
/// a step.
struct CarrierPhases {
    void start(float phase, float increment) { at.start(phase, increment); }
    simd::Cells4 next() {
        const simd::Cells4 c = cellsAt(at.nextPhases(), done);
        done += 4;
        return c;
    }
    simd::Cells4 cellsAt(__m128i phases, int i) const {
        return simd::cellsOfFixed(wrapOnceFixed(phases, _mm_loadu_ps(mod + i)));
    }

    const float* mod = nullptr;
    int done = 0;
    simd::FixedPhase at;
};

} // namespace

void DepthGlide::fill(const float* ctrlA, const float* retrig, bool sounding, float step,
                      float* out, int frames) {
    for (int i = 0; i < frames; ++i) {
        if (retrig[i] == 1.0f && sounding) gliding = true;
        if (gliding) {
            const float e = ctrlA[i] - y;
            y += e * step;
            if (std::fabs(e) < kGlideEnd) gliding = false;
        } else {
            y = ctrlA[i];
        }
        out[i] = y;
    }
}

void EngineFM::allocate(Pool& pool, int frames) {
    buffers.allocate(pool, frames);
    pitch = pool.get("fm pitch", frames);
    modNote = pool.get("fm mod note", frames);
    plainOut = pool.get("fm plain", frames);
    modOut = pool.get("fm mod", frames);
    depthBuf = pool.get("fm depth", frames);
}

void EngineFM::seedPhases(const float* phases) {
    for (int i = 0; i < kUnisonSlots; ++i) {
        plain[i].seed(phases[i]);
        modulator[i].seed(phases[i]);
        carrier[i].seed(phases[i]);
    }
}

void EngineFM::render(const OscBlock& b) {
    const int n = b.frames;
    const int padded = (n + 3) & ~3;
    clearBlock(buffers.sumL, n);
    clearBlock(buffers.sumR, n);
    // The pitch is smoothed so that steps of the stream do not ring through the modulator.
    float y = smoothPitch < 0.0f ? b.pitch[0] : smoothPitch;
    for (int i = 0; i < n; ++i) {
        y += 0.2f * (b.pitch[i] - y);
        pitch[i] = y;
    }
    for (int i = n; i < padded; ++i) pitch[i] = y;
    smoothPitch = y;
    depth.fill(b.ctrlA, b.retrig, b.envAtRetrig != 0.0f, 400.0f / b.sampleRate, depthBuf, n);

    // The readers may take their steady loop only when their own notes hold still.
    ReaderBlock carrierBlock = b.reader;
    carrierBlock.notesSteady = isConstant(pitch, n);
    ReaderBlock plainBlock = carrierBlock;
    plainBlock.notesSteady = carrierBlock.notesSteady && isConstant(b.ctrlB, n);
    ReaderBlock sine = plainBlock;
    sine.wave = waveAddress(0);
    const float* B = b.ctrlB;
    const float* W = b.wtmix;
    // Smoothed streams move monotonically: 0 at both ends and no route means 0 throughout.
    const bool noWave = !b.wtmixModulated && W[0] == 0.0f && W[n - 1] == 0.0f;
    for (int slot = 0; slot < b.count; ++slot) {
        const float det = b.detune[slot];
        modulatorNotes(pitch, B, det, modNote, padded);
        TableReader& car = carrier[slot];
        slotNotes(pitch, det, buffers.note, car.readsOneNote(carrierBlock) ? 1 : n,
                  carrierBlock.notesSteady);
        const auto levels = [](const float*, const float* la, const float* lb, float wa, float wb,
                               float p, int) { return readLevels(la, lb, wa, wb, p); };
        const auto levels4 = [](const TableReader& t, const simd::Cells4& c, int) {
            return simd::readLevels4(t.tables, c);
        };
        // With no blend towards the plain wave its samples would be multiplied away; its
        // reader only has to keep time.
        const bool plainSkipped = noWave && plain[slot].skipSteady(plainBlock, modNote, n);
        if (!plainSkipped)
            plain[slot].runVector(plainBlock, slot, modNote, b.retrig, plainOut, n, levels,
                                  levels4);
        modulator[slot].runVector(sine, slot, modNote, b.retrig, modOut, n, levels, levels4);
        for (int i = 0; i < padded; i += 4)
            _mm_storeu_ps(modOut + i,
                          _mm_mul_ps(_mm_loadu_ps(modOut + i),
                                     _mm_mul_ps(_mm_loadu_ps(depthBuf + i), _mm_set1_ps(4096.0f))));
        const float* mod = modOut;
        car.runVector(
            carrierBlock, slot, buffers.note, b.retrig, buffers.slot, n,
            [mod](const float*, const float* la, const float* lb, float wa, float wb, float p,
                  int i) { return readLevels(la, lb, wa, wb, wrapOnce(p + mod[i])); },
            levels4, CarrierPhases{mod, 0, {}});
        if (!plainSkipped)
            for (int i = 0; i < padded; i += 4) {
                const __m128 w = _mm_loadu_ps(W + i);
                _mm_storeu_ps(buffers.slot + i,
                              _mm_add_ps(_mm_mul_ps(_mm_sub_ps(_mm_set1_ps(1.0f), w),
                                                    _mm_loadu_ps(buffers.slot + i)),
                                         _mm_mul_ps(w, _mm_loadu_ps(plainOut + i))));
            }
        addToSums(buffers.slot, b.levelL[slot], b.levelR[slot], buffers.sumL, buffers.sumR, n);
    }
}

} // namespace torvo

#include "sources/tablereader.h"

#include <algorithm>

namespace torvo {

void TableReader::prepare(const ReaderBlock& rb, float firstNote) {
    fadeStep = rb.fadeStep;
    fadeAllowed = rb.fadeAllowed;
    voiceFresh = rb.voiceFresh;
    voiceIndex = rb.voiceIndex > 16 || rb.voiceIndex < 0 ? 0 : rb.voiceIndex;
    if (!lastWave) lastWave = rb.wave;
    if (!tables.saw) lookUp(firstNote);
}

bool holdsPitchIndex(const float* note, int frames, int index) {
    // Moving notes leave the step at once, so the answer is given as soon as it is known.
    constexpr int kStretch = 32;
    for (int from = 0; from < frames; from += kStretch) {
        const int to = std::min(from + kStretch, frames);
        int differ = 0;
        for (int i = from; i < to; ++i) differ |= noteToPitchIndex(note[i]) != index;
        if (differ) return false;
    }
    return true;
}

void TableReader::lookUp(float note) {
    const float n = std::clamp(note, 0.0f, 127.0f);
    const int j = noteToPitchIndex(n);
    const int whole = static_cast<int>(n);
    tables = noteTables(lastWave ? lastWave : waveAddress(0), whole);
    increment = pitchIncrementTable()[std::min(j, kPitchIndexCount - 1)] * incrementRatio;
    pitchIndex = j;
}

void TableReader::takeStart(const ReaderBlock& rb, int slot) {
    switch (rb.startMode) {
    case kStartRandom:
        if (rb.bag) phase = rb.bag->draw();
        break;
    case kStartAnalog: {
        const float r = rb.bag ? rb.bag->draw() : 0.0f;
        const float* last = rb.lastReaderPhase ? rb.lastReaderPhase[slot] : nullptr;
        if (rb.secondsSinceNoteOn > 1.5f || !last) {
            phase = r;
        } else {
            // A quick new note starts close to where the previous one stood, as a free
            // running analog oscillator would, with a little scatter.
            float p = r * 0.01f + *last;
            if (p >= 4096.0f) p -= 4096.0f;
            phase = p;
        }
        break;
    }
    case kStartFixed:
        phase = static_cast<float>(slot + 1) / static_cast<float>(std::max(rb.count, 1)) *
                rb.phaseValue * 4095.0f;
        break;
    default:
        break;
    }
    if (rb.lastReaderPhase) rb.lastReaderPhase[slot] = &phase;
}

void TableReader::takeNewWave(const float* wave, float note) {
    lastWave = wave;
    const int whole = static_cast<int>(std::clamp(note, 0.0f, 127.0f));
    // The saw and the weights stay: they follow the note, which has not moved.
    const NoteTables t = noteTables(wave, whole);
    tables.levelA = t.levelA;
    tables.levelB = t.levelB;
}

void slotNotes(const float* pitch, float detune, float* out, int frames, bool steady) {
    if (steady) {
        const float n = std::clamp(pitch[0] * 127.0f + detune, 0.0f, 127.0f);
        std::fill(out, out + ((frames + 3) & ~3), n);
        return;
    }
    const __m128 scale = _mm_set1_ps(127.0f);
    const __m128 offset = _mm_set1_ps(detune);
    for (int i = 0; i < frames; i += 4) {
        const __m128 n = _mm_add_ps(_mm_mul_ps(_mm_loadu_ps(pitch + i), scale), offset);
        _mm_storeu_ps(out + i, _mm_min_ps(_mm_max_ps(n, _mm_setzero_ps()), scale));
    }
}

void addToSums(const float* in, float levelL, float levelR, float* sumL, float* sumR, int frames) {
    // Written out in registers: the three buffers may not be proven apart, and the scalar form
    // then stays one sample at a time.
    const __m128 l = _mm_set1_ps(levelL);
    const __m128 r = _mm_set1_ps(levelR);
    for (int i = 0; i < frames; i += 4) {
        const __m128 x = _mm_loadu_ps(in + i);
        _mm_storeu_ps(sumL + i, _mm_add_ps(_mm_loadu_ps(sumL + i), _mm_mul_ps(l, x)));
        _mm_storeu_ps(sumR + i, _mm_add_ps(_mm_loadu_ps(sumR + i), _mm_mul_ps(r, x)));
    }
}

void clearBlock(float* buffer, int frames) {
    const int padded = (frames + 3) & ~3;
    std::fill(buffer, buffer + padded, 0.0f);
}

} // namespace torvo

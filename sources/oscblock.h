#pragma once
// Everything an oscillator engine reads for one voice and one block: the prepared streams
// (pitch, retrigger, the three controls), the unison spread and the reader context. The voice
// fills it once per block; engines only read it.

#include "sources/tablereader.h"

namespace torvo {

class Pool;

struct OscBlock {
    int frames = 0;
    float sampleRate = 44100.0f;
    /// Pitch per sample as note / 127, with key tracking and pitch modulation applied.
    const float* pitch = nullptr;
    /// 1 on a sample where the note retriggers.
    const float* retrig = nullptr;
    /// ctrlA, ctrlB and wtmix per sample: smoothed value plus modulation, 0..1.
    const float* ctrlA = nullptr;
    const float* ctrlB = nullptr;
    const float* wtmix = nullptr;
    /// ctrlB as a phase shift in float-index units: int(ctrlB * 4096) * 2.
    const int* shift = nullptr;
    /// Whether anything modulates ctrlA / wtmix this block.
    bool ctrlAModulated = false;
    bool wtmixModulated = false;
    /// Smoothed ctrlA without modulation, for decisions taken once a block.
    float ctrlAValue = 0.0f;
    int count = 1;
    const float* detune = nullptr;
    const float* levelL = nullptr;
    const float* levelR = nullptr;
    int waveIndex = 0;
    /// Modulated `osc1_uwid` and `osc1_phase` block values.
    float width = 0.0f;
    float phaseValue = 0.0f;
    bool keyTrack = true;
    /// env1's level remembered at the voice's last retrigger.
    float envAtRetrig = 0.0f;
    ReaderBlock reader;
};

/// Buffers every engine needs: the slot note, the slot output and the two sums.
struct EngineBuffers {
    void allocate(Pool& pool, int frames);
    float* note = nullptr;
    float* slot = nullptr;
    float* sumL = nullptr;
    float* sumR = nullptr;
};

} // namespace torvo

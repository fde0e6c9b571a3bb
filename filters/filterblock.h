#pragma once
// What a filter model is handed for one slot and one block: the stereo input and output (they
// may be the same buffers: every model reads a sample before it writes it), the per-sample
// cut-off and resonance, the shared coefficient buffers, and the samples at which a silent
// voice was retriggered and the model's memory must start from zero.

#include "engine/blockscan.h"

#include <algorithm>

namespace torvo {

/// Sample positions of note starts in one block, in order.
struct GateEvents {
    static constexpr int kMax = 32;
    int count = 0;
    int position[kMax] = {};
};

struct FilterBlock {
    const float* inL = nullptr;
    const float* inR = nullptr;
    float* outL = nullptr;
    float* outR = nullptr;
    const float* cut = nullptr;
    const float* res = nullptr;
    // Work buffers of block length that the models share.
    float* cutCoef = nullptr;
    float* damping = nullptr;
    float* resCoef = nullptr;
    float* gain = nullptr;
    /// Room for kWideFloats coefficients per sample, for models that fold several steps.
    float* wide = nullptr;
    static constexpr int kWideFloats = 12;
    int frames = 0;
    float sampleRate = 44100.0f;
    /// 44100 / sampleRate.
    float rateRatio = 1.0f;
    /// Note starts of this block (gate word 1).
    const GateEvents* starts = nullptr;
    /// True if the voice was silent when it was last retriggered: its models start clean.
    bool clearAtStart = false;
    /// Set where the caller already knows that the cut-off (the resonance) holds its first
    /// value for the whole block, so that a model need not look again in every voice.
    bool cutHeld = false;
    bool resHeld = false;
};

/// Runs `run(from, to)` over the block, calling `clear()` at every note start that must clear
/// the model's memory. The recursion is split there, so no sample tests the gate.
template <typename Run, typename Clear>
inline void runSegments(const FilterBlock& b, Run&& run, Clear&& clear) {
    int from = 0;
    if (b.clearAtStart && b.starts) {
        for (int e = 0; e < b.starts->count; ++e) {
            const int at = std::clamp(b.starts->position[e], from, b.frames);
            if (at > from) run(from, at);
            clear();
            from = at;
        }
    }
    if (b.frames > from) run(from, b.frames);
}

/// True if the block's cut-off and resonance hold for the whole block.
inline bool controlsHold(const FilterBlock& b) {
    return (b.cutHeld || isConstant(b.cut, b.frames)) && (b.resHeld || isConstant(b.res, b.frames));
}

} // namespace torvo

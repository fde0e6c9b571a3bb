#pragma once
// "SawPwm": a pulse made of two saws at a whole-number multiple (1 to 4, ctrlA) of the note,
// the second shifted by the width, shaped by the note's own saw as an envelope; ctrlB sets
// width and shape together, wtmix blends towards the selected wave at the same multiple.
// The saw table is the note's although it is read faster: the aliasing that leaves is part
// of this engine's sound.

#include "sources/oscblock.h"

#include <array>

namespace torvo {

class EngineSawPwm {
public:
    void allocate(Pool& pool, int frames) { buffers.allocate(pool, frames); }
    void seedPhases(const float* phases);
    void render(const OscBlock& b);
    /// The multiple of the note for a block: 1..4, from ctrlA at the block's first sample.
    static int ratioFor(float ctrlA) { return static_cast<int>(ctrlA * 3.99f) + 1; }
    float* left() const { return buffers.sumL; }
    float* right() const { return buffers.sumR; }

    std::array<TableReader, kUnisonSlots> readers;
    EngineBuffers buffers;
};

} // namespace torvo

#pragma once
// "AMSync": a slave saw (or square, by ctrlA) up to 72 semitones above the note is hard-synced
// to a master at the note's pitch, and the master, a sine starting at its trough, windows the
// slave so that every reset falls where the window is silent. wtmix blends the slave towards
// the selected wave.

#include "sources/oscblock.h"

#include <array>
#include <cstdint>

namespace torvo {

class EngineAMSync {
public:
    void allocate(Pool& pool, int frames);
    void seedPhases(const float* phases);
    void render(const OscBlock& b);
    float* left() const { return buffers.sumL; }
    float* right() const { return buffers.sumR; }

    std::array<TableReader, kUnisonSlots> master;
    std::array<TableReader, kUnisonSlots> slave;
    EngineBuffers buffers;

private:
    float* slaveNote = nullptr;
    float* masterOut = nullptr;
    float* sync = nullptr;
    /// Fixed-point phases of a steady block.
    std::uint32_t* masterAt = nullptr;
    std::uint32_t* slaveAt = nullptr;
};

} // namespace torvo

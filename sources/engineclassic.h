#pragma once
// "Classic": a band-limited saw that ctrlA turns into a pulse (a second saw, shifted by the
// width ctrlB, subtracted) and wtmix blends into the selected wave, read at the same shift.
// Which of four loops runs is decided once a block, so the common plain saw pays for one
// table read per sample and copy, and a pulse with no wave blended in pays for two.

#include "sources/oscblock.h"

#include <array>

namespace torvo {

class EngineClassic {
public:
    enum Variant { kSawOnly, kWaveOnly, kPulseOnly, kBoth };

    void allocate(Pool& pool, int frames) { buffers.allocate(pool, frames); }
    void seedPhases(const float* phases);
    void render(const OscBlock& b);
    /// The loop render() picks for a block.
    static Variant variantFor(const OscBlock& b);
    float* left() const { return buffers.sumL; }
    float* right() const { return buffers.sumR; }

    std::array<TableReader, kUnisonSlots> readers;
    EngineBuffers buffers;

private:
    /// Every slot of the stack with the reads of one variant (see TableReader::run and
    /// TableReader::runVectorInto for the two forms).
    template <int Group, class Read, class VRead>
    void renderSlots(const OscBlock& b, Read read, VRead vread);
};

} // namespace torvo

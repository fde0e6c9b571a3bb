#pragma once
// "FM": a sine at the modulator pitch (0 to +48 semitones by ctrlB) moves the phase of the
// selected wave at the note's pitch by up to a full cycle (ctrlA); wtmix blends towards the
// plain wave at the modulator pitch. A retrigger on a sounding voice glides the depth instead
// of jumping, so legato notes do not click in brightness.

#include "sources/oscblock.h"

#include <array>

namespace torvo {

/// Depth of phase modulation that glides after a retrigger of a sounding voice.
struct DepthGlide {
    /// Fills `out` with the depth per sample from the ctrlA stream; `step` is the glide rate.
    void fill(const float* ctrlA, const float* retrig, bool sounding, float step, float* out,
              int frames);
    float y = 0.0f;
    bool gliding = false;
};

/// Adds the phase offset once with the wrap of the FM carriers: the lower side deliberately
/// adds one point less than a cycle.
inline float wrapOnce(float p) {
    if (p > 4096.0f) return p - 4096.0f;
    if (p < 0.0f) return p + 4095.0f;
    return p;
}

class EngineFM {
public:
    void allocate(Pool& pool, int frames);
    void seedPhases(const float* phases);
    void render(const OscBlock& b);
    float* left() const { return buffers.sumL; }
    float* right() const { return buffers.sumR; }

    std::array<TableReader, kUnisonSlots> plain;
    std::array<TableReader, kUnisonSlots> modulator;
    std::array<TableReader, kUnisonSlots> carrier;
    EngineBuffers buffers;
    float smoothPitch = -1.0f;
    DepthGlide depth;

private:
    float* pitch = nullptr;
    float* modNote = nullptr;
    float* plainOut = nullptr;
    float* modOut = nullptr;
    float* depthBuf = nullptr;
};

} // namespace torvo

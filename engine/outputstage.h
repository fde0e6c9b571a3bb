#pragma once
// Two small pieces of the engine's output path.
//
// SilenceGate skips the effect chain once the voices and the chain itself have been silent for
// one 4/4 bar and 256 samples, so an idle instance costs almost nothing while reverb and delay
// tails still ring out. PeakFollower feeds the level meters.

namespace torvo {

class SilenceGate {
public:
    /// Before the chain: true when the chain is to be skipped for this block.
    bool skipChain(const float* left, const float* right, int frames, float sampleRate,
                   float tempo);
    /// After the chain: remembers whether the chain's output was silent.
    void afterChain(const float* left, const float* right, int frames);

    int tailCounter = 0;
    bool chainSilent = true;
};

class PeakFollower {
public:
    /// Follows one channel: a louder sample lifts the level (capped at 2.0), and the level
    /// falls by 2 / sampleRate per sample. Only the first quarter of the block is looked at,
    /// one sample at a time: cheap, and the meters do not need more.
    void process(const float* x, int frames, float sampleRate);
    float level = 0.0f;
};

} // namespace torvo

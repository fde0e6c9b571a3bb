#pragma once
// The order of the seven effects after the voice sum. The phaser may go before the shaper,
// and the reverb sits before the compressor for its two large spaces and after the delay for
// the others; the equaliser module contributes three stages at three places.

namespace torvo {

class Module;
class ModuleFxEqualizer;

struct FxChain {
    Module* shaper = nullptr;
    Module* phaser = nullptr;
    Module* chorus = nullptr;
    ModuleFxEqualizer* equalizer = nullptr;
    Module* reverb = nullptr;
    Module* compressor = nullptr;
    Module* delay = nullptr;

    /// Runs the chain in place on the two buses. phaserFirst swaps shaper and phaser;
    /// reverbEarly puts the reverb between the band equaliser and the compressor.
    void run(int frames, float* const* stereo, bool phaserFirst, bool reverbEarly) const;
};

} // namespace torvo

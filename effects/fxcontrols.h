#pragma once
// The control side that every effect shares. Each continuous parameter lives in a
// ParamSmoother; per block the smoother's buffer plus whatever the matrix adds for the global
// voice gives a per-sample control buffer in the parameter's normalised range. FxControls
// keeps the smoothers of one effect together with the local indices that feed them, runs them
// all in one call and hands out the resulting buffers. It also answers the test that lets an
// effect at wet 0 cost nothing.

#include "engine/paramsmoother.h"

namespace torvo {

class Module;
class Pool;

class FxControls {
public:
    static constexpr int kMaxControls = 16;

    /// Registers a smoother fed by the owner's local index; answers its slot. Setup only.
    int add(ParamSmoother& smoother, int localIndex);
    /// Takes every smoother's block buffer from the pool.
    void allocate(Pool& pool, int frames);

    /// Advances every smoother one block and applies the modulation. The buffers stay valid
    /// until the next call.
    void run(Module& owner, int frames);
    /// The same for one slot only.
    void runOne(Module& owner, int slot, int frames);
    /// The control buffer of a slot after run(): per sample, 0..1.
    const float* operator[](int slot) const { return buffers[slot]; }

    /// True when the slot's smoother stands at exactly 0 and nothing modulates it: an effect
    /// whose wet control answers true is off for this block.
    bool restsAtZero(Module& owner, int slot, int frames) const;

    int count() const { return used; }

private:
    ParamSmoother* smoothers[kMaxControls] = {};
    int localIndices[kMaxControls] = {};
    const float* buffers[kMaxControls] = {};
    int used = 0;
};

/// The common first test of an effect's block: muted, or wet resting at 0 without modulation.
bool effectIsOff(bool mute, FxControls& controls, Module& owner, int wetSlot, int frames);

} // namespace torvo

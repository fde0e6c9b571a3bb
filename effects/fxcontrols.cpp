#include "effects/fxcontrols.h"

#include "engine/module.h"
#include "engine/modulematrix.h"

namespace torvo {

namespace {
// Global targets such as the effects are read through the mono voice.
constexpr int kGlobalVoice = kMonoVoice;
} // namespace

int FxControls::add(ParamSmoother& smoother, int localIndex) {
    if (used >= kMaxControls) return kMaxControls - 1;
    smoothers[used] = &smoother;
    localIndices[used] = localIndex;
    buffers[used] = smoother.data();
    return used++;
}

void FxControls::allocate(Pool& pool, int frames) {
    for (int i = 0; i < used; ++i) {
        smoothers[i]->allocate(pool, frames);
        buffers[i] = smoothers[i]->data();
    }
}

void FxControls::runOne(Module& owner, int slot, int frames) {
    ParamSmoother& s = *smoothers[slot];
    s.process(frames, owner.sampleRate);
    const float* base = s.data();
    const int id = owner.paramId(localIndices[slot]);
    buffers[slot] = owner.matrix && id >= 0
                        ? owner.matrix->modulatedBuffer(id, base, frames, kGlobalVoice)
                        : base;
    if (!buffers[slot]) buffers[slot] = base;
}

void FxControls::run(Module& owner, int frames) {
    for (int i = 0; i < used; ++i) runOne(owner, i, frames);
}

bool FxControls::restsAtZero(Module& owner, int slot, int frames) const {
    const ParamSmoother& s = *smoothers[slot];
    if (s.current != 0.0f || s.target != 0.0f) return false;
    const int id = owner.paramId(localIndices[slot]);
    if (!owner.matrix || id < 0) return true;
    // The matrix hands the base buffer back untouched exactly when nothing routes to the
    // parameter; the base is only compared, never read, so its contents do not matter here.
    return owner.matrix->modulatedBuffer(id, s.data(), frames, kGlobalVoice) == s.data();
}

bool effectIsOff(bool mute, FxControls& controls, Module& owner, int wetSlot, int frames) {
    if (controls.restsAtZero(owner, wetSlot, frames)) return true;
    return mute;
}

} // namespace torvo

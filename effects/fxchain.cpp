#include "effects/fxchain.h"

#include "effects/modulefxequalizer.h"
#include "engine/module.h"

namespace torvo {

namespace {
void runFx(Module* m, int frames, float* const* stereo) {
    if (m) m->processFx(frames, stereo);
}
} // namespace

void FxChain::run(int frames, float* const* stereo, bool phaserFirst, bool reverbEarly) const {
    runFx(phaserFirst ? phaser : shaper, frames, stereo);
    runFx(phaserFirst ? shaper : phaser, frames, stereo);
    runFx(chorus, frames, stereo);
    if (equalizer) equalizer->eqStage(frames, stereo);
    if (reverbEarly) runFx(reverb, frames, stereo);
    runFx(compressor, frames, stereo);
    if (equalizer) equalizer->toneStage(frames, stereo);
    runFx(delay, frames, stereo);
    if (!reverbEarly) runFx(reverb, frames, stereo);
    if (equalizer) equalizer->outputStage(frames, stereo);
}

} // namespace torvo

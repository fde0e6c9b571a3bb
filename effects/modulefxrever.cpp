#include "effects/modulefxrever.h"

#include "engine/denormals.h"
#include "engine/engineshared.h"
#include "engine/pool.h"

#include <algorithm>

namespace torvo {

ModuleFxRever::ModuleFxRever() {
    preTimeSlot = controls.add(preTime, 3);
    dampSlot = controls.add(damp, 4);
    wideSlot = controls.add(wide, 5);
    decaySlot = controls.add(decay, 6);
    colorSlot = controls.add(color, 7);
    wetSlot = controls.add(wet, 8);
}

void ModuleFxRever::setParameter(int localIndex, float value) {
    switch (localIndex) {
    case 0:
        mode = std::clamp(decodeList(value), 0, static_cast<int>(kAura));
        break;
    case 1:
        sync = decodeOnOff(value);
        break;
    case 2:
        preTimeSync = std::clamp(decodeList(value), 0, kLastNoteTime);
        break;
    case 3:
        preTime.set(value);
        break;
    case 4:
        damp.set(value);
        break;
    case 5:
        wide.set(value);
        break;
    case 6:
        decay.set(value);
        break;
    case 7:
        color.set(value);
        break;
    case 8:
        wet.set(value);
        break;
    case 9:
        mute = decodeOnOff(value);
        break;
    default:
        break;
    }
}

void ModuleFxRever::setSampleRate(float rate) {
    Module::setSampleRate(rate);
    component.setSampleRate(rate);
}

void ModuleFxRever::setMaxBlockSize(int frames) {
    maxFrames = frames;
    if (!component.ready()) component.setSampleRate(sampleRate);
    if (!shared || !shared->pool) return;
    controls.allocate(*shared->pool, frames);
}

void ModuleFxRever::processFx(int frames, float* const* stereo) {
    if (frames <= 0 || !stereo || !stereo[0] || !stereo[1] || !wet.data()) return;
    frames = std::min(frames, maxFrames);
    // At wet 0 with nothing modulating it the effect is off: the audio and the lines stay as
    // they are, so the tail comes back when the effect does.
    if (effectIsOff(mute, controls, *this, wetSlot, frames)) return;
    controls.run(*this, frames);

    ReverbControls c;
    c.preTime = controls[preTimeSlot];
    c.damp = controls[dampSlot];
    c.wide = controls[wideSlot];
    c.decay = controls[decaySlot];
    c.color = controls[colorSlot];
    c.wet = controls[wetSlot];
    c.sync = sync;
    c.preTimeSync = preTimeSync;
    c.tempo = shared ? shared->tempo : 120.0f;

    if (component.loadedMode() != mode) component.load(reverbDataSet(mode), mode);
    ScopedFlushDenormals flush;
    component.process(frames, stereo[0], stereo[1], c);
}

void ModuleFxRever::clear() {
    component.clear();
}

} // namespace torvo

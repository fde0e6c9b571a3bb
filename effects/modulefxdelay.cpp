#include "effects/modulefxdelay.h"

#include "engine/engineshared.h"
#include "engine/pool.h"

#include <algorithm>
#include <initializer_list>

namespace torvo {

void ModuleFxDelay::setParameter(int localIndex, float value) {
    switch (localIndex) {
    case 0:
        pingPong = decodeOnOff(value);
        break;
    case 1:
        sync = decodeOnOff(value);
        break;
    case 2:
        timeL.set(value);
        break;
    case 3:
        timeR.set(value);
        break;
    case 4:
        syncTimeL = std::clamp(decodeList(value), 0, kLastNoteTime);
        break;
    case 5:
        syncTimeR = std::clamp(decodeList(value), 0, kLastNoteTime);
        break;
    case 6:
        feedback.set(value);
        break;
    case 7:
        rate.set(value);
        break;
    case 8:
        modulate.set(value);
        break;
    case 9:
        wide.set(value);
        break;
    case 10:
        color.set(value);
        break;
    case 11:
        wet.set(value);
        break;
    case 12:
        mute = decodeOnOff(value);
        break;
    default:
        break;
    }
}

void ModuleFxDelay::setMaxBlockSize(int frames) {
    if (!shared || !shared->pool) return;
    for (ParamSmoother* s : {&timeL, &timeR, &feedback, &rate, &modulate, &wide, &color, &wet})
        s->allocate(*shared->pool, frames);
}

void ModuleFxDelay::processFx(int frames, float* const* stereo) {}

void ModuleFxDelay::clear() {}

} // namespace torvo

#include "effects/modulefxrever.h"

#include "engine/engineshared.h"
#include "engine/pool.h"

#include <algorithm>
#include <initializer_list>

namespace torvo {

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

void ModuleFxRever::setMaxBlockSize(int frames) {
    if (!shared || !shared->pool) return;
    for (ParamSmoother* s : {&preTime, &damp, &wide, &decay, &color, &wet})
        s->allocate(*shared->pool, frames);
}

void ModuleFxRever::processFx(int frames, float* const* stereo) {}

void ModuleFxRever::clear() {}

} // namespace torvo

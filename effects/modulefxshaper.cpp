#include "effects/modulefxshaper.h"

#include "engine/engineshared.h"
#include "engine/pool.h"

#include <algorithm>
#include <initializer_list>

namespace torvo {

void ModuleFxShaper::setParameter(int localIndex, float value) {
    switch (localIndex) {
    case 0:
        mode = std::clamp(decodeList(value), 0, static_cast<int>(kDecimate));
        break;
    case 1:
        band = decodeOnOff(value);
        break;
    case 2:
        hq = decodeOnOff(value);
        break;
    case 3:
        drive.set(value);
        break;
    case 4:
        bits.set(value);
        break;
    case 5:
        rate.set(value);
        break;
    case 6:
        hiCut.set(value);
        break;
    case 7:
        lowCut.set(value);
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

void ModuleFxShaper::setMaxBlockSize(int frames) {
    if (!shared || !shared->pool) return;
    for (ParamSmoother* s : {&drive, &bits, &rate, &hiCut, &lowCut, &wet})
        s->allocate(*shared->pool, frames);
}

void ModuleFxShaper::processFx(int frames, float* const* stereo) {}

} // namespace torvo

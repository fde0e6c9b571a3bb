#include "effects/modulefxchorus.h"

#include "engine/engineshared.h"
#include "engine/pool.h"

#include <algorithm>
#include <initializer_list>

namespace torvo {

void ModuleFxChorus::setParameter(int localIndex, float value) {
    switch (localIndex) {
    case 0:
        mode = std::clamp(decodeList(value), 0, kEnsemble);
        break;
    case 1:
        delay.set(value);
        break;
    case 2:
        feedback.set(value);
        break;
    case 3:
        rate.set(value);
        break;
    case 4:
        depth.set(value);
        break;
    case 5:
        wide.set(value);
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

void ModuleFxChorus::setMaxBlockSize(int frames) {
    if (!shared || !shared->pool) return;
    for (ParamSmoother* s : {&delay, &feedback, &rate, &depth, &wide, &hiCut, &lowCut, &wet})
        s->allocate(*shared->pool, frames);
}

void ModuleFxChorus::processFx(int frames, float* const* stereo) {}

void ModuleFxChorus::clear() {}

} // namespace torvo

#include "effects/modulefxphaser.h"

#include "engine/engineshared.h"
#include "engine/pool.h"

#include <algorithm>
#include <initializer_list>

namespace torvo {

void ModuleFxPhaser::setParameter(int localIndex, float value) {
    switch (localIndex) {
    case 0:
        stages = std::clamp(decodeList(value), 0, kLastStages);
        break;
    case 1:
        freq.set(value);
        break;
    case 2:
        feedback.set(value);
        break;
    case 3:
        spread.set(value);
        break;
    case 4:
        rate.set(value);
        break;
    case 5:
        depth.set(value);
        break;
    case 6:
        wet.set(value);
        break;
    case 7:
        mute = decodeOnOff(value);
        break;
    default:
        break;
    }
}

void ModuleFxPhaser::setMaxBlockSize(int frames) {
    if (!shared || !shared->pool) return;
    Pool& pool = *shared->pool;
    for (ParamSmoother* s : {&freq, &feedback, &spread, &rate, &depth, &wet})
        s->allocate(pool, frames);
    for (float** b : {&curveL, &curveR, &rateBuf, &outL, &outR}) *b = pool.get("phs", frames);
    capacity = frames;
}

void ModuleFxPhaser::processFx(int frames, float* const* stereo) {}

void ModuleFxPhaser::clear() {
    for (float* b : {curveL, curveR, rateBuf, outL, outR})
        if (b) std::fill(b, b + capacity, 0.0f);
}

} // namespace torvo

#include "effects/modulefxcompressor.h"

#include "engine/engineshared.h"
#include "engine/pool.h"

namespace torvo {

void ModuleFxCompressor::setParameter(int localIndex, float value) {
    if (localIndex == 0) amount.set(value);
}

void ModuleFxCompressor::setMaxBlockSize(int frames) {
    if (shared && shared->pool) amount.allocate(*shared->pool, frames);
}

void ModuleFxCompressor::processFx(int frames, float* const* stereo) {}

} // namespace torvo

#include "effects/modulefxequalizer.h"

#include "engine/engineshared.h"
#include "engine/pool.h"

namespace torvo {

namespace {
constexpr int kLocalFirstBand = 4;
constexpr int kLocalVolume = 13;
} // namespace

void ModuleFxEqualizer::setParameter(int localIndex, float value) {
    if (localIndex >= kLocalFirstBand && localIndex < kLocalFirstBand + kBandValues) {
        bands[localIndex - kLocalFirstBand].set(value);
        return;
    }
    switch (localIndex) {
    case 0:
        power = decodeOnOff(value);
        break;
    case 1:
        warm = decodeOnOff(value);
        break;
    case 2:
        soft = decodeOnOff(value);
        break;
    case 3:
        boost = decodeOnOff(value);
        break;
    case kLocalVolume:
        volume.set(value);
        break;
    default:
        break;
    }
}

void ModuleFxEqualizer::setMaxBlockSize(int frames) {
    if (!shared || !shared->pool) return;
    for (ParamSmoother& b : bands) b.allocate(*shared->pool, frames);
    volume.allocate(*shared->pool, frames);
}

void ModuleFxEqualizer::stage1(int frames, float* const* stereo) {}

void ModuleFxEqualizer::stage2(int frames, float* const* stereo) {}

void ModuleFxEqualizer::stage3(int frames, float* const* stereo) {}

} // namespace torvo

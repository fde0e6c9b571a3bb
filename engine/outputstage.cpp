#include "engine/outputstage.h"

#include "effects/signaltools.h"

#include <algorithm>
#include <cmath>

namespace torvo {

namespace {
constexpr float kPeakCeiling = 2.0f;
}

bool SilenceGate::skipChain(const float* left, const float* right, int frames, float sampleRate,
                            float tempo) {
    const bool silent = SilenceCheck(left, frames) && SilenceCheck(right, frames);
    if (silent && chainSilent) {
        if (tailCounter > 0) tailCounter -= frames;
        if (tailCounter > 0) return false;
        tailCounter = 0;
        return true;
    }
    // Sound, or a chain still ringing: hold the chain open for one bar and 256 samples more.
    tailCounter = static_cast<int>(sampleRate * 240.0f / tempo + 256.0f);
    return false;
}

void SilenceGate::afterChain(const float* left, const float* right, int frames) {
    chainSilent = SilenceCheck(left, frames) && SilenceCheck(right, frames);
}

void PeakFollower::process(const float* x, int frames, float sampleRate) {
    if (frames <= 0) return;
    const float step = 2.0f / sampleRate;
    const int n = (frames - 1) / 4 + 1;
    float l = level;
    for (int i = 0; i < n; ++i) {
        const float m = std::fabs(x[i]);
        if (m > l) l = std::min(m, kPeakCeiling);
        l = l > 0.0f ? l - step : 0.0f;
    }
    level = std::max(l, 0.0f);
}

} // namespace torvo

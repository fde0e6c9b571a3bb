#include "sources/pitchincrement.h"

#include "sources/wavebank.h"

#include <array>
#include <cmath>

namespace torvo {

namespace {
std::array<float, kPitchIndexCount> increments{};
float builtRate = 0.0f;
} // namespace

void setPitchIncrementRate(float rate) {
    if (!(rate > 0.0f) || rate == builtRate) return;
    // One exponential per semitone and per step, multiplied: exact to float precision and far
    // cheaper than an exponential per entry.
    std::array<double, kPitchStepsPerNote> step{};
    for (int k = 0; k < kPitchStepsPerNote; ++k)
        step[k] = std::pow(2.0, k / (12.0 * kPitchStepsPerNote));
    const double scale = 440.0 * kTablePoints / static_cast<double>(rate);
    for (int n = 0; n < 128; ++n) {
        const double base = scale * std::pow(2.0, (n - 69) / 12.0);
        for (int k = 0; k < kPitchStepsPerNote; ++k)
            increments[n * kPitchStepsPerNote + k] = static_cast<float>(base * step[k]);
    }
    builtRate = rate;
}

const float* pitchIncrementTable() {
    return increments.data();
}

float pitchIncrementRate() {
    return builtRate;
}

} // namespace torvo

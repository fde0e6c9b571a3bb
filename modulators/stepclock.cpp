#include "modulators/stepclock.h"

#include "modulators/lfoshapes.h"

#include <algorithm>

namespace torvo {

float StepClock::freeRateHz(float ratePosition) {
    return readLfoRate(std::max(0.0f, ratePosition) * 11.0f);
}

void StepClock::updateRates(float tempo, float sampleRate, float freeRate, int index,
                            int swingIndex) {
    const float invRate = 1.0f / (sampleRate > 0.0f ? sampleRate : 44100.0f);
    float r = 0.0f;
    if (mode != kClockFree) {
        index = std::clamp(index, 0, kTimeDivisionCount - 1);
        r = tempo / kTimeDivisors[index] * invRate;
    } else {
        r = freeRateHz(freeRate) * invRate;
    }
    rateEven = rateOdd = r;
    if (mode != kClockFree && timeIndex == swingIndex) {
        // Swing lengthens the even steps and shortens the odd ones by the same amount.
        const float w = swing * 0.6f - 0.3f;
        rateOdd = r / (1.0f - w);
        rateEven = r / (1.0f + w);
    }
}

void StepClock::startAtSongPosition(int v) {
    const float ticks = static_cast<float>(256.0 * songPosition + 1.28);
    // Rounded as pitch indices are: to the nearest half and then down.
    const int rounded = static_cast<int>(ticks * 2.0f + 0.5f) >> 1;
    const float steps = static_cast<float>(rounded) * 0.59999996f / kTimeDivisors[timeIndex];
    const int whole = static_cast<int>(steps);
    const int span = stopStep - startStep + 1;
    stepIndex[v] = span > 0 ? whole % span + startStep : startStep;
    const float fraction = steps - static_cast<float>(whole);
    position[v] =
        stepIndex[v] % 2 == 0 ? fraction / (1.0f + 0.3f * swing) : fraction / (1.0f - 0.3f * swing);
}

void StepClock::resetVoices() {
    running.fill(0);
    stepIndex.fill(0);
    position.fill(0.0f);
    previousStep.fill(0);
    previousPosition.fill(0.0f);
    stepChanged.fill(false);
}

} // namespace torvo

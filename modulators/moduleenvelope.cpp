#include "modulators/moduleenvelope.h"

#include "engine/engineshared.h"
#include "engine/pool.h"

#include <algorithm>

namespace torvo {

namespace {
/// The curve rows are spread-encoded lists of three entries.
int decodeCurve(float v) {
    return std::clamp(static_cast<int>(v * 2.99f), 0, 2);
}
} // namespace

void VoiceEnvelope::clearState() {
    if (output) std::fill(output, output + capacity, 0.0f);
    stage = kStageIdle;
    position = start = span = 0.0f;
    lastRetrigTime = bouncePos = valueAtRetrig = value = 0.0f;
    bounceStep = 1.0f;
    attackRate = 1.0f;
    freshStart = true;
}

void ModuleEnvelope::createVoices() {
    for (int v = 0; v < kVoiceCount; ++v) voices[v] = &envVoices[v];
}

void ModuleEnvelope::setParameter(int localIndex, float value) {
    switch (localIndex) {
    case 0:
        attack = value;
        break;
    case 1:
        decay = value;
        break;
    case 2:
        sustain = value;
        break;
    case 3:
        slopeTime = value;
        break;
    case 4:
        slopeLevel = value;
        break;
    case 5:
        release = value;
        break;
    case 6:
        attackCurve = decodeCurve(value);
        break;
    case 7:
        decayCurve = decodeCurve(value);
        break;
    case 8:
        slopeCurve = decodeCurve(value);
        break;
    case 9:
        releaseCurve = decodeCurve(value);
        break;
    default:
        break;
    }
}

void ModuleEnvelope::setMaxBlockSize(int frames) {
    if (!shared || !shared->pool) return;
    for (int v = 0; v < kVoiceCount; ++v) {
        VoiceEnvelope& e = envVoices[v];
        e.output = shared->pool->get("env", frames);
        e.capacity = e.output ? frames : 0;
        outputTable[v] = e.output;
    }
}

void ModuleEnvelope::process(int frames, int use) {}

float* const* ModuleEnvelope::getOutputs(int index) {
    return index == 0 ? outputTable.data() : nullptr;
}

void ModuleEnvelope::clearState() {
    for (VoiceEnvelope& e : envVoices) e.clearState();
}

} // namespace torvo

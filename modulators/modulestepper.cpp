#include "modulators/modulestepper.h"

#include "engine/engineshared.h"
#include "engine/pool.h"

#include <algorithm>

namespace torvo {

namespace {
constexpr int kPointCount = 64;
constexpr int kBezierCount = 40;
constexpr float kBezierStep = 0.025f;

int decodeIndex(float v, int last) {
    return std::clamp(decodeList(v), 0, last);
}
} // namespace

void StepData::rebuild() {
    if (hold) {
        const float threshold = std::clamp(crvX, 0.01f, 0.95f) * kPointCount;
        for (int i = 0; i < kPointCount; ++i)
            points[i] = static_cast<float>(i) >= threshold ? endLevel : startLevel;
        return;
    }
    // A cubic curve whose two middle control points both sit at (crvX, crvY).
    bezierX[0] = 0.0f;
    bezierY[0] = startLevel;
    for (int k = 1; k < kBezierCount - 1; ++k) {
        const float t = kBezierStep * k;
        const float u = 1.0f - t;
        bezierX[k] = 3.0f * t * u * crvX + t * t * t;
        bezierY[k] = u * u * u * startLevel + 3.0f * t * u * crvY + t * t * t * endLevel;
    }
    bezierX[kBezierCount - 1] = 1.0f;
    bezierY[kBezierCount - 1] = endLevel;

    if (startLevel == crvY && crvY == endLevel) {
        points.fill(startLevel);
    } else {
        int segment = 0;
        for (int i = 0; i < kPointCount; ++i) {
            const float x = static_cast<float>(i) / (kPointCount - 1);
            while (segment < kBezierCount - 2 && bezierX[segment + 1] < x) ++segment;
            const float x0 = bezierX[segment];
            const float dx = bezierX[segment + 1] - x0;
            const float g = dx > 0.0f ? std::clamp((x - x0) / dx, 0.0f, 1.0f) : 1.0f;
            points[i] = bezierY[segment] + g * (bezierY[segment + 1] - bezierY[segment]);
        }
    }
    if (repeat <= 1) return;
    // Squeeze the curve `repeat` times into the step: walk the table in strides, and on
    // passing index 62 write the last point once and start over.
    const std::array<float, kPointCount> once = points;
    int index = 0;
    for (int k = 0; k < kPointCount; ++k) {
        if (index > kPointCount - 2) {
            points[k] = once[kPointCount - 1];
            index = 0;
        } else {
            points[k] = once[index];
            index += repeat;
        }
    }
}

void ModuleStepper::createVoices() {
    for (StepData& s : steps) s.rebuild();
}

void ModuleStepper::setParameter(int localIndex, float value) {
    if (localIndex < 0 || localIndex >= kLocalCount) return;
    dirty = true;
    if (localIndex >= kLocalHead && localIndex < kLocalHold) {
        setHeadParameter(localIndex, value);
        return;
    }
    if (localIndex >= kLocalHold) {
        StepData& s = steps[localIndex - kLocalHold];
        s.hold = decodeOnOff(value);
        s.rebuild();
        return;
    }
    StepData& s = steps[localIndex % kStepCount];
    switch (localIndex / kStepCount) {
    case 0:
        s.startLevel = value;
        break;
    case 1:
        s.endLevel = value;
        break;
    case 2:
        s.crvX = value;
        break;
    case 3:
        s.crvY = value;
        break;
    default: // 64..79
        s.repeat = std::clamp(1 + static_cast<int>(value * 3.99f), 1, 4);
        break;
    }
    s.rebuild();
}

void ModuleStepper::setHeadParameter(int localIndex, float value) {
    switch (localIndex) {
    case 80:
        clock.rate = value;
        break;
    case 81:
        timeValue = value;
        clock.timeIndex = decodeIndex(value, kTimeDivisionCount - 1);
        break;
    case 82:
        arpSpeed = value;
        break;
    case 83:
        clock.mode = decodeIndex(value, kClockSongPosition);
        break;
    case 84:
        clock.startStep = decodeIndex(value, kStepCount - 1);
        break;
    case 85:
        clock.stopStep = decodeIndex(value, kStepCount - 1);
        break;
    case 86:
        mono = decodeOnOff(value);
        break;
    case 87:
        clock.rtrg = decodeOnOff(value);
        break;
    case 88:
        clock.loop = decodeOnOff(value);
        break;
    case 89:
        clock.swing = value;
        break;
    default:
        break;
    }
}

void ModuleStepper::setMaxBlockSize(int frames) {
    if (!shared || !shared->pool) return;
    for (int v = 0; v < kVoiceCount; ++v) {
        outputs[v] = shared->pool->get("stp", frames);
        polyTable[v] = outputs[v];
    }
    monoTable.fill(outputs[kMonoVoice]);
}

void ModuleStepper::process(int frames, int use) {}

float* const* ModuleStepper::getOutputs(int index) {
    if (index != 0) return nullptr;
    return mono ? monoTable.data() : polyTable.data();
}

void ModuleStepper::setArpState(bool run, float* stepSnapshot) {
    arpRunning = run;
    arpStepSnapshot = stepSnapshot;
}

} // namespace torvo

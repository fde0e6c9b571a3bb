#include "modulators/modulestepper.h"

#include "engine/aplugin.h"
#include "engine/engineshared.h"
#include "engine/modulematrix.h"
#include "engine/modulemidi.h"
#include "engine/notevoice.h"
#include "engine/pool.h"
#include "modulators/modulearp.h"

#include <algorithm>

namespace torvo {

namespace {
constexpr int kPointCount = 64;
constexpr int kBezierCount = 40;
constexpr float kBezierStep = 0.025f;

// In the tempo modes the rate modulation moves the division index, up to the last division
// (index 20 in the thousandth encoding).
constexpr float kLastDivisionValue = 0.02016f;
constexpr int kSnapshotWords = ModuleArp::kStepSnapshotBytes / static_cast<int>(sizeof(float));

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

bool ModuleStepper::isMono() const {
    return mono || (shared && shared->monoMode);
}

void ModuleStepper::resetVoices() {
    clock.resetVoices();
    newestVoice = 0;
    displayStep = 0;
}

float ModuleStepper::valueAt(int step, float position) const {
    const StepData& s = steps[step & (kStepCount - 1)];
    const float at = std::clamp(position, 0.0f, 1.0f) * (kPointCount - 1);
    const int i = static_cast<int>(at);
    // A flat or held step reads its table without interpolation.
    if (s.startLevel == s.endLevel || s.hold) return s.points[i];
    const float g = at - static_cast<float>(i);
    return s.points[i] * (1.0f - g) + s.points[(i + 1) % kPointCount] * g;
}

void ModuleStepper::updateClock(int frames) {
    const int rateId = paramId(80);
    float modulation = 0.0f;
    float freeRate = clock.rate;
    if (matrix && rateId >= 0) {
        freeRate = matrix->modulated(rateId, clock.rate, frames, kMonoVoice);
        modulation = matrix->modulated(rateId, 0.5f, frames, kMonoVoice) - 0.5f;
    }
    int index = clock.timeIndex;
    if (clock.mode != kClockFree && modulation != 0.0f)
        index = static_cast<int>(
            std::min(modulation * kLastDivisionValue + timeValue, kLastDivisionValue) * 999.99f);
    const int swingIndex = std::clamp(decodeList(arpSpeed), 0, kTimeDivisionCount - 1);
    const float tempo = shared ? shared->tempo : 120.0f;
    clock.updateRates(tempo, sampleRate, freeRate, index, swingIndex);
    dirty = false;
}

void ModuleStepper::process(int frames, int use) {
    if (frames <= 0) return;
    if (plugin) {
        if (ModuleMidi* midi = plugin->midi()) triggers = midi->triggerTable();
    }
    updateClock(frames);
    if (isMono()) {
        renderVoice(kMonoVoice, frames);
    } else {
        for (int v = 0; v < kMonoVoice; ++v)
            if (!shared || shared->active[v] != 0) renderVoice(v, frames);
        if (use == 2) renderVoice(kMonoVoice, frames);
    }
    displayStep = clock.stepIndex[newestVoice] & (kStepCount - 1);
}

void ModuleStepper::renderVoice(int v, int frames) {
    float* out = outputs[v];
    if (!out) return;
    const TriggerRecord* notes = triggers ? triggers[v] : nullptr;
    const float* arpFlags = arpRunning ? arpStepSnapshot : nullptr;
    for (int i = 0; i < frames; ++i) {
        int flags = notes && notes[i].trigger3 == 1 ? StepClock::kKeyPress : 0;
        if (arpFlags && i < kSnapshotWords) flags |= static_cast<int>(arpFlags[i]);
        if (flags & StepClock::kKeyPress) newestVoice = v;
        clock.tick(v, flags);
        out[i] = valueAt(clock.stepIndex[v], clock.position[v]);
    }
}

float* const* ModuleStepper::getOutputs(int index) {
    if (index != 0) return nullptr;
    return mono ? monoTable.data() : polyTable.data();
}

void ModuleStepper::setArpState(bool run, const float* stepSnapshot) {
    arpRunning = run;
    arpStepSnapshot = stepSnapshot;
}

} // namespace torvo

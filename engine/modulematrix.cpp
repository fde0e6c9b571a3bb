#include "engine/modulematrix.h"

namespace torvo {

namespace {
constexpr int kFirstSlotAmountTarget = 155;
constexpr int kLastSlotAmountTarget = 214;

/// Depth targets of the envelopes' and LFOs' own amounts, in slot order 15..22, two each.
constexpr int kModuleDepthTargets[8][2] = {{56, 57}, {64, 65}, {72, 73},   {80, 81},
                                           {87, 88}, {94, 95}, {101, 102}, {108, 109}};

bool isModuleDepthTarget(uint32_t t) {
    for (const auto& pair : kModuleDepthTargets)
        if (t == uint32_t(pair[0]) || t == uint32_t(pair[1])) return true;
    return false;
}

bool isSlotAmountTarget(uint32_t t) {
    return t >= kFirstSlotAmountTarget && t <= kLastSlotAmountTarget;
}
} // namespace

ModuleMatrix::ModuleMatrix() {
    // The envelopes' and LFOs' own slots take their fixed sources Env1..Env4, LFO1..LFO4.
    for (int i = 0; i < 8; ++i) {
        MatrixSlot& s = slots[kEnvSlotBase + i];
        s.source1 = (kSrcEnv1 - 1) + i;
        s.source2 = -1;
    }
}

uint32_t ModuleMatrix::decodeTarget(float value) {
    const int t = decodeList(value);
    return t < 0 || t > kTargetCount ? 0u : uint32_t(t);
}

void ModuleMatrix::setSlotValue(int slot, int item, float value) {
    if (slot < kEnvSlotBase || slot >= kLfoSlotBase + 4 || item < 0 || item > 5) return;
    MatrixSlot& s = slots[slot];
    const int k = item / 3;
    switch (item % 3) {
    case 0:
        s.target[k] = decodeTarget(value);
        break;
    case 1:
        s.amount[k] = value;
        break;
    default:
        s.velocity[k] = 2.0f * value - 1.0f;
        break;
    }
}

void ModuleMatrix::setUserSlotItem(int slot, int item, float value) {
    if (slot < 0 || slot >= kUserSlots || item < 0 || item > 9) return;
    MatrixSlot& s = slots[slot];
    if (item < 2) {
        int src = decodeList(value);
        if (src < 0 || src > kSourceCount) src = 0;
        (item == 0 ? s.source1 : s.source2) = src - 1;
    } else if (item % 2 == 0) {
        s.amount[(item - 2) / 2] = value;
    } else {
        s.target[(item - 3) / 2] = decodeTarget(value);
    }
}

void ModuleMatrix::raiseUse(int source0, int use) {
    if (source0 < 0 || source0 >= kSourceCount) return;
    if (useOfSources[source0] < use) useOfSources[source0] = use;
}

void ModuleMatrix::refresh() {
    for (bool& a : targetActive) a = false;
    for (int& u : useOfSources) u = 0;
    for (const MatrixSlot& s : slots) {
        if (s.source1 < 0 && s.source2 < 0) continue;
        for (uint32_t t : s.target) {
            if (t == 0 || isSlotAmountTarget(t) || isModuleDepthTarget(t)) continue;
            const int use = (t >= 82 && t <= 154) || (t >= 215 && t <= 223) ? 2 : 1;
            targetActive[t] = true;
            raiseUse(s.source1, use);
            raiseUse(s.source2, use);
        }
    }
    // Depth targets switch on their own sources too.
    for (const MatrixSlot& s : slots) {
        for (uint32_t t : s.target) {
            if (!isSlotAmountTarget(t) && !isModuleDepthTarget(t)) continue;
            const int use = (t >= 82 && t <= 154) || (t >= 215 && t <= 220) ? 2 : 1;
            raiseUse(s.source1, use);
            raiseUse(s.source2, use);
        }
    }
}

void ModuleMatrix::setSource(int sourceId, float* const* table) {
    if (sourceId >= 1 && sourceId <= kSourceCount) sources[sourceId - 1] = table;
}

float* const* ModuleMatrix::source(int sourceId) const {
    return sourceId >= 1 && sourceId <= kSourceCount ? sources[sourceId - 1] : nullptr;
}

int ModuleMatrix::useOfSource(int sourceId) const {
    return sourceId >= 1 && sourceId <= kSourceCount ? useOfSources[sourceId - 1] : 0;
}

float ModuleMatrix::modulated(int paramId, float base, int frames, int voice) const {
    return base;
}

const float* ModuleMatrix::modulatedBuffer(int paramId, const float* baseBuffer, int frames,
                                           int voice) {
    return baseBuffer;
}

} // namespace torvo

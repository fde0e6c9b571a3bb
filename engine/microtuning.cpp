#include "engine/microtuning.h"

namespace torvo {

void MicroTuning::setTable(const float* newTable, int newSteps) {
    if (!newTable || newSteps < 1) {
        tuningOn = false;
        return;
    }
    // The audio thread may read between these stores; pointer first keeps every index valid
    // for a table that only grows.
    table = newTable;
    steps = static_cast<float>(newSteps);
    octaveSpan = newTable[newSteps];
    tuningOn = true;
}

void MicroTuning::setA4(int index) {
    a4Offset = index >= 0 && index < kA4Count ? kA4Offsets[index] : 0.0f;
}

float MicroTuning::map(float pitch) const {
    const float x = pitch * 127.0f;
    const float d = x - referenceNote;
    const float n = steps;
    const int s = static_cast<int>(n);
    float result;
    if (x >= referenceNote) {
        const float q = d / n;
        const float whole = static_cast<float>(static_cast<int>(q));
        const float f = (q - whole) * static_cast<float>(s);
        int i = static_cast<int>(f);
        if (i > s) i = s;
        const float lo = table[i];
        const float hi = table[i < s ? i + 1 : 0];
        result = (hi - lo) * (f - static_cast<float>(i)) + lo + whole * octaveSpan + referenceNote;
    } else {
        const float q = -d / n;
        const float whole = static_cast<float>(static_cast<int>(q));
        const float f = (1.0f - (q - whole)) * static_cast<float>(s);
        int i = static_cast<int>(f);
        if (i > s) i = s;
        result = referenceNote - (whole + 1.0f) * octaveSpan +
                 (table[i < s ? i + 1 : 0] - table[i]) * (f - static_cast<float>(i)) + table[i];
    }
    if (result < 0.0f) result = 0.0f;
    if (result > 127.0f) result = 127.0f;
    return result * (1.0f / 127.0f);
}

} // namespace torvo

#include "presets/snapping.h"

#include <cmath>

namespace torvo {

float snapValue(const ParamRecord& record, float v, int32_t* choiceIndex) {
    if (std::isnan(v)) v = 0.0f;
    int32_t k = 0;
    if (record.choices != nullptr) {
        const uint32_t limit = record.scale != 0 ? record.scale : record.choiceCount;
        // In double so that huge or infinite values compare before any integer conversion.
        const double index = std::trunc((double(limit) - 0.01) * double(v));
        if (index >= double(record.choiceCount)) {
            k = record.choiceCount > 0 ? int32_t(record.choiceCount) - 1 : 0;
            v = float(k) * kThousandth;
        } else if (index < 0.0) {
            k = 0;
            v = 0.0f;
        } else {
            k = int32_t(index);
        }
    } else if (v < 0.0f) {
        v = 0.0f;
    } else if (v > 1.0f) {
        v = 1.0f;
    }
    if (choiceIndex != nullptr) *choiceIndex = k;
    return v;
}

void writeSnapped(ParamRecord& record, float v) {
    int32_t k = 0;
    record.value = snapValue(record, v, &k);
    record.choiceIndex = k;
    if (record.smoothing > 0.0f) record.changed = 1;
}

} // namespace torvo

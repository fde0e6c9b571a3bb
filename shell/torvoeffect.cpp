#include "shell/torvoeffect.h"

#include <cmath>

namespace torvo {

TorvoEffect::TorvoEffect() : liveBank(std::make_unique<Bank>()) {
    liveBank->initAllPresets();
}

float TorvoEffect::row(int id) const {
    if (id < 0 || id >= kParamCount) return 0.0f;
    return liveBank->paramState(id).value;
}

void TorvoEffect::writeRow(int id, float value) {
    if (id < 0 || id >= kParamCount) return;
    liveBank->paramState(id).setValue(value);
}

std::array<float, kParamCount> TorvoEffect::liveValues() {
    liveBank->captureToCurrent();
    std::array<float, kParamCount> values{};
    liveBank->copyLiveValues(values.data());
    return values;
}

void TorvoEffect::load(const Preset& preset) {
    liveBank->loadPreset(preset, false);
}

void TorvoEffect::settleListRows() {
    // Within this distance a value is taken as a rounded step rather than a value of its own.
    constexpr double kRounding = 1e-6;
    for (int id = 0; id < kParamCount; ++id) {
        ParamRecord& row = liveBank->paramState(id);
        if (!row.isList() || row.choiceCount == 0) continue;
        const double v = row.value;
        const double thousandth = double(row.choiceIndex) * double(kThousandth);
        if (row.scale == 1000 && std::fabs(v - thousandth) < kRounding) {
            row.value = float(row.choiceIndex) * kThousandth;
        } else if (row.scale == 0 && row.choiceCount > 1) {
            // Spread encoding: the nearest step of index / (count - 1).
            const double steps = double(row.choiceCount - 1);
            const double index = std::round(v * steps);
            if (std::fabs(v - index / steps) < kRounding)
                row.value = float(index) / float(row.choiceCount - 1);
        }
    }
    liveBank->captureToCurrent();
}

} // namespace torvo

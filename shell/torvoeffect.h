#pragma once
// The controller's side of the sound: one Bank filled from the parameter table, with the
// operations the controller performs on its live preset. Every read or write of the current
// parameter row goes through here, so the rows always follow the table's write rules.

#include "presets/bank.h"
#include "presets/preset.h"
#include "shell/paramtable.h"

#include <array>
#include <memory>

namespace torvo {

class TorvoEffect {
public:
    /// Builds the bank from the table's rows and puts all 128 presets in their "init" state.
    TorvoEffect();
    TorvoEffect(const TorvoEffect&) = delete;
    TorvoEffect& operator=(const TorvoEffect&) = delete;

    Bank& bank() { return *liveBank; }
    const Bank& bank() const { return *liveBank; }
    Preset& current() { return liveBank->currentPreset(); }

    /// Live value of row `id` (0..724), as the host and the editor see it.
    float row(int id) const;
    /// Writes row `id` by its encoding rule (clamped, lists snapped); ids outside the table
    /// are ignored.
    void writeRow(int id, float value);
    /// The live rows, captured into the current preset first so that both agree.
    std::array<float, kParamCount> liveValues();
    /// Takes `preset` into the current slot: name, metadata and all 725 values.
    void load(const Preset& preset);
    /// Puts every list row back onto the exact value of its step. Stored states keep six
    /// significant digits, so a step such as 3 * 0.001001001 comes back as 0.003003; the same
    /// step, but not the same number the processor holds.
    void settleListRows();

private:
    std::unique_ptr<Bank> liveBank;
};

} // namespace torvo

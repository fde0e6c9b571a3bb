#pragma once
// The one snapping rule by which a stored value meets its parameter row. Presets, resets,
// host-state values and live writes all go through it, so a value lands identically whichever
// path brought it: a list value inside its range keeps its exact number (a list may have grown
// since the value was stored), one beyond the last entry moves onto the thousandth grid of the
// last entry, a negative one becomes 0, and a continuous value is clamped to 0..1.

#include "shell/paramtable.h"

#include <cstdint>

namespace torvo {

/// The value `v` takes on row `record`; `choiceIndex` receives the list index (0 for a
/// continuous row). NaN counts as 0.
float snapValue(const ParamRecord& record, float v, int32_t* choiceIndex = nullptr);

/// Writes `v` snapped into a live row: value and list index, and `changed` only for rows whose
/// smoothing is above 0.
void writeSnapped(ParamRecord& record, float v);

} // namespace torvo

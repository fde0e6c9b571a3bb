#pragma once
// Sounds torvo-render can load before it plays. Two forms are read:
// - a parameter file: exactly 725 little-endian 32-bit floats, the table in order;
// - a processor state block as the plug-in saves it in host projects: an i32 count n (1..725),
//   n floats, an i32 count m, m floats.
// Either becomes a processor state block, which the host restores as a DAW restores a project.

#include <cstdint>
#include <string>
#include <vector>

namespace torvo::render {

constexpr int kPresetParams = 725;
constexpr int kPresetExtras = 13;

/// Reads `path` and answers the state block to restore; false with `error` on bad input.
bool loadPreset(const std::string& path, std::vector<uint8_t>& state, std::string& error);

/// Classifies bytes already read (for tests and for loadPreset).
bool presetToState(const std::vector<uint8_t>& bytes, std::vector<uint8_t>& state,
                   std::string& error);

} // namespace torvo::render

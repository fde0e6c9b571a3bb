#pragma once
// The older binary settings files "torvo.cfg", "torvo2.cfg" and "torvo3.cfg": a block of five
// little-endian 32-bit integers (format version, scale, performance panel, theme, factory tree
// state) and up to 1,023 bytes of the workspace folder, NUL-terminated. Only a source for
// migration: they are read once, when no JSON file exists yet, and never written.

#include "workspace/configvalues.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace torvo {

/// File name of legacy file number `n` (1..3).
std::string legacyConfigName(int n);
/// Takes the fields `bytes` holds, as far as it is long; false unless its format version is 2.
bool readLegacyConfig(const uint8_t* bytes, std::size_t size, ConfigValues& values);
bool readLegacyConfigFile(const std::string& path, ConfigValues& values);

} // namespace torvo

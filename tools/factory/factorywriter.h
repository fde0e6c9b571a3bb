#pragma once
// Turns one FactorySound into a preset file below a factory folder.

#include "tools/factory/factorysounds.h"

#include <string>

namespace torvo {
class Bank;
}

namespace torvo::factory {

/// Writes `folder/<category>/<name>.tpf2`; false with a reason in `error` when a row name or
/// value of the sound is wrong or the file cannot be written.
bool writeFactorySound(const FactorySound& sound, const std::string& folder, Bank& bank,
                       std::string& error);

} // namespace torvo::factory

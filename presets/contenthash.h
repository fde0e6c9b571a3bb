#pragma once
// The content hash of a sound: SHA-256, as hexadecimal text, of the compact JSON
// {"preset":{"params":[...]}} holding trunc(value * 1000) of the first 720 values. Names and the
// performance values behind index 719 (wheels, anticlick, global offsets) do not count, so two
// presets that agree to three decimals share it.

#include <string>

namespace torvo {

constexpr int kHashedParamCount = 720;

std::string contentHashOf(const float* params);

} // namespace torvo

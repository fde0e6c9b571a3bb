#include "presets/contenthash.h"

#include "presets/codec.h"

#include <nlohmann/json.hpp>

#include <cmath>

namespace torvo {

std::string contentHashOf(const float* params) {
    nlohmann::json list = nlohmann::json::array();
    for (int i = 0; i < kHashedParamCount; ++i) {
        const float scaled = params[i] * 1000.0f;
        // Stored values are normalised; a stray NaN or huge number must not be undefined.
        long long k = 0;
        if (!std::isnan(scaled))
            k = (long long)std::trunc(std::fmax(-2.0e9f, std::fmin(2.0e9f, scaled)));
        list.push_back(k);
    }
    nlohmann::json root;
    root["preset"]["params"] = std::move(list);
    const std::string text = root.dump();
    return codec::sha256Hex(text.data(), text.size());
}

} // namespace torvo

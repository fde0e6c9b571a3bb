#include "presets/jsonnumbers.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace torvo {

OrderedJson sixDigitNumber(float v) {
    if (!std::isfinite(v)) return nullptr;
    char text[32];
    std::snprintf(text, sizeof text, "%g", double(v));
    // Integral forms ("0", "1", "-3") stay integers so that they print without a fraction.
    if (std::strpbrk(text, ".eE") == nullptr) return std::strtoll(text, nullptr, 10);
    return std::strtod(text, nullptr);
}

bool readDecimal(const OrderedJson& value, float& out) {
    if (value.is_number()) {
        out = float(value.get<double>());
        return true;
    }
    if (value.is_string()) {
        const std::string& text = value.get_ref<const std::string&>();
        if (text.empty()) {
            out = 0.0f;
            return true;
        }
        char* end = nullptr;
        out = std::strtof(text.c_str(), &end);
        return end != text.c_str(); // a text with no number in front is not a number
    }
    return false;
}

bool readText(const OrderedJson& value, std::string& out) {
    if (!value.is_string()) return false;
    out = value.get_ref<const std::string&>();
    return true;
}

bool readInteger(const OrderedJson& value, long long& out) {
    if (value.is_number_integer()) {
        if (value.is_number_unsigned()) {
            const auto u = value.get<unsigned long long>();
            out = u > 0x7fffffffULL ? 0x7fffffffLL : (long long)u;
        } else {
            out = value.get<long long>();
        }
        out = std::max(-0x80000000LL, std::min(0x7fffffffLL, out));
        return true;
    }
    if (value.is_number_float()) {
        const double d = value.get<double>();
        if (!std::isfinite(d) || d != std::trunc(d)) return false;
        out = (long long)std::fmax(-2147483648.0, std::fmin(2147483647.0, d));
        return true;
    }
    return false;
}

std::string dumpJson(const OrderedJson& json, int indent) {
    return json.dump(indent, ' ', false, OrderedJson::error_handler_t::replace);
}

} // namespace torvo

#pragma once
// Numbers as the JSON sound formats write and read them: a float goes out in the default
// decimal form with six significant digits ("0.5", "1", "0.123457", "1e-05"), and comes back
// from either a JSON number or a decimal text (an empty text reads as 0).

#include <nlohmann/json.hpp>

namespace torvo {

using OrderedJson = nlohmann::ordered_json;

/// The JSON number that prints as the six-digit decimal form of `v`; a non-finite value
/// becomes null.
OrderedJson sixDigitNumber(float v);

/// A number or a decimal text as a float (an empty text is 0); false for any other kind of
/// value and for a text that does not start with a number.
bool readDecimal(const OrderedJson& value, float& out);

/// The text of a string member, or false when `value` is not a string.
bool readText(const OrderedJson& value, std::string& out);

/// An integral member (a number with no fraction) clamped into int range; false otherwise.
bool readInteger(const OrderedJson& value, long long& out);

/// Compact or indented text of `json`; invalid UTF-8 in strings is replaced, never thrown.
std::string dumpJson(const OrderedJson& json, int indent = -1);

} // namespace torvo

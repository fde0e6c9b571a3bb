#pragma once
// Identity of the plug-in: class ids, vendor and version strings. The class ids must never
// change, or stored host projects no longer find the instrument.

#include "pluginterfaces/base/funknown.h"

namespace torvo {

static const Steinberg::FUID kProcessorUID(0x5A3C91E2, 0x7B4D4F08, 0xA61E2C57, 0x9D0B43F1);
static const Steinberg::FUID kControllerUID(0x5A3C91E3, 0x7B4D4F08, 0xA61E2C57, 0x9D0B43F1);

inline constexpr const char* kVendor = "Halden Works";
inline constexpr const char* kVendorUrl = "https://www.haldenworks.com";
inline constexpr const char* kVendorEmail = "mailto:support@haldenworks.com";
inline constexpr const char* kVersionString = "1.5.18.5339";
inline constexpr const char* kSdkVersionString = "VST 3.7.3";

} // namespace torvo

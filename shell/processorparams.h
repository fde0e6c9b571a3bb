#pragma once
// How the processor treats a host parameter id: table rows go to the engine, the proxies of
// MIDI controllers become controller calls, bypass is handled by the processor, and preset
// transport is the controller's business.

#include <cstdint>

namespace torvo {

enum class HostParamKind { TableRow, Bypass, Controller, Ignored, Unknown };

HostParamKind classifyHostParam(uint32_t id);
/// MIDI controller number a controller proxy stands for, or -1.
int controllerOfProxy(uint32_t id);

} // namespace torvo

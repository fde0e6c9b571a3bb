#include "shell/processorparams.h"

#include "shell/paramtable.h"

namespace torvo {

namespace {
struct ProxyController {
    uint32_t id;
    int controller;
};

// The host's controller 65 arrives through "port" and bends the pitch; sostenuto lands on the
// aftertouch handler beside aftertouch itself. Both are how the instrument has always behaved.
constexpr ProxyController kProxyControllers[] = {
    {fourCharId("foot"), 4},  {fourCharId("anof"), 123}, {fourCharId("asof"), 120},
    {fourCharId("brth"), 2},  {fourCharId("expr"), 11},  {fourCharId("prta"), 65},
    {fourCharId("sust"), 64}, {fourCharId("aftt"), 66},  {fourCharId("stnt"), 66},
};
} // namespace

int controllerOfProxy(uint32_t id) {
    for (const ProxyController& p : kProxyControllers)
        if (p.id == id) return p.controller;
    return -1;
}

HostParamKind classifyHostParam(uint32_t id) {
    if (id < uint32_t(kParamCount)) return HostParamKind::TableRow;
    if (id == fourCharId("bpas")) return HostParamKind::Bypass;
    if (id == fourCharId("next") || id == fourCharId("prev") || id == fourCharId("prch"))
        return HostParamKind::Ignored;
    if (controllerOfProxy(id) >= 0) return HostParamKind::Controller;
    return HostParamKind::Unknown;
}

} // namespace torvo

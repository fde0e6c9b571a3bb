#include "shell/processorparams.h"

#include "shell/paramtable.h"

namespace torvo {

namespace {
constexpr uint32_t fourCC(const char (&s)[5]) {
    return uint32_t(uint8_t(s[0])) << 24 | uint32_t(uint8_t(s[1])) << 16 |
           uint32_t(uint8_t(s[2])) << 8 | uint32_t(uint8_t(s[3]));
}

struct ProxyController {
    uint32_t id;
    int controller;
};

// The host's controller 65 arrives through "port" and bends the pitch; sostenuto lands on the
// aftertouch handler beside aftertouch itself. Both are how the instrument has always behaved.
constexpr ProxyController kProxyControllers[] = {
    {fourCC("foot"), 4},   {fourCC("anof"), 123}, {fourCC("asof"), 120},
    {fourCC("brth"), 2},   {fourCC("expr"), 11},  {fourCC("prta"), 65},
    {fourCC("sust"), 64},  {fourCC("aftt"), 66},  {fourCC("stnt"), 66},
};
} // namespace

int controllerOfProxy(uint32_t id) {
    for (const ProxyController& p : kProxyControllers)
        if (p.id == id) return p.controller;
    return -1;
}

HostParamKind classifyHostParam(uint32_t id) {
    if (id < uint32_t(kParamCount)) return HostParamKind::TableRow;
    if (id == fourCC("bpas")) return HostParamKind::Bypass;
    if (id == fourCC("next") || id == fourCC("prev") || id == fourCC("prch"))
        return HostParamKind::Ignored;
    if (controllerOfProxy(id) >= 0) return HostParamKind::Controller;
    return HostParamKind::Unknown;
}

} // namespace torvo

#pragma once
// Objects that the host owns outright and hands to the plug-in by pointer (event lists,
// parameter changes, connection proxies, the component handler). The plug-in may addRef and
// release them as the interface demands, but their lifetime is the host's: the count is
// ignored, so nothing is ever deleted through it and nothing allocates on the audio thread.

#include "pluginterfaces/base/funknown.h"

namespace torvo::host {

// The interfaces have no virtual destructors by design (objects die through release), which
// the compiler would flag on every class that implements one.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
template <class Interface> class HostOwned : public Interface {
public:
    Steinberg::tresult PLUGIN_API queryInterface(const Steinberg::TUID queried,
                                                 void** obj) override {
        if (Steinberg::FUnknownPrivate::iidEqual(queried, Steinberg::FUnknown::iid) ||
            Steinberg::FUnknownPrivate::iidEqual(queried, Interface::iid)) {
            *obj = static_cast<Interface*>(this);
            return Steinberg::kResultOk;
        }
        *obj = nullptr;
        return Steinberg::kNoInterface;
    }
    Steinberg::uint32 PLUGIN_API addRef() override { return 1; }
    Steinberg::uint32 PLUGIN_API release() override { return 1; }

protected:
    HostOwned() = default;
    virtual ~HostOwned() = default;
};
#pragma GCC diagnostic pop

} // namespace torvo::host

#include "host/hostcontext.h"

namespace torvo::host {

using namespace Steinberg;

tresult PLUGIN_API HostContext::getName(Vst::String128 name) {
    const char text[] = "Torvo Host";
    for (size_t i = 0; i < sizeof(text); ++i) name[i] = static_cast<Vst::TChar>(text[i]);
    return kResultOk;
}

tresult PLUGIN_API HostContext::createInstance(TUID cid, TUID interfaceId, void** obj) {
    if (FUnknownPrivate::iidEqual(cid, Vst::IMessage::iid) &&
        FUnknownPrivate::iidEqual(interfaceId, Vst::IMessage::iid)) {
        if (PooledMessage* message = pool_.acquire()) {
            *obj = static_cast<Vst::IMessage*>(message);
            return kResultOk;
        }
        ++heapMessages_;
    }
    return HostApplication::createInstance(cid, interfaceId, obj);
}

} // namespace torvo::host

#pragma once
// The host context given to `initialize` of both halves of the plug-in: the host's name, the
// interfaces it supports, and the factory of messages (pooled, see messagepool.h).

#include "host/messagepool.h"

#include "public.sdk/source/vst/hosting/hostclasses.h"

#include <atomic>

namespace torvo::host {

class HostContext : public Steinberg::Vst::HostApplication {
public:
    Steinberg::tresult PLUGIN_API getName(Steinberg::Vst::String128 name) override;
    Steinberg::tresult PLUGIN_API createInstance(Steinberg::TUID cid, Steinberg::TUID interfaceId,
                                                 void** obj) override;

    const MessagePool& messagePool() const { return pool_; }
    /// Messages that had to come from the heap because the pool was exhausted.
    size_t heapMessages() const { return heapMessages_.load(); }

private:
    MessagePool pool_;
    std::atomic<size_t> heapMessages_{0};
};

} // namespace torvo::host

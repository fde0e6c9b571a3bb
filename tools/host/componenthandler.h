#pragma once
// The host's component handler: the edit controller reports edits and restarts through it.
// Every call is recorded; performed edits also wait here until the host passes them to the
// audio component with the next block, as a DAW does.

#include "host/hostowned.h"

#include "pluginterfaces/vst/ivsteditcontroller.h"

#include <mutex>
#include <vector>

namespace torvo::host {

struct HandlerCall {
    enum Kind { BeginEdit, PerformEdit, EndEdit, Restart } kind;
    Steinberg::Vst::ParamID id = 0;
    Steinberg::Vst::ParamValue value = 0.0;
    Steinberg::int32 restartFlags = 0;
};

class ComponentHandler : public HostOwned<Steinberg::Vst::IComponentHandler> {
public:
    Steinberg::tresult PLUGIN_API beginEdit(Steinberg::Vst::ParamID id) override;
    Steinberg::tresult PLUGIN_API performEdit(Steinberg::Vst::ParamID id,
                                              Steinberg::Vst::ParamValue value) override;
    Steinberg::tresult PLUGIN_API endEdit(Steinberg::Vst::ParamID id) override;
    Steinberg::tresult PLUGIN_API restartComponent(Steinberg::int32 flags) override;

    std::vector<HandlerCall> calls() const;
    /// Performed edits not yet given to the component; empties the queue.
    std::vector<HandlerCall> takePendingEdits();
    void clear();

private:
    void add(const HandlerCall& call);

    mutable std::mutex mutex_;
    std::vector<HandlerCall> calls_;
    std::vector<HandlerCall> pending_;
};

} // namespace torvo::host

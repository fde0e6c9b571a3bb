#include "host/componenthandler.h"

namespace torvo::host {

using namespace Steinberg;

tresult PLUGIN_API ComponentHandler::beginEdit(Vst::ParamID id) {
    add({HandlerCall::BeginEdit, id, 0.0, 0});
    return kResultOk;
}

tresult PLUGIN_API ComponentHandler::performEdit(Vst::ParamID id, Vst::ParamValue value) {
    add({HandlerCall::PerformEdit, id, value, 0});
    return kResultOk;
}

tresult PLUGIN_API ComponentHandler::endEdit(Vst::ParamID id) {
    add({HandlerCall::EndEdit, id, 0.0, 0});
    return kResultOk;
}

tresult PLUGIN_API ComponentHandler::restartComponent(int32 flags) {
    add({HandlerCall::Restart, 0, 0.0, flags});
    return kResultOk;
}

void ComponentHandler::add(const HandlerCall& call) {
    std::lock_guard<std::mutex> lock(mutex_);
    calls_.push_back(call);
    if (call.kind == HandlerCall::PerformEdit) pending_.push_back(call);
}

std::vector<HandlerCall> ComponentHandler::calls() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
}

std::vector<HandlerCall> ComponentHandler::takePendingEdits() {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<HandlerCall> out;
    out.swap(pending_);
    return out;
}

void ComponentHandler::clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    calls_.clear();
    pending_.clear();
}

} // namespace torvo::host

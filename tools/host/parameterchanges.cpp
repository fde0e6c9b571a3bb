#include "host/parameterchanges.h"

namespace torvo::host {

using namespace Steinberg;

tresult PLUGIN_API ParamValueQueue::getPoint(int32 index, int32& offset, Vst::ParamValue& value) {
    if (index < 0 || index >= count_) return kInvalidArgument;
    offset = points_[index].offset;
    value = points_[index].value;
    return kResultOk;
}

tresult PLUGIN_API ParamValueQueue::addPoint(int32 offset, Vst::ParamValue value, int32& index) {
    int32 at = 0;
    while (at < count_ && points_[at].offset < offset) ++at;
    if (at < count_ && points_[at].offset == offset) {
        points_[at].value = value;
        index = at;
        return kResultOk;
    }
    if (count_ == kCapacity) return kOutOfMemory;
    for (int32 i = count_; i > at; --i) points_[i] = points_[i - 1];
    points_[at] = {offset, value};
    ++count_;
    index = at;
    return kResultOk;
}

Vst::IParamValueQueue* PLUGIN_API ParameterChanges::getParameterData(int32 index) {
    return index >= 0 && index < count_ ? &queues_[index] : nullptr;
}

Vst::IParamValueQueue* PLUGIN_API ParameterChanges::addParameterData(const Vst::ParamID& id,
                                                                     int32& index) {
    for (int32 i = 0; i < count_; ++i) {
        if (queues_[i].getParameterId() == id) {
            index = i;
            return &queues_[i];
        }
    }
    if (count_ == static_cast<int32>(queues_.size())) return nullptr;
    index = count_;
    queues_[count_].reset(id);
    return &queues_[count_++];
}

bool ParameterChanges::add(Vst::ParamID id, int32 offset, Vst::ParamValue value) {
    int32 index = 0;
    Vst::IParamValueQueue* queue = addParameterData(id, index);
    return queue && queue->addPoint(offset, value, index) == kResultOk;
}

} // namespace torvo::host

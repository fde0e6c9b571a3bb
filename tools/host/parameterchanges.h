#pragma once
// Parameter changes of one block: queues of points per parameter, in fixed storage so that
// adding changes never allocates. Points are kept in order of their sample offsets, and a
// point at an offset already present replaces it, as hosts do.

#include "host/hostowned.h"

#include "pluginterfaces/vst/ivstparameterchanges.h"

#include <array>
#include <vector>

namespace torvo::host {

class ParamValueQueue : public HostOwned<Steinberg::Vst::IParamValueQueue> {
public:
    static constexpr int kCapacity = 64;

    Steinberg::Vst::ParamID PLUGIN_API getParameterId() override { return id_; }
    Steinberg::int32 PLUGIN_API getPointCount() override { return count_; }
    Steinberg::tresult PLUGIN_API getPoint(Steinberg::int32 index, Steinberg::int32& offset,
                                           Steinberg::Vst::ParamValue& value) override;
    Steinberg::tresult PLUGIN_API addPoint(Steinberg::int32 offset,
                                           Steinberg::Vst::ParamValue value,
                                           Steinberg::int32& index) override;

    void reset(Steinberg::Vst::ParamID id) {
        id_ = id;
        count_ = 0;
    }

private:
    struct Point {
        Steinberg::int32 offset;
        Steinberg::Vst::ParamValue value;
    };
    Steinberg::Vst::ParamID id_ = 0;
    std::array<Point, kCapacity> points_{};
    Steinberg::int32 count_ = 0;
};

class ParameterChanges : public HostOwned<Steinberg::Vst::IParameterChanges> {
public:
    static constexpr int kDefaultCapacity = 768;

    explicit ParameterChanges(int capacity = kDefaultCapacity) : queues_(capacity) {}

    Steinberg::int32 PLUGIN_API getParameterCount() override { return count_; }
    Steinberg::Vst::IParamValueQueue* PLUGIN_API getParameterData(Steinberg::int32 index) override;
    Steinberg::Vst::IParamValueQueue* PLUGIN_API addParameterData(const Steinberg::Vst::ParamID& id,
                                                                  Steinberg::int32& index) override;

    /// Adds one point for `id`; false when the queue or the list is full.
    bool add(Steinberg::Vst::ParamID id, Steinberg::int32 offset, Steinberg::Vst::ParamValue value);
    void clear() { count_ = 0; }

private:
    std::vector<ParamValueQueue> queues_;
    Steinberg::int32 count_ = 0;
};

} // namespace torvo::host

#pragma once
// The audio side of one process call: a stereo output bus with buffers for the largest block,
// the ProcessData that points at them, and a transport context that advances block by block.

#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivstprocesscontext.h"

#include <vector>

namespace torvo::host {

class ProcessBuffers {
public:
    static constexpr int kChannels = 2;

    /// Sizes the buffers for blocks of up to `maxBlock` samples at `sampleRate`.
    void allocate(int maxBlock, double sampleRate);
    int maxBlock() const { return maxBlock_; }

    /// Fills the output with quiet NaNs before each block, so that a sample the plug-in does
    /// not write shows up as an invalid value.
    void setPoison(bool on) { poison_ = on; }

    /// Readies ProcessData for a block of `frames` samples.
    Steinberg::Vst::ProcessData& prepare(Steinberg::int32 frames,
                                         Steinberg::Vst::IEventList* events,
                                         Steinberg::Vst::IParameterChanges* inputChanges,
                                         Steinberg::Vst::IParameterChanges* outputChanges,
                                         Steinberg::int32 processMode);
    /// Moves the transport past the block just processed.
    void advance(Steinberg::int32 frames);

    const float* channel(int c) const { return storage_[c].data(); }
    float* channel(int c) { return storage_[c].data(); }
    Steinberg::uint64 silenceFlags() const { return bus_.silenceFlags; }
    Steinberg::Vst::ProcessContext& context() { return context_; }
    Steinberg::Vst::ProcessData& data() { return data_; }
    /// Quarter notes per sample at the current tempo.
    double ppqPerSample() const;

private:
    std::vector<float> storage_[kChannels];
    float* pointers_[kChannels] = {};
    Steinberg::Vst::AudioBusBuffers bus_{};
    Steinberg::Vst::ProcessData data_{};
    Steinberg::Vst::ProcessContext context_{};
    int maxBlock_ = 0;
    bool poison_ = false;
};

} // namespace torvo::host

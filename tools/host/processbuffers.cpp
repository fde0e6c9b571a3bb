#include "host/processbuffers.h"

#include <algorithm>
#include <limits>

namespace torvo::host {

using namespace Steinberg;
using Steinberg::Vst::ProcessContext;

void ProcessBuffers::allocate(int maxBlock, double sampleRate) {
    maxBlock_ = std::max(maxBlock, 1);
    for (int c = 0; c < kChannels; ++c) {
        storage_[c].assign(maxBlock_, 0.0f);
        pointers_[c] = storage_[c].data();
    }
    bus_.numChannels = kChannels;
    bus_.channelBuffers32 = pointers_;
    bus_.silenceFlags = 0;

    context_ = ProcessContext{};
    context_.state = ProcessContext::kPlaying | ProcessContext::kTempoValid |
                     ProcessContext::kTimeSigValid | ProcessContext::kProjectTimeMusicValid |
                     ProcessContext::kContTimeValid;
    context_.sampleRate = sampleRate;
    context_.tempo = 120.0;
    context_.timeSigNumerator = 4;
    context_.timeSigDenominator = 4;
}

Vst::ProcessData& ProcessBuffers::prepare(int32 frames, Vst::IEventList* events,
                                          Vst::IParameterChanges* inputChanges,
                                          Vst::IParameterChanges* outputChanges,
                                          int32 processMode) {
    frames = std::clamp<int32>(frames, 0, maxBlock_);
    if (poison_) {
        const float nan = std::numeric_limits<float>::quiet_NaN();
        for (auto& s : storage_) std::fill(s.begin(), s.begin() + frames, nan);
    }
    bus_.silenceFlags = 0;
    data_.processMode = processMode;
    data_.symbolicSampleSize = Vst::kSample32;
    data_.numSamples = frames;
    data_.numInputs = 0;
    data_.inputs = nullptr;
    data_.numOutputs = 1;
    data_.outputs = &bus_;
    data_.inputParameterChanges = inputChanges;
    data_.outputParameterChanges = outputChanges;
    data_.inputEvents = events;
    data_.outputEvents = nullptr;
    data_.processContext = &context_;
    return data_;
}

void ProcessBuffers::advance(int32 frames) {
    context_.projectTimeSamples += frames;
    context_.continousTimeSamples += frames;
    context_.projectTimeMusic += frames * ppqPerSample();
    const double barLength = context_.timeSigNumerator * 4.0 / context_.timeSigDenominator;
    context_.barPositionMusic =
        barLength * static_cast<int64>(context_.projectTimeMusic / barLength);
}

double ProcessBuffers::ppqPerSample() const {
    return context_.sampleRate > 0 ? context_.tempo / 60.0 / context_.sampleRate : 0.0;
}

} // namespace torvo::host

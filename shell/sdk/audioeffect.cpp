#include "shell/sdk/audioeffect.h"

#include "public.sdk/source/vst/vstbus.h"

namespace Steinberg {
namespace Vst {

AudioEffect::AudioEffect() {
    processSetup.maxSamplesPerBlock = 1024;
    processSetup.processMode = kRealtime;
    processSetup.sampleRate = 44100.0;
    processSetup.symbolicSampleSize = kSample32;
}

AudioBus* AudioEffect::addAudioInput(const TChar* name, SpeakerArrangement arr, BusType busType,
                                     int32 flags) {
    auto* bus = new AudioBus(name, busType, flags, arr);
    audioInputs.push_back(IPtr<Bus>(bus, false));
    return bus;
}

AudioBus* AudioEffect::addAudioOutput(const TChar* name, SpeakerArrangement arr, BusType busType,
                                      int32 flags) {
    auto* bus = new AudioBus(name, busType, flags, arr);
    audioOutputs.push_back(IPtr<Bus>(bus, false));
    return bus;
}

EventBus* AudioEffect::addEventInput(const TChar* name, int32 channels, BusType busType,
                                     int32 flags) {
    auto* bus = new EventBus(name, busType, flags, channels);
    eventInputs.push_back(IPtr<Bus>(bus, false));
    return bus;
}

EventBus* AudioEffect::addEventOutput(const TChar* name, int32 channels, BusType busType,
                                      int32 flags) {
    auto* bus = new EventBus(name, busType, flags, channels);
    eventOutputs.push_back(IPtr<Bus>(bus, false));
    return bus;
}

namespace {
template <typename T> T* busAt(BusList& list, int32 index) {
    if (index < 0 || index >= static_cast<int32>(list.size())) return nullptr;
    return static_cast<T*>(list.at(index).get());
}
} // namespace

AudioBus* AudioEffect::getAudioInput(int32 index) {
    return busAt<AudioBus>(audioInputs, index);
}
AudioBus* AudioEffect::getAudioOutput(int32 index) {
    return busAt<AudioBus>(audioOutputs, index);
}
EventBus* AudioEffect::getEventInput(int32 index) {
    return busAt<EventBus>(eventInputs, index);
}
EventBus* AudioEffect::getEventOutput(int32 index) {
    return busAt<EventBus>(eventOutputs, index);
}

tresult PLUGIN_API AudioEffect::setBusArrangements(SpeakerArrangement* inputs, int32 numIns,
                                                   SpeakerArrangement* outputs, int32 numOuts) {
    if (numIns < 0 || numOuts < 0) return kInvalidArgument;
    if (numIns > static_cast<int32>(audioInputs.size()) ||
        numOuts > static_cast<int32>(audioOutputs.size()))
        return kResultFalse;
    for (int32 i = 0; i < numIns; ++i)
        if (auto* bus = getAudioInput(i)) bus->setArrangement(inputs[i]);
    for (int32 i = 0; i < numOuts; ++i)
        if (auto* bus = getAudioOutput(i)) bus->setArrangement(outputs[i]);
    return kResultTrue;
}

tresult PLUGIN_API AudioEffect::getBusArrangement(BusDirection dir, int32 index,
                                                  SpeakerArrangement& arr) {
    AudioBus* bus = dir == kInput ? getAudioInput(index) : getAudioOutput(index);
    if (!bus) return kInvalidArgument;
    arr = bus->getArrangement();
    return kResultTrue;
}

tresult PLUGIN_API AudioEffect::canProcessSampleSize(int32 symbolicSampleSize) {
    return symbolicSampleSize == kSample32 ? kResultTrue : kResultFalse;
}

tresult PLUGIN_API AudioEffect::setupProcessing(ProcessSetup& setup) {
    if (canProcessSampleSize(setup.symbolicSampleSize) != kResultTrue) return kResultFalse;
    processSetup = setup;
    return kResultOk;
}

} // namespace Vst
} // namespace Steinberg

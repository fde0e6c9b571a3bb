#pragma once
// The audio effect base class: a component with buses that is also the audio processor.
// The SDK subset we build against lacks it, so this is a lean version with the SDK's name and
// contract: bus helpers, default bus arrangement handling and the processor's default answers.

#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "public.sdk/source/vst/vstcomponent.h"

namespace Steinberg {
namespace Vst {

class AudioEffect : public Component, public IAudioProcessor, public IProcessContextRequirements {
public:
    AudioEffect();

    AudioBus* addAudioInput(const TChar* name, SpeakerArrangement arr, BusType busType = kMain,
                            int32 flags = BusInfo::kDefaultActive);
    AudioBus* addAudioOutput(const TChar* name, SpeakerArrangement arr, BusType busType = kMain,
                             int32 flags = BusInfo::kDefaultActive);
    EventBus* addEventInput(const TChar* name, int32 channels = 16, BusType busType = kMain,
                            int32 flags = BusInfo::kDefaultActive);
    EventBus* addEventOutput(const TChar* name, int32 channels = 16, BusType busType = kMain,
                             int32 flags = BusInfo::kDefaultActive);
    AudioBus* getAudioInput(int32 index);
    AudioBus* getAudioOutput(int32 index);
    EventBus* getEventInput(int32 index);
    EventBus* getEventOutput(int32 index);

    //--- IAudioProcessor
    tresult PLUGIN_API setBusArrangements(SpeakerArrangement* inputs, int32 numIns,
                                          SpeakerArrangement* outputs, int32 numOuts) SMTG_OVERRIDE;
    tresult PLUGIN_API getBusArrangement(BusDirection dir, int32 index,
                                         SpeakerArrangement& arr) SMTG_OVERRIDE;
    tresult PLUGIN_API canProcessSampleSize(int32 symbolicSampleSize) SMTG_OVERRIDE;
    uint32 PLUGIN_API getLatencySamples() SMTG_OVERRIDE { return 0; }
    tresult PLUGIN_API setupProcessing(ProcessSetup& setup) SMTG_OVERRIDE;
    tresult PLUGIN_API setProcessing(TBool state) SMTG_OVERRIDE { return kNotImplemented; }
    tresult PLUGIN_API process(ProcessData& data) SMTG_OVERRIDE { return kNotImplemented; }
    uint32 PLUGIN_API getTailSamples() SMTG_OVERRIDE { return kNoTail; }

    //--- IProcessContextRequirements
    uint32 PLUGIN_API getProcessContextRequirements() SMTG_OVERRIDE {
        return processContextRequirements;
    }

    OBJ_METHODS(AudioEffect, Component)
    DEFINE_INTERFACES
    DEF_INTERFACE(IAudioProcessor)
    DEF_INTERFACE(IProcessContextRequirements)
    END_DEFINE_INTERFACES(Component)
    REFCOUNT_METHODS(Component)

protected:
    ProcessSetup processSetup;
    uint32 processContextRequirements = 0;
};

} // namespace Vst
} // namespace Steinberg

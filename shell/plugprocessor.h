#pragma once
// The audio component. It owns the engine while active, keeps the 725 parameter values that
// are the processor side's truth, turns host parameter changes, notes and controller messages
// into engine calls, renders into the host's stereo output and reports display state back to
// the controller by messages. The engine itself is host-free; this class is the thin layer.

#include "engine/aplugin.h"
#include "shell/paramtable.h"
#include "shell/sdk/audioeffect.h"

#include <array>
#include <atomic>
#include <list>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace Steinberg {
namespace Vst {

class PlugProcessor : public AudioEffect {
public:
    PlugProcessor();
    ~PlugProcessor() override;

    static FUnknown* createInstance(void*) {
        return static_cast<IAudioProcessor*>(new PlugProcessor());
    }

    tresult PLUGIN_API initialize(FUnknown* context) SMTG_OVERRIDE;
    tresult PLUGIN_API terminate() SMTG_OVERRIDE;
    tresult PLUGIN_API setActive(TBool state) SMTG_OVERRIDE;
    tresult PLUGIN_API setProcessing(TBool state) SMTG_OVERRIDE;
    tresult PLUGIN_API setupProcessing(ProcessSetup& setup) SMTG_OVERRIDE;
    tresult PLUGIN_API setBusArrangements(SpeakerArrangement* inputs, int32 numIns,
                                          SpeakerArrangement* outputs, int32 numOuts) SMTG_OVERRIDE;
    tresult PLUGIN_API canProcessSampleSize(int32 symbolicSampleSize) SMTG_OVERRIDE;
    uint32 PLUGIN_API getLatencySamples() SMTG_OVERRIDE { return 0; }
    uint32 PLUGIN_API getTailSamples() SMTG_OVERRIDE { return 0; }
    tresult PLUGIN_API process(ProcessData& data) SMTG_OVERRIDE;
    tresult PLUGIN_API getState(IBStream* state) SMTG_OVERRIDE;
    tresult PLUGIN_API setState(IBStream* state) SMTG_OVERRIDE;
    tresult PLUGIN_API notify(IMessage* message) SMTG_OVERRIDE;

private:
    void applyParameterChanges(IParameterChanges* changes);
    void applyEvents(IEventList* events, int32 numSamples);
    void applyGuiNotes();
    bool bypassCheck(ProcessData& data);
    void renderInto(ProcessData& data);
    void reportDisplayState();
    void takeUserDefaultPreset();
    void writeAllParameters();
    void applyMicrotuning();
    void sendSimpleMessage(const char* id);
    void sendLegacyState(const std::vector<char>& bytes);
    static void zeroOutputs(ProcessData& data);

    float tempo = 120.0f;
    std::array<float, torvo::kParamCount> parameters{};
    std::array<float, torvo::kProxyCount> hostExtras{};
    bool bypassed = false;
    int32 bypassFade = 0;
    std::unique_ptr<torvo::APlugin> engine;
    int32 maxBlockSamples = 1024;
    float sampleRate = 44100.0f;

    int32 lastArpStep = -1;
    int32 lastStep1 = -1;
    int32 lastStep2 = -1;
    std::array<int64, 5> lastDiodes{-1, -1, -1, -1, -1};
    float lastVuL = -1.0f;
    float lastVuR = -1.0f;

    std::atomic<uint8> clearDspRequested{0};
    std::atomic<uint8> resumeDspRequested{0};
    std::atomic<uint8> stickyNoteOffRequested{0};

    std::list<std::pair<int32, int32>> guiNotes;
    std::list<std::pair<int32, int32>> guiNotesSpare;
    std::mutex guiNotesMutex;
    std::atomic<bool> guiNotesPending{false};

    int32 microtuneRefNote = 69;
    int32 microtuneA4Freq = 4;
    /// A scale of up to 4096 steps plus its leading 0.
    static constexpr size_t kMaxScaleFloats = 4097;
    std::vector<float> microtuneCents;
    bool microtuneActive = false;
};

} // namespace Vst
} // namespace Steinberg

#pragma once
// The edit controller: publishes the 725 table rows and 13 proxies to the host, answers their
// display text and holds the user's work: the live bank and its current preset, the host
// chunk, the configuration, the tuning and the preset manager's model over the workspace. A
// sound reaches the processor only as a "midiProgramChange" message; the processor's display
// messages come back here for the editor to show.

#include "pluginterfaces/vst/ivsteditcontroller.h"
#include "public.sdk/source/vst/vsteditcontroller.h"
#include "shell/midimap.h"
#include "shell/paramtable.h"
#include "workspace/eventbus.h"

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace torvo {
class Chunk;
class Config;
class ControllerChunk;
class ControllerTuning;
class ControllerWorkspace;
class EventBus;
class Preset;
class PresetManagerCommands;
class PresetManagerModel;
class ProgramStepper;
class TorvoEffect;
struct TableItem;
} // namespace torvo

namespace Steinberg {
namespace Vst {

class PlugController : public EditControllerEx1,
                       public IMidiMapping,
                       public torvo::IEventProcessor {
public:
    PlugController();
    ~PlugController() override;

    static FUnknown* createInstance(void*) {
        return static_cast<IEditController*>(new PlugController());
    }

    tresult PLUGIN_API initialize(FUnknown* context) SMTG_OVERRIDE;
    tresult PLUGIN_API terminate() SMTG_OVERRIDE;
    tresult PLUGIN_API getParameterInfo(int32 paramIndex, ParameterInfo& info) SMTG_OVERRIDE;
    tresult PLUGIN_API setComponentState(IBStream* state) SMTG_OVERRIDE;
    tresult PLUGIN_API setState(IBStream* state) SMTG_OVERRIDE;
    tresult PLUGIN_API getState(IBStream* state) SMTG_OVERRIDE;
    ParamValue PLUGIN_API getParamNormalized(ParamID id) SMTG_OVERRIDE;
    tresult PLUGIN_API setParamNormalized(ParamID id, ParamValue value) SMTG_OVERRIDE;
    tresult PLUGIN_API getParamStringByValue(ParamID id, ParamValue valueNormalized,
                                             String128 string) SMTG_OVERRIDE;
    /// The editor joins later; until then no view is offered.
    IPlugView* PLUGIN_API createView(FIDString name) SMTG_OVERRIDE;
    tresult PLUGIN_API notify(IMessage* message) SMTG_OVERRIDE;

    //--- IMidiMapping
    tresult PLUGIN_API getMidiControllerAssignment(int32 busIndex, int16 channel,
                                                   CtrlNumber midiControllerNumber,
                                                   ParamID& id) SMTG_OVERRIDE;

    //--- the bus: a preset was loaded (19), the browse list changed (26)
    void process(torvo::IEvent& event) override;

    OBJ_METHODS(PlugController, EditControllerEx1)
    DEFINE_INTERFACES
    DEF_INTERFACE(IMidiMapping)
    END_DEFINE_INTERFACES(EditControllerEx1)
    REFCOUNT_METHODS(EditControllerEx1)

    /// Last display state the processor reported.
    struct Display {
        int64 arpStep = 0;
        int64 step1 = 0;
        int64 step2 = 0;
        std::array<int64, 5> diodes{};
        double vuLeft = 0.0;
        double vuRight = 0.0;
        /// Set by every "noteon"; the editor's idle loop takes both flags.
        bool noteOnSeen = false;
        bool noteOnFlag = false;
    };
    const Display& display() const { return lastDisplay; }

private:
    void addTableParameters();
    void addProxyParameters();
    void addProgramBank();
    void takeDefaultPreset();
    void releaseWork();

    /// "midiProgramChange" with the first `count` values.
    void sendParameters(const float* values, int count);
    void sendCurrentPreset();
    void sendSimpleMessage(const char* id);
    void sendIntMessage(const char* id, int64 value);
    /// The tuning's messages: the table or equal temperament, then reference and A4.
    void sendTuning();
    /// Reads the host chunk; false when it is none, and then nothing has changed.
    bool loadChunk(const std::vector<uint8_t>& bytes);
    void onPresetLoaded(const torvo::Preset& preset);
    void onBrowseListChanged(const std::vector<torvo::TableItem>& list);
    /// Where the open editor's sections would follow a row; nothing to drive while it is
    /// closed.
    void showValue(ParamID id, ParamValue value);

    Display lastDisplay;
    torvo::MidiMap midiMap = torvo::defaultMidiMap();
    std::array<float, torvo::kProxyCount> proxyValues{};

    std::unique_ptr<torvo::TorvoEffect> effect;
    std::unique_ptr<torvo::Config> config;
    std::unique_ptr<torvo::ControllerTuning> tuning;
    std::unique_ptr<torvo::EventBus> eventBus;
    std::unique_ptr<torvo::PresetManagerModel> model;
    std::unique_ptr<torvo::PresetManagerCommands> commands;
    std::unique_ptr<torvo::ControllerWorkspace> workspace;
    std::unique_ptr<torvo::ControllerChunk> chunkContext;
    std::unique_ptr<torvo::Chunk> chunk;
    std::unique_ptr<torvo::ProgramStepper> stepper;

    std::array<float, torvo::kParamCount> defaultPreset{};
    std::string defaultPresetName;
    /// Set when a loaded preset replaced the sound; the editor takes it.
    bool presetChanged = false;
};

} // namespace Vst
} // namespace Steinberg

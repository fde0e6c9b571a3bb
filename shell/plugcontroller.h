#pragma once
// The edit controller: publishes the 725 table rows and 13 proxies to the host, answers their
// display text, follows the processor's state and receives its display messages. Preset
// handling, the host chunk and the editor join it later.

#include "pluginterfaces/vst/ivsteditcontroller.h"
#include "public.sdk/source/vst/vsteditcontroller.h"
#include "shell/midimap.h"
#include "shell/paramtable.h"

#include <array>
#include <atomic>
#include <vector>

namespace Steinberg {
namespace Vst {

class PlugController : public EditControllerEx1, public IMidiMapping {
public:
    static FUnknown* createInstance(void*) {
        return static_cast<IEditController*>(new PlugController());
    }

    tresult PLUGIN_API initialize(FUnknown* context) SMTG_OVERRIDE;
    tresult PLUGIN_API getParameterInfo(int32 paramIndex, ParameterInfo& info) SMTG_OVERRIDE;
    tresult PLUGIN_API setComponentState(IBStream* state) SMTG_OVERRIDE;
    tresult PLUGIN_API getParamStringByValue(ParamID id, ParamValue valueNormalized,
                                             String128 string) SMTG_OVERRIDE;
    tresult PLUGIN_API notify(IMessage* message) SMTG_OVERRIDE;

    //--- IMidiMapping
    tresult PLUGIN_API getMidiControllerAssignment(int32 busIndex, int16 channel,
                                                   CtrlNumber midiControllerNumber,
                                                   ParamID& id) SMTG_OVERRIDE;

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
        int64 noteOnCount = 0;
    };
    const Display& display() const { return lastDisplay; }

private:
    void addTableParameters();
    void addProxyParameters();
    void addProgramBank();

    Display lastDisplay;
    torvo::MidiMap midiMap = torvo::defaultMidiMap();
    std::vector<char> pendingLegacyState;
};

} // namespace Vst
} // namespace Steinberg

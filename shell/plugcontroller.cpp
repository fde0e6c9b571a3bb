#include "shell/plugcontroller.h"

#include "base/source/fstreamer.h"
#include "pluginterfaces/base/ibstream.h"
#include "pluginterfaces/base/ustring.h"
#include "pluginterfaces/vst/ivstmessage.h"

#include <cstring>

namespace Steinberg {
namespace Vst {

namespace {
constexpr ParamID kBypassIndex = 725;

/// A table row as the host sees it: text from the row's own display rule.
class TableParameter : public Parameter {
public:
    explicit TableParameter(const ParameterInfo& rowInfo)
        : Parameter(rowInfo), row(torvo::defaultParamRecord(static_cast<int>(rowInfo.id))) {}
    /// Stores what the row's write rule makes of the value: clamped, and lists past their
    /// end settle on the last entry.
    bool setNormalized(ParamValue v) override {
        row.setValue(static_cast<float>(v));
        return Parameter::setNormalized(row.value);
    }
    void toString(ParamValue normalized, String128 string) const override {
        char text[32] = {};
        torvo::formatParamValue(static_cast<int>(info.id), static_cast<float>(normalized), text,
                                sizeof(text));
        UString(string, 128).fromAscii(text);
    }

private:
    torvo::ParamRecord row;
};

void copyTitle(String128 dest, const char* ascii) {
    UString(dest, 128).fromAscii(ascii);
}

bool idIs(IMessage* message, const char* id) {
    const char* mine = message->getMessageID();
    return mine && std::strcmp(mine, id) == 0;
}
} // namespace

tresult PLUGIN_API PlugController::initialize(FUnknown* context) {
    const tresult result = EditControllerEx1::initialize(context);
    if (result != kResultOk) return result;
    addTableParameters();
    addProxyParameters();
    addProgramBank();
    return kResultOk;
}

void PlugController::addTableParameters() {
    for (int id = 0; id < torvo::kParamCount; ++id) {
        const torvo::ParamRecord& row = torvo::defaultParamRecord(id);
        ParameterInfo info{};
        info.id = static_cast<ParamID>(id);
        copyTitle(info.title, row.name);
        copyTitle(info.shortTitle, row.name);
        info.units[0] = 0;
        info.stepCount = 0;
        info.defaultNormalizedValue = torvo::defaultParamValues()[id];
        info.unitId = kRootUnitId;
        info.flags =
            torvo::isParamAutomatable(id) ? ParameterInfo::kCanAutomate : ParameterInfo::kNoFlags;
        auto* p = new TableParameter(info);
        p->setNormalized(info.defaultNormalizedValue);
        parameters.addParameter(p);
    }
}

void PlugController::addProxyParameters() {
    static_assert(int32(torvo::kProxyCanAutomate) == int32(ParameterInfo::kCanAutomate));
    static_assert(int32(torvo::kProxyIsReadOnly) == int32(ParameterInfo::kIsReadOnly));
    static_assert(int32(torvo::kProxyIsList) == int32(ParameterInfo::kIsList));
    static_assert(int32(torvo::kProxyIsHidden) == int32(ParameterInfo::kIsHidden));
    static_assert(int32(torvo::kProxyIsProgramChange) == int32(ParameterInfo::kIsProgramChange));
    static_assert(int32(torvo::kProxyIsBypass) == int32(ParameterInfo::kIsBypass));
    for (const torvo::ProxyParam& proxy : torvo::kProxyParams) {
        ParameterInfo info{};
        info.id = proxy.id;
        copyTitle(info.title, proxy.title);
        copyTitle(info.shortTitle, proxy.title);
        info.stepCount = proxy.stepCount;
        info.defaultNormalizedValue = proxy.defaultValue;
        info.unitId = kRootUnitId;
        info.flags = proxy.flags;
        auto* p = new Parameter(info);
        p->setNormalized(proxy.defaultValue);
        parameters.addParameter(p);
    }
}

void PlugController::addProgramBank() {
    // The root unit carries the program list that the "Program Change" proxy selects from;
    // the names follow the current bank once presets are loaded.
    const ProgramListID listId = torvo::fourCharId("prch");
    addUnit(new Unit(STR16("Root"), kRootUnitId, kNoParentUnitId, listId));
    auto* list = new ProgramList(STR16("Bank"), listId, kRootUnitId);
    for (int i = 0; i < 127; ++i) list->addProgram(STR16(""));
    addProgramList(list);
}

tresult PLUGIN_API PlugController::getMidiControllerAssignment(int32 busIndex, int16 /*channel*/,
                                                               CtrlNumber midiControllerNumber,
                                                               ParamID& id) {
    // One map serves all sixteen channels.
    if (busIndex != 0 || midiControllerNumber < 0 || midiControllerNumber >= torvo::kMidiMapSize)
        return kResultFalse;
    const uint32 entry = midiMap[midiControllerNumber];
    if (entry == torvo::kNoMapping) return kResultFalse;
    id = entry;
    return kResultTrue;
}

tresult PLUGIN_API PlugController::getParameterInfo(int32 paramIndex, ParameterInfo& info) {
    if (paramIndex < 0 || paramIndex >= getParameterCount()) return kInvalidArgument;
    return EditControllerEx1::getParameterInfo(paramIndex, info);
}

tresult PLUGIN_API PlugController::setComponentState(IBStream* state) {
    if (!state) return kResultFalse;
    IBStreamer in(state, kLittleEndian);
    int32 n = 0;
    if (!in.readInt32(n)) return kResultFalse;
    if (n < 1 || n > torvo::kParamCount)
        return kResultOk; // an older chunk: the processor hands it over
    std::array<float, torvo::kParamCount> values{};
    for (int32 i = 0; i < n; ++i)
        if (!in.readFloat(values[i])) return kResultFalse;
    for (int32 i = 0; i < n; ++i) setParamNormalized(static_cast<ParamID>(i), values[i]);
    int32 m = 0;
    float bypass = 0.0f;
    if (in.readInt32(m) && m > 0 && in.readFloat(bypass))
        setParamNormalized(torvo::kProxyParams[0].id, bypass > 0.0f ? 1.0 : 0.0);
    return kResultOk;
}

tresult PLUGIN_API PlugController::getParamStringByValue(ParamID id, ParamValue valueNormalized,
                                                         String128 string) {
    if (!string) return kInvalidArgument;
    string[0] = 0;
    if (id < ParamID(torvo::kParamCount)) {
        char text[32] = {};
        torvo::formatParamValue(static_cast<int>(id), static_cast<float>(valueNormalized), text,
                                sizeof(text));
        UString(string, 128).fromAscii(text);
        return kResultTrue;
    }
    // Compared with the index and not the bypass id: a host asking by id gets no text.
    if (id == kBypassIndex) {
        const ParamValue stored = getParamNormalized(torvo::kProxyParams[0].id);
        UString(string, 128).fromAscii(stored != 0.0 ? "ON" : "OFF");
        return kResultTrue;
    }
    return kResultFalse;
}

tresult PLUGIN_API PlugController::notify(IMessage* message) {
    if (!message) return kInvalidArgument;
    IAttributeList* attrs = message->getAttributes();
    if (idIs(message, "disp") && attrs) {
        attrs->getInt("arp", lastDisplay.arpStep);
        attrs->getInt("stp1", lastDisplay.step1);
        attrs->getInt("stp2", lastDisplay.step2);
        const void* data = nullptr;
        uint32 size = 0;
        if (attrs->getBinary("diodes", data, size) == kResultOk && data &&
            size >= sizeof(lastDisplay.diodes))
            std::memcpy(lastDisplay.diodes.data(), data, sizeof(lastDisplay.diodes));
        return kResultOk;
    }
    if (idIs(message, "vuMeter") && attrs) {
        attrs->getFloat("l", lastDisplay.vuLeft);
        attrs->getFloat("r", lastDisplay.vuRight);
        return kResultOk;
    }
    if (idIs(message, "noteon")) {
        ++lastDisplay.noteOnCount;
        return kResultOk;
    }
    if (idIs(message, "setControllerLegacyState") && attrs) {
        const void* data = nullptr;
        uint32 size = 0;
        if (attrs->getBinary("data", data, size) == kResultOk && data) {
            const char* bytes = static_cast<const char*>(data);
            pendingLegacyState.assign(bytes, bytes + size);
        }
        return kResultOk;
    }
    return EditControllerEx1::notify(message);
}

} // namespace Vst
} // namespace Steinberg

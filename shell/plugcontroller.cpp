#include "shell/plugcontroller.h"

#include "base/source/fstreamer.h"
#include "pluginterfaces/base/ibstream.h"
#include "pluginterfaces/base/ustring.h"
#include "pluginterfaces/vst/ivsthostapplication.h"
#include "pluginterfaces/vst/ivstmessage.h"
#include "presets/chunk.h"
#include "shell/controllerchunk.h"
#include "shell/controllerevents.h"
#include "shell/controllertuning.h"
#include "shell/controllerworkspace.h"
#include "shell/torvoeffect.h"
#include "workspace/config.h"
#include "workspace/presetmanagercommands.h"
#include "workspace/presetmanagermodel.h"
#include "workspace/xdgpaths.h"

#include <algorithm>
#include <cstring>

namespace Steinberg {
namespace Vst {

namespace {
constexpr ParamID kBypassIndex = 725;
constexpr int kModWheel = 721;
const ProgramListID kProgramListId = torvo::fourCharId("prch");

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

/// Everything left in the stream, from where it stands.
std::vector<uint8_t> readAll(IBStream* stream) {
    std::vector<uint8_t> bytes;
    uint8_t buffer[8192];
    int32 got = 0;
    while (stream->read(buffer, sizeof(buffer), &got) == kResultOk && got > 0)
        bytes.insert(bytes.end(), buffer, buffer + got);
    return bytes;
}

/// UTF-8 text as the host's UTF-16 string, cut to fit; broken sequences become '?'.
void copyUtf8(String128 dest, const std::string& text) {
    size_t out = 0;
    for (size_t i = 0; i < text.size() && out + 2 < 128;) {
        const auto lead = uint8_t(text[i]);
        const int extra = lead < 0x80       ? 0
                          : lead >> 5 == 6  ? 1
                          : lead >> 4 == 14 ? 2
                          : lead >> 3 == 30 ? 3
                                            : -1;
        uint32 code = extra == 0   ? lead
                      : extra == 1 ? lead & 0x1F
                      : extra == 2 ? lead & 0x0F
                                   : lead & 0x07;
        bool ok = extra >= 0;
        for (int k = 1; ok && k <= extra; ++k) {
            if (i + size_t(k) >= text.size() || (uint8_t(text[i + size_t(k)]) & 0xC0) != 0x80)
                ok = false;
            else
                code = code << 6 | (uint8_t(text[i + size_t(k)]) & 0x3F);
        }
        i += ok ? size_t(extra) + 1 : 1;
        if (!ok) code = '?';
        if (code >= 0x10000) {
            code -= 0x10000;
            dest[out++] = TChar(0xD800 | (code >> 10));
            dest[out++] = TChar(0xDC00 | (code & 0x3FF));
        } else {
            dest[out++] = TChar(code);
        }
    }
    dest[out] = 0;
}

int32 readI32(const std::vector<uint8_t>& bytes, size_t at) {
    uint32 v = 0;
    for (int i = 3; i >= 0; --i) v = v << 8 | bytes[at + size_t(i)];
    return static_cast<int32>(v);
}

float readF32(const std::vector<uint8_t>& bytes, size_t at) {
    const uint32 bits = static_cast<uint32>(readI32(bytes, at));
    float f;
    std::memcpy(&f, &bits, sizeof(f));
    return f;
}
} // namespace

PlugController::PlugController() = default;

PlugController::~PlugController() {
    releaseWork();
}

tresult PLUGIN_API PlugController::initialize(FUnknown* context) {
    // Nothing of a previous life: proxies at their defaults, no display state.
    for (int i = 0; i < torvo::kProxyCount; ++i)
        proxyValues[i] = torvo::kProxyParams[i].defaultValue;
    lastDisplay = Display{};

    // The bank from the table, the user's settings, and the collaborators around them.
    effect = std::make_unique<torvo::TorvoEffect>();
    config = std::make_unique<torvo::Config>();
    config->load(true);
    tuning = std::make_unique<torvo::ControllerTuning>();
    eventBus = std::make_unique<torvo::EventBus>();
    model = std::make_unique<torvo::PresetManagerModel>(*eventBus);
    commands = std::make_unique<torvo::PresetManagerCommands>(*eventBus, *model);
    workspace =
        std::make_unique<torvo::ControllerWorkspace>(effect->bank(), *config, *model, *eventBus);
    chunkContext =
        std::make_unique<torvo::ControllerChunk>(effect->bank(), *tuning, *workspace, *model);
    chunk = std::make_unique<torvo::Chunk>(effect->bank(), chunkContext.get());
    stepper = std::make_unique<torvo::ProgramStepper>(*eventBus);

    // The base, then the root unit whose program list the "Program Change" proxy selects.
    const tresult result = EditControllerEx1::initialize(context);
    if (result != kResultOk) return result;
    addUnit(new Unit(STR16("Root"), kRootUnitId, kNoParentUnitId, kProgramListId));
    if (FUnknownPtr<IHostApplication> app = context) {
        String128 name = {};
        if (app->getName(name) == kResultOk) {
            char ascii[128] = {};
            UString(name, 128).toAscii(ascii, sizeof(ascii));
            chunk->setHostName(ascii);
        }
    }

    // The sound a new instance starts with, then the parameters that show it.
    takeDefaultPreset();
    addTableParameters();
    addProxyParameters();

    // The learn table is read by the learn layer when it joins; the default map stands.
    // The workspace opens in the background when first needed: a big library must not hold
    // up the host.
    workspace->setFolders(config->values().workspaceDir, torvo::paths::factoryPresetFolder());

    // The model tells us of loaded presets and of the browse list.
    eventBus->subscribe(torvo::kOnPresetLoadedEvent, this);
    eventBus->subscribe(torvo::kPresetsToBrowseListChangedEvent, this);

    // The program list, named once a browse list arrives.
    addProgramBank();
    return kResultOk;
}

tresult PLUGIN_API PlugController::terminate() {
    releaseWork();
    return EditControllerEx1::terminate();
}

void PlugController::releaseWork() {
    if (eventBus) eventBus->unsubscribeAll(this);
    // The opening thread works on the bank: it ends before anything it uses goes.
    if (workspace) workspace->stop();
    stepper.reset();
    chunk.reset();
    chunkContext.reset();
    commands.reset();
    model.reset();
    workspace.reset();
    eventBus.reset();
    tuning.reset();
    config.reset();
    effect.reset();
}

void PlugController::takeDefaultPreset() {
    torvo::Bank& bank = effect->bank();
    const torvo::ConfigValues& settings = config->values();
    if (settings.defaultPresetName.empty() ||
        settings.defaultPresetParams.size() < size_t(torvo::kParamCount)) {
        const torvo::Preset& first = bank.preset(0);
        std::copy_n(first.params(), torvo::kParamCount, defaultPreset.begin());
        defaultPresetName = first.name();
        return;
    }
    defaultPresetName = settings.defaultPresetName;
    std::copy_n(settings.defaultPresetParams.begin(), torvo::kParamCount, defaultPreset.begin());
    bank.setCurrentPresetName(defaultPresetName);
    bank.currentPreset().setParams(defaultPreset.data(), torvo::kParamCount, 0);
    bank.applyCurrent();
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
        p->setNormalized(effect->row(id));
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
    auto* list = new ProgramList(STR16("Bank"), kProgramListId, kRootUnitId);
    for (int i = 0; i < torvo::ProgramStepper::kPrograms; ++i) list->addProgram(STR16(""));
    addProgramList(list);
}

// --- parameters ---------------------------------------------------------------------------

ParamValue PLUGIN_API PlugController::getParamNormalized(ParamID id) {
    if (id < ParamID(torvo::kParamCount)) return effect ? effect->row(int(id)) : 0.0;
    const int proxy = torvo::findProxy(id);
    if (proxy >= 0) return proxyValues[proxy];
    return EditControllerEx1::getParamNormalized(id);
}

tresult PLUGIN_API PlugController::setParamNormalized(ParamID id, ParamValue value) {
    if (id < ParamID(torvo::kParamCount)) {
        if (!effect) return kResultFalse;
        effect->writeRow(int(id), float(value));
        EditControllerEx1::setParamNormalized(id, effect->row(int(id)));
        showValue(id, effect->row(int(id)));
        return kResultOk;
    }
    const int proxy = torvo::findProxy(id);
    // Unknown ids are refused and change nothing.
    if (proxy < 0) return kResultFalse;
    proxyValues[proxy] = float(value);
    EditControllerEx1::setParamNormalized(id, value);
    if (!stepper) return kResultOk;
    if (id == torvo::fourCharId("prch"))
        stepper->programChange(value);
    else if (id == torvo::fourCharId("next"))
        stepper->next(value);
    else if (id == torvo::fourCharId("prev"))
        stepper->prev(value);
    return kResultOk;
}

void PlugController::showValue(ParamID /*id*/, ParamValue /*value*/) {
    // The editor's sections follow each row here once the editor exists; without it there is
    // nothing on screen to update.
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
        UString(string, 128).fromAscii(proxyValues[0] != 0.0f ? "ON" : "OFF");
        return kResultTrue;
    }
    return kResultFalse;
}

IPlugView* PLUGIN_API PlugController::createView(FIDString /*name*/) {
    return nullptr;
}

// --- host state -----------------------------------------------------------------------------

tresult PLUGIN_API PlugController::getState(IBStream* state) {
    if (!state || !chunk) return kResultFalse;
    const uint8_t* bytes = nullptr;
    const size_t size = chunk->save(&bytes);
    if (!bytes || size == 0) return kResultFalse;
    int32 written = 0;
    if (state->write(const_cast<uint8_t*>(bytes), int32(size), &written) != kResultOk ||
        written != int32(size))
        return kResultFalse;
    return kResultOk;
}

bool PlugController::loadChunk(const std::vector<uint8_t>& bytes) {
    // A state without a tuning plays in equal temperament; a state that cannot be read keeps
    // the tuning there was.
    const torvo::ControllerTuning before = *tuning;
    tuning->reset();
    if (chunk->load(bytes.data(), bytes.size())) {
        effect->settleListRows();
        return true;
    }
    *tuning = before;
    return false;
}

tresult PLUGIN_API PlugController::setState(IBStream* state) {
    if (!state || !chunk) return kResultFalse;
    const std::vector<uint8_t> bytes = readAll(state);
    const bool loaded = loadChunk(bytes);
    sendCurrentPreset();
    sendTuning();
    // Hosts read the parameters after the component state, before this chunk replaced them:
    // ask them to read again.
    if (loaded && componentHandler) componentHandler->restartComponent(kParamValuesChanged);
    return loaded ? kResultOk : kResultFalse;
}

tresult PLUGIN_API PlugController::setComponentState(IBStream* state) {
    if (!state || !chunk) return kResultFalse;
    const std::vector<uint8_t> bytes = readAll(state);
    if (bytes.size() <= 4) return kResultFalse;
    const int32 n = readI32(bytes, 0);
    if (n >= 1 && n <= torvo::kParamCount) {
        // The processor's own block: its sound goes back to it as one program. The bank's
        // current preset is the host chunk's to set.
        torvo::Preset scratch;
        scratch.setName("init");
        scratch.setLegacyNotes("no notes");
        const size_t count = std::min(size_t(n), (bytes.size() - 4) / 4);
        for (size_t i = 0; i < count; ++i) scratch.setParam(int(i), readF32(bytes, 4 + i * 4));
        const size_t at = 4 + size_t(n) * 4;
        if (count == size_t(n) && bytes.size() >= at + 4) {
            const int32 m = readI32(bytes, at);
            // Only the bypass carries a value: the processor writes the places of the other
            // proxies as zeros, which are no values of theirs.
            if (m > 0 && bytes.size() >= at + 8) proxyValues[0] = readF32(bytes, at + 4);
        }
        sendParameters(scratch.params(), int(count));
    } else {
        // An old project: the whole block is a controller chunk.
        loadChunk(bytes);
        sendCurrentPreset();
    }
    sendTuning();
    return kResultOk;
}

// --- messages -------------------------------------------------------------------------------

void PlugController::sendParameters(const float* values, int count) {
    if (!peerConnection || count <= 0) return;
    IPtr<IMessage> msg = owned(allocateMessage());
    if (!msg) return;
    msg->setMessageID("midiProgramChange");
    msg->getAttributes()->setBinary("data", values, uint32(count) * sizeof(float));
    sendMessage(msg);
}

void PlugController::sendCurrentPreset() {
    const std::array<float, torvo::kParamCount> values = effect->liveValues();
    sendParameters(values.data(), torvo::kParamCount);
}

void PlugController::sendSimpleMessage(const char* id) {
    if (!peerConnection) return;
    if (IPtr<IMessage> msg = owned(allocateMessage())) {
        msg->setMessageID(id);
        sendMessage(msg);
    }
}

void PlugController::sendIntMessage(const char* id, int64 value) {
    if (!peerConnection) return;
    if (IPtr<IMessage> msg = owned(allocateMessage())) {
        msg->setMessageID(id);
        msg->getAttributes()->setInt("n", value);
        sendMessage(msg);
    }
}

void PlugController::sendTuning() {
    if (!tuning->hasScale()) {
        sendSimpleMessage("setMicrotuneEqual");
    } else if (peerConnection) {
        const std::vector<float> table = tuning->table();
        if (IPtr<IMessage> msg = owned(allocateMessage())) {
            msg->setMessageID("setMicrotuneScl");
            msg->getAttributes()->setBinary("scl", table.data(),
                                            uint32(table.size() * sizeof(float)));
            sendMessage(msg);
        }
    }
    sendIntMessage("setMicrotuneRefNote", tuning->refNote());
    sendIntMessage("setMicrotuneA4Freq", tuning->a4Index());
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
            size >= sizeof(lastDisplay.diodes)) {
            std::array<int64, 5> wide{};
            std::memcpy(wide.data(), data, sizeof(wide));
            // Each flag travels as 64 bits; its low 32 bits are the flag.
            for (size_t i = 0; i < wide.size(); ++i) lastDisplay.diodes[i] = int32(wide[i]);
        }
        return kResultOk;
    }
    if (idIs(message, "vuMeter") && attrs) {
        attrs->getFloat("l", lastDisplay.vuLeft);
        attrs->getFloat("r", lastDisplay.vuRight);
        return kResultOk;
    }
    if (idIs(message, "noteon")) {
        if (!lastDisplay.noteOnSeen) lastDisplay.noteOnFlag = true;
        lastDisplay.noteOnSeen = true;
        return kResultOk;
    }
    if (idIs(message, "setControllerLegacyState")) {
        const void* data = nullptr;
        uint32 size = 0;
        if (!attrs || !chunk || attrs->getBinary("data", data, size) != kResultOk || !data)
            return kResultOk;
        const auto* begin = static_cast<const uint8_t*>(data);
        if (!loadChunk(std::vector<uint8_t>(begin, begin + size))) return kResultOk;
        const std::array<float, torvo::kParamCount> values = effect->liveValues();
        for (int i = 0; i < torvo::kParamCount; ++i) setParamNormalized(ParamID(i), values[i]);
        sendCurrentPreset();
        return kResultOk;
    }
    return EditControllerEx1::notify(message);
}

// --- the bus --------------------------------------------------------------------------------

void PlugController::process(torvo::IEvent& event) {
    if (auto* loaded = torvo::eventAs<torvo::OnPresetLoadedEvent>(event)) {
        if (loaded->param) onPresetLoaded(*loaded->param);
        return;
    }
    if (auto* listed = torvo::eventAs<torvo::PresetsToBrowseListChangedEvent>(event))
        onBrowseListChanged(listed->param);
}

void PlugController::onPresetLoaded(const torvo::Preset& preset) {
    effect->load(preset);
    effect->writeRow(kModWheel, 0.0f);
    presetChanged = true;
    // The processor mutes from "cleardsp" to "resumedsp", so the half-applied sound in
    // between is never heard, and its effect tails are cleared once.
    sendSimpleMessage("cleardsp");
    sendCurrentPreset();
    sendSimpleMessage("resumedsp");
}

void PlugController::onBrowseListChanged(const std::vector<torvo::TableItem>& list) {
    ProgramList* programs = getProgramList(kProgramListId);
    if (!programs) return;
    const std::vector<std::string> names = torvo::programNames(list);
    for (size_t i = 0; i < names.size(); ++i) {
        String128 name = {};
        copyUtf8(name, names[i]);
        programs->setProgramName(int32(i), name);
    }
    notifyProgramListChange(kProgramListId);
}

} // namespace Vst
} // namespace Steinberg

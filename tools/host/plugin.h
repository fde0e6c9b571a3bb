#pragma once
// One instance of a VST3 instrument, hosted as a DAW hosts it: both halves created from the
// factory and initialised with the host context, linked through recording connection proxies,
// the component's state handed to the controller, then set up, activated and processed with
// one stereo output bus. Destruction tears down in the order hosts use.
//
// Two ways to process: `process` takes notes and changes and answers the output as vectors
// (convenient, allocates); `processBlock` runs whatever was put into `events()` and
// `inputChanges()` and leaves the output in `buffers()` (allocation-free, for the audio
// thread and for tests that count allocations).

#include "host/componenthandler.h"
#include "host/connectionproxy.h"
#include "host/eventlist.h"
#include "host/hostcontext.h"
#include "host/messagelog.h"
#include "host/parameterchanges.h"
#include "host/pluginmodule.h"
#include "host/processbuffers.h"

#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivstcomponent.h"
#include "pluginterfaces/vst/ivsteditcontroller.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace torvo::host {

struct LoadOptions {
    /// Link the halves through the host's recording proxies (as DAWs do), or directly.
    bool useProxies = true;
    /// Give the controller the component's state right after connecting.
    bool syncControllerState = true;
    /// Fill output buffers with NaN before each block (see ProcessBuffers::setPoison).
    bool poisonOutput = false;
};

struct Note {
    Steinberg::int32 offset = 0;
    Steinberg::int16 pitch = 60;
    float velocity = 0.8f; ///< 0..1; a note-on with 0 is a note-off by MIDI convention
    bool on = true;
};

struct ParamPoint {
    Steinberg::Vst::ParamID id = 0;
    Steinberg::int32 offset = 0;
    double value = 0.0;
};

struct Block {
    Steinberg::tresult result = Steinberg::kResultOk;
    std::vector<float> left;
    std::vector<float> right;
    Steinberg::uint64 silenceFlags = 0;

    bool silentLeft() const { return silenceFlags & 1u; }
    bool silentRight() const { return silenceFlags & 2u; }
};

class Plugin {
public:
    /// Loads the bundle (or shared object) at `path` and creates one instance.
    static std::unique_ptr<Plugin> load(const std::string& path, std::string* error = nullptr,
                                        const LoadOptions& options = {});
    /// Creates one more instance from a module that is already loaded.
    static std::unique_ptr<Plugin> create(std::shared_ptr<PluginModule> module,
                                          std::string* error = nullptr,
                                          const LoadOptions& options = {});
    ~Plugin();
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    /// Stereo output arrangement, then setupProcessing; false if the processor refuses.
    bool setup(double sampleRate, int maxBlock,
               Steinberg::int32 sampleSize = Steinberg::Vst::kSample32,
               Steinberg::int32 processMode = Steinberg::Vst::kRealtime);
    /// Activates the buses, then setActive(true) and setProcessing(true).
    bool activate();
    void deactivate();
    bool isActive() const { return active_; }

    Block process(int frames, const std::vector<Note>& notes = {},
                  const std::vector<ParamPoint>& changes = {});
    Steinberg::tresult processBlock(int frames);

    EventList& events() { return events_; }
    ParameterChanges& inputChanges() { return inputChanges_; }
    ParameterChanges& outputChanges() { return outputChanges_; }
    ProcessBuffers& buffers() { return buffers_; }
    void setTempo(double bpm) { buffers_.context().tempo = bpm; }

    /// The component's state as `getState` writes it; empty on failure.
    std::vector<uint8_t> getState();
    /// The component alone takes `bytes`.
    bool setState(const std::vector<uint8_t>& bytes);
    /// A project restore as hosts do it: component setState, the same bytes to the
    /// controller's setComponentState, then the controller's own state when given.
    bool restore(const std::vector<uint8_t>& componentState,
                 const std::vector<uint8_t>& controllerState = {});
    std::vector<uint8_t> getControllerState();
    bool setControllerState(const std::vector<uint8_t>& bytes);

    /// Unlinks the halves (the destructor does this too).
    void disconnect();

    Steinberg::Vst::IComponent* component() const { return component_.get(); }
    Steinberg::Vst::IAudioProcessor* processor() const { return processor_.get(); }
    Steinberg::Vst::IEditController* controller() const { return controller_.get(); }
    Steinberg::Vst::IConnectionPoint* componentConnection() const { return componentCP_.get(); }
    Steinberg::Vst::IConnectionPoint* controllerConnection() const { return controllerCP_.get(); }
    PluginModule& module() const { return *module_; }
    MessageLog& messages() { return messages_; }
    ComponentHandler& handler() { return handler_; }
    HostContext& hostContext() { return context_; }
    double sampleRate() const { return sampleRate_; }
    int maxBlock() const { return maxBlock_; }

private:
    explicit Plugin(std::shared_ptr<PluginModule> module, const LoadOptions& options);
    bool createHalves(std::string* error);
    bool connectHalves(std::string* error);
    void teardown();

    std::shared_ptr<PluginModule> module_;
    LoadOptions options_;
    HostContext context_;
    ComponentHandler handler_;
    MessageLog messages_;
    Steinberg::IPtr<Steinberg::Vst::IComponent> component_;
    Steinberg::IPtr<Steinberg::Vst::IAudioProcessor> processor_;
    Steinberg::IPtr<Steinberg::Vst::IEditController> controller_;
    Steinberg::IPtr<Steinberg::Vst::IConnectionPoint> componentCP_;
    Steinberg::IPtr<Steinberg::Vst::IConnectionPoint> controllerCP_;
    std::optional<ConnectionProxy> toController_;
    std::optional<ConnectionProxy> toComponent_;
    bool directlyConnected_ = false;
    bool separateController_ = false;
    bool componentInitialized_ = false;
    bool controllerInitialized_ = false;
    bool handlerSet_ = false;

    EventList events_;
    ParameterChanges inputChanges_;
    ParameterChanges outputChanges_;
    ProcessBuffers buffers_;
    double sampleRate_ = 0.0;
    int maxBlock_ = 0;
    Steinberg::int32 processMode_ = Steinberg::Vst::kRealtime;
    bool active_ = false;
};

} // namespace torvo::host

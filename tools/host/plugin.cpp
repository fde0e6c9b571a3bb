#include "host/plugin.h"

#include "public.sdk/source/common/memorystream.h"

#include <algorithm>
#include <cstring>

namespace torvo::host {

using namespace Steinberg;

namespace {

void setError(std::string* error, std::string text) {
    if (error) *error = std::move(text);
}

std::vector<uint8_t> streamBytes(MemoryStream& stream) {
    const auto* data = reinterpret_cast<const uint8_t*>(stream.getData());
    return std::vector<uint8_t>(data, data + stream.getSize());
}

} // namespace

Plugin::Plugin(std::shared_ptr<PluginModule> module, const LoadOptions& options)
    : module_(std::move(module)), options_(options) {
    buffers_.setPoison(options.poisonOutput);
}

std::unique_ptr<Plugin> Plugin::load(const std::string& path, std::string* error,
                                     const LoadOptions& options) {
    auto module = PluginModule::load(path, error);
    return module ? create(std::move(module), error, options) : nullptr;
}

std::unique_ptr<Plugin> Plugin::create(std::shared_ptr<PluginModule> module, std::string* error,
                                       const LoadOptions& options) {
    if (!module) return nullptr;
    std::unique_ptr<Plugin> plugin(new Plugin(std::move(module), options));
    if (!plugin->createHalves(error) || !plugin->connectHalves(error)) return nullptr;
    if (options.syncControllerState && plugin->separateController_) {
        std::vector<uint8_t> state = plugin->getState();
        MemoryStream stream(state.data(), static_cast<TSize>(state.size()));
        plugin->controller_->setComponentState(&stream);
    }
    return plugin;
}

bool Plugin::createHalves(std::string* error) {
    const ClassInfo* info = module_->findClassByCategory(kVstAudioEffectClass);
    if (!info) {
        setError(error, module_->binary() + ": no audio component class");
        return false;
    }
    Vst::IComponent* component = nullptr;
    if (module_->factory()->createInstance(info->cid, Vst::IComponent::iid,
                                           reinterpret_cast<void**>(&component)) != kResultOk ||
        !component) {
        setError(error, "cannot create the component \"" + info->name + "\"");
        return false;
    }
    component_ = owned(component);
    if (component_->initialize(static_cast<Vst::IHostApplication*>(&context_)) != kResultOk) {
        setError(error, "the component refused initialize");
        return false;
    }
    componentInitialized_ = true;
    processor_ = FUnknownPtr<Vst::IAudioProcessor>(component_);
    if (!processor_) {
        setError(error, "the component has no audio processor interface");
        return false;
    }

    // A single-object plug-in answers the controller interface itself; otherwise the
    // component names the controller class to create.
    controller_ = FUnknownPtr<Vst::IEditController>(component_);
    if (!controller_) {
        TUID controllerCid = {};
        Vst::IEditController* controller = nullptr;
        if (component_->getControllerClassId(controllerCid) != kResultOk ||
            module_->factory()->createInstance(controllerCid, Vst::IEditController::iid,
                                               reinterpret_cast<void**>(&controller)) !=
                kResultOk ||
            !controller) {
            setError(error, "cannot create the edit controller");
            return false;
        }
        controller_ = owned(controller);
        separateController_ = true;
        if (controller_->initialize(static_cast<Vst::IHostApplication*>(&context_)) != kResultOk) {
            setError(error, "the edit controller refused initialize");
            return false;
        }
        controllerInitialized_ = true;
    }
    handlerSet_ = controller_->setComponentHandler(&handler_) == kResultOk;
    return true;
}

bool Plugin::connectHalves(std::string* error) {
    if (!separateController_) return true;
    componentCP_ = FUnknownPtr<Vst::IConnectionPoint>(component_);
    controllerCP_ = FUnknownPtr<Vst::IConnectionPoint>(controller_);
    if (!componentCP_ || !controllerCP_) return true; // nothing to connect: not an error
    if (options_.useProxies) {
        toController_.emplace(componentCP_.get(), Direction::ToController, messages_,
                              &context_.messagePool());
        toComponent_.emplace(controllerCP_.get(), Direction::ToComponent, messages_,
                             &context_.messagePool());
        if (toController_->connect(controllerCP_) != kResultOk ||
            toComponent_->connect(componentCP_) != kResultOk) {
            setError(error, "connecting the component and the controller failed");
            return false;
        }
    } else {
        if (componentCP_->connect(controllerCP_) != kResultOk ||
            controllerCP_->connect(componentCP_) != kResultOk) {
            setError(error, "connecting the component and the controller failed");
            return false;
        }
        directlyConnected_ = true;
    }
    return true;
}

Plugin::~Plugin() {
    teardown();
}

void Plugin::teardown() {
    if (active_) deactivate();
    disconnect();
    if (handlerSet_) controller_->setComponentHandler(nullptr);
    handlerSet_ = false;
    if (controllerInitialized_) controller_->terminate();
    if (componentInitialized_) component_->terminate();
    controllerInitialized_ = componentInitialized_ = false;
    componentCP_ = nullptr;
    controllerCP_ = nullptr;
    controller_ = nullptr;
    processor_ = nullptr;
    component_ = nullptr;
    module_.reset();
}

void Plugin::disconnect() {
    if (toController_) toController_->disconnect();
    if (toComponent_) toComponent_->disconnect();
    if (directlyConnected_) {
        componentCP_->disconnect(controllerCP_);
        controllerCP_->disconnect(componentCP_);
        directlyConnected_ = false;
    }
}

bool Plugin::setup(double sampleRate, int maxBlock, int32 sampleSize, int32 processMode) {
    if (active_ || !processor_) return false;
    Vst::SpeakerArrangement stereo = Vst::SpeakerArr::kStereo;
    processor_->setBusArrangements(nullptr, 0, &stereo, 1);
    Vst::ProcessSetup setup{processMode, sampleSize, maxBlock, sampleRate};
    if (processor_->setupProcessing(setup) != kResultOk) return false;
    sampleRate_ = sampleRate;
    maxBlock_ = maxBlock;
    processMode_ = processMode;
    buffers_.allocate(maxBlock, sampleRate);
    return true;
}

bool Plugin::activate() {
    if (active_ || !component_ || maxBlock_ <= 0) return active_;
    component_->activateBus(Vst::kEvent, Vst::kInput, 0, true);
    component_->activateBus(Vst::kAudio, Vst::kOutput, 0, true);
    if (component_->setActive(true) != kResultOk) return false;
    active_ = true;
    processor_->setProcessing(true); // optional for the plug-in: kNotImplemented is fine
    return true;
}

void Plugin::deactivate() {
    if (!active_) return;
    processor_->setProcessing(false);
    component_->setActive(false);
    active_ = false;
}

tresult Plugin::processBlock(int frames) {
    if (!processor_ || frames < 0 || frames > maxBlock_) return kInvalidArgument;
    events_.setPositions(buffers_.context().projectTimeMusic, buffers_.ppqPerSample());
    Vst::ProcessData& data =
        buffers_.prepare(frames, &events_, &inputChanges_, &outputChanges_, processMode_);
    const tresult result = processor_->process(data);
    events_.clear();
    inputChanges_.clear();
    outputChanges_.clear();
    buffers_.advance(frames);
    return result;
}

Block Plugin::process(int frames, const std::vector<Note>& notes,
                      const std::vector<ParamPoint>& changes) {
    for (const HandlerCall& edit : handler_.takePendingEdits())
        inputChanges_.add(edit.id, 0, edit.value);
    for (const ParamPoint& p : changes) inputChanges_.add(p.id, p.offset, p.value);
    for (const Note& n : notes) {
        if (n.on)
            events_.addNoteOn(n.offset, n.pitch, n.velocity);
        else
            events_.addNoteOff(n.offset, n.pitch, n.velocity);
    }
    Block block;
    block.result = processBlock(frames);
    if (block.result == kInvalidArgument) return block;
    const int n = std::max(frames, 0);
    block.left.assign(buffers_.channel(0), buffers_.channel(0) + n);
    block.right.assign(buffers_.channel(1), buffers_.channel(1) + n);
    block.silenceFlags = buffers_.silenceFlags();
    return block;
}

std::vector<uint8_t> Plugin::getState() {
    MemoryStream stream;
    if (!component_ || component_->getState(&stream) != kResultOk) return {};
    return streamBytes(stream);
}

bool Plugin::setState(const std::vector<uint8_t>& bytes) {
    std::vector<uint8_t> copy(bytes);
    MemoryStream stream(copy.data(), static_cast<TSize>(copy.size()));
    return component_ && component_->setState(&stream) == kResultOk;
}

bool Plugin::restore(const std::vector<uint8_t>& componentState,
                     const std::vector<uint8_t>& controllerState) {
    bool ok = setState(componentState);
    if (separateController_) {
        std::vector<uint8_t> copy(componentState);
        MemoryStream stream(copy.data(), static_cast<TSize>(copy.size()));
        ok = controller_->setComponentState(&stream) == kResultOk && ok;
    }
    if (!controllerState.empty()) ok = setControllerState(controllerState) && ok;
    return ok;
}

std::vector<uint8_t> Plugin::getControllerState() {
    MemoryStream stream;
    if (!controller_ || controller_->getState(&stream) != kResultOk) return {};
    return streamBytes(stream);
}

bool Plugin::setControllerState(const std::vector<uint8_t>& bytes) {
    std::vector<uint8_t> copy(bytes);
    MemoryStream stream(copy.data(), static_cast<TSize>(copy.size()));
    return controller_ && controller_->setState(&stream) == kResultOk;
}

} // namespace torvo::host

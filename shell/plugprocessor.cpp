#include "shell/plugprocessor.h"

#include "base/source/fstreamer.h"
#include "engine/denormals.h"
#include "engine/globaltables.h"
#include "engine/modulemidi.h"
#include "pluginterfaces/base/ibstream.h"
#include "pluginterfaces/vst/ivstevents.h"
#include "pluginterfaces/vst/ivstmessage.h"
#include "pluginterfaces/vst/ivstparameterchanges.h"
#include "pluginterfaces/vst/ivstprocesscontext.h"
#include "shell/plugids.h"
#include "shell/processorparams.h"
#include "workspace/config.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <new>

namespace Steinberg {
namespace Vst {

namespace {
constexpr int32 kMaxBlock = 8192;
constexpr int kParamModWheel = 721;
} // namespace

PlugProcessor::PlugProcessor() {
    setControllerClass(torvo::kControllerUID);
}

PlugProcessor::~PlugProcessor() = default;

tresult PLUGIN_API PlugProcessor::initialize(FUnknown* context) {
    const tresult result = AudioEffect::initialize(context);
    if (result != kResultOk) return result;
    addEventInput(STR16("MIDI in"), 1);
    addAudioOutput(STR16("Stereo Out"), SpeakerArr::kStereo);
    tempo = 120.0f;
    std::copy_n(torvo::defaultParamValues(), torvo::kParamCount, parameters.begin());
    hostExtras.fill(0.0f);
    bypassed = false;
    bypassFade = 0;
    lastArpStep = lastStep1 = lastStep2 = -1;
    lastDiodes.fill(-1);
    lastVuL = lastVuR = -1.0f;
    clearDspRequested = resumeDspRequested = stickyNoteOffRequested = 0;
    microtuneRefNote = 69;
    microtuneA4Freq = 4;
    // The note engine reads the scale through a pointer into this vector, so its storage must
    // never move: reserve the largest table once and cap what a message may bring.
    microtuneCents.reserve(kMaxScaleFloats);
    microtuneCents.clear();
    microtuneActive = false;
    takeUserDefaultPreset();
    return kResultOk;
}

void PlugProcessor::takeUserDefaultPreset() {
    // A new instance sounds like the user's own default preset when the configuration names
    // one, so that a host saving before activation already stores that sound.
    try {
        torvo::Config config;
        config.load(true);
        const torvo::ConfigValues& settings = config.values();
        if (!settings.defaultPresetName.empty() &&
            settings.defaultPresetParams.size() >= size_t(torvo::kParamCount))
            std::copy_n(settings.defaultPresetParams.begin(), torvo::kParamCount,
                        parameters.begin());
    } catch (const std::exception&) {
        // An unreadable configuration leaves the table's defaults.
    }
}

tresult PLUGIN_API PlugProcessor::terminate() {
    engine.reset();
    return AudioEffect::terminate();
}

void PlugProcessor::writeAllParameters() {
    for (int i = 0; i < torvo::kParamCount; ++i) engine->setParameter(i, parameters[i], 0);
    engine->refreshMatrix();
}

void PlugProcessor::applyMicrotuning() {
    torvo::ModuleMidi* midi = engine->midi();
    midi->setReferenceNote(microtuneRefNote);
    midi->setA4Index(microtuneA4Freq);
    if (microtuneActive && !microtuneCents.empty())
        midi->setScale(microtuneCents.data(), static_cast<int>(microtuneCents.size()));
    else
        midi->clearScale();
}

tresult PLUGIN_API PlugProcessor::setActive(TBool state) {
    if (!state) {
        engine.reset();
        return AudioEffect::setActive(state);
    }
    try {
        if (!engine) engine = std::make_unique<torvo::APlugin>();
        if (!engine->setMaxBlockSize(maxBlockSamples)) {
            engine.reset();
            return kOutOfMemory;
        }
        engine->setSampleRate(sampleRate);
        engine->setTempo(tempo);
        writeAllParameters();
        engine->clearArpSnapshot();
        applyMicrotuning();
        engine->resetNoteState();
        // One discarded block so that everything built lazily exists before the first
        // real block reaches the audio thread.
        std::vector<float> left(maxBlockSamples), right(maxBlockSamples);
        float* scratch[2] = {left.data(), right.data()};
        torvo::ScopedFlushDenormals flush;
        engine->render(scratch, maxBlockSamples);
    } catch (const std::bad_alloc&) {
        engine.reset();
        return kOutOfMemory;
    }
    return AudioEffect::setActive(state);
}

tresult PLUGIN_API PlugProcessor::setProcessing(TBool state) {
    if (!state && engine) {
        engine->clearDsp();
        engine->refreshMatrix();
    }
    return kResultOk;
}

tresult PLUGIN_API PlugProcessor::setupProcessing(ProcessSetup& setup) {
    if (setup.maxSamplesPerBlock > kMaxBlock || setup.maxSamplesPerBlock < 1) return kResultFalse;
    if (canProcessSampleSize(setup.symbolicSampleSize) != kResultTrue) return kResultFalse;
    if (!(setup.sampleRate > 0.0)) return kResultFalse;
    maxBlockSamples = setup.maxSamplesPerBlock;
    sampleRate = static_cast<float>(setup.sampleRate);
    torvo::setGlobalSampleRate(sampleRate);
    processSetup = setup;
    return kResultOk;
}

tresult PLUGIN_API PlugProcessor::setBusArrangements(SpeakerArrangement* inputs, int32 numIns,
                                                     SpeakerArrangement* outputs, int32 numOuts) {
    if (numIns != 0 || numOuts != 1 || !outputs || outputs[0] != SpeakerArr::kStereo)
        return kResultFalse;
    return AudioEffect::setBusArrangements(inputs, numIns, outputs, numOuts);
}

tresult PLUGIN_API PlugProcessor::canProcessSampleSize(int32 symbolicSampleSize) {
    return symbolicSampleSize == kSample32 ? kResultTrue : kResultFalse;
}

void PlugProcessor::zeroOutputs(ProcessData& data) {
    for (int32 b = 0; b < data.numOutputs; ++b) {
        AudioBusBuffers& bus = data.outputs[b];
        for (int32 c = 0; c < bus.numChannels; ++c)
            if (bus.channelBuffers32 && bus.channelBuffers32[c])
                std::memset(bus.channelBuffers32[c], 0, sizeof(float) * data.numSamples);
        bus.silenceFlags = bus.numChannels >= 64 ? ~uint64(0) : (uint64(1) << bus.numChannels) - 1;
    }
}

tresult PLUGIN_API PlugProcessor::process(ProcessData& data) {
    torvo::ScopedFlushDenormals flush;
    const int32 limit = engine ? engine->maxBlockSize() : maxBlockSamples;
    if (data.numSamples < 0 || data.numSamples > limit) {
        // A block larger than announced cannot be rendered without allocating: stay silent.
        if (data.numSamples > 0) zeroOutputs(data);
        return kResultOk;
    }
    if (!engine) {
        zeroOutputs(data);
        return kResultOk;
    }
    if (resumeDspRequested.load()) {
        engine->clearDsp();
        engine->refreshMatrix();
        clearDspRequested = 0;
        resumeDspRequested = 0;
    }
    applyParameterChanges(data.inputParameterChanges);
    if (data.processContext && (data.processContext->state & ProcessContext::kTempoValid)) {
        const float t = static_cast<float>(data.processContext->tempo);
        if (t != tempo) {
            tempo = t;
            engine->setTempo(t);
        }
    }
    applyEvents(data.inputEvents, data.numSamples);
    applyGuiNotes();
    if (data.numSamples > 0) {
        if (!bypassCheck(data)) renderInto(data);
        if (clearDspRequested.load() && data.numOutputs > 0 && data.outputs[0].numChannels >= 2) {
            for (int c = 0; c < 2; ++c)
                std::memset(data.outputs[0].channelBuffers32[c], 0,
                            sizeof(float) * data.numSamples);
        }
        reportDisplayState();
        if (stickyNoteOffRequested.load()) {
            engine->clearDsp();
            stickyNoteOffRequested = 0;
        }
    }
    return kResultOk;
}

void PlugProcessor::applyParameterChanges(IParameterChanges* changes) {
    if (!changes) return;
    const int32 count = changes->getParameterCount();
    for (int32 q = 0; q < count; ++q) {
        IParamValueQueue* queue = changes->getParameterData(q);
        if (!queue || queue->getPointCount() <= 0) continue;
        int32 offset = 0;
        ParamValue value = 0;
        if (queue->getPoint(queue->getPointCount() - 1, offset, value) != kResultOk) continue;
        const float v = static_cast<float>(value);
        const ParamID id = queue->getParameterId();
        switch (torvo::classifyHostParam(id)) {
        case torvo::HostParamKind::Bypass: {
            const bool now = v > 0.5f;
            if (now != bypassed) bypassFade = now ? 1 : -1;
            bypassed = now;
            hostExtras[0] = v;
            break;
        }
        case torvo::HostParamKind::Ignored:
            break;
        case torvo::HostParamKind::Controller: {
            const int number = torvo::controllerOfProxy(id);
            engine->onController(number, v, offset, number == 65 ? 2.0f * v - 1.0f : 0.0f);
            break;
        }
        case torvo::HostParamKind::TableRow:
            engine->setParameter(static_cast<int>(id), v, 1);
            parameters[id] = v;
            break;
        case torvo::HostParamKind::Unknown:
            break;
        }
    }
}

void PlugProcessor::applyEvents(IEventList* events, int32 numSamples) {
    if (!events || events->getEventCount() <= 0) return;
    engine->clearArpSnapshot();
    engine->resetNoteState();
    sendSimpleMessage("noteon");
    const int32 count = events->getEventCount();
    for (int32 i = 0; i < count; ++i) {
        Event e{};
        if (events->getEvent(i, e) != kResultOk) continue;
        engine->setPlayPosition(e.ppqPosition);
        const int32 offset = std::clamp(e.sampleOffset, 0, numSamples);
        if (e.type == Event::kNoteOnEvent) {
            const int vel = static_cast<int>(e.noteOn.velocity * 127.0f);
            if (e.noteOn.velocity == 0.0f)
                engine->noteOff(offset, e.noteOn.pitch & 127);
            else
                engine->noteOn(offset, e.noteOn.pitch & 127, vel);
        } else if (e.type == Event::kNoteOffEvent) {
            engine->noteOff(offset, e.noteOff.pitch & 127);
        }
    }
}

void PlugProcessor::applyGuiNotes() {
    if (!guiNotesPending.load(std::memory_order_acquire)) return;
    std::lock_guard<std::mutex> guard(guiNotesMutex);
    if (guiNotes.empty()) return;
    engine->setParameter(kParamModWheel, parameters[kParamModWheel], 0);
    engine->clearArpSnapshot();
    engine->resetNoteState();
    for (const auto& [note, velocity] : guiNotes) {
        if (velocity < 1)
            engine->noteOff(0, note);
        else
            engine->noteOn(0, note, velocity);
    }
    // The drained nodes go to the spare list for the message thread to reuse, so the audio
    // thread never frees memory.
    guiNotesSpare.splice(guiNotesSpare.end(), guiNotes);
    guiNotesPending.store(false, std::memory_order_release);
}

bool PlugProcessor::bypassCheck(ProcessData& data) {
    if (data.numSamples == 0 || data.numOutputs == 0) return true;
    if (!bypassed && bypassFade == 0) return false;
    if (bypassFade == 0) {
        zeroOutputs(data);
        return true;
    }
    renderInto(data);
    AudioBusBuffers& bus = data.outputs[0];
    if (bus.numChannels >= 2) {
        const int32 n = data.numSamples;
        const float scale = 1.0f / static_cast<float>(n);
        for (int c = 0; c < 2; ++c) {
            float* x = bus.channelBuffers32[c];
            for (int32 i = 0; i < n; ++i) {
                const float gain = bypassFade < 0 ? i * scale : (n - i) * scale;
                x[i] *= gain;
            }
        }
    }
    bus.silenceFlags = 0;
    bypassFade = 0;
    return true;
}

void PlugProcessor::renderInto(ProcessData& data) {
    if (data.numOutputs < 1) return;
    AudioBusBuffers& bus = data.outputs[0];
    if (bus.numChannels < 2 || !bus.channelBuffers32) return;
    float* stereo[2] = {bus.channelBuffers32[0], bus.channelBuffers32[1]};
    if (!stereo[0] || !stereo[1]) return;
    engine->render(stereo, data.numSamples);
    bus.silenceFlags = 0;
}

} // namespace Vst
} // namespace Steinberg

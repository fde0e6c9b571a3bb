// The processor's host state block, its messages from the controller, and the display state
// it reports back.

#include "base/source/fstreamer.h"
#include "pluginterfaces/base/ibstream.h"
#include "pluginterfaces/vst/ivstmessage.h"
#include "shell/plugprocessor.h"

#include <algorithm>
#include <cstring>

namespace Steinberg {
namespace Vst {

namespace {
bool idIs(IMessage* message, const char* id) {
    const char* mine = message->getMessageID();
    return mine && std::strcmp(mine, id) == 0;
}
} // namespace

tresult PLUGIN_API PlugProcessor::getState(IBStream* state) {
    if (!state) return kResultFalse;
    hostExtras[0] = bypassed ? 1.0f : 0.0f;
    IBStreamer out(state, kLittleEndian);
    bool ok = out.writeInt32(torvo::kParamCount);
    for (float v : parameters) ok = ok && out.writeFloat(v);
    ok = ok && out.writeInt32(torvo::kProxyCount);
    for (float v : hostExtras) ok = ok && out.writeFloat(v);
    return ok ? kResultOk : kResultFalse;
}

tresult PLUGIN_API PlugProcessor::setState(IBStream* state) {
    if (!state) return kResultFalse;
    IBStreamer in(state, kLittleEndian);
    int32 n = 0;
    if (!in.readInt32(n)) return kResultFalse;
    if (n < 1 || n > torvo::kParamCount) {
        // Not our block: an older chunk that only the controller can decode.
        if (state->seek(0, IBStream::kIBSeekSet, nullptr) != kResultOk) return kResultFalse;
        std::vector<char> bytes;
        char buffer[4096];
        int32 got = 0;
        while (state->read(buffer, sizeof(buffer), &got) == kResultOk && got > 0)
            bytes.insert(bytes.end(), buffer, buffer + got);
        sendLegacyState(bytes);
        return kResultOk;
    }
    std::array<float, torvo::kParamCount> values{};
    for (int32 i = 0; i < n; ++i)
        if (!in.readFloat(values[i])) return kResultFalse;
    int32 m = 0;
    if (!in.readInt32(m)) return kResultFalse;
    std::array<float, torvo::kProxyCount> extras = hostExtras;
    for (int32 i = 0; i < std::min(m, int32(torvo::kProxyCount)); ++i)
        if (!in.readFloat(extras[i])) return kResultFalse;

    hostExtras = extras;
    std::copy_n(values.begin(), n, parameters.begin());
    if (engine) {
        for (int32 i = 0; i < n; ++i) engine->setParameter(i, parameters[i], 0);
        engine->refreshMatrix();
    }
    const bool now = hostExtras[0] > 0.0f;
    if (now != bypassed) bypassFade = now ? 1 : -1;
    bypassed = now;
    return kResultOk;
}

void PlugProcessor::sendSimpleMessage(const char* id) {
    if (!peerConnection) return;
    if (IPtr<IMessage> msg = owned(allocateMessage())) {
        msg->setMessageID(id);
        sendMessage(msg);
    }
}

void PlugProcessor::sendLegacyState(const std::vector<char>& bytes) {
    if (!peerConnection) return;
    if (IPtr<IMessage> msg = owned(allocateMessage())) {
        msg->setMessageID("setControllerLegacyState");
        msg->getAttributes()->setBinary("data", bytes.data(), static_cast<uint32>(bytes.size()));
        sendMessage(msg);
    }
}

void PlugProcessor::reportDisplayState() {
    if (!peerConnection || !engine) return;
    const int32 arp = engine->arpStep();
    const int32 s1 = engine->stepperStep(0);
    const int32 s2 = engine->stepperStep(1);
    std::array<int64, 5> diodes{};
    engine->diodes(diodes.data());
    if (arp != lastArpStep || s1 != lastStep1 || s2 != lastStep2 || diodes != lastDiodes) {
        lastArpStep = arp;
        lastStep1 = s1;
        lastStep2 = s2;
        lastDiodes = diodes;
        if (IPtr<IMessage> msg = owned(allocateMessage())) {
            msg->setMessageID("disp");
            IAttributeList* a = msg->getAttributes();
            a->setInt("arp", arp);
            a->setInt("stp1", s1);
            a->setInt("stp2", s2);
            a->setBinary("diodes", diodes.data(), sizeof(diodes));
            sendMessage(msg);
        }
    }
    const float l = engine->peakLeft();
    const float r = engine->peakRight();
    if (l != lastVuL || r != lastVuR) {
        lastVuL = l;
        lastVuR = r;
        if (IPtr<IMessage> msg = owned(allocateMessage())) {
            msg->setMessageID("vuMeter");
            msg->getAttributes()->setFloat("l", l);
            msg->getAttributes()->setFloat("r", r);
            sendMessage(msg);
        }
    }
}

tresult PLUGIN_API PlugProcessor::notify(IMessage* message) {
    if (!message) return kInvalidArgument;
    IAttributeList* attrs = message->getAttributes();
    if (idIs(message, "guinote")) {
        int64 note = 0, vel = 0;
        if (attrs) {
            attrs->getInt("note", note);
            attrs->getInt("vel", vel);
        }
        std::lock_guard<std::mutex> guard(guiNotesMutex);
        if (!guiNotesSpare.empty()) {
            guiNotes.splice(guiNotes.end(), guiNotesSpare, guiNotesSpare.begin());
            guiNotes.back() = {int32(note), int32(vel)};
        } else {
            guiNotes.emplace_back(int32(note), int32(vel));
        }
        guiNotesPending.store(true, std::memory_order_release);
        return kResultOk;
    }
    if (idIs(message, "cleardsp")) {
        clearDspRequested = 1;
        return kResultOk;
    }
    if (idIs(message, "resumedsp")) {
        resumeDspRequested = 1;
        return kResultOk;
    }
    if (idIs(message, "stickyNoteOff")) {
        stickyNoteOffRequested = 1;
        return kResultOk;
    }
    if (idIs(message, "setMicrotuneScl")) {
        const void* data = nullptr;
        uint32 size = 0;
        if (attrs && attrs->getBinary("scl", data, size) == kResultOk && size > 4 && data) {
            const auto* cents = static_cast<const float*>(data);
            const size_t count = std::min<size_t>(size / sizeof(float), kMaxScaleFloats);
            microtuneCents.assign(cents, cents + count);
            microtuneActive = true;
        } else {
            microtuneCents.clear();
            microtuneActive = false;
        }
        if (engine) applyMicrotuning();
        return kResultOk;
    }
    if (idIs(message, "setMicrotuneEqual")) {
        microtuneCents.clear();
        microtuneActive = false;
        if (engine) applyMicrotuning();
        return kResultOk;
    }
    if (idIs(message, "setMicrotuneRefNote") || idIs(message, "setMicrotuneA4Freq")) {
        int64 n = 0;
        if (attrs) attrs->getInt("n", n);
        if (idIs(message, "setMicrotuneRefNote"))
            microtuneRefNote = int32(n);
        else
            microtuneA4Freq = int32(n);
        if (engine) applyMicrotuning();
        return kResultOk;
    }
    if (idIs(message, "midiProgramChange")) {
        const void* data = nullptr;
        uint32 size = 0;
        if (!attrs || attrs->getBinary("data", data, size) != kResultOk || !data)
            return kResultFalse;
        const uint32 count = std::min<uint32>(size / sizeof(float), torvo::kParamCount);
        std::memcpy(parameters.data(), data, count * sizeof(float));
        if (engine) {
            for (uint32 i = 0; i < count; ++i) engine->setParameter(int(i), parameters[i], 0);
            engine->refreshMatrix();
        }
        return kResultOk;
    }
    return AudioEffect::notify(message);
}

} // namespace Vst
} // namespace Steinberg

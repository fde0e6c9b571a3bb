#pragma once
// The host's side of the link between the audio component and the edit controller. As in a
// DAW, neither half sees the other: each is connected to a proxy, which passes every message
// on to the far side and records it in the message log on the way.

#include "host/hostowned.h"
#include "host/messagelog.h"

#include "pluginterfaces/vst/ivstmessage.h"

namespace torvo::host {

class ConnectionProxy : public HostOwned<Steinberg::Vst::IConnectionPoint> {
public:
    /// `source` is the half whose messages this proxy carries, in `direction`.
    ConnectionProxy(Steinberg::Vst::IConnectionPoint* source, Direction direction, MessageLog& log,
                    const MessagePool* pool);

    /// Connects `source` to this proxy, with `destination` as the far side.
    Steinberg::tresult PLUGIN_API connect(Steinberg::Vst::IConnectionPoint* destination) override;
    Steinberg::tresult PLUGIN_API
    disconnect(Steinberg::Vst::IConnectionPoint* destination) override;
    Steinberg::tresult PLUGIN_API notify(Steinberg::Vst::IMessage* message) override;

    bool isConnected() const { return destination_ != nullptr; }
    /// Undoes connect, if it was made.
    void disconnect();

private:
    Steinberg::Vst::IConnectionPoint* source_;
    Steinberg::Vst::IConnectionPoint* destination_ = nullptr;
    Direction direction_;
    MessageLog& log_;
    const MessagePool* pool_;
};

} // namespace torvo::host

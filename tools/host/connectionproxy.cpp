#include "host/connectionproxy.h"

namespace torvo::host {

using namespace Steinberg;

ConnectionProxy::ConnectionProxy(Vst::IConnectionPoint* source, Direction direction,
                                 MessageLog& log, const MessagePool* pool)
    : source_(source), direction_(direction), log_(log), pool_(pool) {}

tresult PLUGIN_API ConnectionProxy::connect(Vst::IConnectionPoint* destination) {
    if (!destination || !source_) return kInvalidArgument;
    if (destination_) return kResultFalse;
    destination_ = destination;
    const tresult result = source_->connect(this);
    if (result != kResultOk) destination_ = nullptr;
    return result;
}

tresult PLUGIN_API ConnectionProxy::disconnect(Vst::IConnectionPoint* destination) {
    if (!destination || destination != destination_) return kInvalidArgument;
    if (source_) source_->disconnect(this);
    destination_ = nullptr;
    return kResultOk;
}

void ConnectionProxy::disconnect() {
    if (destination_) disconnect(destination_);
}

tresult PLUGIN_API ConnectionProxy::notify(Vst::IMessage* message) {
    if (!message) return kInvalidArgument;
    log_.record(direction_, message, pool_);
    return destination_ ? destination_->notify(message) : kResultFalse;
}

} // namespace torvo::host

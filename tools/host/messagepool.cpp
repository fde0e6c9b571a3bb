#include "host/messagepool.h"

#include <cstring>

namespace torvo::host {

using namespace Steinberg;

tresult PLUGIN_API PooledAttributeList::queryInterface(const TUID queried, void** obj) {
    if (FUnknownPrivate::iidEqual(queried, FUnknown::iid) ||
        FUnknownPrivate::iidEqual(queried, Vst::IAttributeList::iid)) {
        addRef();
        *obj = static_cast<Vst::IAttributeList*>(this);
        return kResultOk;
    }
    *obj = nullptr;
    return kNoInterface;
}

uint32 PLUGIN_API PooledAttributeList::addRef() {
    return owner_.addRef();
}
uint32 PLUGIN_API PooledAttributeList::release() {
    return owner_.release();
}

tresult PLUGIN_API PooledAttributeList::setInt(AttrID id, int64 value) {
    return store_.setInt(id, value) ? kResultOk : kResultFalse;
}

tresult PLUGIN_API PooledAttributeList::getInt(AttrID id, int64& value) {
    const Attribute* a = store_.find(id);
    if (!a || a->type != AttributeType::Int) return kResultFalse;
    value = a->intValue;
    return kResultOk;
}

tresult PLUGIN_API PooledAttributeList::setFloat(AttrID id, double value) {
    return store_.setFloat(id, value) ? kResultOk : kResultFalse;
}

tresult PLUGIN_API PooledAttributeList::getFloat(AttrID id, double& value) {
    const Attribute* a = store_.find(id);
    if (!a || a->type != AttributeType::Float) return kResultFalse;
    value = a->floatValue;
    return kResultOk;
}

tresult PLUGIN_API PooledAttributeList::setString(AttrID id, const Vst::TChar* string) {
    return store_.setString(id, string) ? kResultOk : kResultFalse;
}

tresult PLUGIN_API PooledAttributeList::getString(AttrID id, Vst::TChar* string,
                                                  uint32 sizeInBytes) {
    const Attribute* a = store_.find(id);
    if (!a || a->type != AttributeType::String || !string || sizeInBytes < sizeof(Vst::TChar))
        return kResultFalse;
    const size_t room = sizeInBytes / sizeof(Vst::TChar) - 1;
    const size_t n = a->text.size() < room ? a->text.size() : room;
    for (size_t i = 0; i < n; ++i) string[i] = static_cast<Vst::TChar>(a->text[i]);
    string[n] = 0;
    return kResultOk;
}

tresult PLUGIN_API PooledAttributeList::setBinary(AttrID id, const void* data, uint32 sizeInBytes) {
    return store_.setBinary(id, data, sizeInBytes) ? kResultOk : kResultFalse;
}

tresult PLUGIN_API PooledAttributeList::getBinary(AttrID id, const void*& data,
                                                  uint32& sizeInBytes) {
    const Attribute* a = store_.find(id);
    if (!a || a->type != AttributeType::Binary) return kResultFalse;
    data = a->bytes.data();
    sizeInBytes = static_cast<uint32>(a->bytes.size());
    return kResultOk;
}

tresult PLUGIN_API PooledMessage::queryInterface(const TUID queried, void** obj) {
    if (FUnknownPrivate::iidEqual(queried, FUnknown::iid) ||
        FUnknownPrivate::iidEqual(queried, Vst::IMessage::iid)) {
        addRef();
        *obj = static_cast<Vst::IMessage*>(this);
        return kResultOk;
    }
    *obj = nullptr;
    return kNoInterface;
}

uint32 PLUGIN_API PooledMessage::addRef() {
    return ++refCount_;
}

uint32 PLUGIN_API PooledMessage::release() {
    const uint32 left = --refCount_;
    if (left == 0) inUse_.store(false, std::memory_order_release);
    return left;
}

void PLUGIN_API PooledMessage::setMessageID(FIDString id) {
    if (!id) {
        id_[0] = 0;
        return;
    }
    std::strncpy(id_, id, kMaxIdLength);
    id_[kMaxIdLength] = 0;
}

bool PooledMessage::claim() {
    bool expected = false;
    if (!inUse_.compare_exchange_strong(expected, true, std::memory_order_acquire)) return false;
    id_[0] = 0;
    attributes_.store().clear();
    refCount_ = 1;
    return true;
}

PooledMessage* MessagePool::acquire() {
    for (auto& m : messages_)
        if (m.claim()) return &m;
    return nullptr;
}

const PooledMessage* MessagePool::find(const Vst::IMessage* message) const {
    for (const auto& m : messages_)
        if (&m == message) return &m;
    return nullptr;
}

} // namespace torvo::host

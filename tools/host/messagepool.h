#pragma once
// Messages handed out by the host context. A plug-in allocates a message for every display
// update it sends from the audio thread; a host that answered with `new` would allocate there.
// This pool keeps a fixed set of messages and recycles one when its last reference goes, so
// sending never allocates unless the pool runs dry.

#include "host/attributestore.h"

#include "pluginterfaces/vst/ivstmessage.h"

#include <array>
#include <atomic>

namespace torvo::host {

class PooledMessage;

// Interfaces without virtual destructors: see hostowned.h.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// The attribute list of a pooled message; its reference count is the message's.
class PooledAttributeList : public Steinberg::Vst::IAttributeList {
public:
    explicit PooledAttributeList(PooledMessage& owner) : owner_(owner) {}
    virtual ~PooledAttributeList() = default;

    Steinberg::tresult PLUGIN_API queryInterface(const Steinberg::TUID queried,
                                                 void** obj) override;
    Steinberg::uint32 PLUGIN_API addRef() override;
    Steinberg::uint32 PLUGIN_API release() override;

    Steinberg::tresult PLUGIN_API setInt(AttrID id, Steinberg::int64 value) override;
    Steinberg::tresult PLUGIN_API getInt(AttrID id, Steinberg::int64& value) override;
    Steinberg::tresult PLUGIN_API setFloat(AttrID id, double value) override;
    Steinberg::tresult PLUGIN_API getFloat(AttrID id, double& value) override;
    Steinberg::tresult PLUGIN_API setString(AttrID id,
                                            const Steinberg::Vst::TChar* string) override;
    Steinberg::tresult PLUGIN_API getString(AttrID id, Steinberg::Vst::TChar* string,
                                            Steinberg::uint32 sizeInBytes) override;
    Steinberg::tresult PLUGIN_API setBinary(AttrID id, const void* data,
                                            Steinberg::uint32 sizeInBytes) override;
    Steinberg::tresult PLUGIN_API getBinary(AttrID id, const void*& data,
                                            Steinberg::uint32& sizeInBytes) override;

    AttributeStore& store() { return store_; }
    const AttributeStore& store() const { return store_; }

private:
    PooledMessage& owner_;
    AttributeStore store_;
};

class PooledMessage : public Steinberg::Vst::IMessage {
public:
    PooledMessage() : attributes_(*this) {}
    virtual ~PooledMessage() = default;

    Steinberg::tresult PLUGIN_API queryInterface(const Steinberg::TUID queried,
                                                 void** obj) override;
    Steinberg::uint32 PLUGIN_API addRef() override;
    Steinberg::uint32 PLUGIN_API release() override;

    Steinberg::FIDString PLUGIN_API getMessageID() override { return id_; }
    void PLUGIN_API setMessageID(Steinberg::FIDString id) override;
    Steinberg::Vst::IAttributeList* PLUGIN_API getAttributes() override { return &attributes_; }

    const AttributeStore& store() const { return attributes_.store(); }
    /// Takes a free message for a new owner: cleared, with one reference. False if in use.
    bool claim();

private:
    static constexpr int kMaxIdLength = 63;
    std::atomic<Steinberg::uint32> refCount_{0};
    std::atomic<bool> inUse_{false};
    char id_[kMaxIdLength + 1] = {};
    PooledAttributeList attributes_;
};

#pragma GCC diagnostic pop

class MessagePool {
public:
    static constexpr int kCapacity = 64;

    /// A message with one reference for the caller, or null when every message is in use.
    PooledMessage* acquire();
    /// True if `message` is one of this pool's, so its attributes can be read directly.
    const PooledMessage* find(const Steinberg::Vst::IMessage* message) const;

private:
    std::array<PooledMessage, kCapacity> messages_;
};

} // namespace torvo::host

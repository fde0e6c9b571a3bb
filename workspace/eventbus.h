#pragma once
// The one channel by which the editor's panels, dialogs and models talk to each other: a
// synchronous publish-and-subscribe table keyed by a small integer, the event's id. Everything
// on it runs on the user-interface thread; workers hand their results to the frame's idle loop
// instead of publishing.

#include <map>

namespace torvo {

class IEvent {
public:
    virtual ~IEvent() = default;
    virtual int id() const = 0;
};

class IEventProcessor {
public:
    /// Recognises the event by its id and casts it. The event lives on the publisher's stack:
    /// whatever a processor keeps, it copies.
    virtual void process(IEvent& event) = 0;
    virtual ~IEventProcessor() = default;
};

class IEventBus {
public:
    virtual void subscribe(int id, IEventProcessor* processor) = 0;
    virtual void unsubscribeAll(IEventProcessor* processor) = 0;
    virtual void unsubscribe(int id, IEventProcessor* processor) = 0;
    virtual void publish(IEvent& event) = 0;
    virtual ~IEventBus() = default;
};

class EventBus : public IEventBus {
public:
    EventBus() = default;
    EventBus(const EventBus&) = delete;
    EventBus& operator=(const EventBus&) = delete;

    /// A pair that is already present is not added twice.
    void subscribe(int id, IEventProcessor* processor) override;
    void unsubscribeAll(IEventProcessor* processor) override;
    void unsubscribe(int id, IEventProcessor* processor) override;
    /// Calls every processor of the event's id in the order they subscribed, synchronously.
    /// A processor must not unsubscribe from inside process: processors leave the bus in their
    /// destructors, which never run during a publish.
    void publish(IEvent& event) override;
    ~EventBus() override = default;

    /// How many processors listen to `id`.
    int subscriberCount(int id) const;

private:
    /// Equal keys keep their insertion order, which is the calling order.
    std::multimap<int, IEventProcessor*> subscribers;
};

} // namespace torvo

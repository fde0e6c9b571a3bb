#include "workspace/eventbus.h"

namespace torvo {

void EventBus::subscribe(int id, IEventProcessor* processor) {
    if (processor == nullptr) return;
    auto range = subscribers.equal_range(id);
    for (auto it = range.first; it != range.second; ++it)
        if (it->second == processor) return;
    subscribers.emplace_hint(range.second, id, processor);
}

void EventBus::unsubscribeAll(IEventProcessor* processor) {
    // Each erase invalidates the scan, so it starts over until nothing of this processor is left.
    bool removed = true;
    while (removed) {
        removed = false;
        for (auto it = subscribers.begin(); it != subscribers.end(); ++it) {
            if (it->second == processor) {
                subscribers.erase(it);
                removed = true;
                break;
            }
        }
    }
}

void EventBus::unsubscribe(int id, IEventProcessor* processor) {
    auto range = subscribers.equal_range(id);
    for (auto it = range.first; it != range.second; ++it) {
        if (it->second == processor) {
            subscribers.erase(it);
            return;
        }
    }
}

void EventBus::publish(IEvent& event) {
    auto range = subscribers.equal_range(event.id());
    for (auto it = range.first; it != range.second; ++it) it->second->process(event);
}

int EventBus::subscriberCount(int id) const {
    return int(subscribers.count(id));
}

} // namespace torvo

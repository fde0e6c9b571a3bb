#pragma once
// The controller's part in the preset traffic of the bus, kept free of the plug-in interfaces:
// how a host's program selection becomes a step or a jump in the browse list, and which names
// the host's program list shows for a browse list.

#include "workspace/events.h"

#include <string>
#include <vector>

namespace torvo {

/// The three preset transports a host can automate: 'prch' picks a program by position,
/// 'next' and 'prev' step. A host that sends a step trigger sends 0 and 1 only; a host or a
/// hardware controller that sends a continuous value reveals itself by any value strictly
/// between them, and from then on that transport selects by position for good.
class ProgramStepper {
public:
    static constexpr int kPrograms = 127;

    explicit ProgramStepper(IEventBus& eventBus) : bus(eventBus) {}

    void programChange(double value) { post(SwitchPresetEvent::kToIndex, indexOf(value)); }
    void next(double value) { step(value, nextFractionalSeen, SwitchPresetEvent::kForward); }
    void prev(double value) { step(value, prevFractionalSeen, SwitchPresetEvent::kBack); }

    bool nextIsPositional() const { return nextFractionalSeen; }
    bool prevIsPositional() const { return prevFractionalSeen; }

    /// Program position of a normalised value: truncate(value * 127).
    static int indexOf(double value) { return int(value * kPrograms); }

private:
    void step(double value, bool& fractionalSeen, int direction) {
        if (value > 0.0 && value < 1.0) fractionalSeen = true;
        if (fractionalSeen)
            post(SwitchPresetEvent::kToIndex, indexOf(value));
        else if (value > 0.0)
            post(direction, -1);
    }
    void post(int direction, int index) {
        SwitchPresetEvent event;
        event.direction = direction;
        event.index = index;
        event.keepMacros = true;
        bus.publish(event);
    }

    IEventBus& bus;
    bool nextFractionalSeen = false;
    bool prevFractionalSeen = false;
};

/// The host's program list for a browse list: entry i is the name of row i, and entries past
/// the end of the list are empty.
inline std::vector<std::string> programNames(const std::vector<TableItem>& list) {
    std::vector<std::string> names(ProgramStepper::kPrograms);
    for (std::size_t i = 0; i < names.size() && i < list.size(); ++i) names[i] = list[i].name;
    return names;
}

} // namespace torvo

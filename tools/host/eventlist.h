#pragma once
// The input event list of one block: a fixed array, so filling it never allocates.

#include "host/hostowned.h"

#include "pluginterfaces/vst/ivstevents.h"

#include <array>

namespace torvo::host {

class EventList : public HostOwned<Steinberg::Vst::IEventList> {
public:
    static constexpr int kCapacity = 1024;

    Steinberg::int32 PLUGIN_API getEventCount() override { return count_; }
    Steinberg::tresult PLUGIN_API getEvent(Steinberg::int32 index,
                                           Steinberg::Vst::Event& e) override;
    /// Refused when the list is full.
    Steinberg::tresult PLUGIN_API addEvent(Steinberg::Vst::Event& e) override;

    /// A note-on at `offset` samples into the block; velocity is 0..1.
    bool addNoteOn(Steinberg::int32 offset, Steinberg::int16 pitch, float velocity,
                   Steinberg::int16 channel = 0);
    bool addNoteOff(Steinberg::int32 offset, Steinberg::int16 pitch, float velocity = 0.0f,
                    Steinberg::int16 channel = 0);
    /// Sets the musical position of every event from the block start and tempo.
    void setPositions(double blockPpq, double ppqPerSample);
    void clear() { count_ = 0; }

private:
    std::array<Steinberg::Vst::Event, kCapacity> events_{};
    Steinberg::int32 count_ = 0;
};

} // namespace torvo::host

#include "host/eventlist.h"

namespace torvo::host {

using namespace Steinberg;
using Steinberg::Vst::Event;

tresult PLUGIN_API EventList::getEvent(int32 index, Event& e) {
    if (index < 0 || index >= count_) return kInvalidArgument;
    e = events_[index];
    return kResultOk;
}

tresult PLUGIN_API EventList::addEvent(Event& e) {
    if (count_ == kCapacity) return kOutOfMemory;
    events_[count_++] = e;
    return kResultOk;
}

bool EventList::addNoteOn(int32 offset, int16 pitch, float velocity, int16 channel) {
    Event e{};
    e.busIndex = 0;
    e.sampleOffset = offset;
    e.flags = Event::kIsLive;
    e.type = Event::kNoteOnEvent;
    e.noteOn.channel = channel;
    e.noteOn.pitch = pitch;
    e.noteOn.velocity = velocity;
    e.noteOn.noteId = -1;
    return addEvent(e) == kResultOk;
}

bool EventList::addNoteOff(int32 offset, int16 pitch, float velocity, int16 channel) {
    Event e{};
    e.busIndex = 0;
    e.sampleOffset = offset;
    e.flags = Event::kIsLive;
    e.type = Event::kNoteOffEvent;
    e.noteOff.channel = channel;
    e.noteOff.pitch = pitch;
    e.noteOff.velocity = velocity;
    e.noteOff.noteId = -1;
    return addEvent(e) == kResultOk;
}

void EventList::setPositions(double blockPpq, double ppqPerSample) {
    for (int32 i = 0; i < count_; ++i)
        events_[i].ppqPosition = blockPpq + events_[i].sampleOffset * ppqPerSample;
}

} // namespace torvo::host

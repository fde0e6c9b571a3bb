#include "shell/midimap.h"

#include "shell/paramtable.h"

namespace torvo {

namespace {
struct DefaultEntry {
    int controller;
    uint32_t param;
};

constexpr DefaultEntry kDefaults[] = {
    {1, 721}, // mod_wheel
    {2, fourCharId("brth")},
    {4, fourCharId("foot")},
    {7, 9}, // volume
    {11, fourCharId("expr")},
    {64, fourCharId("sust")},
    {65, fourCharId("prta")},
    {66, fourCharId("stnt")},
    {120, fourCharId("asof")},
    {123, fourCharId("anof")},
    {128, fourCharId("aftt")},
    {129, 720}, // bend_wheel
};
} // namespace

MidiMap defaultMidiMap() {
    MidiMap map;
    map.fill(kNoMapping);
    for (const DefaultEntry& e : kDefaults) map[e.controller] = e.param;
    return map;
}

} // namespace torvo

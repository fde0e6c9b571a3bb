#pragma once
// Which modules receive each global parameter. Every module binds its parameters in a fixed
// local order; the route table is that order inverted: for each parameter id, up to 16
// (module key, local index) pairs. Nearly every parameter has one receiver; `drift` also feeds
// the four LFOs, and `arp_speed`/`arp_swing` feed both steppers and the arpeggiator.

#include <cstdint>

namespace torvo {

/// Module keys of the fixed graph.
enum ModuleKey : int {
    kKeyMidi = 0,
    kKeyLfo1 = 1, // 1..4
    kKeyEnv1 = 5, // 5..8
    kKeyOsc1 = 9, // 9..12
    kKeyMixer = 13,
    kKeyFilter = 14,
    kKeyShaper = 16,
    kKeyPhaser = 17,
    kKeyChorus = 18,
    kKeyDelay = 19,
    kKeyReverb = 20,
    kKeyCompressor = 21,
    kKeyEqualizer = 22,
    kKeyPerformance = 23,
    kKeyExtControl = 24,
    kKeyStepper1 = 25, // 25, 26
    kKeyArp = 27,
    kModuleKeyCount = 28
};

struct Route {
    uint8_t moduleKey;
    uint8_t localIndex;
};

struct RouteList {
    static constexpr int kMax = 16;
    Route routes[kMax];
    int count = 0;
};

/// The inverted table, built once per process from the modules' local orders.
const RouteList& routesOf(int paramId);

/// Local index order of one module: global parameter ids, -1 terminated. Null for keys that
/// bind nothing (extcontrol, key 15).
const int* localParamsOf(int moduleKey, int* count);

} // namespace torvo

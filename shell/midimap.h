#pragma once
// Which parameter a host should drive from each MIDI controller. VST3 has no controller
// events: the host asks the plug-in once per controller and then sends parameter changes.
// Index 128 is channel aftertouch and 129 pitch bend, as the host numbers them.

#include <array>
#include <cstdint>

namespace torvo {

constexpr int kMidiMapSize = 130;
constexpr uint32_t kNoMapping = 0xFFFFFFFFu;

using MidiMap = std::array<uint32_t, kMidiMapSize>;

/// The map every user starts with.
MidiMap defaultMidiMap();

} // namespace torvo

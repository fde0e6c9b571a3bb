#pragma once
// What torvo-render plays: channel messages at times in seconds, and the tempo along the way
// (the tempo only informs the plug-in's transport; event times are already in seconds).

#include <cstdint>
#include <string>
#include <vector>

namespace torvo::render {

struct MidiMessage {
    double seconds = 0.0;
    uint8_t status = 0; ///< with the channel in the low four bits
    uint8_t data1 = 0;
    uint8_t data2 = 0;
};

struct TempoChange {
    double seconds = 0.0;
    double bpm = 120.0;
};

struct Performance {
    std::vector<MidiMessage> messages; ///< in time order
    std::vector<TempoChange> tempi;    ///< in time order, the first at 0
    std::string title;

    double lastEventSeconds() const { return messages.empty() ? 0.0 : messages.back().seconds; }
    double tempoAt(double seconds) const;
};

/// Reads a standard MIDI file; false with `error` set when it cannot be read.
bool loadMidiFile(const std::string& path, Performance& out, std::string& error);

/// A few bars of chords, bass and melody at 120 bpm, for a first listen without a file.
Performance demoPhrase();

} // namespace torvo::render

// Standard MIDI files through libsmf, which merges the tracks in time order and turns ticks
// into seconds along the file's tempo map.

#include "render/performance.h"

#include <glib.h>
#include <smf.h>

#include <algorithm>

namespace torvo::render {

namespace {

bool isChannelMessage(const smf_event_t* event) {
    return event->midi_buffer_length >= 2 && event->midi_buffer[0] >= 0x80 &&
           event->midi_buffer[0] < 0xF0;
}

// libsmf reports through glib's log; keep the last complaint for our own error message
// instead of letting it print.
void keepLibraryMessage(const gchar*, GLogLevelFlags, const gchar* message, gpointer target) {
    if (message) *static_cast<std::string*>(target) = message;
}

void addTempo(Performance& out, double seconds, double bpm) {
    if (!out.tempi.empty() && out.tempi.back().seconds == seconds)
        out.tempi.back().bpm = bpm;
    else
        out.tempi.push_back({seconds, bpm});
}

} // namespace

double Performance::tempoAt(double seconds) const {
    double bpm = tempi.empty() ? 120.0 : tempi.front().bpm;
    for (const TempoChange& t : tempi) {
        if (t.seconds > seconds) break;
        bpm = t.bpm;
    }
    return bpm;
}

bool loadMidiFile(const std::string& path, Performance& out, std::string& error) {
    std::string complaint;
    const guint handler = g_log_set_handler(
        "libsmf", GLogLevelFlags(G_LOG_LEVEL_MASK | G_LOG_FLAG_FATAL | G_LOG_FLAG_RECURSION),
        keepLibraryMessage, &complaint);
    smf_t* smf = smf_load(path.c_str());
    g_log_remove_handler("libsmf", handler);
    if (!smf) {
        error = "cannot read \"" + path + "\" as a standard MIDI file" +
                (complaint.empty() ? std::string() : ": " + complaint);
        return false;
    }
    out = Performance{};
    out.title = path;
    out.tempi.push_back({0.0, 120.0});
    while (smf_event_t* event = smf_get_next_event(smf)) {
        if (smf_event_is_metadata(event)) {
            // Set Tempo: FF 51 03 tt tt tt, microseconds per quarter note.
            if (event->midi_buffer_length >= 6 && event->midi_buffer[1] == 0x51) {
                const int micros = event->midi_buffer[3] << 16 | event->midi_buffer[4] << 8 |
                                   event->midi_buffer[5];
                if (micros > 0) addTempo(out, event->time_seconds, 60e6 / micros);
            }
            continue;
        }
        if (!isChannelMessage(event)) continue;
        MidiMessage m;
        m.seconds = event->time_seconds;
        m.status = event->midi_buffer[0];
        m.data1 = event->midi_buffer[1] & 0x7F;
        m.data2 = event->midi_buffer_length > 2 ? event->midi_buffer[2] & 0x7F : 0;
        out.messages.push_back(m);
    }
    smf_delete(smf);
    std::stable_sort(
        out.messages.begin(), out.messages.end(),
        [](const MidiMessage& a, const MidiMessage& b) { return a.seconds < b.seconds; });
    return true;
}

} // namespace torvo::render

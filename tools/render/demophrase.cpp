// The phrase torvo-render plays when it is given no MIDI file: four bars at 120 bpm, a pad of
// chords, a bass line and a short melody, enough to hear the default sound and its release.

#include "render/performance.h"

#include <algorithm>

namespace torvo::render {

namespace {

constexpr double kBpm = 120.0;
constexpr double kBeat = 60.0 / kBpm;

struct PhraseNote {
    double beat;
    double length; ///< in beats
    int pitch;
    int velocity;
};

// Am, F, C, G; each bar a sustained two-note chord, a bass note on one and three, melody on
// top: never more than the four voices of the default sound, so nothing is stolen.
const PhraseNote kNotes[] = {
    {0, 3.9, 60, 76},  {0, 3.9, 64, 76},   {0, 1.9, 45, 100},  {2, 1.9, 45, 92},
    {0, 1.0, 76, 96},  {1, 0.5, 74, 84},   {1.5, 0.5, 72, 84}, {2, 2.0, 71, 90},

    {4, 3.9, 60, 76},  {4, 3.9, 65, 76},   {4, 1.9, 41, 100},  {6, 1.9, 41, 92},
    {4, 1.5, 72, 96},  {5.5, 0.5, 74, 84}, {6, 2.0, 76, 90},

    {8, 3.9, 60, 76},  {8, 3.9, 64, 76},   {8, 1.9, 48, 100},  {10, 1.9, 48, 92},
    {8, 1.0, 79, 100}, {9, 1.0, 76, 88},   {10, 1.0, 72, 88},  {11, 1.0, 74, 84},

    {12, 3.9, 59, 76}, {12, 3.9, 62, 76},  {12, 1.9, 43, 100}, {14, 1.9, 43, 92},
    {12, 4.0, 71, 96},
};

} // namespace

Performance demoPhrase() {
    Performance p;
    p.title = "demo phrase";
    p.tempi.push_back({0.0, kBpm});
    for (const PhraseNote& n : kNotes) {
        const auto pitch = static_cast<uint8_t>(n.pitch);
        p.messages.push_back({n.beat * kBeat, 0x90, pitch, static_cast<uint8_t>(n.velocity)});
        p.messages.push_back({(n.beat + n.length) * kBeat, 0x80, pitch, 64});
    }
    // Note-offs before note-ons at the same time, so a repeated key is struck again.
    std::stable_sort(p.messages.begin(), p.messages.end(),
                     [](const MidiMessage& a, const MidiMessage& b) {
                         if (a.seconds != b.seconds) return a.seconds < b.seconds;
                         return (a.status & 0xF0) == 0x80 && (b.status & 0xF0) != 0x80;
                     });
    return p;
}

} // namespace torvo::render

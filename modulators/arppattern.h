#pragma once
// The list of notes an arpeggio steps through, built from the held keys whenever a key or a
// setting changes. The ascending and descending runs repeat the keys one octave higher for
// each extra octave; the turning modes leave out the note at a turn so that it does not sound
// twice in a row. The step modes list the 16 note cells per octave instead of keys.

#include <array>

namespace torvo {

/// One note record of the arpeggiator: a held key, a pattern entry or a sounding note.
struct ArpNote {
    int note = 0;
    int velocity = 0;
    int sample = 0;
    int length = 0;
    int state = 0;
};

enum ArpMode {
    kArpUp = 0,
    kArpDown,
    kArpUpDown,
    kArpUpDown2,
    kArpDownUp,
    kArpDownUp2,
    kArpRandom,
    kArpOrdered,
    kArpStep,
    kArpChord
};

class ArpPattern {
public:
    static constexpr int kMaxKeys = 128;
    static constexpr int kMaxOctaves = 4;
    static constexpr int kCells = 16;
    /// A turning run over every key in every octave, both ways.
    static constexpr int kCapacity = 2 * kMaxOctaves * kMaxKeys;

    struct Keys {
        /// Held keys in the order they were pressed, and the same sorted by note.
        const ArpNote* held = nullptr;
        const ArpNote* sorted = nullptr;
        int count = 0;
    };
    struct Cells {
        const int* notes = nullptr;
        /// Cells 0..lastCell take part; the step modes list only those.
        int lastCell = kCells - 1;
        /// Velocity of every step entry.
        int velocity = 0;
    };

    /// Rebuilds the list for `mode` with `octaves` extra octaves (0..3).
    void build(int mode, int octaves, const Keys& keys, const Cells& cells);

    int size() const { return count; }
    const ArpNote& operator[](int i) const { return entries[i]; }

private:
    void ascend(const ArpNote* keys, int keyCount, int octaves, int skipTop);
    void descend(const ArpNote* keys, int keyCount, int octaves, int skipBottom);
    void steps(const Cells& cells, int octaves);
    void add(int note, int velocity);

    std::array<ArpNote, kCapacity> entries{};
    int count = 0;
};

} // namespace torvo

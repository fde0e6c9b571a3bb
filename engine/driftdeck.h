#pragma once
// Analogue-style drift: each started note gets a tiny pitch offset. The offsets come from two
// fixed tables of four, dealt like a shuffled deck: every offset of one table is used once, in
// random order, before the other table is dealt. So drift never repeats the same offset twice
// in a row within a table and stays within 0.04 semitone.

#include "engine/shuffleddeck.h"

namespace torvo {

class DriftDeck {
public:
    static constexpr int kTableSize = 4;
    static constexpr float kTableA[kTableSize] = {0.0f, -0.02f, 0.02f, -0.04f};
    static constexpr float kTableB[kTableSize] = {-0.01f, 0.01f, -0.03f, 0.03f};

    /// The next offset in semitones.
    float next() { return deck.draw(); }
    void reset() { deck.reset(); }
    int remainingCount() const { return deck.remaining(); }

private:
    /// The first table dealt is B.
    ShuffledDeck<kTableSize> deck{kTableB, kTableA};
};

} // namespace torvo

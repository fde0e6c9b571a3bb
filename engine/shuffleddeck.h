#pragma once
// Two fixed lists of values dealt like a shuffled deck: each draw takes a random entry out of
// the working copy, so a list is used up without repeating a value, and then the other list
// is dealt. Drift offsets and start phases both come from such decks, so notes spread evenly
// without two in a row landing on the same value. The randomness is the engine's noise
// generator, so a fresh engine deals the same sequence every time.

#include "engine/noisegenerator.h"

#include <cmath>

namespace torvo {

template <int N> class ShuffledDeck {
public:
    static constexpr int kSize = N;

    /// `first` is dealt first, then `second`, then `first` again.
    ShuffledDeck(const float* first, const float* second) : lists{first, second} {}

    float draw() {
        if (count == 0) {
            const float* list = lists[useSecond ? 1 : 0];
            useSecond = !useSecond;
            for (int i = 0; i < N; ++i) working[i] = list[i];
            count = N;
        }
        int pick = static_cast<int>(std::fabs(generator.next()) * static_cast<float>(count));
        // |noise| reaches exactly 1 for one generator word; keep the pick inside the deck.
        if (pick >= count) pick = count - 1;
        const float value = working[pick];
        for (int i = pick; i + 1 < count; ++i) working[i] = working[i + 1];
        --count;
        return value;
    }

    /// Back to the first list and the generator's seed.
    void reset() {
        count = 0;
        useSecond = false;
        generator.reseed();
    }

    int remaining() const { return count; }

private:
    const float* lists[2];
    float working[N] = {};
    int count = 0;
    bool useSecond = false;
    NoiseGenerator generator;
};

} // namespace torvo

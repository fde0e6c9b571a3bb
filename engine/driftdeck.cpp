#include "engine/driftdeck.h"

#include <cmath>

namespace torvo {

float DriftDeck::next() {
    if (remaining == 0) {
        const float* table = useB ? kTableB : kTableA;
        for (int i = 0; i < kTableSize; ++i) work[i] = table[i];
        useB = !useB;
        remaining = kTableSize;
    }
    const float r = std::fabs(generator.next());
    int index = static_cast<int>(r * static_cast<float>(remaining));
    // |r| reaches exactly 1 for one generator word; keep the index inside the deck.
    if (index >= remaining) index = remaining - 1;
    const float value = work[index];
    for (int i = index; i + 1 < remaining; ++i) work[i] = work[i + 1];
    --remaining;
    return value;
}

void DriftDeck::reset() {
    remaining = 0;
    useB = true;
    generator.reseed();
}

} // namespace torvo

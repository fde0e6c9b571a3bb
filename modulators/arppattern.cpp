#include "modulators/arppattern.h"

#include <algorithm>

namespace torvo {

void ArpPattern::build(int mode, int octaves, const Keys& keys, const Cells& cells) {
    count = 0;
    octaves = std::clamp(octaves, 0, kMaxOctaves - 1);
    const int n = std::clamp(keys.count, 0, kMaxKeys);
    // A turn needs two keys: with one, leaving out the top note would leave nothing.
    const int turn = n >= 2 ? 1 : 0;
    switch (mode) {
    case kArpUp:
        ascend(keys.sorted, n, octaves, 0);
        break;
    case kArpDown:
        descend(keys.sorted, n, octaves, 0);
        break;
    case kArpUpDown:
        ascend(keys.sorted, n, octaves, turn);
        descend(keys.sorted, n, octaves, 1);
        break;
    case kArpUpDown2:
        ascend(keys.sorted, n, octaves, 0);
        descend(keys.sorted, n, octaves, 0);
        break;
    case kArpDownUp:
        descend(keys.sorted, n, octaves, turn);
        ascend(keys.sorted, n, octaves, 1);
        break;
    case kArpDownUp2:
        descend(keys.sorted, n, octaves, 0);
        ascend(keys.sorted, n, octaves, 0);
        break;
    case kArpRandom:
    case kArpOrdered:
        ascend(keys.held, n, octaves, 0);
        break;
    default:
        steps(cells, octaves);
        break;
    }
}

void ArpPattern::ascend(const ArpNote* keys, int keyCount, int octaves, int skipTop) {
    if (!keys) return;
    for (int o = 0; o <= octaves; ++o) {
        const int last = o == octaves ? keyCount - skipTop : keyCount;
        for (int k = 0; k < last; ++k) add(keys[k].note + 12 * o, keys[k].velocity);
    }
}

void ArpPattern::descend(const ArpNote* keys, int keyCount, int octaves, int skipBottom) {
    if (!keys) return;
    for (int o = octaves; o >= 0; --o) {
        const int lowest = o == 0 ? skipBottom : 0;
        for (int k = keyCount - 1; k >= lowest; --k) add(keys[k].note + 12 * o, keys[k].velocity);
    }
}

void ArpPattern::steps(const Cells& cells, int octaves) {
    if (!cells.notes) return;
    const int last = std::clamp(cells.lastCell, 0, kCells - 1);
    for (int o = 0; o <= octaves; ++o)
        for (int c = 0; c <= last; ++c) add(cells.notes[c] + 12 * o, cells.velocity);
}

void ArpPattern::add(int note, int velocity) {
    if (count >= kCapacity) return;
    entries[count].note = note;
    entries[count].velocity = velocity;
    ++count;
}

} // namespace torvo

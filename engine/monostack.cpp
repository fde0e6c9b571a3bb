#include "engine/monostack.h"

namespace torvo {

namespace {
/// Modes 1 and 3 (and 5) are the legato ones: a phrase's first note does not glide.
bool firstNoteGlides(int mode) {
    return mode % 2 == 0;
}
} // namespace

void MonoNoteStack::clear() {
    count = 0;
    firstOffset = -1;
}

MonoAction MonoNoteStack::startTop(int mode) const {
    MonoAction a;
    a.kind = MonoAction::kStart;
    a.note = entries[count - 1].note;
    a.velocity = entries[count - 1].velocity;
    a.glide = true;
    if (mode <= 1) {
        // Retrig modes restart the envelopes but keep oscillators and LFOs running.
        a.trigger2 = a.trigger3 = 1;
    } else if (mode >= 4) {
        a.trigger1 = a.trigger2 = a.trigger3 = 1;
    }
    // Flow modes (2, 3) fire nothing: the pitch just moves.
    return a;
}

MonoAction MonoNoteStack::noteOn(int mode, int offset, int note, int velocity) {
    MonoAction a;
    if (count >= kMaxDepth) return a;
    if (count == 0) {
        entries[count++] = Entry{note, velocity};
        firstOffset = offset;
        a.kind = MonoAction::kStart;
        a.note = note;
        a.velocity = velocity;
        a.glide = firstNoteGlides(mode);
        a.trigger1 = a.trigger2 = a.trigger3 = 1;
        a.opened = true;
        return a;
    }
    if (offset == firstOffset) {
        // A chord inside one sample: the highest note wins and stands in for the others.
        if (note <= entries[count - 1].note) return a;
        entries[count - 1] = Entry{note, velocity};
        a.kind = MonoAction::kStart;
        a.note = note;
        a.velocity = velocity;
        a.glide = firstNoteGlides(mode);
        a.trigger1 = a.trigger2 = a.trigger3 = 1;
        return a;
    }
    if (note == entries[count - 1].note)
        entries[count - 1].velocity = velocity;
    else
        entries[count++] = Entry{note, velocity};
    return startTop(mode);
}

MonoAction MonoNoteStack::noteOff(int mode, int note) {
    MonoAction a;
    int i = 0;
    while (i < count) {
        if (entries[i].note != note) {
            ++i;
            continue;
        }
        const bool wasTop = i == count - 1;
        --count;
        if (!wasTop) {
            for (int j = i; j < count; ++j) entries[j] = entries[j + 1];
            continue;
        }
        if (count == 0) {
            a.kind = MonoAction::kStop;
            a.note = note;
        } else {
            a = startTop(mode);
        }
    }
    return a;
}

} // namespace torvo

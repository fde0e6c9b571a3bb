#pragma once
// The note stack of the mono voice: last-note priority over time, highest-note priority
// within one sample. Releasing the top note falls back to the note below it. The stack only
// decides; the caller turns its answer into an event on voice 16.

namespace torvo {

/// What the mono voice must do after a key event.
struct MonoAction {
    enum Kind { kNone, kStart, kStop };
    Kind kind = kNone;
    int note = 0;
    int velocity = 0;
    /// False: start without glide (a phrase's first note in the legato modes).
    bool glide = true;
    int trigger1 = 0;
    int trigger2 = 0;
    int trigger3 = 0;
    /// The note opened an empty stack.
    bool opened = false;
};

class MonoNoteStack {
public:
    static constexpr int kMaxDepth = 127;
    struct Entry {
        int note;
        int velocity;
    };

    MonoAction noteOn(int mode, int offset, int note, int velocity);
    MonoAction noteOff(int mode, int note);
    /// A new block: offsets count afresh, so no note can be taken for part of an old chord.
    void newBlock() { firstOffset = -1; }
    void clear();

    int depth() const { return count; }
    const Entry& entry(int i) const { return entries[i]; }
    int top() const { return count > 0 ? entries[count - 1].note : -1; }

private:
    MonoAction startTop(int mode) const;

    Entry entries[kMaxDepth] = {};
    int count = 0;
    /// Sample offset of the note that opened the stack in this block, -1 if none.
    int firstOffset = -1;
};

} // namespace torvo

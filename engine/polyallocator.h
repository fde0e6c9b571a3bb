#pragma once
// Voice choice for the poly modes. A free voice (env1 idle) among the first `polyphony` is
// taken first. Otherwise the voice to steal scores its envelope stage, one more if its key is
// already up: released voices go first, then those furthest along their envelope, and an
// attacking voice goes last. Lowering the polyphony only narrows the scan, so voices above it
// finish their release undisturbed.

namespace torvo {

class PolyAllocator {
public:
    static constexpr int kVoices = 17;
    static constexpr int kPlayVoices = 16;

    struct Choice {
        int voice = 0;
        bool wasFree = false;
    };

    /// Picks a voice among 0..polyphony-1 from env1's stage and position per voice.
    Choice choose(int polyphony, const int* const* stage, const float* const* position) const;
    /// Records the note now on `voice`.
    void assign(const Choice& c, int note, float drift);
    /// Releases every voice holding `note`; calls `stop(voice)` for each.
    template <typename F> void release(int note, F stop) {
        for (int v = 0; v < kVoices; ++v) {
            if (noteOfVoice[v] != note) continue;
            stop(v);
            noteOfVoice[v] = -1;
            if (heldCount > 0) --heldCount;
        }
    }
    void clear();

    int noteOfVoice[kVoices] = {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
    int heldCount = 0;
    /// Pitch of the last started note, with drift and without bend: where the next glides from.
    float lastPitch = 60.0f / 127.0f;
};

} // namespace torvo

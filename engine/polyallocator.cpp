#include "engine/polyallocator.h"

namespace torvo {

namespace {
/// A voice without a published envelope counts as idle.
int stageOf(const int* const* stage, int i) {
    return stage && stage[i] ? *stage[i] : 0;
}
} // namespace

PolyAllocator::Choice PolyAllocator::choose(int polyphony, const int* const* stage,
                                            const float* const* position) const {
    if (polyphony < 1) polyphony = 1;
    if (polyphony > kPlayVoices) polyphony = kPlayVoices;
    Choice c;
    for (int i = 0; i < polyphony; ++i) {
        if (stageOf(stage, i) == 0) {
            c.voice = i;
            c.wasFree = true;
            return c;
        }
    }
    int best = 0;
    // Deliberately not reset when a better score appears: a later voice of that score must
    // also be further along than every voice seen before it.
    float bestPos = 0.0f;
    for (int i = 0; i < polyphony; ++i) {
        const int score = stageOf(stage, i) + (noteOfVoice[i] == -1 ? 1 : 0);
        if (score < best) continue;
        if (score > best) {
            best = score;
            c.voice = i;
        }
        const float pos = position && position[i] ? *position[i] : 0.0f;
        if (bestPos <= pos) {
            c.voice = i;
            bestPos = pos;
        }
    }
    return c;
}

void PolyAllocator::assign(const Choice& c, int note, float drift) {
    if (c.wasFree) ++heldCount;
    noteOfVoice[c.voice] = note;
    lastPitch = (static_cast<float>(note) + drift) / 127.0f;
}

void PolyAllocator::clear() {
    for (int& n : noteOfVoice) n = -1;
    heldCount = 0;
    lastPitch = 60.0f / 127.0f;
}

} // namespace torvo

#include "modulators/arpengine.h"

#include <algorithm>
#include <limits>

namespace torvo {

namespace {
constexpr int kTopNote = 127;

int gateOf(float samples) {
    // A clock stopped by a tempo of 0 would give an endless gate: keep it within an int.
    constexpr float kLongest = static_cast<float>(std::numeric_limits<int>::max() / 4);
    return static_cast<int>(std::clamp(samples, 0.0f, kLongest));
}
} // namespace

void ArpEngine::reset() {
    heldCount = 0;
    activeCount = 0;
    pendingEventCount = 0;
    pattern.build(settings.mode, settings.octaves, {}, {});
    lastKeyVelocity = topKey = 0;
    patternIndex = stepIndex = playedStep = lastNote = 0;
    generator.reseed();
}

void ArpEngine::restart() {
    patternIndex = 0;
    stepIndex = 0;
}

void ArpEngine::keyOn(int note, int velocity) {
    ArpNote* end = heldKeys.data() + heldCount;
    ArpNote* key =
        std::find_if(heldKeys.data(), end, [note](const ArpNote& k) { return k.note == note; });
    if (key != end) {
        key->velocity = velocity;
    } else if (heldCount < ArpPattern::kMaxKeys) {
        heldKeys[heldCount++] = ArpNote{note, velocity, 0, 0, 0};
    }
    topKey = note;
    lastKeyVelocity = velocity;
}

void ArpEngine::keyOff(int note) {
    ArpNote* end = heldKeys.data() + heldCount;
    end = std::remove_if(heldKeys.data(), end, [note](const ArpNote& k) { return k.note == note; });
    heldCount = static_cast<int>(end - heldKeys.data());
    // The newest key still down takes over; with none left the last values stay.
    if (heldCount > 0) {
        topKey = heldKeys[heldCount - 1].note;
        lastKeyVelocity = heldKeys[heldCount - 1].velocity;
    }
}

void ArpEngine::rebuild() {
    std::copy(heldKeys.begin(), heldKeys.begin() + heldCount, sortedKeys.begin());
    std::sort(sortedKeys.begin(), sortedKeys.begin() + heldCount,
              [](const ArpNote& a, const ArpNote& b) { return a.note < b.note; });
    ArpPattern::Cells cells;
    cells.notes = settings.stepNotes.data();
    cells.lastCell = settings.wrap;
    cells.velocity = lastKeyVelocity;
    pattern.build(settings.mode, settings.octaves, {heldKeys.data(), sortedKeys.data(), heldCount},
                  cells);
}

int ArpEngine::noteOfStep(int& entryVelocity) {
    int index = patternIndex;
    if (settings.mode == kArpRandom) {
        const float r = generator.next();
        index = static_cast<int>(static_cast<float>(pattern.size()) * (r + 1.0f) * 0.5f);
        // The generator reaches +1 after rounding to float: that would be one past the end.
        index = std::clamp(index, 0, pattern.size() - 1);
    }
    entryVelocity = pattern[index].velocity;
    const int offset = pattern[index].note;
    if (settings.mode == kArpStep) return std::min(offset + topKey, kTopNote);
    return std::min(offset, kTopNote);
}

ArpEngine::Step ArpEngine::fireStep(int sample, float rateEven, float rateOdd, float length) {
    const ArpSettings& s = settings;
    if (s.wrap < ArpPattern::kCells && s.mode < kArpStep && patternIndex > s.wrap) patternIndex = 0;
    if (stepIndex > s.wrap) stepIndex = 0;
    if (patternIndex >= pattern.size()) patternIndex = 0;
    if (stepIndex >= ArpPattern::kCells) stepIndex = 0;

    const float rate = (stepIndex & 1) ? rateOdd : rateEven;
    const float stepSamples = rate > 0.0f ? 1.0f / rate : std::numeric_limits<float>::max();
    const int gate = s.stepHolds[stepIndex] ? kTieOverlap + gateOf(stepSamples)
                                            : gateOf(length * stepSamples * 0.99f);
    if (pattern.size() == 0) return {stepIndex, gate};

    int entryVelocity = 0;
    int note = noteOfStep(entryVelocity);
    const int stepVelocity = s.stepVelocities[stepIndex];
    int velocity = 0;
    bool rest = false;
    switch (s.velocityMode) {
    case kArpVelKey:
        velocity = entryVelocity;
        break;
    case kArpVelHold:
        velocity = lastKeyVelocity;
        break;
    case kArpVelStep:
        velocity = stepVelocity;
        break;
    case kArpVelStepKey:
        velocity = s.mode == kArpChord ? stepVelocity : entryVelocity + stepVelocity;
        rest = stepVelocity == 0;
        break;
    default:
        velocity = lastKeyVelocity + stepVelocity;
        rest = stepVelocity == 0;
        break;
    }
    // A silent cell repeats the last note (and, in the step velocity modes, plays nothing).
    if (s.velocityMode >= kArpVelStep && stepVelocity == 0) note = lastNote;
    velocity = std::min(velocity, kTopNote);

    if (!rest) {
        if (s.mode == kArpChord) {
            const bool addKey = s.velocityMode == kArpVelKey || s.velocityMode == kArpVelStepKey;
            for (int k = 0; k < heldCount; ++k) {
                const ArpNote& key = sortedKeys[k];
                start(key.note + note, addKey ? key.velocity + velocity : velocity, sample, gate,
                      false);
            }
        } else {
            const bool silent =
                s.mode == kArpStep && s.velocityMode == kArpVelStep && velocity == 0;
            start(note, velocity, sample, gate, silent);
        }
    }
    playedStep = stepIndex;
    ++patternIndex;
    ++stepIndex;
    lastNote = note;
    return {playedStep, gate};
}

void ArpEngine::start(int note, int velocity, int sample, int gate, bool silent) {
    note = std::clamp(note, 0, kTopNote);
    velocity = std::clamp(velocity, 0, kTopNote);
    for (int i = 0; i < activeCount; ++i) {
        ArpNote& r = activeNotes[i];
        if (r.note != note) continue;
        if (r.velocity > 0 || velocity == 0) {
            // Already sounding: the new gate lengthens it, as a tie does.
            r.length += gate;
            return;
        }
        // A rest placeholder must not swallow a real note of the same pitch.
        r = ArpNote{note, velocity, sample, gate, kPending};
        return;
    }
    if (activeCount < kMaxActive)
        activeNotes[activeCount++] =
            ArpNote{note, velocity, sample, gate, silent ? kSilent : kPending};
}

void ArpEngine::walk(int sample) {
    int kept = 0;
    for (int i = 0; i < activeCount; ++i) {
        ArpNote r = activeNotes[i];
        if (r.state == kPending) {
            emit(ArpEvent::kNoteOn, r.note, r.velocity, sample);
            r.state = kSounding;
        } else if (--r.length <= 0) {
            if (r.state == kSounding) emit(ArpEvent::kNoteOff, r.note, 0, sample);
            continue;
        }
        activeNotes[kept++] = r;
    }
    activeCount = kept;
}

void ArpEngine::releaseAll() {
    pendingEventCount = 0;
    for (int i = 0; i < activeCount; ++i)
        if (activeNotes[i].state == kSounding) emit(ArpEvent::kNoteOff, activeNotes[i].note, 0, 0);
    heldCount = 0;
    activeCount = 0;
    rebuild();
}

void ArpEngine::emit(int type, int note, int velocity, int sample) {
    if (pendingEventCount >= kMaxPending) return;
    pendingEvents[pendingEventCount++] = ArpEvent{type, note, std::min(velocity, kTopNote), sample};
}

} // namespace torvo

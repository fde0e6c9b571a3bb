#include "modulators/modulearp.h"

#include "engine/engineshared.h"
#include "engine/pool.h"

#include <algorithm>
#include <cstring>

namespace torvo {

namespace {
constexpr int kLocalNote = 0;
constexpr int kLocalHold = 16;
constexpr int kLocalVelocity = 32;
constexpr int kLastOctave = 3;
constexpr int kLastWrap = 15;
} // namespace

void ModuleArp::createVoices() {
    std::lock_guard<std::mutex> lock(queueLock);
    queued = events = heldCount = 0;
    playedStep = 0;
    dirty = true;
    startFlag = true;
}

void ModuleArp::setParameter(int localIndex, float value) {
    if (localIndex < 0) return;
    dirty = true;
    if (localIndex < kLocalHold) {
        stepNotes[localIndex - kLocalNote] = -24 + static_cast<int>(value * 48.99f);
    } else if (localIndex < kLocalVelocity) {
        stepHolds[localIndex - kLocalHold] = decodeOnOff(value);
    } else if (localIndex < kLocalVelocity + kStepCells) {
        stepVelocities[localIndex - kLocalVelocity] = static_cast<int>(value * 127.99f);
        stepVelocityLevels[localIndex - kLocalVelocity] = value;
    } else {
        switch (localIndex) {
        case 48:
            on = decodeOnOff(value);
            break;
        case 49:
            length = value;
            break;
        case 50:
            speedIndex = std::clamp(decodeList(value), 0, kTimeDivisionCount - 1);
            break;
        case 51:
            swing = value;
            break;
        case 52:
            mode = std::clamp(decodeList(value), 0, static_cast<int>(kChord));
            break;
        case 53:
            velocityMode = std::clamp(decodeList(value), 0, static_cast<int>(kVelStepHold));
            break;
        case 54:
            octaves = std::clamp(decodeList(value), 0, kLastOctave);
            break;
        case 55:
            wrap = std::clamp(decodeList(value), 0, kLastWrap);
            break;
        default:
            break;
        }
    }
}

void ModuleArp::setMaxBlockSize(int frames) {
    if (!shared || !shared->pool) return;
    stepBuffer = shared->pool->get("arp", frames);
    if (!snapshot)
        snapshot = static_cast<float*>(shared->pool->getBytes("arp", kStepSnapshotBytes));
    outputTable.fill(stepBuffer);
}

void ModuleArp::process(int frames, int use) {
    std::lock_guard<std::mutex> lock(queueLock);
    events = 0;
    // With the arp off, host notes already went to the allocators directly and the queue is
    // only drained. Until the pattern engine exists, an arp switched on passes them through.
    if (on) {
        std::copy(noteQueue.begin(), noteQueue.begin() + queued, eventList.begin());
        events = queued;
    }
    queued = 0;
}

float* const* ModuleArp::getOutputs(int index) {
    return index == 0 ? outputTable.data() : nullptr;
}

void ModuleArp::clearEvents() {
    std::lock_guard<std::mutex> lock(queueLock);
    events = 0;
    queued = 0;
}

void ModuleArp::queue(const ArpEvent& e) {
    if (queued < kQueueSize)
        noteQueue[queued++] = e;
    else
        noteQueue[kQueueSize - 1] = e;
}

void ModuleArp::queueNoteOn(int offset, int pitch, int velocity) {
    std::lock_guard<std::mutex> lock(queueLock);
    queue({ArpEvent::kNoteOn, pitch, velocity, offset});
    const bool known = std::find(heldList.begin(), heldList.begin() + heldCount, pitch) !=
                       heldList.begin() + heldCount;
    if (!known && heldCount < kHeldListSize) heldList[heldCount++] = pitch;
}

void ModuleArp::queueNoteOff(int offset, int pitch) {
    std::lock_guard<std::mutex> lock(queueLock);
    queue({ArpEvent::kNoteOff, pitch, 0, offset});
}

void ModuleArp::removeHeldNote(int pitch) {
    std::lock_guard<std::mutex> lock(queueLock);
    auto* end = heldList.begin() + heldCount;
    heldCount = static_cast<int>(std::remove(heldList.begin(), end, pitch) - heldList.begin());
}

void ModuleArp::clearStepSnapshot() {
    if (snapshot) std::memset(snapshot, 0, kStepSnapshotBytes);
}

} // namespace torvo

#include "modulators/modulearp.h"

#include "engine/engineshared.h"
#include "engine/modulematrix.h"
#include "engine/pool.h"

#include <algorithm>
#include <cstring>

namespace torvo {

namespace {
constexpr int kLastOctave = 3;
constexpr int kLastWrap = 15;
constexpr int kSnapshotWords = ModuleArp::kStepSnapshotBytes / static_cast<int>(sizeof(float));
/// The key-press flags handed to the clock at the start of a phrase.
constexpr int kStartClockFlags = 7;
} // namespace

void ModuleArp::createVoices() {
    std::lock_guard<std::mutex> lock(queueLock);
    queued = events = heldCount = 0;
    engine.reset();
    clock.resetVoices();
    wasOn = false;
    startCounting = triggerFlag = false;
    startCountdown = gateLeft = 0;
    dirty = true;
    rebuildPending = true;
}

void ModuleArp::setParameter(int localIndex, float value) {
    if (localIndex < 0) return;
    value = std::clamp(value, 0.0f, 1.0f);
    dirty = true;
    rebuildPending = true;
    ArpSettings& s = engine.settings;
    if (localIndex < kLocalHold) {
        s.stepNotes[localIndex - kLocalNote] = -24 + static_cast<int>(value * 48.99f);
    } else if (localIndex < kLocalVelocity) {
        s.stepHolds[localIndex - kLocalHold] = decodeOnOff(value);
    } else if (localIndex < kLocalVelocity + kStepCells) {
        s.stepVelocities[localIndex - kLocalVelocity] = static_cast<int>(value * 127.99f);
        stepVelocityLevels[localIndex - kLocalVelocity] = value;
    } else {
        switch (localIndex) {
        case kLocalOn:
            on = decodeOnOff(value);
            break;
        case kLocalLength:
            length = value;
            break;
        case kLocalSpeed:
            speedIndex = std::clamp(decodeList(value), 0, kTimeDivisionCount - 1);
            break;
        case kLocalSwing:
            swing = value;
            break;
        case kLocalMode:
            s.mode = std::clamp(decodeList(value), 0, static_cast<int>(kArpChord));
            break;
        case kLocalVelocityMode:
            s.velocityMode = std::clamp(decodeList(value), 0, static_cast<int>(kArpVelStepHold));
            break;
        case kLocalOctave:
            s.octaves = std::clamp(decodeList(value), 0, kLastOctave);
            break;
        case kLocalWrap:
            // The list ends in "no", one past the last step: it means the same as 16.
            s.wrap = std::clamp(decodeList(value), 0, kLastWrap);
            break;
        default:
            break;
        }
    }
}

void ModuleArp::setMaxBlockSize(int frames) {
    if (!shared || !shared->pool) return;
    stepBuffer = shared->pool->get("arp", frames);
    maxFrames = stepBuffer ? frames : 0;
    if (!snapshot)
        snapshot = static_cast<float*>(shared->pool->getBytes("arp", kStepSnapshotBytes));
    outputTable.fill(stepBuffer);
    stepBufferClean = true;
}

void ModuleArp::process(int frames, int use) {
    events = 0;
    engine.clearPending();
    frames = std::min(frames, maxFrames);
    if (frames <= 0) return;

    // The audio thread never waits for the message thread: if a preset path holds the queue,
    // its notes simply wait for the next block.
    std::unique_lock<std::mutex> lock(queueLock, std::try_to_lock);
    const bool queueReady = lock.owns_lock();
    // Preset paths may write the switch from the message thread: read it once per block.
    const bool nowOn = on;

    if (nowOn != wasOn) {
        if (nowOn) {
            // The switch needs the held list; without the mutex it is taken next block.
            if (!queueReady) return;
            switchOn();
        } else {
            engine.releaseAll();
            passEvents();
            startCounting = triggerFlag = false;
        }
        wasOn = nowOn;
        silenceStepBuffer();
        return;
    }
    if (!nowOn && use == 0) {
        // Nothing listens: keys played meanwhile went straight to the voices and are dropped.
        if (queueReady) queued = 0;
        silenceStepBuffer();
        return;
    }
    if (queueReady) {
        takeQueue(frames);
        lock.unlock();
    }
    if (rebuildPending) {
        engine.rebuild();
        rebuildPending = false;
    }
    updateClock(frames);
    runSamples(frames);
    // Off, the step source still moves for the matrix, but no note leaves.
    if (nowOn) passEvents();
}

void ModuleArp::switchOn() {
    // Keys pressed while the arp was off started their voices directly: end them all.
    for (int h = 0; h < heldCount && events < kQueueSize; ++h)
        eventList[events++] = ArpEvent{ArpEvent::kNoteOff, heldList[h], 0, 0};
    heldCount = 0;
    // Notes the arp stepped through while off never reached the voices.
    engine.forgetNotes();
}

void ModuleArp::takeQueue(int frames) {
    for (int i = 0; i < queued; ++i) {
        const ArpEvent& e = noteQueue[i];
        if (engine.keyCount() == 0) {
            // A new phrase: its first step falls on the sample of the key.
            startCounting = true;
            startCountdown = std::clamp(e.offset, 0, frames - 1);
            triggerFlag = false;
            clock.resetVoices();
            engine.restart();
        }
        if (e.type == ArpEvent::kNoteOn)
            engine.keyOn(e.pitch, e.velocity);
        else
            engine.keyOff(e.pitch);
    }
    if (queued > 0) rebuildPending = true;
    queued = 0;
}

void ModuleArp::updateClock(int frames) {
    // The arp's clock always follows the tempo, swings at its own speed and restarts with
    // each phrase from the first step.
    clock.mode = kClockSync;
    clock.timeIndex = speedIndex;
    clock.startStep = 0;
    clock.stopStep = kStepCells - 1;
    clock.loop = true;
    clock.rtrg = true;
    clock.swing = modulated(kLocalSwing, swing, frames);
    const float tempo = shared ? shared->tempo : 120.0f;
    clock.updateRates(tempo, sampleRate, 0.0f, speedIndex, speedIndex);
}

void ModuleArp::runSamples(int frames) {
    const float gateLength = modulated(kLocalLength, length, frames);
    const bool keysHeld = engine.keyCount() > 0;
    for (int i = 0; i < frames; ++i) {
        if (keysHeld) {
            int flags = 0;
            if (startCounting) {
                if (startCountdown <= 0) {
                    startCounting = false;
                    clock.resetVoices();
                    triggerFlag = true;
                } else {
                    --startCountdown;
                }
            }
            if (triggerFlag) {
                flags = kStartClockFlags;
                if (snapshot && i < kSnapshotWords) {
                    snapshot[i] = kStartFlags;
                    snapshotWritten = true;
                }
            }
            if (clock.tick(0, flags)) {
                triggerFlag = false;
                const ArpEngine::Step step =
                    engine.fireStep(i, clock.rateEven, clock.rateOdd, gateLength);
                stepLevel = stepVelocityLevels[step.cell];
                gateLeft = step.gate;
            }
        }
        engine.walk(i);
        if (gateLeft > 0) {
            stepBuffer[i] = stepLevel;
            --gateLeft;
        } else {
            stepBuffer[i] = 0.0f;
        }
    }
    stepBufferClean = false;
}

float ModuleArp::modulated(int local, float base, int frames) const {
    const int id = paramId(local);
    if (!matrix || id < 0) return base;
    return matrix->modulated(id, base, frames, kMonoVoice);
}

void ModuleArp::passEvents() {
    const int n = std::min(engine.pendingCount(), kQueueSize);
    for (int i = 0; i < n; ++i) eventList[i] = engine.pending(i);
    events = n;
}

void ModuleArp::silenceStepBuffer() {
    gateLeft = 0;
    if (stepBufferClean || !stepBuffer) return;
    std::fill(stepBuffer, stepBuffer + maxFrames, 0.0f);
    stepBufferClean = true;
}

float* const* ModuleArp::getOutputs(int index) {
    return index == 0 ? outputTable.data() : nullptr;
}

void ModuleArp::clearEvents() {
    // Both lists belong to the audio thread alone, so no lock is needed here.
    events = 0;
    engine.clearPending();
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
    int* end = heldList.data() + heldCount;
    heldCount = static_cast<int>(std::remove(heldList.data(), end, pitch) - heldList.data());
}

void ModuleArp::clearStepSnapshot() {
    if (!snapshot || !snapshotWritten) return;
    std::memset(snapshot, 0, kStepSnapshotBytes);
    snapshotWritten = false;
}

} // namespace torvo

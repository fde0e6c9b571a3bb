#include "filters/modulefilter.h"

#include "engine/aplugin.h"
#include "engine/denormals.h"
#include "engine/engineshared.h"
#include "engine/modulematrix.h"
#include "engine/modulemidi.h"
#include "engine/pool.h"
#include "filters/filtercurves.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>

namespace torvo {

void VoiceFilter::reset() {
    slot[0].clearStates();
    slot[1].clearStates();
}

void ModuleFilter::createVoices() {
    for (int v = 0; v < kVoiceCount; ++v) voices[v] = &filterVoices[v];
    // Build the tables here, not on the first audio block.
    filterCurves();
    LadderFilter::warm();
    ScorpioFilter::warm();
}

Voice* ModuleFilter::getVoice(int i) {
    return i >= 0 && i < kVoiceCount ? &filterVoices[i] : nullptr;
}

void ModuleFilter::setParameter(int localIndex, float value) {
    switch (localIndex) {
    case 0:
        routing = decodeOnOff(value) ? kParallel : kSerial;
        break;
    case 1:
        link = decodeOnOff(value);
        break;
    case 2:
        type1 = decodeList(value);
        break;
    case 3:
        mode1 = decodeList(value);
        break;
    case 4:
        cut1.set(value);
        break;
    case 5:
        res1.set(value);
        break;
    case 6:
        type2 = decodeList(value);
        break;
    case 7:
        mode2 = decodeList(value);
        break;
    case 8:
        cut2.set(value);
        break;
    case 9:
        res2.set(value);
        break;
    case 10:
        keyTrack = value * 2.133334f - 1.066667f;
        break;
    case 11:
        balance.set(value);
        break;
    default:
        break;
    }
}

void ModuleFilter::setMaxBlockSize(int frames) {
    if (!shared || !shared->pool || frames <= 0) return;
    Pool& pool = *shared->pool;
    maxFrames = frames;
    for (ParamSmoother* s : {&cut1, &res1, &cut2, &res2, &balance}) s->allocate(pool, frames);
    for (int v = 0; v < kVoiceCount; ++v) {
        VoiceFilter& f = filterVoices[v];
        f.out1L = pool.get("flt out1L", frames);
        f.out1R = pool.get("flt out1R", frames);
        f.out2L = pool.get("flt out2L", frames);
        f.out2R = pool.get("flt out2R", frames);
        f.cutCoef = pool.get("flt cutCoef", frames);
        f.damping = pool.get("flt damping", frames);
        f.resCoef = pool.get("flt resCoef", frames);
        f.gain = pool.get("flt gain", frames);
        f.wide = pool.get("flt wide", frames * FilterBlock::kWideFloats + 64);
        f.calcCut = pool.get("flt calcCut", frames);
        f.linkCut = pool.get("flt link", frames);
        f.res1Mod = pool.get("flt res1", frames);
        f.res2Mod = pool.get("flt res2", frames);
        f.balanceMod = pool.get("flt balance", frames);
        f.lastFrames = 0;
        // The delay memory does not depend on the block size: take it once.
        for (float*& line : f.delayLines)
            if (!line)
                line =
                    static_cast<float*>(pool.getBytes("flt delay", VoiceFilter::kDelayLineBytes));
        for (int s = 0; s < 2; ++s) {
            f.slot[s].combo.line[0] = f.delayLines[2 * s];
            f.slot[s].combo.line[1] = f.delayLines[2 * s + 1];
        }
        outputTable[v] = {f.out1L, f.out1R};
    }
}

const StereoPtr* ModuleFilter::getStereoOutputs(int index) {
    return index == 0 ? outputTable.data() : nullptr;
}

void ModuleFilter::setNoteStreams(float* const* pitch, TriggerRecord* const* notes) {
    pitchStreams = pitch;
    triggerStreams = notes;
    pitchWired = true;
}

void ModuleFilter::updateSmoothers(int frames) {
    ParamSmoother* const all[5] = {&cut1, &res1, &cut2, &res2, &balance};
    for (ParamSmoother* s : all) s->process(frames, sampleRate);
    heldFrames = 0;
    const int n = std::min(frames, maxFrames);
    if (n > 0 && cut1.data()) {
        for (int s = 0; s < 5; ++s) smootherHeld[s] = isConstant(all[s]->data(), n);
        heldFrames = n;
    }
    if (!pitchWired && plugin && plugin->midi()) {
        pitchStreams = plugin->midi()->pitchTable();
        triggerStreams = plugin->midi()->triggerTable();
    }
}

const float* ModuleFilter::modulate(int localIndex, const float* base, float* own, int frames,
                                    int voice) {
    const int id = paramId(localIndex);
    if (!matrix || id < 0) return base;
    const float* m = matrix->modulatedBuffer(id, base, frames, voice);
    if (!m || m == base) return base;
    for (int i = 0; i < frames; ++i) own[i] = std::clamp(m[i], 0.0f, 1.0f);
    return own;
}

bool ModuleFilter::knownHeld(const float* buffer, int frames) const {
    if (frames > heldFrames) return false;
    const ParamSmoother* const all[5] = {&cut1, &res1, &cut2, &res2, &balance};
    for (int s = 0; s < 5; ++s)
        if (buffer == all[s]->data()) return smootherHeld[s];
    return false;
}

void ModuleFilter::collectGateEvents(int voice, int frames, GateEvents& events) {
    // Only the note starts matter here, so the streams are scanned where they lie.
    const TriggerRecord* records = triggerStreams ? triggerStreams[voice] : nullptr;
    events.count = 0;
    if (!records) return;
    for (int i = 0; i < frames && events.count < GateEvents::kMax; ++i)
        if (records[i].trigger2 == 1) events.position[events.count++] = i;
}

bool ModuleFilter::canRender(int voice, int frames, const StereoPtr& bus1,
                             const StereoPtr& bus2) const {
    if (voice < 0 || voice >= kVoiceCount || frames <= 0 || maxFrames <= 0) return false;
    return bus1.left && bus1.right && bus2.left && bus2.right;
}

void ModuleFilter::beginVoice(int voice, int frames, const StereoPtr& bus1, const StereoPtr& bus2,
                              VoiceJob& job) {
    VoiceFilter& f = filterVoices[voice];
    if (frames != f.lastFrames) {
        for (float* b : {f.out1L, f.out1R, f.out2L, f.out2R, f.cutCoef, f.damping, f.resCoef,
                         f.gain, f.calcCut, f.linkCut, f.res1Mod, f.res2Mod, f.balanceMod})
            std::fill(b, b + maxFrames + 4, 0.0f);
        f.lastFrames = frames;
    }

    // Slot one's cut-off follows the key around note 60.
    const float* c1 = cut1.data();
    const float* pitch = pitchStreams ? pitchStreams[voice] : nullptr;
    if (keyTrack != 0.0f && pitch) {
        const float kt = keyTrack;
        for (int i = 0; i < frames; ++i)
            f.calcCut[i] = std::clamp(c1[i] + (pitch[i] - kKeyCentre) * kt, 0.0f, 1.0f);
        c1 = f.calcCut;
    }
    c1 = modulate(4, c1, f.calcCut, frames, voice);
    const float* r1 = modulate(5, res1.data(), f.res1Mod, frames, voice);
    const float* c2 = modulate(8, cut2.data(), f.linkCut, frames, voice);
    job.r2 = modulate(9, res2.data(), f.res2Mod, frames, voice);
    job.bal = modulate(11, balance.data(), f.balanceMod, frames, voice);
    if (link) {
        // At 0.5 slot two follows slot one; the knob offsets it by up to a full range.
        for (int i = 0; i < frames; ++i)
            f.linkCut[i] = std::clamp(2.0f * c2[i] + c1[i] - 1.0f, 0.0f, 1.0f);
        c2 = f.linkCut;
    }
    job.c2 = c2;
    job.c2Held = knownHeld(c2, frames);
    job.r2Held = knownHeld(job.r2, frames);
    job.balHeld = knownHeld(job.bal, frames);
    job.f = &f;
    job.bus2 = bus2;

    collectGateEvents(voice, frames, job.starts);
    const float* retrig = shared ? shared->env1ValueAtRetrig[voice] : nullptr;

    FilterBlock& b = job.b;
    b.cutCoef = f.cutCoef;
    b.damping = f.damping;
    b.resCoef = f.resCoef;
    b.gain = f.gain;
    b.wide = f.wide;
    b.frames = frames;
    b.sampleRate = sampleRate > 0.0f ? sampleRate : 44100.0f;
    b.rateRatio = sampleRate > 0.0f ? 44100.0f / sampleRate : 1.0f;
    b.starts = &job.starts;
    b.clearAtStart = !retrig || *retrig == 0.0f;

    b.inL = bus1.left;
    b.inR = bus1.right;
    b.outL = f.out1L;
    b.outR = f.out1R;
    b.cut = c1;
    b.res = r1;
    b.cutHeld = knownHeld(c1, frames);
    b.resHeld = knownHeld(r1, frames);
}

void ModuleFilter::toSecondSlot(VoiceJob& job) const {
    VoiceFilter& f = *job.f;
    FilterBlock& b = job.b;
    const int frames = b.frames;
    if (routing == kSerial) {
        // The second slot hears its own bus and the first slot.
        const float* __restrict busL = job.bus2.left;
        const float* __restrict busR = job.bus2.right;
        const float* __restrict firstL = f.out1L;
        const float* __restrict firstR = f.out1R;
        float* __restrict sumL = f.out2L;
        float* __restrict sumR = f.out2R;
        for (int i = 0; i < frames; ++i) {
            sumL[i] = busL[i] + firstL[i];
            sumR[i] = busR[i] + firstR[i];
        }
        b.inL = f.out2L;
        b.inR = f.out2R;
    } else {
        b.inL = job.bus2.left;
        b.inR = job.bus2.right;
    }
    // Slot one's output has been taken by now, so slot two may overwrite it.
    job.secondOnly = (job.balHeld || isConstant(job.bal, frames)) && job.bal[0] == 1.0f;
    b.outL = job.secondOnly ? f.out1L : f.out2L;
    b.outR = job.secondOnly ? f.out1R : f.out2R;
    b.cut = job.c2;
    b.res = job.r2;
    b.cutHeld = job.c2Held;
    b.resHeld = job.r2Held;
}

void ModuleFilter::endVoice(VoiceJob& job) const {
    VoiceFilter& f = *job.f;
    const float* bal = job.bal;
    const int frames = job.b.frames;
    if (job.secondOnly) return;
    // At zero the balance is a plain choice of slot one.
    if ((job.balHeld || isConstant(bal, frames)) && bal[0] == 0.0f) return;
    for (int i = 0; i < frames; ++i) {
        const float w = bal[i];
        f.out1L[i] = (1.0f - w) * f.out1L[i] + w * f.out2L[i];
        f.out1R[i] = (1.0f - w) * f.out1R[i] + w * f.out2R[i];
    }
}

void ModuleFilter::renderVoice(int voice, int frames, const StereoPtr& bus1,
                               const StereoPtr& bus2) {
    if (!canRender(voice, frames, bus1, bus2)) return;
    frames = std::min(frames, maxFrames);
    // Decaying feedback must reach 0 and never linger in the slow subnormal range.
    ScopedFlushDenormals flush;
    VoiceJob job;
    beginVoice(voice, frames, bus1, bus2, job);
    job.f->slot[0].render(type1, mode1, job.b);
    toSecondSlot(job);
    job.f->slot[1].render(type2, mode2, job.b);
    endVoice(job);
}

void ModuleFilter::renderVoicePair(int first, const StereoPtr& bus1a, const StereoPtr& bus2a,
                                   int second, const StereoPtr& bus1b, const StereoPtr& bus2b,
                                   int frames) {
    if (first < 0 || first >= kVoiceCount || second < 0 || second >= kVoiceCount) {
        if (first >= 0 && first < kVoiceCount) renderVoice(first, frames, bus1a, bus2a);
        if (second >= 0 && second < kVoiceCount) renderVoice(second, frames, bus1b, bus2b);
        return;
    }
    StereoPtr bus1[kVoiceCount] = {};
    StereoPtr bus2[kVoiceCount] = {};
    bus1[second] = bus1b;
    bus2[second] = bus2b;
    bus1[first] = bus1a;
    bus2[first] = bus2a;
    const int list[2] = {first, second};
    renderVoices(list, 2, bus1, bus2, frames);
}

void ModuleFilter::renderVoices(const int* voiceList, int count, const StereoPtr* bus1,
                                const StereoPtr* bus2, int frames) {
    if (!voiceList || !bus1 || !bus2 || frames <= 0) return;
    std::array<VoiceJob, kVoiceCount> jobs;
    std::array<bool, kVoiceCount> taken{};
    FilterSlot* slots[kVoiceCount];
    const FilterBlock* blocks[kVoiceCount];
    frames = std::min(frames, maxFrames);
    ScopedFlushDenormals flush;
    int n = 0;
    for (int k = 0; k < count; ++k) {
        const int v = voiceList[k];
        if (v < 0 || v >= kVoiceCount || taken[v] || !canRender(v, frames, bus1[v], bus2[v]))
            continue;
        taken[v] = true;
        beginVoice(v, frames, bus1[v], bus2[v], jobs[n]);
        slots[n] = &jobs[n].f->slot[0];
        blocks[n] = &jobs[n].b;
        ++n;
    }
    if (n == 0) return;
    FilterSlot::renderGroup(slots, blocks, n, type1, mode1);
    for (int j = 0; j < n; ++j) {
        toSecondSlot(jobs[j]);
        slots[j] = &jobs[j].f->slot[1];
    }
    FilterSlot::renderGroup(slots, blocks, n, type2, mode2);
    for (int j = 0; j < n; ++j) endVoice(jobs[j]);
}

void ModuleFilter::clearDelayLines() {
    for (VoiceFilter& f : filterVoices)
        for (float* line : f.delayLines)
            if (line) std::memset(line, 0, VoiceFilter::kDelayLineBytes);
}

} // namespace torvo

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
    filterCurves(); // build the tables here, not on the first audio block
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
    for (ParamSmoother* s : {&cut1, &res1, &cut2, &res2, &balance}) s->process(frames, sampleRate);
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
}

void ModuleFilter::toSecondSlot(VoiceJob& job) const {
    VoiceFilter& f = *job.f;
    FilterBlock& b = job.b;
    const int frames = b.frames;
    if (routing == kSerial) {
        // The second slot hears its own bus and the first slot.
        for (int i = 0; i < frames; ++i) {
            f.out2L[i] = job.bus2.left[i] + f.out1L[i];
            f.out2R[i] = job.bus2.right[i] + f.out1R[i];
        }
        b.inL = f.out2L;
        b.inR = f.out2R;
    } else {
        b.inL = job.bus2.left;
        b.inR = job.bus2.right;
    }
    b.outL = f.out2L;
    b.outR = f.out2R;
    b.cut = job.c2;
    b.res = job.r2;
}

void ModuleFilter::endVoice(VoiceJob& job) const {
    VoiceFilter& f = *job.f;
    const float* bal = job.bal;
    const int frames = job.b.frames;
    // The balance at either end is a plain choice of slot.
    if (isConstant(bal, frames) && (bal[0] == 0.0f || bal[0] == 1.0f)) {
        if (bal[0] == 1.0f) {
            std::copy(f.out2L, f.out2L + frames, f.out1L);
            std::copy(f.out2R, f.out2R + frames, f.out1R);
        }
        return;
    }
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
    if (!canRender(first, frames, bus1a, bus2a) || !canRender(second, frames, bus1b, bus2b) ||
        first == second) {
        renderVoice(first, frames, bus1a, bus2a);
        if (second != first) renderVoice(second, frames, bus1b, bus2b);
        return;
    }
    frames = std::min(frames, maxFrames);
    ScopedFlushDenormals flush;
    VoiceJob a;
    VoiceJob b;
    beginVoice(first, frames, bus1a, bus2a, a);
    beginVoice(second, frames, bus1b, bus2b, b);
    FilterSlot::renderPair(a.f->slot[0], a.b, b.f->slot[0], b.b, type1, mode1);
    toSecondSlot(a);
    toSecondSlot(b);
    FilterSlot::renderPair(a.f->slot[1], a.b, b.f->slot[1], b.b, type2, mode2);
    endVoice(a);
    endVoice(b);
}

void ModuleFilter::clearDelayLines() {
    for (VoiceFilter& f : filterVoices)
        for (float* line : f.delayLines)
            if (line) std::memset(line, 0, VoiceFilter::kDelayLineBytes);
}

} // namespace torvo

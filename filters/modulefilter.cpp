#include "filters/modulefilter.h"

#include "engine/engineshared.h"
#include "engine/pool.h"

#include <cstring>
#include <initializer_list>

namespace torvo {

void ModuleFilter::createVoices() {
    for (int v = 0; v < kVoiceCount; ++v) voices[v] = &filterVoices[v];
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
    if (!shared || !shared->pool) return;
    Pool& pool = *shared->pool;
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
        f.calcCut = pool.get("flt calcCut", frames);
        f.linkCut = pool.get("flt link", frames);
        f.gate = pool.get("flt gate", frames);
        f.lastFrames = 0;
        // The delay memory does not depend on the block size: take it once.
        for (float*& line : f.delayLines)
            if (!line)
                line =
                    static_cast<float*>(pool.getBytes("flt delay", VoiceFilter::kDelayLineBytes));
        outputTable[v] = {f.out1L, f.out1R};
    }
}

const StereoPtr* ModuleFilter::getStereoOutputs(int index) {
    return index == 0 ? outputTable.data() : nullptr;
}

void ModuleFilter::updateSmoothers(int frames) {
    for (ParamSmoother* s : {&cut1, &res1, &cut2, &res2, &balance}) s->process(frames, sampleRate);
}

void ModuleFilter::renderVoice(int voice, int frames, const StereoPtr& bus1,
                               const StereoPtr& bus2) {}

void ModuleFilter::clearDelayLines() {
    for (VoiceFilter& f : filterVoices)
        for (float* line : f.delayLines)
            if (line) std::memset(line, 0, VoiceFilter::kDelayLineBytes);
}

} // namespace torvo

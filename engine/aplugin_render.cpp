// One block of the engine: the 28 steps from deferred note-offs to the peak followers.

#include "effects/fxchain.h"
#include "effects/modulefxchorus.h"
#include "effects/modulefxequalizer.h"
#include "effects/signaltools.h"
#include "engine/aplugin.h"
#include "engine/moduleextcontrol.h"
#include "engine/modulemidi.h"
#include "engine/moduleperfomance.h"
#include "filters/modulefilter.h"
#include "modulators/modulearp.h"
#include "modulators/moduleenvelope.h"
#include "modulators/modulelfo.h"
#include "modulators/modulestepper.h"
#include "shell/paramtable.h"
#include "sources/modulemixer.h"
#include "sources/moduleoscillator.h"

#include <algorithm>
#include <cmath>

#include <xmmintrin.h>

namespace torvo {

namespace {
constexpr int kExtChannelOfSource[7] = {kSrcModWheel, kSrcBreath,     kSrcFootPedal, kSrcExpression,
                                        kSrcSustain,  kSrcPitchWheel, kSrcAftertouch};

/// One sounding voice in the final sum: its filtered output, env1 and velocity stream.
struct VoiceTap {
    const float* left;
    const float* right;
    const float* env;
    const float* sens;
};

/// The mix of the voices at their gains, env1 times the velocity law:
/// out = 0 + l0 * gain0 + l1 * gain1 + ..., summed in voice order. The sums of four samples
/// stay in registers across all voices, so each output is written once; the additions and
/// their order are those of adding one voice at a time to a cleared output.
void sumVoiceTaps(float* outL, float* outR, int frames, const VoiceTap* taps, int count,
                  float depth) {
    const __m128 d = _mm_set1_ps(depth);
    const __m128 rest = _mm_set1_ps(1.0f);
    int i = 0;
    if (depth == 0.0f) {
        // Without velocity the law is (v * 0 + 1) - 0, exactly 1 for any finite v: the gain
        // is env1 itself.
        for (; i + 4 <= frames; i += 4) {
            __m128 sumL = _mm_setzero_ps(), sumR = _mm_setzero_ps();
            for (int k = 0; k < count; ++k) {
                const VoiceTap& t = taps[k];
                const __m128 gain = _mm_loadu_ps(t.env + i);
                sumL = _mm_add_ps(sumL, _mm_mul_ps(_mm_loadu_ps(t.left + i), gain));
                sumR = _mm_add_ps(sumR, _mm_mul_ps(_mm_loadu_ps(t.right + i), gain));
            }
            _mm_storeu_ps(outL + i, sumL);
            _mm_storeu_ps(outR + i, sumR);
        }
    }
    for (; i + 4 <= frames; i += 4) {
        __m128 sumL = _mm_setzero_ps(), sumR = _mm_setzero_ps();
        for (int k = 0; k < count; ++k) {
            const VoiceTap& t = taps[k];
            const __m128 law =
                _mm_sub_ps(_mm_add_ps(_mm_mul_ps(_mm_loadu_ps(t.sens + i), d), rest), d);
            const __m128 gain = _mm_mul_ps(_mm_loadu_ps(t.env + i), law);
            sumL = _mm_add_ps(sumL, _mm_mul_ps(_mm_loadu_ps(t.left + i), gain));
            sumR = _mm_add_ps(sumR, _mm_mul_ps(_mm_loadu_ps(t.right + i), gain));
        }
        _mm_storeu_ps(outL + i, sumL);
        _mm_storeu_ps(outR + i, sumR);
    }
    for (; i < frames; ++i) {
        float sumL = 0.0f, sumR = 0.0f;
        for (int k = 0; k < count; ++k) {
            const VoiceTap& t = taps[k];
            const float gain = t.env[i] * (t.sens[i] * depth + 1.0f - depth);
            sumL += t.left[i] * gain;
            sumR += t.right[i] * gain;
        }
        outL[i] = sumL;
        outR[i] = sumR;
    }
}
} // namespace

void APlugin::dropDeferredNotes() {
    if (!dropNotesFlag) return;
    for (int note : notesToDrop) {
        heldNotes.erase(std::remove(heldNotes.begin(), heldNotes.end(), note), heldNotes.end());
        if (holdPedal) continue;
        arp->queueNoteOff(0, note);
        if (!arp->isOn()) midiModule->noteOff(0, note);
    }
    notesToDrop.clear();
    dropNotesFlag = false;
}

void APlugin::allNotesCut(int position) {
    midiModule->cutStreams();
    for (int note : heldNotes) {
        arp->queueNoteOff(position, note);
        arp->removeHeldNote(note);
        // Both allocators, whatever the mode: a cut at a mode change must reach the notes of
        // the mode being left.
        midiModule->noteOffAll(position, note);
    }
    heldNotes.clear();
    // A cut arpeggio note must not keep its pitch for the rest of its gate, or the same key
    // pressed again would extend the cut note instead of starting a new one.
    arp->engine.forgetNotes();
    arp->clearStepSnapshot();
}

void APlugin::runArpEvents(int frames) {
    arp->process(frames, matrix->useOfSource(kSrcArpStep));
    matrix->setSource(kSrcArpStep, arp->getOutputs(0));
    // The arp's output replaces whatever notes reached the rings before the render.
    if (arp->eventCount() > 0) midiModule->resetRings();
    // A change across the mono/poly border cuts every note at the block's end.
    if (isMonoMode(pendingMode) != isMonoMode(mode)) allNotesCut(frames - 1);
    if (panicPending) {
        panicPending = 0;
        allNotesCut(frames - 1);
    }
    for (int i = 0; i < arp->eventCount(); ++i) {
        const ArpEvent& e = arp->event(i);
        const int offset = std::clamp(e.offset, 0, frames - 1);
        if (e.type == ArpEvent::kNoteOn) {
            stampNoteTime();
            midiModule->noteOn(offset, e.pitch, e.velocity);
            if (static_cast<int>(heldNotes.size()) < kMaxHeldNotes) heldNotes.push_back(e.pitch);
        } else if (e.type == ArpEvent::kNoteOff) {
            midiModule->noteOff(offset, e.pitch);
            heldNotes.erase(std::remove(heldNotes.begin(), heldNotes.end(), e.pitch),
                            heldNotes.end());
        }
    }
    arp->clearEvents();
}

void APlugin::renderSources(int frames) {
    // Controllers: one block update, then the seven sources.
    extControl->setBlockFrames(frames);
    extControl->resetVoices();
    for (int c = 0; c < 7; ++c)
        matrix->setSource(kExtChannelOfSource[c], controllerTables[c].data());

    midiModule->processVoices(frames, extControl->output(5));
    matrix->setSource(kSrcVelocity, midiModule->velocityTable());
    matrix->setSource(kSrcKeyFollow, midiModule->keyFollowTable());
    matrix->setSource(kSrcRandomBipolar, midiModule->randomBipolarTable());
    matrix->setSource(kSrcRandomUnipolar, midiModule->randomUnipolarTable());
    matrix->setVelocityTables(midiModule->velocityTable(), midiModule->inverseVelocityTable());
    matrix->setSource(kSrcConstant10, midiModule->constantTenthTable());
    matrix->setSource(kSrcConstant50, midiModule->constantHalfTable());

    for (int v = 0; v < kVoiceCount; ++v)
        shared.active[v] = shared.env1Stage[v] && *shared.env1Stage[v] != 0;

    const bool arpRuns = arp->isOn() && !heldNotes.empty();
    for (int s = 0; s < 2; ++s) {
        steppers[s]->setArpState(arpRuns, arp->stepSnapshotView());
        steppers[s]->setSongPosition(playPosition);
        if (const int use = matrix->useOfSource(kSrcStepper1 + s))
            steppers[s]->process(frames, use);
        matrix->setSource(kSrcStepper1 + s, steppers[s]->getOutputs(0));
    }
    envelopes[0]->process(frames, 1);
    for (int e = 1; e < 4; ++e)
        if (const int use = matrix->useOfSource(kSrcEnv1 + e)) envelopes[e]->process(frames, use);
    for (int e = 0; e < 4; ++e) matrix->setSource(kSrcEnv1 + e, envelopes[e]->getOutputs(0));
    for (int l = 0; l < 4; ++l) {
        if (const int use = matrix->useOfSource(kSrcLfo1 + l)) lfos[l]->process(frames, use);
        matrix->setSource(kSrcLfo1 + l, lfos[l]->getOutputs(0));
    }
    arp->clearStepSnapshot();

    bool macrosUsed = false;
    for (int m = 0; m < 4; ++m) macrosUsed |= matrix->useOfSource(kSrcMod1 + m) != 0;
    if (macrosUsed) performance->process(frames, 2);
    for (int m = 0; m < 4; ++m) matrix->setSource(kSrcMod1 + m, performance->getOutputs(m));
}

void APlugin::renderVoices(int frames) {
    OscillatorInputs in;
    in.noteStream = midiModule->triggerTable();
    in.secondsSinceNoteOn = noteInterval;
    in.heldNote = !heldNotes.empty();
    in.polyphony = midiModule->polyphony;
    for (ModuleOscillator* o : oscillators) o->setInputs(in);
    for (int o = 0; o < 4; ++o) {
        if (mixer->level(o) != 0.0f && !mixer->muted(o))
            oscillators[o]->process(frames, std::max(1, matrix->useOfSource(kSrcOsc1 + o)));
        matrix->setSource(kSrcOsc1 + o, oscillators[o]->getOutputs(0));
    }
    for (int v = firstVoice(); v <= lastVoice(); ++v) {
        StereoPtr osc[4];
        for (int o = 0; o < 4; ++o) osc[o] = oscillators[o]->getStereoOutputs(0)[v];
        mixer->wireVoice(v, osc);
    }
    mixer->process(frames, 1);
    filter->updateSmoothers(frames);
    const StereoPtr* bus1 = mixer->getStereoOutputs(0);
    const StereoPtr* bus2 = mixer->getStereoOutputs(1);
    // All voices go through the filters in one call: the models that wait on their own last
    // sample take several voices side by side in the time they would leave idle.
    int list[kVoiceCount];
    int count = 0;
    for (int v = firstVoice(); v <= lastVoice(); ++v)
        if (shared.active[v]) list[count++] = v;
    filter->renderVoices(list, count, bus1, bus2, frames);
}

void APlugin::sumVoices(float* const* stereo, int frames) {
    const StereoPtr* filtered = filter->getStereoOutputs(0);
    float* const* env = envelopes[0]->getOutputs(0);
    float* const* vel = midiModule->velocityTable();
    float* const* inv = midiModule->inverseVelocityTable();
    const float a = velocityAmount;
    VoiceTap taps[kVoiceCount];
    int count = 0;
    for (int v = firstVoice(); v <= lastVoice(); ++v) {
        if (!shared.active[v] || !filtered || !env || !env[v]) continue;
        taps[count++] = {filtered[v].left, filtered[v].right, env[v], a >= 0.0f ? vel[v] : inv[v]};
    }
    sumVoiceTaps(stereo[0], stereo[1], frames, taps, count, std::fabs(a));
}

void APlugin::runEffectChain(float* const* stereo, int frames) {
    fxChain.run(frames, stereo, phaserFirst, reverbEarly);
}

void APlugin::render(float* const* stereo, int frames) {
    if (!stereo || !stereo[0] || !stereo[1] || frames <= 0) return;
    frames = std::min(frames, maxFrames);
    if (frames <= 0) return;

    dropDeferredNotes();
    if (matrixCounter != 0) {
        matrixCounter -= frames / 128 + 1;
        if (matrixCounter <= 0) refreshMatrix();
    }
    runArpEvents(frames);
    renderSources(frames);
    renderVoices(frames);
    sumVoices(stereo, frames);

    if (pendingMode != mode) {
        mode = pendingMode;
        shared.monoMode = isMonoMode(mode);
        setGlobalParameter(0, pendingMode * kThousandth);
    }
    if (gate.skipChain(stereo[0], stereo[1], frames, shared.sampleRate, positiveTempo)) return;
    runEffectChain(stereo, frames);
    gate.afterChain(stereo[0], stereo[1], frames);
    if (clearPending > 0 && --clearPending == 0) clearDsp();
    peaks[0].process(stereo[0], frames, shared.sampleRate);
    peaks[1].process(stereo[1], frames, shared.sampleRate);
    shared.firstBlock = false;
}

} // namespace torvo

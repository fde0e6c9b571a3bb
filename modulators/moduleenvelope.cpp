#include "modulators/moduleenvelope.h"

#include "engine/aplugin.h"
#include "engine/engineshared.h"
#include "engine/modulematrix.h"
#include "engine/modulemidi.h"
#include "engine/notevoice.h"
#include "engine/pool.h"
#include "modulators/envelopecurves.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace torvo {

namespace {

/// The curve rows are spread-encoded lists of three entries.
int decodeCurve(float v) {
    return std::clamp(static_cast<int>(v * 2.99f), 0, 2);
}

/// Seconds since the library was loaded: small numbers keep their precision as floats.
const auto clockOrigin = std::chrono::steady_clock::now();
double processClock() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - clockOrigin).count();
}

// Retriggers of env1 while another key is held attack no faster than this per sample, so a
// legato line never clicks.
constexpr float kLegatoAttackRate = 0.032f;
// The overshoot of the "Exp1" decay lasts 512 samples at 44.1 kHz, the same time at any rate.
constexpr float kBounceRate = 86.13281f;
constexpr float kBounceDepth = 0.2f;
constexpr float kSustainCreep = 1e-5f;
// A retrigger from release of a modulation envelope restarts from 0 after this long.
constexpr double kRestartAfter = 0.25;

float riseCurve(int curve, const float* expTable, const float* powTable, float x) {
    switch (curve) {
    case ModuleEnvelope::kCurveExp:
        return readEnvCurve(expTable, x);
    case ModuleEnvelope::kCurvePow:
        return readEnvCurve(powTable, x);
    default:
        return x;
    }
}

float fallCurve(int curve, const float* exp2, const float* pow, const float* exp1, float x) {
    switch (curve) {
    case ModuleEnvelope::kCurveFallPow:
        return readEnvCurve(pow, x);
    case ModuleEnvelope::kCurveExp1:
        return readEnvCurve(exp1, x);
    default:
        return readEnvCurve(exp2, x);
    }
}

bool sameBits(float a, float b) {
    std::uint32_t x = 0, y = 0;
    std::memcpy(&x, &a, sizeof x);
    std::memcpy(&y, &b, sizeof y);
    return x == y;
}

} // namespace

void VoiceEnvelope::clearState() {
    if (output) std::fill(output, output + capacity, 0.0f);
    heldFrames = 0;
    stage = lastStage = kStageIdle;
    position = start = span = 0.0f;
    lastRetrigTime = bouncePos = valueAtRetrig = value = 0.0f;
    bounceStep = 1.0f;
    attackRate = 1.0f;
    freshStart = true;
    clearPending = false;
    trigger = 0;
}

void VoiceEnvelope::gateOn(const EnvelopeBlock& b, double (*clock)()) {
    // Without a decay the attack runs straight to the sustain level.
    const float target = b.decayRate == 1.0f ? b.sustain : 1.0f;
    trigger = 1;
    if (stage == kStageIdle) {
        freshStart = true;
        stage = kStageAttack;
        position = 0.0f;
        start = 0.0f;
        attackRate = b.attackRate;
        span = target;
        return;
    }
    const float retrigRate = b.isAmp && b.heldNote && b.attackRate > kLegatoAttackRate
                                 ? kLegatoAttackRate
                                 : b.attackRate;
    const bool fromRelease = stage == kStageRelease;
    freshStart = false;
    stage = kStageAttack;
    attackRate = retrigRate;
    position = 0.0f;
    if (fromRelease) {
        const double now = clock ? clock() : 0.0;
        // The amp envelope always continues from where it stands, so that no click comes.
        if (now - lastRetrigTime > kRestartAfter && !b.isAmp) {
            start = 0.0f;
            span = target;
        } else {
            start = value;
            span = target - value;
        }
        valueAtRetrig = value;
        lastRetrigTime = static_cast<float>(now);
        return;
    }
    start = value;
    span = target - value;
    valueAtRetrig = value;
}

void VoiceEnvelope::gateOff() {
    trigger = 2;
    if (stage == kStageIdle || stage == kStageRelease) return;
    start = value;
    span = -value;
    position = 0.0f;
    stage = kStageRelease;
}

float VoiceEnvelope::advance(const EnvelopeBlock& b) {
    using C = EnvelopeCurves;
    switch (stage) {
    case kStageAttack:
        position += attackRate;
        if (position < 1.0f) {
            value = riseCurve(b.attackCurve, C::attackExp, C::attackPow, position) * span + start;
            return value;
        }
        stage = kStageDecay;
        start = 1.0f;
        bouncePos = 0.0f;
        position -= 1.0f;
        bounceStep = kBounceRate / b.sampleRate;
        span = b.sustain - 1.0f;
        [[fallthrough]];
    case kStageDecay:
        position += b.decayRate;
        if (position < 1.0f) {
            const float c =
                fallCurve(b.decayCurve, C::decayExp2, C::decayPow, C::decayExp1, position);
            value = c * span + start;
            if (b.decayCurve == ModuleEnvelope::kCurveExp1) {
                float bounce = 0.0f;
                if (!(bouncePos > 1.0f)) {
                    bounce = readEnvCurve(C::bounceCurve, bouncePos);
                    bouncePos += bounceStep;
                }
                value -= span * bounce * kBounceDepth;
            }
            return value;
        }
        start = b.sustain;
        stage = kStageSlope;
        position -= 1.0f;
        span = b.slopeLevel - b.sustain;
        [[fallthrough]];
    case kStageSlope:
        position += b.slopeRate;
        if (position >= 1.0f) {
            value = b.slopeLevel;
            stage = kStageSustain;
            return value;
        }
        value = riseCurve(b.slopeCurve, C::slopeExp, C::slopePow, position) * span + start;
        return value;
    case kStageSustain:
        position += kSustainCreep;
        value = b.slopeLevel;
        return value;
    case kStageRelease:
        position += b.releaseRate;
        if (position >= 1.0f) {
            stage = kStageIdle;
            value = 0.0f;
            valueAtRetrig = 0.0f;
            clearPending = true;
            return value;
        }
        value = fallCurve(b.releaseCurve, C::releaseExp2, C::releasePow, C::releaseExp1, position) *
                    span +
                start;
        return value;
    default:
        value = 0.0f;
        return value;
    }
}

float sustainCreep(float x, int n) {
    // Within one binade every step of the creep adds the same amount: x is a multiple of the
    // binade's spacing u, and x + kSustainCreep rounds to x plus the creep rounded to a
    // multiple of u, never a tie once u >= 2^-33 (the creep has bits down to 2^-38). So while
    // the run stays below the next power of two, n steps are x + n * step, exactly.
    if (x >= 1.0f / 1024.0f && n < (1 << 16)) {
        int exponent = 0;
        std::frexp(x, &exponent);
        const float top = std::ldexp(1.0f, exponent);
        const float step = (x + kSustainCreep) - x;
        if (x + static_cast<float>(n + 1) * step < top) return x + static_cast<float>(n) * step;
    }
    for (int k = 0; k < n; ++k) x += kSustainCreep;
    return x;
}

void VoiceEnvelope::holdSustain(float level, int at, int n) {
    value = level;
    position = sustainCreep(position, n);
    // A whole block of the sustain that the last block already wrote: the buffer holds it.
    if (at == 0 && n <= heldFrames && sameBits(level, heldLevel)) return;
    std::fill(output + at, output + at + n, level);
    if (at == 0) {
        heldFrames = n;
        heldLevel = level;
    } else {
        heldFrames = 0;
    }
}

void VoiceEnvelope::render(const EnvelopeBlock& b, const TriggerRecord* gates, int frames,
                           double (*clock)()) {
    stage = lastStage;
    // Anything but a sustain run from the first frame writes the buffer sample by sample.
    if (stage != kStageSustain) heldFrames = 0;
    for (int i = 0; i < frames; ++i) {
        const int g = gates ? gates[i].trigger2 : 0;
        if (g == 1) {
            gateOn(b, clock);
        } else if (g == 2) {
            gateOff();
        } else if (stage == kStageSustain) {
            // A held note spends most of its life here: the run up to the next gate at once.
            int end = frames;
            if (gates) {
                end = i + 1;
                while (end < frames && gates[end].trigger2 == 0) ++end;
            }
            holdSustain(b.slopeLevel, i, end - i);
            i = end - 1;
            continue;
        }
        heldFrames = 0;
        output[i] = advance(b);
    }
    lastStage = stage;
}

void ModuleEnvelope::createVoices() {
    for (int v = 0; v < kVoiceCount; ++v) voices[v] = &envVoices[v];
    if (!clock) clock = processClock;
}

void ModuleEnvelope::setParameter(int localIndex, float value) {
    switch (localIndex) {
    case 0:
        attack = value;
        break;
    case 1:
        decay = value;
        break;
    case 2:
        sustain = value;
        break;
    case 3:
        slopeTime = value;
        break;
    case 4:
        slopeLevel = value;
        break;
    case 5:
        release = value;
        break;
    case 6:
        attackCurve = decodeCurve(value);
        break;
    case 7:
        decayCurve = decodeCurve(value);
        break;
    case 8:
        slopeCurve = decodeCurve(value);
        break;
    case 9:
        releaseCurve = decodeCurve(value);
        break;
    default:
        break;
    }
}

void ModuleEnvelope::setMaxBlockSize(int frames) {
    if (!shared || !shared->pool) return;
    for (int v = 0; v < kVoiceCount; ++v) {
        VoiceEnvelope& e = envVoices[v];
        e.output = shared->pool->get("env", frames);
        e.capacity = e.output ? frames : 0;
        e.heldFrames = 0;
        outputTable[v] = e.output;
    }
}

float ModuleEnvelope::modulatedLocal(int localIndex, float base, int frames, int voice) const {
    const int id = paramId(localIndex);
    if (!matrix || id < 0) return base;
    return matrix->modulated(id, base, frames, voice);
}

float ModuleEnvelope::stageRate(int k, float x, float sr) {
    RateMemo& m = rateMemo[k];
    if (!m.valid || !sameBits(x, m.x) || !sameBits(sr, m.sr)) {
        m.x = x;
        m.sr = sr;
        m.rate = envelopeRate(x, sr);
        m.valid = true;
    }
    return m.rate;
}

void ModuleEnvelope::renderVoice(int v, int frames, bool held, const TriggerRecord* gates) {
    VoiceEnvelope& e = envVoices[v];
    if (!e.output) return;
    if (e.clearPending) {
        std::fill(e.output, e.output + e.capacity, 0.0f);
        e.clearPending = false;
        e.heldFrames = 0;
    }
    // The stage word as of the last block: idle unless the allocator has claimed the voice.
    if (isAmpEnvelope && e.stage == kStageIdle) {
        e.active = 0;
        return;
    }
    e.active = 1;
    const float sr = sampleRate > 0.0f ? sampleRate : 44100.0f;
    EnvelopeBlock b;
    b.sustain = std::clamp(modulatedLocal(2, sustain, frames, v), 0.0f, 1.0f);
    b.slopeLevel = std::clamp(modulatedLocal(4, slopeLevel, frames, v), 0.0f, 1.0f);
    b.attackRate = stageRate(0, modulatedLocal(0, attack, frames, v), sr);
    b.decayRate = stageRate(1, modulatedLocal(1, decay, frames, v), sr);
    b.slopeRate = stageRate(2, modulatedLocal(3, slopeTime, frames, v), sr);
    b.releaseRate = stageRate(3, modulatedLocal(5, release, frames, v), sr);
    // Without a slope time the level held is the decay's target.
    if (b.slopeRate == 1.0f) b.slopeLevel = b.sustain;
    b.attackCurve = attackCurve;
    b.decayCurve = decayCurve;
    b.slopeCurve = slopeCurve;
    b.releaseCurve = releaseCurve;
    b.isAmp = isAmpEnvelope;
    b.heldNote = held;
    b.sampleRate = sr;
    e.render(b, gates, std::min(frames, e.capacity), clock);
}

void ModuleEnvelope::process(int frames, int use) {
    bool held = heldNote;
    ModuleMidi* midi = plugin ? plugin->midi() : nullptr;
    if (plugin) held = plugin->heldNoteCount() > 0;
    if (midi) triggers = midi->triggerTable();
    for (int v = 0; v < kVoiceCount; ++v) {
        const bool wanted =
            isAmpEnvelope || !shared || shared->active[v] != 0 || (use == 2 && v == kMonoVoice);
        if (!wanted) continue;
        // A voice whose note stream carries no gate this block needs no scan for one.
        const TriggerRecord* gates = triggers ? triggers[v] : nullptr;
        if (midi && !midi->noteVoice(v).mayHaveTriggers()) gates = nullptr;
        renderVoice(v, frames, held, gates);
    }
}

float* const* ModuleEnvelope::getOutputs(int index) {
    return index == 0 ? outputTable.data() : nullptr;
}

void ModuleEnvelope::clearState() {
    for (VoiceEnvelope& e : envVoices) e.clearState();
}

} // namespace torvo

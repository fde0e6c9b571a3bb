#include "engine/aplugin.h"

#include "effects/modulefxchorus.h"
#include "effects/modulefxcompressor.h"
#include "effects/modulefxdelay.h"
#include "effects/modulefxequalizer.h"
#include "effects/modulefxphaser.h"
#include "effects/modulefxrever.h"
#include "effects/modulefxshaper.h"
#include "engine/controllercurves.h"
#include "engine/globaltables.h"
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
#include <chrono>
#include <cstring>

namespace torvo {

namespace {
constexpr int kParamMode = 0;
constexpr int kParamVelocity = 8;
constexpr int kParamPhaserPre = 257;
constexpr int kParamReverbMode = 279;
constexpr int kFirstSlotParam = 288;
constexpr int kLastSlotParam = 437;
constexpr int kParamBendWheel = 720;
constexpr int kParamModWheel = 721;
constexpr int kParamAnticlick = 722;
constexpr int kMatrixCountdownStart = 10;

constexpr int kExtModWheel = 0;
constexpr int kExtPitchWheel = 5;

/// Envelope and LFO target rows: six per module at these ids, handed to slots 15..22.
constexpr int kModuleTargetRows[8] = {123, 139, 155, 171, 187, 203, 219, 235};

} // namespace

template <typename T> T* APlugin::make(int key, const char* fullName) {
    T* m = new T();
    modules[key] = m;
    const char* shortName = std::strchr(fullName, ':') ? std::strrchr(fullName, ':') + 1 : fullName;
    m->init(this, &shared, matrix.get(), shortName);
    m->createVoices();
    return m;
}

APlugin::APlugin() {
    shared.pool = &pool;
    setGlobalSampleRate(44100.0f);
    matrix = std::make_unique<ModuleMatrix>();
    buildGraph();
    routeParameters();
    for (int v = 0; v < kVoiceCount; ++v) {
        auto* env = static_cast<VoiceEnvelope*>(envelopes[0]->getVoice(v));
        shared.env1Stage[v] = &env->stage;
        shared.env1Position[v] = &env->position;
        shared.env1Level[v] = &env->value;
        shared.env1Trigger[v] = &env->trigger;
        shared.env1FreshStart[v] = &env->freshStart;
        shared.env1ValueAtRetrig[v] = &env->valueAtRetrig;
    }
    envelopes[0]->setAmpEnvelope(true);
    // A constant 0.5 source of 1024 * 4 samples shared by all 17 voices.
    halfConstant = pool.get("cst", 4096);
    std::fill(halfConstant, halfConstant + 4096, 0.5f);
    halfConstantTable.fill(halfConstant);
    extControl->resetChannel(0, 0.0f);
    extControl->resetChannel(1, 0.0f);
    extControl->resetChannel(kExtPitchWheel, 0.0f);
    for (int c : {4, 5, 6}) extControl->resetChannel(c, 0.0f);
    releasedWhileHeld.reserve(kListCapacity + 1);
    heldNotes.reserve(kListCapacity + 1);
    notesToDrop.reserve(kDropListCapacity);
    lockGlobalTables();
}

APlugin::~APlugin() {
    for (auto& [key, m] : modules) delete m;
    modules.clear();
    unlockGlobalTables();
}

void APlugin::buildGraph() {
    midiModule = make<ModuleMidi>(kKeyMidi, "ModuleMidi::midi");
    static const char* const envNames[] = {"ModuleEnvelope::env1", "ModuleEnvelope::env2",
                                           "ModuleEnvelope::env3", "ModuleEnvelope::env4"};
    static const char* const lfoNames[] = {"ModuleLfo::lfo1", "ModuleLfo::lfo2", "ModuleLfo::lfo3",
                                           "ModuleLfo::lfo4"};
    static const char* const oscNames[] = {"ModuleOscillator::osc1", "ModuleOscillator::osc2",
                                           "ModuleOscillator::osc3", "ModuleOscillator::osc4"};
    for (int i = 0; i < 4; ++i) envelopes[i] = make<ModuleEnvelope>(kKeyEnv1 + i, envNames[i]);
    for (int i = 0; i < 4; ++i) lfos[i] = make<ModuleLfo>(kKeyLfo1 + i, lfoNames[i]);
    for (int i = 0; i < 4; ++i) oscillators[i] = make<ModuleOscillator>(kKeyOsc1 + i, oscNames[i]);
    mixer = make<ModuleMixer>(kKeyMixer, "ModuleMixer::mix");
    filter = make<ModuleFilter>(kKeyFilter, "ModuleFilter::filter");
    effects[0] = make<ModuleFxShaper>(kKeyShaper, "ModuleFxShaper::fx_shaper");
    effects[1] = make<ModuleFxPhaser>(kKeyPhaser, "ModuleFxPhaser::fx_phaser");
    effects[2] = make<ModuleFxChorus>(kKeyChorus, "ModuleFxChorus::fx_chorus");
    effects[3] = make<ModuleFxDelay>(kKeyDelay, "ModuleFxDelay::fx_delay");
    effects[4] = make<ModuleFxRever>(kKeyReverb, "ModuleFxRever::fx_rever");
    effects[5] = make<ModuleFxCompressor>(kKeyCompressor, "ModuleFxCompressor::fx_compressor");
    equalizer = make<ModuleFxEqualizer>(kKeyEqualizer, "ModuleFxEqualizer::fx_equalizer");
    effects[6] = equalizer;
    performance = make<ModulePerfomance>(kKeyPerformance, "ModulePerfomance::perfomance");
    extControl = make<ModuleExtControl>(kKeyExtControl, "ModuleExtControl::extcontrol");
    steppers[0] = make<ModuleStepper>(kKeyStepper1, "ModuleStepper::stepper1");
    steppers[1] = make<ModuleStepper>(kKeyStepper1 + 1, "ModuleStepper::stepper2");
    arp = make<ModuleArp>(kKeyArp, "ModuleArp::arp1");
    fxChain = {effects[0], effects[1], effects[2], equalizer, effects[4], effects[5], effects[3]};
}

void APlugin::routeParameters() {
    for (int id = 0; id < kParamCount; ++id) {
        const RouteList& list = routesOf(id);
        for (int r = 0; r < list.count; ++r)
            modules[list.routes[r].moduleKey]->bindParameter(list.routes[r].localIndex, id);
    }
}

Module* APlugin::module(int key) const {
    const auto it = modules.find(key);
    return it == modules.end() ? nullptr : it->second;
}

bool APlugin::setMaxBlockSize(int frames) {
    frames = std::clamp(frames, 1, kMaxBlockFrames);
    maxFrames = frames;
    shared.maxFrames = frames;
    for (auto& [key, m] : modules) m->setMaxBlockSize(frames);
    for (int c = 0; c < 7; ++c) controllerTables[c].fill(const_cast<float*>(extControl->output(c)));
    return arp->stepSnapshotView() != nullptr;
}

void APlugin::setSampleRate(float rate) {
    if (!(rate > 0.0f)) return;
    setGlobalSampleRate(rate);
    shared.sampleRate = rate;
    shared.invSampleRate = 1.0f / rate;
    shared.rateRatio = 44100.0f / rate;
    for (auto& [key, m] : modules) m->setSampleRate(rate);
}

void APlugin::setTempo(float bpm) {
    tempoBpm = bpm;
    if (bpm > 0.0f) {
        positiveTempo = bpm;
        shared.tempo = bpm;
    }
}

void APlugin::armMatrixRefresh() {
    if (matrixCounter == 0) matrixCounter = kMatrixCountdownStart;
}

void APlugin::refreshMatrix() {
    matrix->refresh();
    matrixCounter = 0;
}

/// Parameters the engine itself interprets. Answers true when routing stops here.
bool APlugin::handleSpecialParameter(int id, float value) {
    switch (id) {
    case kParamAnticlick:
        // Only exactly 1.0 turns click removal on.
        anticlick = static_cast<int>(value);
        midiModule->setAnticlick(anticlick != 0);
        return true;
    case kParamMode: {
        pendingMode = std::clamp(decodeList(value), 0, 5);
        // Crossing between mono and poly is left to the render, which cuts all notes.
        return isMonoMode(pendingMode) != isMonoMode(mode);
    }
    case kParamVelocity:
        velocityAmount = 2.0f * value - 1.0f;
        return false;
    case kParamPhaserPre:
        phaserFirst = value > 0.0f;
        return false;
    case kParamReverbMode:
        reverbEarly = static_cast<int>(value * 1000.0f) > 4;
        return false;
    case kParamBendWheel: {
        const float b = 2.0f * value - 1.0f;
        extControl->write(kExtPitchWheel, 0, b);
        const float range =
            b > 0.0f ? midiModule->bendUpRange() : (b < 0.0f ? midiModule->bendDownRange() : 0.0f);
        midiModule->setWheelOffset(b * range);
        return false;
    }
    case kParamModWheel:
        extControl->write(kExtModWheel, 0, value);
        return false;
    default:
        break;
    }
    for (int m = 0; m < 8; ++m) {
        if (id >= kModuleTargetRows[m] && id < kModuleTargetRows[m] + 6) {
            matrix->setSlotValue(kEnvSlotBase + m, id - kModuleTargetRows[m], value);
            armMatrixRefresh();
            return false;
        }
    }
    if (id >= kFirstSlotParam && id <= kLastSlotParam) {
        matrix->setUserSlotItem((id - kFirstSlotParam) / 10, (id - kFirstSlotParam) % 10, value);
        armMatrixRefresh();
    }
    return false;
}

void APlugin::setParameter(int id, float value, int fromHost) {
    if (id < 0 || id >= kParamCount) return;
    if (!(value >= 0.0f)) value = 0.0f; // also catches NaN
    if (value > 1.0f) value = 1.0f;
    if (handleSpecialParameter(id, value)) return;
    setGlobalParameter(id, value);
}

void APlugin::setGlobalParameter(int id, float value) {
    const RouteList& list = routesOf(id);
    for (int r = 0; r < list.count; ++r)
        modules[list.routes[r].moduleKey]->setParameter(list.routes[r].localIndex, value);
}

void APlugin::noteOn(int offset, int pitch, int velocity) {
    pitch &= 127;
    if (velocity <= 0) {
        noteOff(offset, pitch);
        return;
    }
    velocity = std::min(velocity, 127);
    if (heldNotes.size() > kListCapacity) return;
    releasedWhileHeld.erase(std::remove(releasedWhileHeld.begin(), releasedWhileHeld.end(), pitch),
                            releasedWhileHeld.end());
    arp->queueNoteOn(offset, pitch, velocity);
    if (!arp->isOn()) {
        stampNoteTime();
        midiModule->noteOn(offset, pitch, velocity);
    }
    heldNotes.push_back(pitch);
    // A note in the same block as a panic outlives it.
    panicPending = 0;
    clearPending = 0;
}

void APlugin::noteOff(int offset, int pitch) {
    pitch &= 127;
    heldNotes.erase(std::remove(heldNotes.begin(), heldNotes.end(), pitch), heldNotes.end());
    if (holdPedal) {
        if (static_cast<int>(releasedWhileHeld.size()) < kMaxHeldNotes)
            releasedWhileHeld.push_back(pitch);
        return;
    }
    arp->queueNoteOff(offset, pitch);
    if (!arp->isOn()) midiModule->noteOff(offset, pitch);
}

void APlugin::stampNoteTime() {
    const double now =
        std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    noteInterval = lastNoteTime > 0.0 ? static_cast<float>(now - lastNoteTime) : 0.0f;
    lastNoteTime = now;
}

void APlugin::onController(int number, float value, int offset, float bipolar) {
    switch (number) {
    case 1:
        extControl->write(0, offset, value);
        break;
    case 2:
        extControl->write(1, offset, value);
        break;
    case 4:
        extControl->write(2, offset, value);
        break;
    case 11:
        extControl->write(3, offset, value);
        break;
    case 64: {
        extControl->write(4, offset, value);
        const bool down = value >= 0.5f;
        if (holdPedal && !down) {
            // Lifting the pedal ends the notes whose keys went up while it was down.
            for (int pitch : releasedWhileHeld) {
                arp->queueNoteOff(offset, pitch);
                if (!arp->isOn()) midiModule->noteOff(offset, pitch);
            }
            releasedWhileHeld.clear();
        }
        holdPedal = down;
        break;
    }
    case 65:
        extControl->write(kExtPitchWheel, offset, bipolar);
        break;
    case 66:
        extControl->write(6, offset, aftertouchCurve(value));
        break;
    case 120:
        // All sound off: cut the notes in the next render, and empty the delay memory two
        // blocks later, once the cut notes have rung out of the voices.
        clearPending = 2;
        panicPending = 1;
        break;
    case 123:
        // All notes off: cut the notes in the next render.
        panicPending = 1;
        break;
    default:
        break;
    }
}

void APlugin::clearDsp() {
    filter->clearDelayLines();
    static_cast<ModuleFxChorus*>(effects[2])->clear();
    static_cast<ModuleFxPhaser*>(effects[1])->clear();
    static_cast<ModuleFxDelay*>(effects[3])->clear();
    static_cast<ModuleFxRever*>(effects[4])->clear();
    for (ModuleEnvelope* e : envelopes) e->clearState();
    panicPending = 1;
}

void APlugin::clearArpSnapshot() {
    arp->clearStepSnapshot();
}

void APlugin::resetNoteState() {
    midiModule->resetNoteState();
}

int APlugin::arpStep() const {
    return arp->currentStep();
}

int APlugin::stepperStep(int index) const {
    return index >= 0 && index < 2 ? steppers[index]->currentStep() : 0;
}

void APlugin::diodes(long long out[5]) const {
    for (int i = 0; i < 4; ++i) out[i] = matrix->useOfSource(kSrcMod1 + i) != 0;
    out[4] = matrix->useOfSource(kSrcModWheel) != 0;
}

} // namespace torvo

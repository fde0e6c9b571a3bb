#pragma once
// The synthesizer engine: one object per active plug-in instance. It owns the fixed graph of
// 27 modules and the modulation matrix, takes parameters and notes from the processor and
// renders whole host blocks, module by module, with per-sample buffers for audio and control
// alike. Only the source modules that the matrix or the mixer needs are computed.
//
// The engine knows nothing of the plug-in interface; the processor drives it and tests drive
// it directly.

#include "effects/fxchain.h"
#include "engine/engineshared.h"
#include "engine/module.h"
#include "engine/modulematrix.h"
#include "engine/outputstage.h"
#include "engine/pool.h"
#include "engine/routetable.h"

#include <array>
#include <map>
#include <memory>
#include <vector>

namespace torvo {

class ModuleMidi;
class ModuleArp;
class ModuleEnvelope;
class ModuleExtControl;
class ModuleFilter;
class ModuleFxEqualizer;
class ModuleLfo;
class ModuleMixer;
class ModuleOscillator;
class ModulePerfomance;
class ModuleStepper;

/// Modes 0..3 play the mono voice only; 4 and 5 are polyphonic.
inline bool isMonoMode(int mode) {
    return mode < 4;
}

class APlugin {
public:
    static constexpr int kListCapacity = 256;
    static constexpr int kDropListCapacity = 32;
    static constexpr int kMaxHeldNotes = 257;

    APlugin();
    ~APlugin();
    APlugin(const APlugin&) = delete;
    APlugin& operator=(const APlugin&) = delete;

    /// Allocates every block buffer; frames is at most 8192. False if memory ran out.
    bool setMaxBlockSize(int frames);
    void setSampleRate(float rate);
    void setTempo(float bpm);
    void setParameter(int id, float value, int fromHost);

    void noteOn(int offset, int pitch, int velocity);
    void noteOff(int offset, int pitch);
    void onController(int number, float value, int offset, float bipolar);
    void setPlayPosition(double ppq) { playPosition = ppq; }

    /// Renders `frames` samples into stereo[0] and stereo[1].
    void render(float* const* stereo, int frames);
    /// Empties all delay memory and envelope state and cuts the notes.
    void clearDsp();
    /// Runs a pending matrix refresh now and clears the countdown.
    void refreshMatrix();
    /// Drops the arpeggiator's step snapshot.
    void clearArpSnapshot();
    /// Clears the note rings of all voices.
    void resetNoteState();

    // Read-outs for the display messages.
    int arpStep() const;
    int stepperStep(int index) const;
    /// Five in-use flags: macros 1..4, then the mod wheel.
    void diodes(long long out[5]) const;
    float peakLeft() const { return peaks[0].level; }
    float peakRight() const { return peaks[1].level; }

    Module* module(int key) const;
    ModuleMidi* midi() const { return midiModule; }
    ModuleMatrix& modMatrix() { return *matrix; }
    int matrixCountdown() const { return matrixCounter; }
    int tailSamples() const { return gate.tailCounter; }
    bool chainWasSilent() const { return gate.chainSilent; }
    float sampleRate() const { return shared.sampleRate; }
    int maxBlockSize() const { return maxFrames; }
    float tempo() const { return tempoBpm; }
    int currentMode() const { return mode; }
    // Note state read-outs.
    int heldNoteCount() const { return static_cast<int>(heldNotes.size()); }
    int releasedWhileHeldCount() const { return static_cast<int>(releasedWhileHeld.size()); }
    bool holdPedalDown() const { return holdPedal; }
    bool panicIsPending() const { return panicPending != 0; }
    int clearCountdown() const { return clearPending; }
    /// Seconds between the last two note starts.
    float noteIntervalSeconds() const { return noteInterval; }

private:
    template <typename T> T* make(int key, const char* fullName);
    void buildGraph();
    void routeParameters();
    void armMatrixRefresh();
    void setGlobalParameter(int id, float value);
    bool handleSpecialParameter(int id, float value);
    void dropDeferredNotes();
    void runArpEvents(int frames);
    /// Ends every held note at `position`: a panic or a mode change across mono and poly.
    void allNotesCut(int position);
    /// Remembers the time between note starts for the modules that read it.
    void stampNoteTime();
    void renderSources(int frames);
    void renderVoices(int frames);
    void sumVoices(float* const* stereo, int frames);
    void runEffectChain(float* const* stereo, int frames);
    int firstVoice() const { return mode < 4 ? kMonoVoice : 0; }
    int lastVoice() const { return mode < 4 ? kMonoVoice : kMonoVoice - 1; }

    Pool pool;
    EngineShared shared;
    std::unique_ptr<ModuleMatrix> matrix;
    std::map<int, Module*> modules;

    ModuleMidi* midiModule = nullptr;
    ModuleArp* arp = nullptr;
    ModuleExtControl* extControl = nullptr;
    ModuleMixer* mixer = nullptr;
    ModuleFilter* filter = nullptr;
    ModulePerfomance* performance = nullptr;
    ModuleFxEqualizer* equalizer = nullptr;
    std::array<ModuleEnvelope*, 4> envelopes{};
    std::array<ModuleLfo*, 4> lfos{};
    std::array<ModuleOscillator*, 4> oscillators{};
    std::array<ModuleStepper*, 2> steppers{};
    std::array<Module*, 7> effects{};
    /// The effects in the order the chain runs them, wired once.
    FxChain fxChain;

    float tempoBpm = 120.0f;
    float positiveTempo = 120.0f;
    double playPosition = 0.0;
    int mode = 4;
    int pendingMode = 4;
    int anticlick = 1;
    float velocityAmount = 0.0f;
    bool phaserFirst = false;
    bool reverbEarly = false;
    bool holdPedal = false;
    std::vector<int> releasedWhileHeld;
    std::vector<int> heldNotes;
    std::vector<int> notesToDrop;
    bool dropNotesFlag = false;
    /// Seconds of the steady clock at the last note start, and the time since the one before.
    double lastNoteTime = 0.0;
    float noteInterval = 0.0f;
    int matrixCounter = 0;
    int panicPending = 0;
    int clearPending = 0;
    SilenceGate gate;
    PeakFollower peaks[2];
    int maxFrames = 0;
    float* halfConstant = nullptr;
    std::array<float*, kVoiceCount> halfConstantTable{};
    /// Per controller channel, 17 pointers to its one output buffer: the matrix sources.
    std::array<std::array<float*, kVoiceCount>, 7> controllerTables{};
};

} // namespace torvo

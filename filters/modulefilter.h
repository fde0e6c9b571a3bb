#pragma once
// The per-voice filter section: two slots, each any of six models, in series or in parallel,
// fed by the mixer's two buses and blended by the balance. All model states of both slots live
// in the voice, so a change of model leaves the others' states alone. Cut-off and resonance
// are smoothed per sample; slot one follows the key, and slot two may be linked to slot one.

#include "engine/module.h"
#include "engine/notevoice.h"
#include "engine/paramsmoother.h"
#include "filters/filterblock.h"
#include "filters/filterslot.h"

#include <array>
#include <cstddef>

namespace torvo {

class VoiceFilter : public Voice {
public:
    static constexpr int kDelayLineCount = 4;
    static constexpr std::size_t kDelayLineBytes = ComboState::kLineLength * sizeof(float);

    /// Clears both slots' model states (the delay lines are cleared by the module).
    void reset() override;

    // Slot outputs; the section's result is written into slot one's pair.
    float* out1L = nullptr;
    float* out1R = nullptr;
    float* out2L = nullptr;
    float* out2R = nullptr;
    // Coefficient buffers that the models share.
    float* cutCoef = nullptr;
    float* damping = nullptr;
    float* resCoef = nullptr;
    float* gain = nullptr;
    /// Per-sample coefficient sets of the models that fold their iterations.
    float* wide = nullptr;
    /// Key-tracked (and modulated) cut-off of slot one.
    float* calcCut = nullptr;
    /// Slot two's linked (or modulated) cut-off.
    float* linkCut = nullptr;
    /// Modulated resonances and balance, used only while a route reaches them.
    float* res1Mod = nullptr;
    float* res2Mod = nullptr;
    float* balanceMod = nullptr;
    /// Delay memory of "Combo": lines 0 and 1 for slot one, 2 and 3 for slot two.
    std::array<float*, kDelayLineCount> delayLines{};
    int lastFrames = 0;

    FilterSlot slot[2];
};

class ModuleFilter : public ModulePoly {
public:
    enum Routing { kSerial = 0, kParallel = 1 };
    enum Type {
        kOff = kFilterOff,
        kPerfecto = kFilterPerfecto,
        kAcido = kFilterAcido,
        kInfecto = kFilterInfecto,
        kScorpio = kFilterScorpio,
        kCombo = kFilterCombo,
        kShaper = kFilterShaper
    };
    /// Note 60 on the 0..1 pitch scale: the centre of key tracking.
    static constexpr float kKeyCentre = 0.4724f;

    void createVoices() override;
    void setParameter(int localIndex, float value) override;
    void setMaxBlockSize(int frames) override;
    /// Slot one's output pair of every voice (the section's result).
    const StereoPtr* getStereoOutputs(int index) override;
    Voice* getVoice(int i) override;

    /// Per-voice, per-sample streams of the note voices: pitch (0..1, glide and bend included)
    /// and the note stream, whose gate word (`trigger2`: 1 at a note start, 2 at a note end,
    /// else 0) marks the note starts. Without pitch there is no key tracking; without the note
    /// stream no note start clears a model. Until this is called, an engine's streams are
    /// taken from its note module each block.
    void setNoteStreams(float* const* pitch, TriggerRecord* const* notes);

    /// Advances the five smoothers by one block.
    void updateSmoothers(int frames);
    /// Renders one voice from the mixer's bus pairs.
    void renderVoice(int voice, int frames, const StereoPtr& bus1, const StereoPtr& bus2);
    /// Renders two voices, each exactly as renderVoice() would; models whose samples wait on
    /// each other run both voices in one pass.
    void renderVoicePair(int first, const StereoPtr& bus1a, const StereoPtr& bus2a, int second,
                         const StereoPtr& bus1b, const StereoPtr& bus2b, int frames);
    /// Renders the listed voices, each exactly as renderVoice() would, from the mixer's bus
    /// tables (indexed by voice). The models whose samples wait on each other take several
    /// voices side by side in one loop, so the more voices come in one call, the less each
    /// costs. Invalid or repeated voices are skipped.
    void renderVoices(const int* voiceList, int count, const StereoPtr* bus1, const StereoPtr* bus2,
                      int frames);
    /// Zeroes the delay memory of all voices.
    void clearDelayLines();

    int routing = kSerial;
    bool link = false;
    int type1 = kOff;
    int mode1 = 0;
    ParamSmoother cut1;
    ParamSmoother res1;
    int type2 = kOff;
    int mode2 = 0;
    ParamSmoother cut2;
    ParamSmoother res2;
    /// -1.0667..1.0667, zero at the knob's centre.
    float keyTrack = 0.0f;
    ParamSmoother balance;

private:
    /// One voice's block on its way through the two slots.
    struct VoiceJob {
        VoiceFilter* f = nullptr;
        StereoPtr bus2;
        const float* c2 = nullptr;
        const float* r2 = nullptr;
        const float* bal = nullptr;
        bool c2Held = false;
        bool r2Held = false;
        bool balHeld = false;
        GateEvents starts;
        /// The balance stands at slot two for the whole block: slot two writes straight into
        /// the section's output, and nothing is blended.
        bool secondOnly = false;
        /// Set for slot one by beginVoice(), then for slot two by toSecondSlot().
        FilterBlock b;
    };
    bool canRender(int voice, int frames, const StereoPtr& bus1, const StereoPtr& bus2) const;
    /// Controls, note starts and slot one's block of a voice; frames already clamped.
    void beginVoice(int voice, int frames, const StereoPtr& bus1, const StereoPtr& bus2,
                    VoiceJob& job);
    void toSecondSlot(VoiceJob& job) const;
    /// The balance of the two slots into slot one's output.
    void endVoice(VoiceJob& job) const;

    /// The modulated form of a smoothed parameter: the base itself while nothing modulates
    /// it, else a copy, clamped to 0..1, in `own`.
    const float* modulate(int localIndex, const float* base, float* own, int frames, int voice);
    /// Whether `buffer` is a smoother's block that updateSmoothers() found to hold one value;
    /// false for any other buffer.
    bool knownHeld(const float* buffer, int frames) const;
    void collectGateEvents(int voice, int frames, GateEvents& events);

    std::array<VoiceFilter, kVoiceCount> filterVoices;
    std::array<StereoPtr, kVoiceCount> outputTable{};
    float* const* pitchStreams = nullptr;
    /// The note stream; its gate word marks the note starts.
    TriggerRecord* const* triggerStreams = nullptr;
    bool pitchWired = false;
    int maxFrames = 0;
    /// Which of cut1, res1, cut2, res2 and balance hold for the last block of `heldFrames`:
    /// found once per block instead of once per voice and slot.
    std::array<bool, 5> smootherHeld{};
    int heldFrames = 0;
};

} // namespace torvo

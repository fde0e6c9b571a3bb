#pragma once
// The modulation matrix: 15 user slots plus the fixed target pairs of the four envelopes and
// four LFOs, joined into a per-target route table that is rebuilt only when a routing
// parameter changes. refresh() also decides which source modules must run at all.
//
// Slots, decoding, the refresh's use flags and source registration are in place; the route
// evaluation of modulated()/modulatedBuffer() answers the base value until the routes land.

#include "engine/module.h"

#include <cstdint>

namespace torvo {

constexpr int kSlotCount = 32;
constexpr int kUserSlots = 15;
constexpr int kEnvSlotBase = 15;
constexpr int kLfoSlotBase = 19;
constexpr int kSourceCount = 32;
constexpr int kTargetCount = 229;

/// Source ids as stored in presets (id - 1 indexes the source tables).
enum SourceId {
    kSrcOff = 0,
    kSrcOsc1 = 1,
    kSrcEnv1 = 5,
    kSrcLfo1 = 9,
    kSrcVelocity = 13,
    kSrcKeyFollow = 14,
    kSrcRandomBipolar = 15,
    kSrcPitchWheel = 16,
    kSrcModWheel = 17,
    kSrcAftertouch = 18,
    kSrcFootPedal = 19,
    kSrcBreath = 20,
    kSrcExpression = 21,
    kSrcSustain = 22,
    kSrcStepper1 = 23,
    kSrcStepper2 = 24,
    kSrcArpStep = 25,
    kSrcMod1 = 26,
    kSrcRandomUnipolar = 30,
    kSrcConstant10 = 31,
    kSrcConstant50 = 32
};

struct MatrixSlot {
    int32_t source1 = -1; ///< 0-based source, -1 off
    int32_t source2 = -1;
    uint32_t target[4] = {};
    float amount[4] = {0.5f, 0.5f, 0.5f, 0.5f};
    float velocity[4] = {};
};

class ModuleMatrix {
public:
    ModuleMatrix();

    /// Envelope and LFO target rows: slot 15..22, item 0..5.
    void setSlotValue(int slot, int item, float value);
    /// User slot rows: slot 0..14, item 0..9.
    void setUserSlotItem(int slot, int item, float value);
    void refresh();

    /// Registers the 17 per-voice buffers of a 1-based source id for this block.
    void setSource(int sourceId, float* const* table);
    float* const* source(int sourceId) const;
    /// 0: the source's module need not run; 1: for active voices; 2: also voice 16.
    int useOfSource(int sourceId) const;

    float modulated(int paramId, float base, int frames, int voice) const;
    const float* modulatedBuffer(int paramId, const float* baseBuffer, int frames, int voice);

    const MatrixSlot& slot(int i) const { return slots[i]; }

private:
    static uint32_t decodeTarget(float value);
    void raiseUse(int source0, int use);

    MatrixSlot slots[kSlotCount];
    float* const* sources[kSourceCount] = {};
    int useOfSources[kSourceCount] = {};
    bool targetActive[kTargetCount + 1] = {};
};

} // namespace torvo

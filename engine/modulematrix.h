#pragma once
// The modulation matrix: 15 user slots plus the fixed target pairs of the four envelopes and
// four LFOs, joined into a per-target route table that is rebuilt only when a routing
// parameter changes (refresh()). Modules ask for the modulated value of a parameter once per
// block or per sample; a parameter that no route reaches costs a lookup and a flag test.
// refresh() also decides which source modules must run at all, and whether they must render
// the mono voice 16, which is the voice global targets (effects, master, LFO rates) are read
// with.
//
// Everything is fixed-size and built at construction: refresh and the queries never allocate.

#include "engine/matrixtargets.h"
#include "engine/module.h"

#include <cstdint>
#include <memory>

namespace torvo {

constexpr int kSlotCount = 32;
constexpr int kUserSlots = 15;
constexpr int kEnvSlotBase = 15;
constexpr int kLfoSlotBase = 19;
constexpr int kMaxRoutes = 32;
/// A target takes at most this many routes; later ones are dropped.
constexpr int kRoutesInUse = 31;
constexpr int kMaxDepths = 32;
constexpr int kParamTableSize = 725;

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
    /// Normalised 0..1; 0.5 is no modulation.
    float amount[4] = {0.5f, 0.5f, 0.5f, 0.5f};
    /// Bipolar velocity sensitivity; user slots keep 0.
    float velocity[4] = {};
};

/// Scales a route by further sources (a depth target aimed at the route's slot item).
struct MatrixDepth {
    float amount;    ///< bipolar
    int32_t source1; ///< 0-based, -1 none
    int32_t source2; ///< 0-based, -1 none
    float velocityAmount;
};

struct MatrixRoute {
    int32_t source;       ///< 0-based
    float amount;         ///< bipolar, -1..1
    float velocityAmount; ///< bipolar
    int32_t hasDepth;
    int32_t depthCount;
    MatrixDepth depths[kMaxDepths];
};

struct MatrixTargetRecord {
    int32_t active;
    int32_t routeCount;
    /// Index of this target's result buffer for the per-sample query, -1 none.
    int32_t workIndex;
    MatrixRoute routes[kMaxRoutes];
};

class ModuleMatrix {
public:
    ModuleMatrix();
    ~ModuleMatrix();
    ModuleMatrix(const ModuleMatrix&) = delete;
    ModuleMatrix& operator=(const ModuleMatrix&) = delete;

    /// Envelope and LFO target rows: slot 15..22, item 0..5.
    void setSlotValue(int slot, int item, float value);
    /// User slot rows: slot 0..14, item 0..9.
    void setUserSlotItem(int slot, int item, float value);
    /// Rebuilds the route table and the use of every source.
    void refresh();

    /// Registers the 17 per-voice buffers of a 1-based source id for this block.
    void setSource(int sourceId, float* const* table);
    float* const* source(int sourceId) const;
    /// The note voices' velocity and inverse velocity streams, which velocity-sensitive routes
    /// scale by.
    void setVelocityTables(float* const* velocity, float* const* inverseVelocity);
    /// 0: the source's module need not run; 1: for active voices; 2: also voice 16.
    int useOfSource(int sourceId) const;

    /// The modulated value of a parameter for one block: base plus every route, each taken at
    /// the mean of the source's first and last sample. Clamped to 0..1.
    float modulated(int paramId, float base, int frames, int voice) const {
        return moves(paramId) ? modulatedByRoutes(paramId, base, frames, voice) : base;
    }
    /// The modulated value per sample. Answers `baseBuffer` itself when nothing modulates the
    /// parameter; otherwise a buffer of the matrix that stays valid until the next query of
    /// the same parameter.
    const float* modulatedBuffer(int paramId, const float* baseBuffer, int frames, int voice) {
        return moves(paramId) ? bufferByRoutes(paramId, baseBuffer, frames, voice) : baseBuffer;
    }
    /// Whether any route reaches the parameter. Most of the many queries per block ask about
    /// parameters nothing moves; they are answered here, inline, from one small table.
    bool moves(int paramId) const {
        return paramId >= 0 && paramId < kParamTableSize && paramLive[paramId] != 0;
    }

    const MatrixSlot& slot(int i) const { return slots[i]; }
    /// How many times the route table was rebuilt since construction.
    int refreshCount() const { return refreshes; }
    const MatrixTargetRecord& targetRecord(int id) const { return targets[id - 1]; }

    /// The amount curve of a class at a bipolar amount.
    static float curve(int curveClass, float amount);

private:
    static uint32_t decodeTarget(float value);
    void raiseUse(int source0, int use);
    void addRoute(int target0, int source0, float amount, float velocity);
    void addDepths(uint32_t addressedTarget, const MatrixSlot& addressed, const MatrixSlot& by,
                   int item);
    float routeFactor(const MatrixRoute& r, int curveClass, int voice, int at) const;
    float velocityFactor(float v, int voice, int at) const;
    void fillRouteFactor(const MatrixRoute& r, int curveClass, int voice, int frames);
    void applyVelocity(float v, int voice, int frames);
    float modulatedByRoutes(int paramId, float base, int frames, int voice) const;
    const float* bufferByRoutes(int paramId, const float* baseBuffer, int frames, int voice);
    /// Adds one route into `acc` (or starts it); the last route also adds the base and clamps.
    void addRouteBuffer(const MatrixRoute& r, int curveClass, int voice, int frames,
                        const float* src, float* acc, const float* base, bool first, bool last);

    MatrixSlot slots[kSlotCount];
    float* const* sources[kSourceCount] = {};
    float* const* velocityTable = nullptr;
    float* const* inverseVelocityTable = nullptr;
    int useOfSources[kSourceCount] = {};
    /// Per parameter: the target id that moves it (0 none) and its curve class, copied from
    /// the target table at construction.
    int16_t targetOfParamId[kParamTableSize] = {};
    int8_t curveOfParamId[kParamTableSize] = {};
    /// Target id t is targets[t - 1].
    MatrixTargetRecord targets[kTargetCount];
    /// Per target: 1 while a route reaches it, the same flag as the record's `active`. A
    /// record is 17 KB, so a query of an unmoved parameter would otherwise touch a page of its
    /// own; these small copies answer the many such queries per block from a few cache lines.
    uint8_t targetLive[kTargetCount] = {};
    /// The same per parameter, set at the end of refresh().
    uint8_t paramLive[kParamTableSize] = {};

    /// Result buffers of the per-sample query, handed to the active targets at refresh. A
    /// slot item reaches one target, so 15 * 4 + 8 * 2 buffers cover every patch.
    static constexpr int kWorkBuffers = kUserSlots * 4 + 8 * 2;
    static constexpr int kWorkStride = kMaxBlockFrames + 8;
    std::unique_ptr<float[]> workMemory;
    float* work[kWorkBuffers] = {};
    /// One route's per-sample factor while it is being built.
    float* routeScratch = nullptr;
    int workInUse = 0;
    int refreshes = 0;
};

} // namespace torvo

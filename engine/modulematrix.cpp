#include "engine/modulematrix.h"

#include "shell/paramtable.h"

#include <algorithm>
#include <cstring>

namespace torvo {

namespace {
/// Amount curves of classes 0, 1 and 2: the negative half of 32 points; point 31 - k is minus
/// point k. Read at x = (amount + 1) * 15.5, so amount 0 lands between points 15 and 16.
constexpr float kCurveHalf[3][16] = {
    {-1.0f, -0.7295f, -0.5818f, -0.4781f, -0.3976f, -0.3332f, -0.2802f, -0.2351f, -0.1961f,
     -0.1619f, -0.1314f, -0.1039f, -0.0787f, -0.0551f, -0.0326f, -0.0108f},
    {-1.0f, -0.8435f, -0.6838f, -0.5229f, -0.3663f, -0.2278f, -0.1258f, -0.0648f, -0.0329f,
     -0.0168f, -0.0088f, -0.0049f, -0.003f, -0.0019f, -0.001f, 0.0f},
    {-1.0f, -0.8755f, -0.7768f, -0.6907f, -0.6128f, -0.5407f, -0.4732f, -0.4096f, -0.3493f,
     -0.2919f, -0.2372f, -0.1851f, -0.1353f, -0.0879f, -0.0427f, 0.0f},
};

struct CurveTables {
    float points[3][32];
};

constexpr CurveTables buildCurves() {
    CurveTables t{};
    for (int c = 0; c < 3; ++c) {
        for (int k = 0; k < 16; ++k) {
            t.points[c][k] = kCurveHalf[c][k];
            t.points[c][31 - k] = -kCurveHalf[c][k];
        }
    }
    return t;
}

constexpr CurveTables kCurves = buildCurves();

/// Targets read with voice 16 as well (LFO parameters, effects, master, arp, steppers, macros,
/// glide), so their sources must render the mono voice too.
bool needsMonoVoice(uint32_t t) {
    return (t >= 82 && t <= 154) || (t >= 215 && t <= 223);
}
/// The same test for a depth target's own sources.
bool depthNeedsMonoVoice(uint32_t t) {
    return (t >= 82 && t <= 154) || (t >= 215 && t <= 220);
}

inline bool validSource(int32_t source0) {
    return source0 >= 0 && source0 < kSourceCount;
}

inline float clamp01(float v) {
    return v < 0.0f ? 0.0f : (v > 1.0f ? 1.0f : v);
}
} // namespace

float ModuleMatrix::curve(int curveClass, float amount) {
    switch (curveClass) {
    case kCurveLinear:
        return amount;
    case kCurveDouble:
        return 2.0f * amount;
    case kCurveQuadruple:
        return 4.0f * amount;
    default:
        break;
    }
    const float* table = kCurves.points[curveClass == kCurvePitch    ? 1
                                        : curveClass == kCurveCutoff ? 2
                                                                     : 0];
    float x = (amount + 1.0f) * 15.5f;
    x = x < 0.0f ? 0.0f : (x > 31.0f ? 31.0f : x);
    const int i = static_cast<int>(x);
    const float frac = x - float(i);
    // Behind point 31 the table wraps to point 0, reached only with weight 0.
    return table[i] + frac * (table[(i + 1) & 31] - table[i]);
}

ModuleMatrix::ModuleMatrix() {
    // The envelopes' and LFOs' own slots take their fixed sources Env1..Env4, LFO1..LFO4.
    for (int i = 0; i < 8; ++i) {
        MatrixSlot& s = slots[kEnvSlotBase + i];
        s.source1 = (kSrcEnv1 - 1) + i;
        s.source2 = -1;
    }
    static_assert(kParamTableSize == kParamCount, "one entry per parameter");
    for (int id = 0; id < kParamCount; ++id) {
        targetOfParamId[id] = int16_t(targetOfParam(id));
        curveOfParamId[id] = int8_t(curveOfParam(id));
    }
    // A block may run against a table that a preset load on the message thread is rebuilding;
    // with every record zeroed once, whatever it reads is at worst stale, never wild.
    std::memset(static_cast<void*>(targets), 0, sizeof(targets));
    for (MatrixTargetRecord& t : targets) t.workIndex = -1;
    workMemory.reset(new float[std::size_t(kWorkStride) * (kWorkBuffers + 1) + 4]());
    // 16-byte alignment for the modules' groups of 4.
    float* base = workMemory.get();
    while (reinterpret_cast<std::uintptr_t>(base) % 16 != 0) ++base;
    for (int w = 0; w < kWorkBuffers; ++w) work[w] = base + std::size_t(w) * kWorkStride;
    routeScratch = base + std::size_t(kWorkBuffers) * kWorkStride;
}

ModuleMatrix::~ModuleMatrix() = default;

uint32_t ModuleMatrix::decodeTarget(float value) {
    const int t = decodeList(value);
    return t < 0 || t > kTargetCount ? 0u : uint32_t(t);
}

void ModuleMatrix::setSlotValue(int slot, int item, float value) {
    if (slot < kEnvSlotBase || slot >= kLfoSlotBase + 4 || item < 0 || item > 5) return;
    MatrixSlot& s = slots[slot];
    const int k = item / 3;
    switch (item % 3) {
    case 0:
        s.target[k] = decodeTarget(value);
        break;
    case 1:
        s.amount[k] = value;
        break;
    default:
        s.velocity[k] = 2.0f * value - 1.0f;
        break;
    }
}

void ModuleMatrix::setUserSlotItem(int slot, int item, float value) {
    if (slot < 0 || slot >= kUserSlots || item < 0 || item > 9) return;
    MatrixSlot& s = slots[slot];
    if (item < 2) {
        int src = decodeList(value);
        if (src < 0 || src > kSourceCount) src = 0;
        (item == 0 ? s.source1 : s.source2) = src - 1;
    } else if (item % 2 == 0) {
        s.amount[(item - 2) / 2] = value;
    } else {
        s.target[(item - 3) / 2] = decodeTarget(value);
    }
}

void ModuleMatrix::raiseUse(int source0, int use) {
    if (source0 < 0 || source0 >= kSourceCount) return;
    if (useOfSources[source0] < use) useOfSources[source0] = use;
}

void ModuleMatrix::addRoute(int target0, int source0, float amount, float velocity) {
    MatrixTargetRecord& t = targets[target0];
    if (t.routeCount >= kRoutesInUse) return;
    t.active = 1;
    targetLive[target0] = 1;
    if (t.workIndex < 0 && workInUse < kWorkBuffers) t.workIndex = workInUse++;
    // Filled before it is counted, for a block that reads while a preset load refreshes.
    MatrixRoute& r = t.routes[t.routeCount];
    r.source = source0;
    r.amount = 2.0f * (amount - 0.5f);
    r.velocityAmount = velocity;
    r.hasDepth = 0;
    r.depthCount = 0;
    ++t.routeCount;
}

void ModuleMatrix::addDepths(uint32_t addressedTarget, const MatrixSlot& addressed,
                             const MatrixSlot& by, int item) {
    MatrixTargetRecord& t = targets[addressedTarget - 1];
    for (int r = 0; r < t.routeCount; ++r) {
        MatrixRoute& route = t.routes[r];
        const bool fromAddressedSlot =
            (addressed.source1 >= 0 && route.source == addressed.source1) ||
            (addressed.source2 >= 0 && route.source == addressed.source2);
        if (!fromAddressedSlot || route.depthCount >= kMaxDepths) continue;
        MatrixDepth& d = route.depths[route.depthCount];
        d.amount = 2.0f * by.amount[item] - 1.0f;
        d.source1 = by.source1;
        d.source2 = by.source2;
        d.velocityAmount = by.velocity[item];
        route.hasDepth = 1;
        ++route.depthCount;
    }
}

void ModuleMatrix::refresh() {
    ++refreshes;
    for (MatrixTargetRecord& t : targets) {
        t.active = 0;
        t.routeCount = 0;
        t.workIndex = -1;
    }
    std::memset(targetLive, 0, sizeof(targetLive));
    workInUse = 0;
    for (int& u : useOfSources) u = 0;

    // Plain targets: one route per source of the slot; both sources of a slot add up.
    for (const MatrixSlot& s : slots) {
        if (s.source1 < 0 && s.source2 < 0) continue;
        for (int k = 0; k < 4; ++k) {
            const uint32_t t = s.target[k];
            if (t == 0 || isDepthTarget(int(t))) continue;
            const int use = needsMonoVoice(t) ? 2 : 1;
            for (const int32_t src : {s.source1, s.source2}) {
                if (src < 0) continue;
                addRoute(int(t) - 1, src, s.amount[k], s.velocity[k]);
                raiseUse(src, use);
            }
        }
    }

    // Depth targets: scale the routes that the addressed slot item made.
    for (const MatrixSlot& s : slots) {
        for (int k = 0; k < 4; ++k) {
            const uint32_t t = s.target[k];
            int slotIndex = 0, item = 0;
            if (!depthTargetAddress(int(t), slotIndex, item)) continue;
            const MatrixSlot& addressed = slots[slotIndex];
            const uint32_t aimed = addressed.target[item];
            if (aimed >= 1 && aimed <= uint32_t(kTargetCount)) addDepths(aimed, addressed, s, k);
            const int use = depthNeedsMonoVoice(t) ? 2 : 1;
            raiseUse(s.source1, use);
            raiseUse(s.source2, use);
        }
    }

    for (int id = 0; id < kParamCount; ++id) {
        const int t = targetOfParamId[id];
        paramLive[id] = t > 0 && targetLive[t - 1] ? 1 : 0;
    }
}

void ModuleMatrix::setSource(int sourceId, float* const* table) {
    if (sourceId >= 1 && sourceId <= kSourceCount) sources[sourceId - 1] = table;
}

float* const* ModuleMatrix::source(int sourceId) const {
    return sourceId >= 1 && sourceId <= kSourceCount ? sources[sourceId - 1] : nullptr;
}

void ModuleMatrix::setVelocityTables(float* const* velocity, float* const* inverseVelocity) {
    velocityTable = velocity;
    inverseVelocityTable = inverseVelocity;
}

int ModuleMatrix::useOfSource(int sourceId) const {
    return sourceId >= 1 && sourceId <= kSourceCount ? useOfSources[sourceId - 1] : 0;
}

// --- the block query --------------------------------------------------------------------

float ModuleMatrix::velocityFactor(float v, int voice, int at) const {
    if (v > 0.0f) {
        const float* vel = velocityTable ? velocityTable[voice] : nullptr;
        return vel ? v * vel[at] + (1.0f - v) : 1.0f;
    }
    if (v < 0.0f) {
        const float* inv = inverseVelocityTable ? inverseVelocityTable[voice] : nullptr;
        return inv ? v + 1.0f - v * inv[at] : 1.0f;
    }
    return 1.0f;
}

float ModuleMatrix::routeFactor(const MatrixRoute& r, int curveClass, int voice, int at) const {
    float a = curve(curveClass, r.amount);
    for (int d = 0; d < r.depthCount; ++d) {
        const MatrixDepth& depth = r.depths[d];
        const float c = curve(kCurveGeneral, depth.amount);
        for (const int32_t s : {depth.source1, depth.source2}) {
            if (!validSource(s) || !sources[s] || !sources[s][voice]) continue;
            a += c * sources[s][voice][at];
        }
        a *= velocityFactor(depth.velocityAmount, voice, at);
    }
    return a * velocityFactor(r.velocityAmount, voice, at);
}

float ModuleMatrix::modulatedByRoutes(int paramId, float base, int frames, int voice) const {
    if (paramId < 0 || paramId >= kParamCount || frames < 2 || voice < 0 || voice >= kVoiceCount)
        return base;
    const int t = targetOfParamId[paramId];
    if (t == 0 || !targetLive[t - 1]) return base;
    const MatrixTargetRecord& record = targets[t - 1];
    if (!record.active) return base;
    const int curveClass = curveOfParamId[paramId];
    float sum = 0.0f;
    for (int r = 0; r < record.routeCount; ++r) {
        const MatrixRoute& route = record.routes[r];
        if (!validSource(route.source)) continue;
        float* const* table = sources[route.source];
        if (!table) return base;
        const float* buffer = table[voice];
        if (!buffer) continue;
        // The mean of the block's first and last sample; depth and velocity at the one before.
        const float m = buffer[frames - 1] + buffer[0];
        sum += routeFactor(route, curveClass, voice, frames - 2) * (m * 0.5f);
    }
    return clamp01(base + sum);
}

// --- the per-sample query ---------------------------------------------------------------

void ModuleMatrix::applyVelocity(float v, int voice, int frames) {
    float* __restrict f = routeScratch;
    if (v > 0.0f) {
        const float* vel = velocityTable ? velocityTable[voice] : nullptr;
        if (!vel) return;
        for (int i = 0; i < frames; ++i) f[i] *= v * vel[i] + (1.0f - v);
    } else if (v < 0.0f) {
        const float* inv = inverseVelocityTable ? inverseVelocityTable[voice] : nullptr;
        if (!inv) return;
        for (int i = 0; i < frames; ++i) f[i] *= v + 1.0f - v * inv[i];
    }
}

void ModuleMatrix::fillRouteFactor(const MatrixRoute& r, int curveClass, int voice, int frames) {
    float* __restrict f = routeScratch;
    const float a = curve(curveClass, r.amount);
    for (int i = 0; i < frames; ++i) f[i] = a;
    for (int d = 0; d < r.depthCount; ++d) {
        const MatrixDepth& depth = r.depths[d];
        const float c = curve(kCurveGeneral, depth.amount);
        for (const int32_t s : {depth.source1, depth.source2}) {
            if (!validSource(s) || !sources[s] || !sources[s][voice]) continue;
            const float* __restrict src = sources[s][voice];
            for (int i = 0; i < frames; ++i) f[i] += c * src[i];
        }
        applyVelocity(depth.velocityAmount, voice, frames);
    }
    applyVelocity(r.velocityAmount, voice, frames);
}

void ModuleMatrix::addRouteBuffer(const MatrixRoute& r, int curveClass, int voice, int frames,
                                  const float* __restrict src, float* __restrict acc,
                                  const float* __restrict base, bool first, bool last) {
    // One pass per route: the first writes, the others add, and the last one also adds the base
    // and clamps, in the order a separate final pass would.
    if (r.depthCount == 0 && r.velocityAmount == 0.0f) {
        // The common route: a constant amount times the source.
        const float a = curve(curveClass, r.amount);
        if (first && last)
            for (int i = 0; i < frames; ++i) acc[i] = clamp01(a * src[i] + base[i]);
        else if (first)
            for (int i = 0; i < frames; ++i) acc[i] = a * src[i];
        else if (last)
            for (int i = 0; i < frames; ++i) acc[i] = clamp01((acc[i] + a * src[i]) + base[i]);
        else
            for (int i = 0; i < frames; ++i) acc[i] += a * src[i];
        return;
    }
    fillRouteFactor(r, curveClass, voice, frames);
    const float* __restrict f = routeScratch;
    if (first && last)
        for (int i = 0; i < frames; ++i) acc[i] = clamp01(f[i] * src[i] + base[i]);
    else if (first)
        for (int i = 0; i < frames; ++i) acc[i] = f[i] * src[i];
    else if (last)
        for (int i = 0; i < frames; ++i) acc[i] = clamp01((acc[i] + f[i] * src[i]) + base[i]);
    else
        for (int i = 0; i < frames; ++i) acc[i] += f[i] * src[i];
}

const float* ModuleMatrix::bufferByRoutes(int paramId, const float* baseBuffer, int frames,
                                          int voice) {
    if (!baseBuffer || paramId < 0 || paramId >= kParamCount || frames < 2 || voice < 0 ||
        voice >= kVoiceCount)
        return baseBuffer;
    const int t = targetOfParamId[paramId];
    if (t == 0 || !targetLive[t - 1]) return baseBuffer;
    const MatrixTargetRecord& record = targets[t - 1];
    if (!record.active || record.workIndex < 0) return baseBuffer;
    frames = std::min(frames, kMaxBlockFrames);
    // The routes that reach this voice, found first so that the last one can finish the sum.
    const MatrixRoute* live[kMaxRoutes];
    const float* liveSource[kMaxRoutes];
    int count = 0;
    const int routes = std::min<int>(record.routeCount, kMaxRoutes);
    for (int r = 0; r < routes; ++r) {
        const MatrixRoute& route = record.routes[r];
        if (!validSource(route.source)) continue;
        float* const* table = sources[route.source];
        if (!table) return baseBuffer;
        const float* src = table[voice];
        if (!src) continue;
        live[count] = &route;
        liveSource[count] = src;
        ++count;
    }
    if (count == 0) return baseBuffer;
    const int curveClass = curveOfParamId[paramId];
    float* acc = work[record.workIndex];
    // Clamped once at the end, not per route.
    for (int k = 0; k < count; ++k)
        addRouteBuffer(*live[k], curveClass, voice, frames, liveSource[k], acc, baseBuffer, k == 0,
                       k == count - 1);
    // Groups of 4 read past the last frame find zeros, whatever the last block's length was.
    std::memset(acc + frames, 0, sizeof(float) * 8);
    return acc;
}

} // namespace torvo

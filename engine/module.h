#pragma once
// The engine is a fixed graph of modules. Every module derives from Module; modules that
// keep state per voice derive from ModulePoly and own 17 voices: 0..15 play in the poly
// modes, 16 is the mono voice, which also renders whenever a global target needs a source.
// Modules are created once per engine, wired by pointers handed out in init() and by tables
// the render refreshes each block, and never allocate after setMaxBlockSize().

#include <array>
#include <cstdint>
#include <string>

namespace torvo {

class APlugin;
class ModuleMatrix;
struct EngineShared;

constexpr int kVoiceCount = 17;
constexpr int kMonoVoice = 16;
constexpr int kMaxBlockFrames = 8192;

/// Left/right pointers of one voice's stereo output.
struct StereoPtr {
    float* left = nullptr;
    float* right = nullptr;
};

/// Base of all per-voice objects.
class Voice {
public:
    virtual ~Voice() = default;
    virtual void reset() {}
};

class Module {
public:
    /// Largest number of local parameters any module binds (the stepper's 106).
    static constexpr int kMaxLocalParams = 112;

    Module();
    virtual ~Module() = default;
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    /// Allocates voices or components; called right after init().
    virtual void createVoices() {}
    /// Records which global parameter feeds a local index, for the modulation queries.
    virtual void bindParameter(int localIndex, int paramId);
    /// Takes a normalised value and decodes it into the module's fields.
    virtual void setParameter(int localIndex, float value) {}
    virtual void init(APlugin* owner, EngineShared* sharedBlock, ModuleMatrix* modMatrix,
                      const char* moduleName);
    virtual void setSampleRate(float rate) { sampleRate = rate; }
    /// Allocates every block-length buffer from the engine's pool.
    virtual void setMaxBlockSize(int frames) {}
    /// Effects only: works in place on the two output buses.
    virtual void processFx(int frames, float* const* stereo) {}
    virtual void resetVoices() {}
    /// 17 per-voice pointers to a control or mono-audio buffer, or null.
    virtual float* const* getOutputs(int index) { return nullptr; }
    /// 17 per-voice stereo pointer pairs, or null.
    virtual const StereoPtr* getStereoOutputs(int index) { return nullptr; }
    virtual Voice* getVoice(int i) { return nullptr; }

    /// Global parameter id bound to a local index, or -1.
    int paramId(int localIndex) const {
        return localIndex >= 0 && localIndex < kMaxLocalParams ? paramIds[localIndex] : -1;
    }

    APlugin* plugin = nullptr;
    EngineShared* shared = nullptr;
    ModuleMatrix* matrix = nullptr;
    std::string name;
    float sampleRate = 44100.0f;
    bool dirty = false;
    std::array<int, kMaxLocalParams> paramIds;
};

/// A module with the 17-voice handling.
class ModulePoly : public Module {
public:
    void resetVoices() override;
    Voice* getVoice(int i) override;

    /// Renders one block. use: 1 for the playing voices, 2 to also render voice 16.
    virtual void process(int frames, int use) {}

protected:
    /// Filled by createVoices() of the derived class.
    std::array<Voice*, kVoiceCount> voices{};
};

/// Decoding helpers shared by every module.
inline int decodeList(float v) {
    return static_cast<int>(v * 999.99f);
}
inline bool decodeOnOff(float v) {
    return static_cast<int>(v * 1.99f) != 0;
}

} // namespace torvo

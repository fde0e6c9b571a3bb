#pragma once
// The reverb network of one instance: pre-delay, multi-tap early section, input diffusers, a
// two-branch figure-of-eight loop (the tank) with modulated waveguides, output taps and two
// peaking filters. A data set decides what each part does; the network itself never changes.

#include "effects/cookbookbiquad.h"
#include "effects/reverbcurves.h"
#include "effects/reverbdata.h"
#include "effects/reverbparts.h"

#include <array>
#include <cstddef>
#include <vector>

namespace torvo {

/// Per-sample control buffers of one block (normalised 0..1) and the block's settings.
struct ReverbControls {
    const float* preTime = nullptr;
    const float* damp = nullptr;
    const float* wide = nullptr;
    const float* decay = nullptr;
    const float* color = nullptr;
    const float* wet = nullptr;
    bool sync = false;
    int preTimeSync = 0;
    float tempo = 120.0f;
};

class ComponentRever {
public:
    static constexpr int kMtLines = 6;
    static constexpr int kDfLines = 6;
    static constexpr int kClLines = 14;
    static constexpr int kLineCount = kMtLines + kDfLines + 4 + 4 + kClLines;
    /// The memory is sized for rates up to this; higher rates run with delays clamped to it.
    static constexpr float kMaxRate = 192000.0f;
    static constexpr float kMinRate = 1000.0f;
    static constexpr float kPreDelaySeconds = 32.0f;

    ComponentRever();

    /// Sizes the lines for the rate (allocates; never call on the audio thread). A new rate
    /// empties the memory, the same rate keeps it.
    void setSampleRate(float rate);
    /// Zeroes every delay line and the loop's state.
    void clear();
    /// Takes a data set; the delay lines keep their contents.
    void load(const ReverbData& data, int mode);
    int loadedMode() const { return mode; }
    bool ready() const { return !lines.empty(); }

    /// Runs the network over the block and mixes it into the two buffers in place.
    void process(int frames, float* left, float* right, const ReverbControls& controls);

    /// Inspection for tests and tools.
    const std::vector<float>& lineMemory() const { return lines; }
    const std::vector<float>& preDelayMemory() const { return preDelay; }
    std::size_t lineLength() const { return lineSize; }
    /// True when any stored sample or state value of the network is subnormal.
    bool holdsSubnormals() const;

private:
    struct Branch {
        ReverbLine ap1, wg1, ap2, wg2;
        float g1 = 0.0f, g2 = 0.0f;
        uint32_t d1 = 0, d2 = 0;
        float wg1Base = 0.0f, wg2Base = 0.0f;
        float depth1 = 0.0f, depth2 = 0.0f, depth2b = 0.0f;
        float damp = 0.0f;
        float fb = 0.0f;
    };

    std::size_t lineStride() const;
    std::array<ReverbLine*, kLineCount> allLines();
    void assignLines();
    void updateTimes();
    void designFilters();
    void setColor(float c);
    void setDecay(float v);
    void setDamp(float v);

    const ReverbCurves& curves;
    ReverbData data{};
    int mode = -1;
    float rate = 0.0f;
    float invRate = 0.0f;
    float ratio = 1.0f;
    float invT = 1.0f;

    std::vector<float> lines;
    std::size_t lineSize = 0;
    std::vector<float> preDelay;
    int preWrite = 0;
    /// Samples written into every line and into the pre-delay since the last clear (at most
    /// their length): the part a clear has to zero.
    std::size_t linesWritten = 0;
    std::size_t preWritten = 0;

    ReverbLine mt[kMtLines];
    ReverbLine df[kDfLines];
    ReverbLine cl[kClLines];
    Branch left, right;
    RandomLfo lfo[4];

    // Times of the loaded set at the running rate.
    float mtBase[kMtLines] = {};
    float dfBase[kDfLines] = {};
    uint32_t clDelay[kClLines] = {};
    int clIndex[kClLines] = {};
    float clGain[kClLines] = {};
    float maxDelay = 0.0f;

    // Values derived from the controls, recomputed only when a control moves.
    float lastColor = -1.0f, k1 = 0.0f, k2 = 0.0f;
    float lastDecay = -1.0f, sizeDf = 0.0f, tail = 0.0f;
    uint32_t mtDelay[kMtLines] = {};
    uint32_t dfDelay[kDfLines] = {};
    float lastDamp = -1.0f, kd = 0.0f;

    // Input tone section.
    float lp = 0.0f, hp = 0.0f;
    CookbookBiquad notch[2];
};

} // namespace torvo

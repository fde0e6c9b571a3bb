#pragma once
// The two small parts the reverb network is made of: a delay line over a power-of-two window of
// shared memory, and the random LFO that moves its waveguides.

#include <cstdint>

namespace torvo {

/// One delay line. It never owns memory: the reverb hands every line a window of its block.
/// The window is at least one second long, and every delay read through it stays below that.
struct ReverbLine {
    float* data = nullptr;
    uint32_t mask = 0;
    uint32_t w = 0;

    /// The sample written `delay` samples before the next write (delay 0: a whole window ago).
    float tap(uint32_t delay) const { return data[(w - delay) & mask]; }
    void push(float x) {
        data[w] = x;
        w = (w + 1) & mask;
    }
    /// Four-point cubic read at a fractional delay, before this sample's write. The neighbours
    /// wrap around the window.
    float cubic(float delay) const {
        const uint32_t whole = static_cast<uint32_t>(delay);
        const float frac = delay - static_cast<float>(whole);
        // Position w - delay, split so the fraction keeps its precision in long windows.
        uint32_t i = w - whole;
        float t = 0.0f;
        if (frac > 0.0f) {
            i -= 1;
            t = 1.0f - frac;
        }
        const float ym = data[(i - 1) & mask];
        const float y0 = data[i & mask];
        const float y1 = data[(i + 1) & mask];
        const float y2 = data[(i + 2) & mask];
        const float c3 = 1.5f * (y0 - y1) + 0.5f * (y2 - ym);
        const float c2 = ym - 2.5f * y0 + 2.0f * y1 - 0.5f * y2;
        const float c1 = 0.5f * (y1 - ym);
        return ((c3 * t + c2) * t + c1) * t + y0;
    }
};

/// A ramp between random targets in 0..1, one new target per period. Every instance starts
/// from the same seed, so LFOs of equal rate move in step and a rate of 0 stands at 0.
struct RandomLfo {
    static constexpr uint32_t kSeed1 = 1732584193u;
    static constexpr uint32_t kSeed2 = 0xefcdab89u;

    void reset() {
        phase = 0.0f;
        start = 0.0f;
        slope = 0.0f;
        output = 0.0f;
        r1 = kSeed1;
        r2 = kSeed2;
    }
    float next() {
        phase += increment;
        if (phase > 1.0f) {
            phase -= 1.0f;
            const uint32_t s = r2;
            r1 ^= s;
            r2 = r1 + s;
            start = output;
            slope = static_cast<float>(static_cast<int32_t>(s)) * 2.3283064e-10f + 0.5f - start;
        }
        output = slope * phase + start;
        return output;
    }

    float phase = 0.0f;
    float increment = 0.0f;
    float start = 0.0f;
    float slope = 0.0f;
    float output = 0.0f;
    uint32_t r1 = kSeed1;
    uint32_t r2 = kSeed2;
};

} // namespace torvo

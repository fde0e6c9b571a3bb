#pragma once
// One-pole smoother in which every smoothed parameter lives. A write sets the target; each
// block then fills a block-length buffer with the glide towards it. Small moves glide at 24 Hz,
// a jump of half the range or more takes a 240 Hz path, and a settled smoother fills its buffer
// once and then costs nothing until the next write.

namespace torvo {

class Pool;

class ParamSmoother {
public:
    enum State { Idle = 0, Running = 1, Settled = 2 };

    /// Takes a "prm" buffer for blocks of up to `frames` from the pool.
    void allocate(Pool& pool, int frames);
    /// Writes a new normalised target.
    void set(float value);
    /// Jumps to a value at once (no glide).
    void reset(float value);
    /// Advances one block and fills the buffer; `rate` in Hz.
    void process(int frames, float rate);

    const float* data() const { return buffer; }
    float* data() { return buffer; }
    float value() const { return current; }
    float targetValue() const { return target; }

    int state = Settled;
    float cutoff = 24.0f;
    float lastRate = 0.0f;
    float target = 0.0f;
    float current = 0.0f;
    float coef = 0.0f;
    float coefInverse = 1.0f;
    float* buffer = nullptr;
    int lastFrames = 0;
};

} // namespace torvo

#pragma once
// The seven external controller channels (mod wheel, breath, foot pedal, expression, sustain,
// pitch wheel, aftertouch) as per-sample modulation sources. A controller value arrives at a
// sample offset and is quantised to 1/10000; each block turns the queued values into a
// smoothed per-sample buffer. The smoothing speed depends on the size of the move, and a large
// move after a long pause jumps, so that a pedal flipped between notes acts at once while a
// wheel being turned glides. The pitch wheel always glides at one fixed rate.

#include "engine/module.h"

namespace torvo {

class ModuleExtControl : public Module {
public:
    static constexpr int kChannelCount = 7;
    static constexpr int kPitchWheel = 5;
    /// Queue entry meaning "no event at this sample".
    static constexpr float kNoEvent = -2.0f;

    struct Channel {
        /// Per-sample input queue; kNoEvent where nothing arrived.
        float* queue = nullptr;
        float* output = nullptr;
        float target = 0.0f;
        float current = 0.0f;
        /// Last written (quantised) value.
        float value = 0.0f;
        /// A value written before the queue existed; goes to sample 0 of the next block.
        float pending = 0.0f;
        /// Coefficient of the running glide.
        float k = 0.0f;
        /// 2 after a write; counts down once per settled block; 0 costs nothing.
        int state = 0;
        /// Samples since the last event.
        int count = 0;
        /// Frames of `output` that hold a valid value.
        int filledFrames = 0;
        /// The next event takes effect at once (set while the engine runs its first block).
        bool jumpNext = false;
    };

    ModuleExtControl();

    void setMaxBlockSize(int frames) override;
    /// Block length of the next resetVoices(); the render sets it before the block update.
    void setBlockFrames(int frames) { blockFrames = frames; }
    /// The per-block update of all seven channels.
    void resetVoices() override;

    /// Queues a controller value at a sample offset of the coming block.
    void write(int channel, int offset, float value);
    /// Sets a channel to a value at once, without glide or event.
    void resetChannel(int channel, float value);
    /// The per-sample output of a channel for the last block.
    const float* output(int channel) const;

    Channel channels[kChannelCount];
    int blockFrames = 0;
    int capacity = 0;

private:
    void updateChannel(int index, Channel& c, int frames);
    float glideCoefficient(const Channel& c) const;
};

} // namespace torvo

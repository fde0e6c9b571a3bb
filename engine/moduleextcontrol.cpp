#include "engine/moduleextcontrol.h"

#include "engine/engineshared.h"
#include "engine/pool.h"

#include <algorithm>
#include <cmath>

namespace torvo {

namespace {
/// Glide coefficient by the size of the move, read at |move| * 7.
constexpr float kGlideByDistance[9] = {0.00001f, 0.0001f, 0.0003f, 0.0007f, 0.0015f,
                                       0.003f,   0.006f,  0.01f,   0.01f};
constexpr float kPitchWheelGlide = 0.007f;
constexpr float kSettled = 0.0001f;
constexpr int kCountCap = 1 << 28;

float quantise(float value) {
    return static_cast<float>(static_cast<int>(value * 10000.0f)) * 0.0001f;
}
} // namespace

ModuleExtControl::ModuleExtControl() = default;

void ModuleExtControl::setMaxBlockSize(int frames) {
    if (!shared || !shared->pool || frames <= 0) return;
    for (Channel& c : channels) {
        c.queue = shared->pool->get("ext", frames);
        c.output = shared->pool->get("ext", frames);
        if (!c.queue || !c.output) {
            c.queue = c.output = nullptr;
            continue;
        }
        std::fill(c.queue, c.queue + frames, kNoEvent);
        c.filledFrames = 0;
    }
    capacity = frames;
}

void ModuleExtControl::write(int channel, int offset, float value) {
    if (channel < 0 || channel >= kChannelCount) return;
    Channel& c = channels[channel];
    const float q = quantise(value);
    if (q == c.value && c.state == 0) return;
    c.value = q;
    if (c.queue && capacity > 0)
        c.queue[std::clamp(offset, 0, capacity - 1)] = q;
    else
        c.pending = q;
    c.state = 2;
}

void ModuleExtControl::resetChannel(int channel, float value) {
    if (channel < 0 || channel >= kChannelCount) return;
    Channel& c = channels[channel];
    c.value = c.target = c.current = value;
    c.pending = 0.0f;
    c.state = 2;
}

const float* ModuleExtControl::output(int channel) const {
    return channel >= 0 && channel < kChannelCount ? channels[channel].output : nullptr;
}

void ModuleExtControl::resetVoices() {
    const int frames = std::min(blockFrames, capacity);
    if (frames <= 0) return;
    if (shared && shared->firstBlock)
        for (Channel& c : channels) c.jumpNext = true;
    for (int i = 0; i < kChannelCount; ++i) updateChannel(i, channels[i], frames);
}

float ModuleExtControl::glideCoefficient(const Channel& c) const {
    const float pause =
        std::clamp(static_cast<float>(c.count), 0.05f * sampleRate, 1.5f * sampleRate);
    const float distance = std::fabs(c.target - c.current);
    // A large move after a long pause is a jump.
    if (pause > 0.5f * sampleRate && distance > 0.2f) return 1.0f;
    const float x = std::clamp(distance * 7.0f, 0.0f, 7.0f);
    const int i = static_cast<int>(x);
    return kGlideByDistance[i] + (x - i) * (kGlideByDistance[i + 1] - kGlideByDistance[i]);
}

void ModuleExtControl::updateChannel(int index, Channel& c, int frames) {
    if (!c.output) return;
    if (c.state == 0) {
        // Only pauses up to 1.5 s matter; the cap keeps the count from overflowing.
        c.count = std::min(c.count, kCountCap) + frames;
        // A longer block than the last filled one must not expose stale samples.
        for (int i = c.filledFrames; i < frames; ++i) c.output[i] = c.current;
        c.filledFrames = std::max(c.filledFrames, frames);
        return;
    }
    if (c.pending != 0.0f) {
        c.queue[0] = c.pending;
        c.pending = 0.0f;
    }
    for (int i = 0; i < frames; ++i) {
        if (c.queue[i] != kNoEvent) {
            c.target = c.queue[i];
            c.queue[i] = kNoEvent;
            if (index != kPitchWheel) c.k = glideCoefficient(c);
            c.count = 1;
            if (c.jumpNext) {
                c.current = c.target;
                c.jumpNext = false;
            }
        }
        const float k = index == kPitchWheel ? kPitchWheelGlide : c.k;
        c.current += (c.target - c.current) * k;
        c.output[i] = c.current;
        ++c.count;
    }
    c.filledFrames = frames;
    if (std::fabs(c.target - c.current) < kSettled) {
        --c.state;
        c.current = c.target;
    }
}

} // namespace torvo

#pragma once
// The block that every module of one engine shares: rates, tempo and the voice status that
// env1 publishes. env1 decides life and death of a voice; each block the render sets a
// voice's `active` from its stage, and every module tests `active` before rendering a voice.

#include "engine/module.h"

namespace torvo {

class Pool;

struct EngineShared {
    float sampleRate = 44100.0f;
    float invSampleRate = 1.0f / 44100.0f;
    /// 44100 / sampleRate: scales rates that were tuned at 44.1 kHz.
    float rateRatio = 1.0f;
    float tempo = 120.0f;
    int maxFrames = 0;
    /// Where modules take their block-length buffers in setMaxBlockSize().
    Pool* pool = nullptr;
    /// True during the first block after the engine was built.
    bool firstBlock = true;

    /// Per voice: 1 while env1's stage is not idle.
    int active[kVoiceCount] = {};
    /// Per voice pointers into env1's voices: stage as of the last block, position in the
    /// stage, current level and trigger flag. Linked once at construction.
    int* env1Stage[kVoiceCount] = {};
    const float* env1Position[kVoiceCount] = {};
    const float* env1Level[kVoiceCount] = {};
    const int* env1Trigger[kVoiceCount] = {};
    /// Whether a voice's envelope last started from idle, and its level at a retrigger:
    /// oscillators, LFOs and filters read these to decide whether a voice keeps its state.
    const bool* env1FreshStart[kVoiceCount] = {};
    const float* env1ValueAtRetrig[kVoiceCount] = {};
    /// True in the mono modes 0..3, where only voice 16 plays.
    bool monoMode = false;
};

} // namespace torvo

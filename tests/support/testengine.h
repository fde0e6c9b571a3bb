#pragma once
// A headless engine as the processor sets one up: block size, rate, tempo, every default
// parameter written and the matrix refreshed.

#include "engine/aplugin.h"

#include <memory>
#include <vector>

namespace torvo::test {

std::unique_ptr<APlugin> makeTestEngine(float sampleRate = 44100.0f, int maxBlock = 512);

/// Renders one block into two owned buffers.
struct StereoBlock {
    explicit StereoBlock(int frames) : left(frames), right(frames) {}
    float* const* pointers() {
        ptrs[0] = left.data();
        ptrs[1] = right.data();
        return ptrs;
    }
    std::vector<float> left, right;
    float* ptrs[2] = {};
};

} // namespace torvo::test

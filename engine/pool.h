#pragma once
// Block-length buffers of one engine. Every buffer is frames * 4 + 16 bytes rounded up to 16,
// 16-byte aligned and zeroed, so reads of a group of 4 past the last frame stay inside it.
// The pool owns what it hands out; everything dies with the engine.

#include <cstddef>
#include <vector>

namespace torvo {

class Pool {
public:
    Pool() = default;
    ~Pool();
    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;

    /// A zeroed float buffer for a block of `frames`; `tag` names the owner (for debugging).
    /// Answers null if memory is exhausted.
    float* get(const char* tag, int frames);
    /// A zeroed, 16-byte aligned block of raw bytes.
    void* getBytes(const char* tag, std::size_t bytes);

    std::size_t bytesInUse() const { return total; }

private:
    std::vector<void*> blocks;
    std::size_t total = 0;
};

} // namespace torvo

#include "engine/pool.h"

#include <cstdlib>
#include <cstring>

namespace torvo {

Pool::~Pool() {
    for (void* p : blocks) std::free(p);
}

void* Pool::getBytes(const char*, std::size_t bytes) {
    const std::size_t size = (bytes + 15) & ~std::size_t(15);
    void* p = std::aligned_alloc(16, size == 0 ? 16 : size);
    if (!p) return nullptr;
    std::memset(p, 0, size);
    blocks.push_back(p);
    total += size;
    return p;
}

float* Pool::get(const char* tag, int frames) {
    if (frames < 0) frames = 0;
    return static_cast<float*>(getBytes(tag, std::size_t(frames) * 4 + 16));
}

} // namespace torvo

#include "sources/oscblock.h"

#include "engine/pool.h"

namespace torvo {

void EngineBuffers::allocate(Pool& pool, int frames) {
    note = pool.get("osc slot note", frames);
    slot = pool.get("osc slot out", frames);
    sumL = pool.get("osc sum L", frames);
    sumR = pool.get("osc sum R", frames);
}

} // namespace torvo

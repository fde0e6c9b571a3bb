#pragma once
// One module built on its own, outside an engine: its own pool and shared block, initialised
// and given buffers for blocks of `frames`.

#include "engine/engineshared.h"
#include "engine/pool.h"

namespace torvo::test {

template <typename M> struct Standalone {
    explicit Standalone(int frames = 256, const char* name = "module") {
        shared.pool = &pool;
        m.init(nullptr, &shared, nullptr, name);
        m.createVoices();
        m.setMaxBlockSize(frames);
    }
    Pool pool;
    EngineShared shared;
    M m;
};

} // namespace torvo::test

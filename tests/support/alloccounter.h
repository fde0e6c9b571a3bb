#pragma once
// Counts heap allocations of the whole test process while armed, so a test can prove that a
// stretch of code (a steady-state render, a process call) never allocates.

#include <atomic>
#include <cstddef>

namespace torvo::test {

struct AllocCounter {
    static std::atomic<bool> armed;
    static std::atomic<std::size_t> count;
};

/// Counts allocations for as long as it lives.
class ScopedAllocCount {
public:
    ScopedAllocCount() {
        AllocCounter::count = 0;
        AllocCounter::armed = true;
    }
    ~ScopedAllocCount() { AllocCounter::armed = false; }
    std::size_t count() const { return AllocCounter::count.load(); }
};

} // namespace torvo::test

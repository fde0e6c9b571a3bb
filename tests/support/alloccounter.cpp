#include "support/alloccounter.h"

#include <cstdlib>
#include <new>

namespace torvo::test {
std::atomic<bool> AllocCounter::armed{false};
std::atomic<std::size_t> AllocCounter::count{0};
} // namespace torvo::test

using torvo::test::AllocCounter;

namespace {
void* countedAlloc(std::size_t size) {
    if (AllocCounter::armed.load(std::memory_order_relaxed))
        AllocCounter::count.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
    throw std::bad_alloc();
}
} // namespace

void* operator new(std::size_t size) {
    return countedAlloc(size);
}
void* operator new[](std::size_t size) {
    return countedAlloc(size);
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete[](void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    std::free(p);
}
// The nothrow forms (std::stable_sort's buffer uses them) must pair with the frees above.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    if (AllocCounter::armed.load(std::memory_order_relaxed))
        AllocCounter::count.fetch_add(1, std::memory_order_relaxed);
    return std::malloc(size == 0 ? 1 : size);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
    return operator new(size, tag);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
    std::free(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
    std::free(p);
}

// The global operator new of the benchmark programs, replaced to count heap
// allocations (see AllocationCount.h).
#include "AllocationCount.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<long> g_Allocations{0};
}

// The replacement pair below allocates with malloc and frees with free; GCC
// cannot see that both sides are replaced and warns about a mismatch.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

void* operator new(std::size_t size)
{
    g_Allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size ? size : 1))
        return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

long AllocationCount() { return g_Allocations.load(std::memory_order_relaxed); }

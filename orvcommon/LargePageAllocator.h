#pragma once

#include <cstddef>
#include <vector>

namespace orvcore {

/// Raw blocks for `LargePageAllocator`. Blocks of `kLargeBlockBytes` or more
/// are aligned to 2 MiB, sized up to a multiple of it and offered to the
/// kernel for transparent huge pages: filling a million-element array then
/// costs a few page faults instead of thousands, and random reads through it
/// (tree walks, vertex gathers) miss the TLB far less. Smaller blocks are
/// aligned to a cache line.
void* AllocateLargePageBlock(std::size_t bytes);
void FreeLargePageBlock(void* block, std::size_t bytes) noexcept;
constexpr std::size_t kLargeBlockBytes = std::size_t(4) << 20;

/// Standard allocator over those blocks, for arrays that may grow large.
template <typename T>
struct LargePageAllocator {
    using value_type = T;
    LargePageAllocator() = default;
    template <typename U>
    LargePageAllocator(const LargePageAllocator<U>&) noexcept
    {
    }
    T* allocate(std::size_t n) { return static_cast<T*>(AllocateLargePageBlock(n * sizeof(T))); }
    void deallocate(T* p, std::size_t n) noexcept { FreeLargePageBlock(p, n * sizeof(T)); }
    template <typename U>
    bool operator==(const LargePageAllocator<U>&) const
    {
        return true;
    }
    template <typename U>
    bool operator!=(const LargePageAllocator<U>&) const
    {
        return false;
    }
};

template <typename T>
using LargeVector = std::vector<T, LargePageAllocator<T>>;

} // namespace orvcore

#pragma once

#include <cstddef>
#include <vector>

namespace orvcore {

/// Raw blocks for `LargePageAllocator`. Blocks of `kLargeBlockBytes` or more
/// are aligned to 2 MiB, sized up to a multiple of it and offered to the
/// kernel for transparent huge pages: filling a million-element array then
/// costs a few page faults instead of thousands, and random reads through it
/// (tree walks, vertex gathers) miss the TLB far less. Smaller blocks come
/// from the ordinary heap with the requested alignment, so that the many
/// small buffers of a scene pack as tightly as with `std::allocator`.
void* AllocateLargePageBlock(std::size_t bytes, std::size_t alignment);
void FreeLargePageBlock(void* block, std::size_t bytes, std::size_t alignment) noexcept;
constexpr std::size_t kLargeBlockBytes = std::size_t(4) << 20;

/// Standard allocator over those blocks, for arrays that may grow large.
/// `SmallAlignment` raises the alignment of small blocks (a cache line for
/// arrays whose element pairs must share one).
template <typename T, std::size_t SmallAlignment = alignof(T)>
struct LargePageAllocator {
    using value_type = T;
    template <typename U>
    struct rebind {
        using other = LargePageAllocator<U, SmallAlignment>;
    };
    LargePageAllocator() = default;
    template <typename U>
    LargePageAllocator(const LargePageAllocator<U, SmallAlignment>&) noexcept
    {
    }
    T* allocate(std::size_t n) { return static_cast<T*>(AllocateLargePageBlock(n * sizeof(T), kAlignment)); }
    void deallocate(T* p, std::size_t n) noexcept { FreeLargePageBlock(p, n * sizeof(T), kAlignment); }
    template <typename U>
    bool operator==(const LargePageAllocator<U, SmallAlignment>&) const
    {
        return true;
    }
    template <typename U>
    bool operator!=(const LargePageAllocator<U, SmallAlignment>&) const
    {
        return false;
    }

private:
    static constexpr std::size_t kAlignment = SmallAlignment > alignof(T) ? SmallAlignment : alignof(T);
};

template <typename T, std::size_t SmallAlignment = alignof(T)>
using LargeVector = std::vector<T, LargePageAllocator<T, SmallAlignment>>;

} // namespace orvcore

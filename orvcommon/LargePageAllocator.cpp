#include <orvcommon/LargePageAllocator.h>

#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace orvcore {

namespace {

constexpr std::size_t kHugePage = std::size_t(2) << 20;
constexpr std::size_t kCacheLine = 64;

std::size_t RoundedSize(std::size_t bytes) { return (bytes + kHugePage - 1) & ~(kHugePage - 1); }

} // namespace

void* AllocateLargePageBlock(std::size_t bytes)
{
    if (bytes < kLargeBlockBytes)
        return ::operator new(bytes, std::align_val_t(kCacheLine));
    const std::size_t size = RoundedSize(bytes);
    void* block = ::operator new(size, std::align_val_t(kHugePage));
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    // Advice only: without huge pages the block works the same.
    madvise(block, size, MADV_HUGEPAGE);
#endif
    return block;
}

void FreeLargePageBlock(void* block, std::size_t bytes) noexcept
{
    if (bytes < kLargeBlockBytes)
        ::operator delete(block, std::align_val_t(kCacheLine));
    else
        ::operator delete(block, RoundedSize(bytes), std::align_val_t(kHugePage));
}

} // namespace orvcore

#include <orvcommon/LargePageAllocator.h>

#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace orvcore {

namespace {

constexpr std::size_t kHugePage = std::size_t(2) << 20;

bool NeedsAlignedNew(std::size_t alignment) { return alignment > __STDCPP_DEFAULT_NEW_ALIGNMENT__; }

std::size_t RoundedSize(std::size_t bytes) { return (bytes + kHugePage - 1) & ~(kHugePage - 1); }

} // namespace

void* AllocateLargePageBlock(std::size_t bytes, std::size_t alignment)
{
    if (bytes < kLargeBlockBytes)
        return NeedsAlignedNew(alignment) ? ::operator new(bytes, std::align_val_t(alignment)) : ::operator new(bytes);
    const std::size_t size = RoundedSize(bytes);
    void* block = ::operator new(size, std::align_val_t(kHugePage));
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    // Advice only: without huge pages the block works the same.
    madvise(block, size, MADV_HUGEPAGE);
#endif
    return block;
}

void FreeLargePageBlock(void* block, std::size_t bytes, std::size_t alignment) noexcept
{
    if (bytes < kLargeBlockBytes && NeedsAlignedNew(alignment))
        ::operator delete(block, std::align_val_t(alignment));
    else if (bytes < kLargeBlockBytes)
        ::operator delete(block);
    else
        ::operator delete(block, RoundedSize(bytes), std::align_val_t(kHugePage));
}

} // namespace orvcore

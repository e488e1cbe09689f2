#include <orvkernel/device/GfxObject.h>

#include <atomic>

namespace orvcore {

namespace {
uint32_t NextObjectId()
{
    static std::atomic<uint32_t> counter{0};
    return counter.fetch_add(1, std::memory_order_relaxed) + 1;
}
} // namespace

GfxObject::GfxObject() : m_ObjectId(NextObjectId()) {}
GfxObject::GfxObject(const GfxObject&) : m_ObjectId(NextObjectId()) {}
GfxObject::~GfxObject() = default;

} // namespace orvcore

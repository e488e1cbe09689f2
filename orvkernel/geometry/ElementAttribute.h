#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include <orvcommon/LargePageAllocator.h>

#include <orvcommon/TypedBuffer.h>
#include <orvkernel/geometry/BufferAttribute.h>

namespace orvcore {

/// Index list of a geometry, stored as 16- or 32-bit unsigned integers
/// (`DATA_TYPE_UNSIGNED_SHORT` / `DATA_TYPE_UNSIGNED_INT`).
class ElementAttribute {
public:
    ElementAttribute() = default;
    explicit ElementAttribute(const std::vector<uint32_t>& indices);
    explicit ElementAttribute(const std::vector<uint16_t>& indices);
    explicit ElementAttribute(const Uint32Buffer& indices);
    ElementAttribute(const uint32_t* indices, std::size_t count);
    /// Takes over indices built in place (no copy of a large list).
    explicit ElementAttribute(LargeVector<uint32_t>&& indices);
    explicit ElementAttribute(LargeVector<uint16_t>&& indices);

    EnumDataType GetDataType() const { return m_Wide ? DATA_TYPE_UNSIGNED_INT : DATA_TYPE_UNSIGNED_SHORT; }
    std::size_t GetCount() const { return m_Wide ? m_Indices32.size() : m_Indices16.size(); }
    std::size_t GetByteSize() const { return GetCount() * (m_Wide ? 4u : 2u); }
    const void* GetData() const
    {
        return m_Wide ? static_cast<const void*>(m_Indices32.data()) : static_cast<const void*>(m_Indices16.data());
    }
    /// Index i (unchecked).
    uint32_t Get(std::size_t i) const { return m_Wide ? m_Indices32[i] : m_Indices16[i]; }
    /// Writes index i (checked; a 16-bit list refuses values above 65535).
    bool Set(std::size_t i, uint32_t value);
    /// Largest index, 0 when empty.
    uint32_t GetMaxIndex() const;

    uint32_t GetVersion() const { return m_Version; }
    void RaiseVersion() { ++m_Version; }

    std::shared_ptr<ElementAttribute> Clone() const { return std::make_shared<ElementAttribute>(*this); }

private:
    bool m_Wide = true;
    LargeVector<uint32_t> m_Indices32;
    LargeVector<uint16_t> m_Indices16;
    uint32_t m_Version = 0;
};

} // namespace orvcore

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include <glm/vec2.hpp>
#include <glm/vec3.hpp>
#include <glm/vec4.hpp>

#include <orvcommon/TypedArray.h>
#include <orvcommon/TypedBuffer.h>
#include <orvkernel/geometry/AttributeUpdateLog.h>

namespace orvcore {

/// Bytes [offset, offset + size) of an attribute's data.
struct ByteRange {
    std::size_t offset = 0;
    std::size_t size = 0;
};

/// Component types of vertex data, as the OpenGL enum values.
enum EnumDataType : uint32_t {
    DATA_TYPE_UNSIGNED_BYTE = 5121,
    DATA_TYPE_UNSIGNED_SHORT = 5123,
    DATA_TYPE_UNSIGNED_INT = 5125,
    DATA_TYPE_FLOAT = 5126,
};

/// Size in bytes of one component of a data type; 0 for an unknown type.
uint32_t DataTypeSize(uint32_t type);

/// One vertex attribute: `count` items of `itemSize` components of one data
/// type, read from a byte store at `byteOffset + i * byteStride`. The store
/// may be shared by several attributes (interleaved vertices).
///
/// Every write through this class raises the version counter; code that
/// writes through a view (`GetFloatArray`) raises it with `RaiseVersion`.
/// The device re-uploads an attribute whose version moved, and shapes
/// rebuild or refit their search structures from it. Writes that say which
/// items they touched (`SetVec4`, `RaiseVersion(first, count)`) let a device
/// send only those items (`GetChangedByteRanges`); a plain `RaiseVersion`
/// makes it send the whole attribute.
class BufferAttribute {
public:
    using ByteStore = std::vector<uint8_t>;

    BufferAttribute() = default;
    /// Float attribute with a copy of the buffer's values; the count is the
    /// number of whole items in it.
    BufferAttribute(const Float32Buffer& values, uint32_t itemSize);
    BufferAttribute(const float* values, std::size_t floatCount, uint32_t itemSize);
    /// Attribute of any data type over a copy of `count` tightly packed items.
    BufferAttribute(EnumDataType type, uint32_t itemSize, const void* data, std::size_t count, bool normalized = false);
    /// Attribute over a shared (possibly interleaved) store.
    BufferAttribute(std::shared_ptr<ByteStore> store, EnumDataType type, uint32_t itemSize, uint32_t byteStride,
                    uint32_t byteOffset, std::size_t count, bool normalized = false);

    std::size_t GetCount() const { return m_Count; }
    uint32_t GetItemSize() const { return m_ItemSize; }
    EnumDataType GetDataType() const { return m_DataType; }
    bool GetNormalized() const { return m_Normalized; }
    /// Distance between two items in bytes (never 0 once constructed).
    uint32_t GetByteStride() const { return m_ByteStride; }
    uint32_t GetByteOffset() const { return m_ByteOffset; }
    const std::shared_ptr<ByteStore>& GetStore() const { return m_Store; }
    /// First byte of item 0; null for an empty attribute.
    const uint8_t* GetData() const { return m_Store ? m_Store->data() + m_ByteOffset : nullptr; }
    uint8_t* GetData() { return m_Store ? m_Store->data() + m_ByteOffset : nullptr; }

    /// A float view over the components of a tightly packed float attribute
    /// (count x itemSize floats); empty, with a warning, for any other layout.
    Float32Array GetFloatArray();

    /// Component access, converted to float (normalised integer types map to
    /// [0, 1]). Out-of-range reads give zeros with a warning.
    glm::vec4 GetVec4(std::size_t index) const;
    glm::vec3 GetVec3(std::size_t index) const { return glm::vec3(GetVec4(index)); }
    glm::vec2 GetVec2(std::size_t index) const { return glm::vec2(GetVec4(index)); }
    float GetX(std::size_t index) const { return GetVec4(index).x; }

    /// Writes the first itemSize components of the value; raises the version.
    bool SetVec4(std::size_t index, const glm::vec4& value);
    bool SetVec3(std::size_t index, const glm::vec3& value) { return SetVec4(index, glm::vec4(value, 1.0f)); }
    bool SetVec2(std::size_t index, const glm::vec2& value) { return SetVec4(index, glm::vec4(value, 0.0f, 1.0f)); }

    uint32_t GetVersion() const { return m_Version; }
    /// The attribute changed anywhere: copies are sent whole.
    void RaiseVersion();
    /// Items [first, first + count) changed (clipped to the attribute, with a
    /// warning when they lie past its end).
    void RaiseVersion(std::size_t first, std::size_t count);
    /// Byte ranges, from item 0 (`GetData`), that changed since a copy taken
    /// at `version`, merged and in order; each covers whole items (the last
    /// item of a range ends after its components, not after its stride).
    /// False when only the whole attribute will do.
    bool GetChangedByteRanges(uint32_t version, std::vector<ItemRange>& itemScratch,
                              std::vector<ByteRange>& byteRanges) const;

    /// Deep copy into a tightly packed store of its own.
    std::shared_ptr<BufferAttribute> Clone() const;

private:
    std::shared_ptr<ByteStore> m_Store;
    EnumDataType m_DataType = DATA_TYPE_FLOAT;
    uint32_t m_ItemSize = 0;
    uint32_t m_ByteStride = 0;
    uint32_t m_ByteOffset = 0;
    std::size_t m_Count = 0;
    bool m_Normalized = false;
    uint32_t m_Version = 0;
    AttributeUpdateLog m_UpdateLog;
};

} // namespace orvcore

#include <orvkernel/geometry/BufferAttribute.h>

#include <orvcommon/Logger.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace orvcore {

uint32_t DataTypeSize(uint32_t type)
{
    switch (type) {
    case DATA_TYPE_UNSIGNED_BYTE: return 1;
    case DATA_TYPE_UNSIGNED_SHORT: return 2;
    case DATA_TYPE_UNSIGNED_INT: return 4;
    case DATA_TYPE_FLOAT: return 4;
    default: return 0;
    }
}

BufferAttribute::BufferAttribute(const Float32Buffer& values, uint32_t itemSize)
    : BufferAttribute(values.GetData(), values.GetCount(), itemSize)
{
}

BufferAttribute::BufferAttribute(const float* values, std::size_t floatCount, uint32_t itemSize)
{
    if (itemSize < 1 || itemSize > 4) {
        Logger::Instance().Waring("Attribute item size must be 1 to 4!");
        return;
    }
    const std::size_t count = floatCount / itemSize;
    if (count * itemSize != floatCount)
        Logger::Instance().Waring("Attribute data is not a whole number of items!");
    *this = BufferAttribute(DATA_TYPE_FLOAT, itemSize, values, count, false);
}

BufferAttribute::BufferAttribute(EnumDataType type, uint32_t itemSize, const void* data, std::size_t count,
                                 bool normalized)
{
    const uint32_t size = DataTypeSize(type);
    if (size == 0 || itemSize < 1 || itemSize > 4) {
        Logger::Instance().Waring("Not compitable attribute layout!");
        return;
    }
    m_DataType = type;
    m_ItemSize = itemSize;
    m_ByteStride = size * itemSize;
    m_Count = count;
    m_Normalized = normalized;
    m_Store = std::make_shared<ByteStore>(count * m_ByteStride);
    if (data && count)
        std::memcpy(m_Store->data(), data, count * m_ByteStride);
}

BufferAttribute::BufferAttribute(std::shared_ptr<ByteStore> store, EnumDataType type, uint32_t itemSize,
                                 uint32_t byteStride, uint32_t byteOffset, std::size_t count, bool normalized)
{
    const uint32_t size = DataTypeSize(type);
    if (size == 0 || itemSize < 1 || itemSize > 4 || !store) {
        Logger::Instance().Waring("Not compitable attribute layout!");
        return;
    }
    const uint32_t stride = byteStride ? byteStride : size * itemSize;
    const std::size_t itemBytes = std::size_t(size) * itemSize;
    // The last item must end inside the store. Compared by division so that
    // a huge count cannot wrap the byte arithmetic around.
    bool fits = stride >= itemBytes;
    if (fits && count) {
        const std::size_t storeSize = store->size();
        fits = byteOffset <= storeSize && itemBytes <= storeSize - byteOffset &&
               count - 1 <= (storeSize - byteOffset - itemBytes) / stride;
    }
    if (!fits) {
        Logger::Instance().Waring("Attribute layout exceeds its store!");
        return;
    }
    m_Store = std::move(store);
    m_DataType = type;
    m_ItemSize = itemSize;
    m_ByteStride = stride;
    m_ByteOffset = byteOffset;
    m_Count = count;
    m_Normalized = normalized;
}


Float32Array BufferAttribute::GetFloatArray()
{
    // A float view needs float alignment: a store viewed at an odd byte
    // offset can only be read through GetVec4.
    const bool aligned = m_Store && reinterpret_cast<std::uintptr_t>(GetData()) % alignof(float) == 0;
    if (!m_Store || m_DataType != DATA_TYPE_FLOAT || m_ByteStride != 4 * m_ItemSize || !aligned) {
        if (m_Store)
            Logger::Instance().Waring("Attribute is not a packed float array!");
        return Float32Array();
    }
    return Float32Array(reinterpret_cast<float*>(GetData()), m_Count * m_ItemSize);
}

glm::vec4 BufferAttribute::GetVec4(std::size_t index) const
{
    glm::vec4 out(0.0f, 0.0f, 0.0f, 1.0f);
    if (index >= m_Count) {
        Logger::Instance().Waring("Index is out of range!");
        return out;
    }
    const uint8_t* p = GetData() + index * m_ByteStride;
    for (uint32_t c = 0; c < m_ItemSize; ++c) {
        switch (m_DataType) {
        case DATA_TYPE_FLOAT: std::memcpy(&out[c], p + 4 * c, 4); break;
        case DATA_TYPE_UNSIGNED_BYTE: out[c] = float(p[c]) / (m_Normalized ? 255.0f : 1.0f); break;
        case DATA_TYPE_UNSIGNED_SHORT: {
            uint16_t v;
            std::memcpy(&v, p + 2 * c, 2);
            out[c] = float(v) / (m_Normalized ? 65535.0f : 1.0f);
            break;
        }
        case DATA_TYPE_UNSIGNED_INT: {
            uint32_t v;
            std::memcpy(&v, p + 4 * c, 4);
            out[c] = m_Normalized ? float(double(v) / 4294967295.0) : float(v);
            break;
        }
        }
    }
    return out;
}

bool BufferAttribute::SetVec4(std::size_t index, const glm::vec4& value)
{
    if (index >= m_Count) {
        Logger::Instance().Waring("Index is out of range!");
        return false;
    }
    uint8_t* p = GetData() + index * m_ByteStride;
    for (uint32_t c = 0; c < m_ItemSize; ++c) {
        // Not-a-number has no integer value: integer types store it as 0.
        const float v = (m_DataType != DATA_TYPE_FLOAT && std::isnan(value[c])) ? 0.0f : value[c];
        switch (m_DataType) {
        case DATA_TYPE_FLOAT: std::memcpy(p + 4 * c, &v, 4); break;
        case DATA_TYPE_UNSIGNED_BYTE:
            p[c] = uint8_t(std::clamp(m_Normalized ? v * 255.0f + 0.5f : v, 0.0f, 255.0f));
            break;
        case DATA_TYPE_UNSIGNED_SHORT: {
            const uint16_t s = uint16_t(std::clamp(m_Normalized ? v * 65535.0f + 0.5f : v, 0.0f, 65535.0f));
            std::memcpy(p + 2 * c, &s, 2);
            break;
        }
        case DATA_TYPE_UNSIGNED_INT: {
            const double d = std::clamp(m_Normalized ? double(v) * 4294967295.0 + 0.5 : double(v), 0.0, 4294967295.0);
            const uint32_t u = uint32_t(d);
            std::memcpy(p + 4 * c, &u, 4);
            break;
        }
        }
    }
    ++m_Version;
    m_UpdateLog.Record(m_Version, index, 1);
    return true;
}

void BufferAttribute::RaiseVersion()
{
    ++m_Version;
    m_UpdateLog.Reset(m_Version);
}

void BufferAttribute::RaiseVersion(std::size_t first, std::size_t count)
{
    if (first >= m_Count || count > m_Count - first) {
        Logger::Instance().Waring("Index is out of range!");
        if (first >= m_Count) {
            RaiseVersion();
            return;
        }
        count = m_Count - first;
    }
    ++m_Version;
    m_UpdateLog.Record(m_Version, first, count);
}

bool BufferAttribute::GetChangedByteRanges(uint32_t version, std::vector<ItemRange>& itemScratch,
                                           std::vector<ByteRange>& byteRanges) const
{
    byteRanges.clear();
    if (!m_UpdateLog.Collect(version, m_Version, itemScratch))
        return false;
    const std::size_t itemBytes = std::size_t(DataTypeSize(m_DataType)) * m_ItemSize;
    for (const ItemRange& range : itemScratch) {
        if (range.count == 0 || range.first >= m_Count)
            continue;
        const std::size_t count = std::min(range.count, m_Count - range.first);
        byteRanges.push_back(ByteRange{range.first * m_ByteStride, (count - 1) * m_ByteStride + itemBytes});
    }
    return true;
}

std::shared_ptr<BufferAttribute> BufferAttribute::Clone() const
{
    auto copy = std::make_shared<BufferAttribute>();
    if (!m_Store)
        return copy;
    const uint32_t itemBytes = DataTypeSize(m_DataType) * m_ItemSize;
    std::vector<uint8_t> packed(m_Count * itemBytes);
    for (std::size_t i = 0; i < m_Count; ++i)
        std::memcpy(packed.data() + i * itemBytes, GetData() + i * m_ByteStride, itemBytes);
    *copy = BufferAttribute(m_DataType, m_ItemSize, packed.data(), m_Count, m_Normalized);
    copy->m_Version = m_Version;
    copy->m_UpdateLog.Reset(m_Version);
    return copy;
}

} // namespace orvcore

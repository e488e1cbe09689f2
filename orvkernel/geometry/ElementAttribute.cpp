#include <orvkernel/geometry/ElementAttribute.h>

#include <orvcommon/Logger.h>

#include <algorithm>
#include <utility>

namespace orvcore {

ElementAttribute::ElementAttribute(const std::vector<uint32_t>& indices) : m_Wide(true), m_Indices32(indices.begin(), indices.end()) {}
ElementAttribute::ElementAttribute(const std::vector<uint16_t>& indices) : m_Wide(false), m_Indices16(indices.begin(), indices.end()) {}
ElementAttribute::ElementAttribute(const Uint32Buffer& indices) : ElementAttribute(indices.GetData(), indices.GetCount())
{
}
ElementAttribute::ElementAttribute(const uint32_t* indices, std::size_t count)
    : m_Wide(true), m_Indices32(indices, indices + count)
{
}

ElementAttribute::ElementAttribute(LargeVector<uint32_t>&& indices) : m_Wide(true), m_Indices32(std::move(indices)) {}
ElementAttribute::ElementAttribute(LargeVector<uint16_t>&& indices) : m_Wide(false), m_Indices16(std::move(indices)) {}

bool ElementAttribute::Set(std::size_t i, uint32_t value)
{
    if (i >= GetCount()) {
        Logger::Instance().Waring("Index is out of range!");
        return false;
    }
    if (m_Wide) {
        m_Indices32[i] = value;
    } else {
        if (value > 0xffffu) {
            Logger::Instance().Waring("Index does not fit 16 bits!");
            return false;
        }
        m_Indices16[i] = uint16_t(value);
    }
    ++m_Version;
    return true;
}

uint32_t ElementAttribute::GetMaxIndex() const
{
    if (m_Wide)
        return m_Indices32.empty() ? 0u : *std::max_element(m_Indices32.begin(), m_Indices32.end());
    return m_Indices16.empty() ? 0u : *std::max_element(m_Indices16.begin(), m_Indices16.end());
}

} // namespace orvcore

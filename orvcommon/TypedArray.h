#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include <glm/vec3.hpp>

#include <orvcommon/TypedBuffer.h>

namespace orvcore {

/// Non-owning view over contiguous values: a typed window onto a
/// `TypedBuffer`, a geometry attribute or any caller-owned array. The viewed
/// storage must outlive the view and must not be reallocated while it is used.
///
/// Element access is unchecked; the vector helpers check the range and log
/// "Index is out of range!".
template <typename T>
class TypedArray {
public:
    using ValueType = T;

    TypedArray() = default;
    TypedArray(T* data, std::size_t count) : m_Data(data), m_Count(count) {}
    template <typename B, typename = std::enable_if_t<std::is_same<typename B::ValueType, std::remove_const_t<T>>::value>>
    explicit TypedArray(B& buffer) : m_Data(buffer.GetData()), m_Count(buffer.GetCount())
    {
    }

    T* GetData() const { return m_Data; }
    std::size_t GetCount() const { return m_Count; }
    std::size_t GetByteSize() const { return m_Count * sizeof(T); }
    bool IsEmpty() const { return m_Count == 0; }

    T& operator[](std::size_t index) const { return m_Data[index]; }
    T& Get(std::size_t index) const { return m_Data[index]; }

    T* begin() const { return m_Data; }
    T* end() const { return m_Data + m_Count; }

    /// Three floats at a float offset (float views only); zero past the end.
    glm::vec3 GetVec3(std::size_t offset) const
    {
        static_assert(std::is_same<std::remove_const_t<T>, float>::value, "vector access needs floats");
        if (offset + 3 > m_Count || offset + 3 < offset) {
            LogIndexOutOfRange();
            return glm::vec3(0.0f);
        }
        return glm::vec3(m_Data[offset], m_Data[offset + 1], m_Data[offset + 2]);
    }

    /// Writes three floats at a float offset (float views only).
    bool SetVec3(std::size_t offset, const glm::vec3& v) const
    {
        static_assert(std::is_same<T, float>::value, "vector access needs writable floats");
        if (offset + 3 > m_Count || offset + 3 < offset) {
            LogIndexOutOfRange();
            return false;
        }
        m_Data[offset] = v.x;
        m_Data[offset + 1] = v.y;
        m_Data[offset + 2] = v.z;
        return true;
    }

private:
    T* m_Data = nullptr;
    std::size_t m_Count = 0;
};

using Float32Array = TypedArray<float>;
using Uint32Array = TypedArray<uint32_t>;
using Uint16Array = TypedArray<uint16_t>;
using Vec3fArray = TypedArray<glm::vec3>;

} // namespace orvcore

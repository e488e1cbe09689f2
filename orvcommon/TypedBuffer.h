#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <type_traits>
#include <vector>

#include <orvcommon/LargePageAllocator.h>

#include <glm/vec2.hpp>
#include <glm/vec3.hpp>
#include <glm/vec4.hpp>

namespace orvcore {

/// Logs "Index is out of range!" (shared by the buffer and array templates).
void LogIndexOutOfRange();

/// Owning, contiguous buffer of plain values: the storage behind geometry
/// attributes, keyframes and index lists.
///
/// `Get` is unchecked like `operator[]` of the standard containers; the
/// `SetValue` family checks the range, logs "Index is out of range!" and
/// returns false instead of writing past the end.
template <typename T>
class TypedBuffer {
    static_assert(std::is_trivially_copyable<T>::value, "TypedBuffer holds plain values");

public:
    using ValueType = T;

    TypedBuffer() = default;
    /// `count` elements, each `value`.
    explicit TypedBuffer(std::size_t count, const T& value = T()) : m_Data(count, value) {}
    TypedBuffer(std::initializer_list<T> values) : m_Data(values) {}
    TypedBuffer(const T* data, std::size_t count) : m_Data(data, data + count) {}

    std::size_t GetCount() const { return m_Data.size(); }
    std::size_t GetByteSize() const { return m_Data.size() * sizeof(T); }
    bool IsEmpty() const { return m_Data.empty(); }

    T& Get(unsigned int index) { return m_Data[index]; }
    const T& Get(unsigned int index) const { return m_Data[index]; }
    T& operator[](std::size_t index) { return m_Data[index]; }
    const T& operator[](std::size_t index) const { return m_Data[index]; }

    T* GetData() { return m_Data.data(); }
    const T* GetData() const { return m_Data.data(); }

    void Resize(std::size_t count) { m_Data.resize(count); }
    void Reserve(std::size_t count) { m_Data.reserve(count); }
    void Clear() { m_Data.clear(); }
    void Push(const T& value) { m_Data.push_back(value); }

    bool SetValue(std::size_t index, const T& value)
    {
        if (index >= m_Data.size()) {
            LogIndexOutOfRange();
            return false;
        }
        m_Data[index] = value;
        return true;
    }

    /// Writes a vector's components at a float offset (float buffers only).
    bool SetValue(std::size_t offset, const glm::vec2& v) { return SetComponents(offset, &v.x, 2); }
    bool SetValue(std::size_t offset, const glm::vec3& v) { return SetComponents(offset, &v.x, 3); }
    bool SetValue(std::size_t offset, const glm::vec4& v) { return SetComponents(offset, &v.x, 4); }

    /// Appends a vector's components (float buffers only).
    void Push(const glm::vec3& v)
    {
        static_assert(std::is_same<T, float>::value, "vector access needs a float buffer");
        m_Data.insert(m_Data.end(), {v.x, v.y, v.z});
    }

    /// Reads three floats at a float offset; zero past the end.
    glm::vec3 GetVec3(std::size_t offset) const
    {
        static_assert(std::is_same<T, float>::value, "vector access needs a float buffer");
        if (offset + 3 > m_Data.size() || offset + 3 < offset) {
            LogIndexOutOfRange();
            return glm::vec3(0.0f);
        }
        return glm::vec3(m_Data[offset], m_Data[offset + 1], m_Data[offset + 2]);
    }

    const LargeVector<T>& GetVector() const { return m_Data; }

private:
    bool SetComponents(std::size_t offset, const float* src, std::size_t n)
    {
        static_assert(std::is_same<T, float>::value, "vector access needs a float buffer");
        if (offset + n > m_Data.size() || offset + n < offset) {
            LogIndexOutOfRange();
            return false;
        }
        for (std::size_t i = 0; i < n; ++i)
            m_Data[offset + i] = src[i];
        return true;
    }

    LargeVector<T> m_Data;
};

using Float32Buffer = TypedBuffer<float>;
using Uint32Buffer = TypedBuffer<uint32_t>;
using Uint16Buffer = TypedBuffer<uint16_t>;

} // namespace orvcore

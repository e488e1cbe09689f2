#pragma once

#include <cstdint>
#include <functional>

namespace orvcore {

/// Identifier of an element inside a document-like node (a face of a
/// B-rep, a row of a table). 0 is the default, "no element" value.
/// Construction from an integer is explicit so that element ids and node ids
/// never convert into each other by accident.
class ElementId {
public:
    ElementId() = default;
    explicit ElementId(uint64_t value) : m_Value(value) {}

    uint64_t GetValue() const { return m_Value; }
    bool IsValid() const { return m_Value != 0; }

    bool operator==(const ElementId& o) const { return m_Value == o.m_Value; }
    bool operator!=(const ElementId& o) const { return m_Value != o.m_Value; }
    bool operator<(const ElementId& o) const { return m_Value < o.m_Value; }

private:
    uint64_t m_Value = 0;
};

} // namespace orvcore

template <>
struct std::hash<orvcore::ElementId> {
    std::size_t operator()(const orvcore::ElementId& id) const noexcept { return std::hash<uint64_t>()(id.GetValue()); }
};

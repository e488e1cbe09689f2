#pragma once

#include <cstdint>

#include <glm/vec2.hpp>

namespace orvcore {

/// A position on the viewport, in one of two modes:
/// - mode 0 (`VIEW_POSITION_ANCHOR`): a fraction of the viewport, (0, 0)
///   the bottom-left corner, (1, 1) the top-right;
/// - mode 1 (`VIEW_POSITION_OFFSET`): an offset in pixels, x right, y up.
/// A camera places its drawing area with one of each (see `Camera`).
class ViewPosition {
public:
    enum Mode : uint32_t { VIEW_POSITION_ANCHOR = 0, VIEW_POSITION_OFFSET = 1 };

    ViewPosition() = default;
    ViewPosition(uint32_t mode, const glm::vec2& value) : m_Mode(mode == VIEW_POSITION_OFFSET ? mode : 0u), m_Value(value) {}

    uint32_t GetMode() const { return m_Mode; }
    const glm::vec2& GetValue() const { return m_Value; }
    void SetValue(const glm::vec2& value) { m_Value = value; }

    bool operator==(const ViewPosition& o) const { return m_Mode == o.m_Mode && m_Value == o.m_Value; }

private:
    uint32_t m_Mode = VIEW_POSITION_ANCHOR;
    glm::vec2 m_Value{0.0f};
};

} // namespace orvcore

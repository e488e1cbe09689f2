#pragma once

#include <cstdint>

namespace orvcore {

/// Kinds of primitives a geometry is drawn and picked as. The values are the
/// OpenGL mode values, so they pass to the device unchanged.
enum EnumPrimitiveType : uint32_t {
    PRIMITIVE_POINTS = 0,
    PRIMITIVE_LINES = 1,      ///< independent segments, two vertices each
    PRIMITIVE_LINE_LOOP = 2,  ///< closed polyline
    PRIMITIVE_LINE_STRIP = 3, ///< open polyline
    PRIMITIVE_TRIANGLES = 4,
    PRIMITIVE_TRIANGLE_STRIP = 5,
    PRIMITIVE_TRIANGLE_FAN = 6,
    PRIMITIVE_UNDEFINED = 0xff, ///< no geometry: drawn and picked as nothing
};

inline bool IsPointPrimitive(uint32_t type) { return type == PRIMITIVE_POINTS; }
inline bool IsLinePrimitive(uint32_t type) { return type >= PRIMITIVE_LINES && type <= PRIMITIVE_LINE_STRIP; }
inline bool IsTrianglePrimitive(uint32_t type)
{
    return type >= PRIMITIVE_TRIANGLES && type <= PRIMITIVE_TRIANGLE_FAN;
}

} // namespace orvcore

#pragma once

namespace orvcore {

/// Index of a list inside a render queue and of a material inside a render
/// style.
struct EnumRenderListIndex {
    enum Enum {
        Line = 0,            ///< primitive types 1, 2, 3
        Point = 1,           ///< primitive type 0
        Face = 2,            ///< triangles whose effective material is not transparent
        TransparentFace = 3, ///< triangles whose effective material is transparent
    };
    static constexpr int Count = 4;
};

} // namespace orvcore

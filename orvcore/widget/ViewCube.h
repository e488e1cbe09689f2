#pragma once

#include <array>
#include <memory>
#include <optional>
#include <vector>

#include <glm/vec3.hpp>

#include <orvkernel/camera/EnumStandardView.h>
#include <orvkernel/material/MaterialInstance.h>
#include <orvcore/widget/CoordinateWidget.h>

namespace orvcore {

class PrimitiveSceneNode;

/// The view cube: a cube centred on its origin whose surface is cut into
/// 26 separately pickable elements, one per standard view: the middle of
/// each face (6), a band along each edge (12, two strips each) and a corner
/// piece (8, three squares each). The faces are labelled FRONT, BACK, LEFT,
/// RIGHT, TOP and BOTTOM in text that lies on them and reads upright in the
/// face's own standard view (Z up; the top face with +Y up, the bottom face
/// with -Y up).
///
/// An element stands for the direction from the centre towards it, the sum
/// of the outward normals of the faces it touches, each component -1, 0 or
/// 1; its identifier (the user id of its node) is
/// 1 + (x + 1) + 3 (y + 1) + 9 (z + 1), so 1 to 27 without the centre's 14.
/// It maps to the standard view that looks at the cube from that direction:
/// the element on the -Y face to the front view, the +X +Y +Z corner to the
/// back-top-right view, and so on.
///
/// The cube is `kCubeUnits` sizes on a side, its edge and corner bands
/// `kBandUnits` sizes wide. One element at a time may be hovered; the view
/// cube overlay draws it again in `GetHoverMaterial`.
class ViewCube : public CoordinateWidget {
public:
    static constexpr float kCubeUnits = 18.0f;
    static constexpr float kBandUnits = 3.0f;
    static constexpr unsigned int kElementCount = 26;

    /// A cube `kCubeUnits * size` on a side. A size that is not a positive
    /// finite number logs "Widget size is invalid!" and gives an empty
    /// pointer.
    static std::shared_ptr<ViewCube> Create(float size);
    /// Wraps a group built by `Create`.
    ViewCube(const std::shared_ptr<GroupSceneNode>& nodes, float size);

    float GetSize() const { return m_Size; }

    /// The identifier of the element towards a direction (components -1, 0
    /// or 1, not all 0); 0 for any other direction.
    static unsigned int GetElementId(const glm::ivec3& direction);
    /// The direction of an element; none for an identifier that names none.
    static std::optional<glm::ivec3> GetElementDirection(unsigned int id);
    /// The standard view an element turns the camera to;
    /// `STANDARD_VIEW_NONE` for an identifier that names no element.
    static EnumStandardView GetStandardView(unsigned int id);
    /// The 26 identifiers in increasing order.
    static const std::array<unsigned int, kElementCount>& GetElementIds();

    /// The pickable node of an element (null for an unknown identifier).
    PrimitiveSceneNode* GetElementNode(unsigned int id) const;
    /// The label of the face element of that identifier (null for others).
    PrimitiveSceneNode* GetLabel(unsigned int id) const;

    /// The hovered element (0: none).
    unsigned int GetHoverElement() const { return m_Hover; }
    /// Sets the hovered element; 0 clears it. An identifier that names no
    /// element logs "View cube element is invalid!" and clears it.
    void SetHoverElement(unsigned int id);
    /// The node of the hovered element, or null.
    PrimitiveSceneNode* GetHoverNode() const { return GetElementNode(m_Hover); }
    const std::shared_ptr<MaterialInstance>& GetHoverMaterial() const { return m_HoverMaterial; }

    std::shared_ptr<SceneNode> Clone() const override;
    std::shared_ptr<ViewCube> CloneViewCube() const;

    static ViewCube* Cast(SceneNode* node);
    static const ViewCube* Cast(const SceneNode* node);
    static ViewCube* Cast(CoordinateWidget* node);
    static const ViewCube* Cast(const CoordinateWidget* node);

private:
    float m_Size;
    unsigned int m_Hover = 0;
    std::array<PrimitiveSceneNode*, 28> m_Elements{};
    std::array<PrimitiveSceneNode*, 28> m_Labels{};
    std::shared_ptr<MaterialInstance> m_HoverMaterial;
};

} // namespace orvcore

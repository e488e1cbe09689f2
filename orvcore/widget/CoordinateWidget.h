#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include <orvkernel/material/MaterialInstance.h>
#include <orvcore/scene/GeneralSceneNode.h>
#include <orvcore/scene/GroupSceneNode.h>

namespace orvcore {

class BufferGeometry;
class PrimitiveSceneNode;

/// Base of the widgets built along the three axes of their own frame: the
/// axis triad, and the move, rotate and scale manipulators.
///
/// A widget owns a group of sub-nodes (not a child in the node tree: the
/// widget is only the group's parent, so picks on the sub-nodes lead to the
/// widget through `PickedItem::GetRootNode`). Every sub-node that belongs to
/// an axis carries the axis letter as its user id: 120 ('x'), 121 ('y'),
/// 122 ('z'). That id is what `GetDirection` and `ShowArrow` take.
///
/// The widget draws, picks and updates through its group; its local box is
/// the group's box and its world box follows its world matrix.
class CoordinateWidget : public GeneralSceneNode {
public:
    static constexpr uint64_t kAxisX = 120;
    static constexpr uint64_t kAxisY = 121;
    static constexpr uint64_t kAxisZ = 122;

    /// Adopts the group as its own (the widget becomes its parent) and copies
    /// its box: null stays null, infinite stays infinite, a finite box is
    /// copied. `radius` is the reach of the widget around its origin.
    CoordinateWidget(const std::shared_ptr<GroupSceneNode>& nodes, float radius);

    float GetRadius() const { return m_Radius; }
    const std::shared_ptr<GroupSceneNode>& GetNodes() const { return m_Nodes; }

    /// The unit axis of a sub-node's user id: 120 gives (1, 0, 0), 121
    /// (0, 1, 0), 122 (0, 0, 1); any other id gives no value. The axis is
    /// in the widget's own frame (the caller turns it with the world matrix).
    std::optional<glm::vec3> GetDirection(std::size_t id) const;
    /// Marks one axis: with id 0 every primitive sub-node becomes visible
    /// with material state 1 (normal); with another id the sub-nodes of that
    /// user id get state 3 (marked) and all others 1, visibility untouched.
    void ShowArrow(std::size_t id);

    /// Appends the hits on the sub-nodes to the caster (its earlier hits are
    /// kept) and says whether there was any.
    bool HitTest(Raycaster& caster) override;
    /// Appends every sub-node that the rectangle sees.
    bool HitTest(FrustumCaster& caster) override;
    void CollectRenderables(RenderContext& context) const override;
    /// The widget as a whole in the selection style.
    void CollectSelection(RenderContext& context, const PickedItem& item) const override;
    /// World = parentWorld * Transform; the group is updated with it, the
    /// local box becomes the group's box.
    void UpdateTransform(const glm::mat4& parentWorld) override;

    static CoordinateWidget* Cast(SceneNode* node);
    static const CoordinateWidget* Cast(const SceneNode* node);

protected:
    /// True for positive finite sizes; otherwise logs "Widget size is
    /// invalid!" (the factories then give an empty pointer).
    static bool IsWidgetSize(const glm::vec3& size);
    static bool IsWidgetSize(float size) { return IsWidgetSize(glm::vec3(size)); }
    /// Unit direction of axis 0, 1, 2 and its user id.
    static glm::vec3 AxisDirection(int axis);
    static uint64_t AxisId(int axis) { return kAxisX + uint64_t(axis); }
    /// The rotation that takes +Z onto the axis by the shortest arc.
    static glm::mat4 AxisRotation(int axis);
    /// Adds a sub-node with the axis's user id to the group.
    static std::shared_ptr<PrimitiveSceneNode> AddPart(GroupSceneNode& group, int axis,
                                                       const std::shared_ptr<BufferGeometry>& geometry,
                                                       const std::shared_ptr<MaterialInstance>& material,
                                                       const glm::mat4& transform);
    /// A plain material of the axis colour (red, green, blue). `onTop`
    /// switches its depth test off and draws it after the opaque model
    /// (transparent blending at full opacity), so that nothing hides it.
    static std::shared_ptr<MaterialInstance> AxisMaterial(const char* name, int axis, bool onTop);
    /// Brings the group's world matrices and box up to date in the widget's
    /// own frame and copies the box (used right after building).
    void AdoptGroupBox();

private:
    float m_Radius;
    std::shared_ptr<GroupSceneNode> m_Nodes;
};

} // namespace orvcore

#pragma once

#include <memory>

#include <glm/vec3.hpp>

#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/SceneNode2D.h>
#include <orvcore/scene/TextSceneNode.h>

namespace orvcore {

/// A label on the 2D overlay joined by a leader line to a point of the 3D
/// model, placed again from the camera every frame.
///
/// The node drawn is a group holding the handle (the leader line, a unit
/// segment along X stretched from the target to the label) and the text.
/// Position is a world point when WorldPosition is set, otherwise an offset
/// in pixels from the viewport centre.
class TagNode2D : public SceneNode2D {
public:
    /// Without a text node the tag has no node to draw.
    TagNode2D(const std::shared_ptr<TextSceneNode>& textNode, const std::shared_ptr<PrimitiveSceneNode>& handleNode);

    /// A tag at a world position with a red leader line (material "tag-line")
    /// to the world point `target`.
    static std::shared_ptr<TagNode2D> Create(const std::shared_ptr<TextSceneNode>& textNode, const glm::vec3& position,
                                             const glm::vec3& target);

    void SetPosition(const glm::vec3& position, bool worldPosition)
    {
        m_Position = position;
        m_WorldPosition = worldPosition;
    }
    void SetWorldPosition(const bool& worldPosition) { m_WorldPosition = worldPosition; }
    void SetTarget(const glm::vec3& target) { m_Target = target; }
    const glm::vec3& GetPosition() const { return m_Position; }
    const bool& GetWorldPosition() const { return m_WorldPosition; }
    const glm::vec3& GetTarget() const { return m_Target; }
    /// Where the label was last placed, in centred viewport coordinates
    /// (z the depth when the position is a world point).
    const glm::vec3& GetViewportPosition() const { return m_ViewportPosition; }
    const std::shared_ptr<TextSceneNode>& GetTextNode() const { return m_TextNode; }
    const std::shared_ptr<PrimitiveSceneNode>& GetHandleNode() const { return m_HandleNode; }

    /// Colour of the leader line's material.
    void SetLineColor(const glm::vec3& color);
    /// Width of the leader line in pixels, truncated to an integer in
    /// [0, 255]; values outside that range are clamped with a warning.
    void SetLineWidth(float width);

    /// Projects the position and the target, moves the label to the
    /// position and, while the handle is visible, stretches the leader line
    /// from the target to it; then updates the group's world transforms.
    void UpdatePosition(const std::shared_ptr<Camera>& camera) override;

    static TagNode2D* Cast(SceneNode2D* node);
    static const TagNode2D* Cast(const SceneNode2D* node);

private:
    MaterialInstance* GetLineMaterial() const;

    glm::vec3 m_Position{1.0f, 1.0f, 1.0f};
    bool m_WorldPosition = false;
    glm::vec3 m_Target{0.0f};
    std::shared_ptr<TextSceneNode> m_TextNode;
    std::shared_ptr<PrimitiveSceneNode> m_HandleNode;
    glm::vec3 m_ViewportPosition{0.0f};
};

} // namespace orvcore

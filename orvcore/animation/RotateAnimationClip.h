#pragma once

#include <memory>
#include <optional>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include <orvcore/animation/RigidAnimationClip.h>

namespace orvcore {

class SceneNode;

/// Turns a node by up to `Angle` radians about the axis `Direction` through
/// a pivot (in the parent's frame): transform = back * R(angle) * saved,
/// with saved = translate(-pivot) * the node's transform when the clip first
/// played in this run and back = translate(pivot). Without a pivot the
/// centre of the node's world box at that moment is the pivot.
class RotateAnimationClip : public RigidAnimationClip {
public:
    RotateAnimationClip(const std::shared_ptr<SceneNode>& node, const glm::vec3& pivot, const glm::vec3& axis,
                        float angle, float start, float end);
    RotateAnimationClip(const std::shared_ptr<SceneNode>& node, const glm::vec3& axis, float angle, float start,
                        float end);

    bool Play(float time) override;
    /// The next play captures the node's transform (and box centre) again.
    void Reset() override { m_NeedInit = true; }

    const std::shared_ptr<SceneNode>& GetNode() const { return m_Node; }
    void SetNode(const std::shared_ptr<SceneNode>& node) { m_Node = node; }
    const glm::vec3& GetDirection() const { return m_Direction; }
    void SetDirection(const glm::vec3& axis) { m_Direction = axis; }
    float GetAngle() const { return m_Angle; }
    void SetAngle(float angle) { m_Angle = angle; }
    const std::optional<glm::vec3>& GetPivot() const { return m_Pivot; }

    static RotateAnimationClip* Cast(RigidAnimationClip* clip);
    static const RotateAnimationClip* Cast(const RigidAnimationClip* clip);

protected:
    /// Sets the node's transform turned by `angle` radians.
    void Update(float angle);

private:
    glm::vec3 m_Direction;
    float m_Angle;
    std::shared_ptr<SceneNode> m_Node;
    glm::mat4 m_Back{1.0f};
    glm::mat4 m_Start{1.0f};
    std::optional<glm::vec3> m_Pivot;
    bool m_NeedInit = true;
};

} // namespace orvcore

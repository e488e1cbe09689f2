#pragma once

#include <memory>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include <orvcore/animation/RigidAnimationClip.h>

namespace orvcore {

class SceneNode;

/// Moves a node along a direction, in its parent's frame, by up to
/// `Distance`: transform = translate(Direction * r * Distance) * the
/// transform the node had when the clip first played in this run.
class MoveAnimationClip : public RigidAnimationClip {
public:
    /// Moves by `offset`: Distance = |offset|, Direction = offset / |offset|
    /// (a zero offset moves nothing).
    MoveAnimationClip(const std::shared_ptr<SceneNode>& node, const glm::vec3& offset, float start, float end);
    /// Moves `distance` times `direction`, both as given (not normalised).
    MoveAnimationClip(const std::shared_ptr<SceneNode>& node, const glm::vec3& direction, float distance, float start,
                      float end);

    bool Play(float time) override;
    /// The next play captures the node's transform again.
    void Reset() override { m_NeedInit = true; }

    const std::shared_ptr<SceneNode>& GetNode() const { return m_Node; }
    void SetNode(const std::shared_ptr<SceneNode>& node) { m_Node = node; }
    const glm::vec3& GetDirection() const { return m_Direction; }
    void SetDirection(const glm::vec3& direction) { m_Direction = direction; }
    float GetDistance() const { return m_Distance; }
    void SetDistance(float distance) { m_Distance = distance; }

    static MoveAnimationClip* Cast(RigidAnimationClip* clip);
    static const MoveAnimationClip* Cast(const RigidAnimationClip* clip);

protected:
    void Update(float ratio);

private:
    glm::vec3 m_Direction;
    float m_Distance;
    std::shared_ptr<SceneNode> m_Node;
    glm::mat4 m_Start{1.0f};
    bool m_NeedInit = true;
};

} // namespace orvcore

#pragma once

#include <memory>

#include <glm/mat4x4.hpp>

#include <orvcore/animation/RigidAnimationClip.h>

namespace orvcore {

class SceneNode;

/// Sets a node's transform to a blend of two matrices: the rotations by
/// spherical interpolation along the shorter arc, the fourth columns
/// linearly; at the end exactly `EndMatrix`. Scale is not carried: a blended
/// matrix is a rotation and a translation.
class MatrixAnimationClip : public RigidAnimationClip {
public:
    MatrixAnimationClip(const std::shared_ptr<SceneNode>& node, const glm::mat4& start, const glm::mat4& end,
                        float startTime, float endTime);

    bool Play(float time) override;

    const std::shared_ptr<SceneNode>& GetNode() const { return m_Node; }
    void SetNode(const std::shared_ptr<SceneNode>& node) { m_Node = node; }
    const glm::mat4& GetStartMatrix() const { return m_StartMatrix; }
    void SetStartMatrix(const glm::mat4& matrix) { m_StartMatrix = matrix; }
    const glm::mat4& GetEndMatrix() const { return m_EndMatrix; }
    void SetEndMatrix(const glm::mat4& matrix) { m_EndMatrix = matrix; }

    /// The blend at ratio r (0: the start's rotation and translation).
    static glm::mat4 Blend(const glm::mat4& start, const glm::mat4& end, float r);

    static MatrixAnimationClip* Cast(RigidAnimationClip* clip);
    static const MatrixAnimationClip* Cast(const RigidAnimationClip* clip);

private:
    glm::mat4 m_StartMatrix;
    glm::mat4 m_EndMatrix;
    std::shared_ptr<SceneNode> m_Node;
};

} // namespace orvcore

#pragma once

#include <memory>
#include <string>
#include <vector>

#include <glm/mat4x4.hpp>

#include <orvcore/scene/GroupSceneNode.h>

namespace orvcore {

class RobotArm;

/// A group of arms (a robot with several arms, or a cell of robots); joint
/// values are addressed by arm and joint index.
class RobotBody : public GroupSceneNode {
public:
    RobotBody();
    ~RobotBody() override;

    /// Appends the arm and makes it a child; a null arm logs "Arm is null!".
    void AddArm(const std::shared_ptr<RobotArm>& arm);
    /// Drops the arm from the list and from the children; false when it is
    /// not one of this body's arms.
    bool RemoveArm(const std::shared_ptr<RobotArm>& arm);
    /// A bad index logs "index is out of range!" and gives null.
    std::shared_ptr<RobotArm> GetArm(unsigned int i) const;
    unsigned int GetArmCount() const { return static_cast<unsigned int>(m_Arms.size()); }

    /// Forwarded to the arm; a bad arm index logs "index is out of range!"
    /// and gives false (0 for the getter).
    bool SetVariable(unsigned int arm, unsigned int joint, double value);
    double GetVariable(unsigned int arm, unsigned int joint) const;
    /// The arm's last joint frame in world coordinates: the body's world
    /// transform x the arm's transform x the arm's final frame. A bad index
    /// logs "index is out of range!" and gives the body's world transform.
    glm::mat4 GetFinalTransform(unsigned int arm) const;

    /// `ResetInitialState` on every arm.
    void Reset();
    void UpdateFrames();
    void ShowJoints(bool show);
    void ShowLinks(bool show);
    void ShowVirtualLinks(bool show);

    const std::string& GetName() const { return m_Name; }
    void SetName(const std::string& name) { m_Name = name; }

    /// A new body with clones of the arms.
    std::shared_ptr<RobotBody> CloneRobot() const;
    std::shared_ptr<SceneNode> Clone() const override;

    static RobotBody* Cast(GroupSceneNode* node);
    static const RobotBody* Cast(const GroupSceneNode* node);
    static RobotBody* Cast(SceneNode* node);
    static const RobotBody* Cast(const SceneNode* node);

private:
    bool CheckIndex(unsigned int i) const;

    std::string m_Name;
    std::vector<std::shared_ptr<RobotArm>> m_Arms;
};

} // namespace orvcore

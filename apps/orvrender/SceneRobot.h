#pragma once

#include <memory>
#include <string>
#include <vector>

namespace orvcore {
class RobotAnimation;
class RobotArm;
class SceneNode;
} // namespace orvcore

namespace orvrender {

/// A robot arm of a scene file (a node of type "robot").
struct RobotInfo {
    std::shared_ptr<orvcore::RobotArm> arm;
    std::string name;
    /// Per link: the name of its node, or "<robot>/link<k>" when unnamed.
    std::vector<std::string> linkNames;
    /// Per joint: whether its value is an angle (revolute; degrees in the
    /// file and on the command line), and the DH angle or offset that a
    /// value of 0 stands for.
    std::vector<bool> angular;
    std::vector<double> offsets;
    /// The robot's joint-space motion (its "motion" list), or null.
    std::shared_ptr<orvcore::RobotAnimation> motion;
};

/// Two nodes of the scene file's "collision" list, tested against each other.
struct CollisionPair {
    std::shared_ptr<orvcore::SceneNode> first, second;
    std::string firstName, secondName;
};

} // namespace orvrender

#pragma once

#include <string>
#include <vector>

#include <orvrender/SceneFile.h>

namespace orvcore {
class RobotAnimation;
}

/// What orvrender does with the robots and collision pairs of a scene file:
/// posing an arm from the command line, playing its motion to a time, and
/// reporting (and marking) what collides.
namespace orvrender {

/// "q1,q2,..." as numbers; false for anything else.
bool ParseJointValues(const std::string& text, std::vector<double>& values);

/// Sets the first robot's movable joints, in order, to these values
/// (degrees for revolute joints, scene units for prismatic ones, measured
/// from the DH table's angle or offset) and recomputes its frames. False
/// with the reason when the scene has no robot, when there are more values
/// than movable joints, or when a value is outside its joint's limits.
bool ApplyJoints(const SceneInfo& info, const std::vector<double>& values, std::string& error);

/// Plays a robot's motion from its start to `seconds`: its joints then
/// stand where the motion puts them at that time (frames updated).
void SeekMotion(orvcore::RobotAnimation& motion, double seconds);
/// `SeekMotion` on every robot's motion; false when no robot has one.
bool SeekMotions(const SceneInfo& info, double seconds);
/// The end of the motion's last ramp, in seconds.
double MotionLength(const orvcore::RobotAnimation& motion);

/// The colliding link pairs of every robot and the collision state of every
/// pair of the file's "collision" list, as one JSON object:
///   {"robots": [{"name": .., "pairs": [{"links": [i, j], "names": [.., ..]}]}],
///    "nodes": [{"names": [.., ..], "collide": bool}]}
/// The world must be up to date. With `mark`, the faces of every link or
/// node that collides are drawn red from now on.
std::string CollisionReport(const SceneInfo& info, bool mark);

} // namespace orvrender

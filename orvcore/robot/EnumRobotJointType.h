#pragma once

#include <cstdint>

namespace orvcore {

/// How a joint moves. A revolute joint's variable is its DH angle `Theta`,
/// a prismatic joint's its DH offset `D`; every other value is a fixed
/// joint, which has no variable.
enum EnumRobotJointType : int32_t {
    ROBOT_JOINT_FIXED = 0,
    ROBOT_JOINT_REVOLUTE = 1,
    ROBOT_JOINT_PRISMATIC = 2,
};

} // namespace orvcore

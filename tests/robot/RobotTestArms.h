#pragma once

#include <cmath>
#include <memory>
#include <vector>

#include <glm/mat4x4.hpp>

#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvcore/robot/RobotArm.h>
#include <orvcore/scene/PrimitiveSceneNode.h>

namespace orvtest {

constexpr double kDeg = 3.14159265358979323846 / 180.0;

/// One row of a DH table: alpha and theta in degrees.
struct DhRow {
    double alpha, a, d, theta;
};

/// A six-axis arm of UR5 proportions (millimetres), classic DH.
inline const std::vector<DhRow>& SixAxisTable()
{
    static const std::vector<DhRow> table = {{90, 0, 89.159, 0},   {0, -425, 0, 0},     {0, -392.25, 0, 0},
                                             {90, 0, 109.15, 0},   {-90, 0, 94.65, 0}, {0, 0, 82.3, 0}};
    return table;
}

/// An arm of revolute joints from a table (angles converted to radians).
inline std::shared_ptr<orvcore::RobotArm> MakeArm(const std::vector<DhRow>& table)
{
    auto arm = std::make_shared<orvcore::RobotArm>();
    for (const DhRow& row : table)
        arm->AddJoint(orvcore::ROBOT_JOINT_REVOLUTE, row.alpha * kDeg, row.a, row.d, row.theta * kDeg);
    return arm;
}

/// A box node `size` large centred at `centre` (its transform places it).
inline std::shared_ptr<orvcore::PrimitiveSceneNode> BoxNode(const glm::vec3& size, const glm::mat4& placement)
{
    auto node = std::make_shared<orvcore::PrimitiveSceneNode>(orvcore::GeometryBuilder::CreateBox(size), nullptr);
    node->SetTransform(placement);
    return node;
}

} // namespace orvtest

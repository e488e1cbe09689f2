#include <orvrender/RobotCommands.h>

#include <algorithm>
#include <cmath>
#include <set>

#include <nlohmann/json.hpp>

#include <orvcommon/Math.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvcore/collision/NodeCollisionDetector.h>
#include <orvcore/robot/RobotAnimation.h>
#include <orvcore/robot/RobotArm.h>
#include <orvcore/scene/GroupSceneNode.h>

namespace orvrender {

namespace {

// Gives every node of a subtree the red face override.
void Mark(orvcore::SceneNode& node, const std::shared_ptr<orvcore::MaterialInstance>& material)
{
    node.SetOverrideFaceMaterial(material);
    if (auto group = orvcore::GroupSceneNode::Cast(&node)) {
        for (const auto& entry : group->GetChildren()) {
            if (entry.second)
                Mark(*entry.second, material);
        }
    }
}

std::string Format(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

} // namespace

bool ParseJointValues(const std::string& text, std::vector<double>& values)
{
    values.clear();
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t end = text.find(',', start);
        const std::string part = text.substr(start, end == std::string::npos ? std::string::npos : end - start);
        char* stop = nullptr;
        const double value = std::strtod(part.c_str(), &stop);
        if (part.empty() || stop != part.c_str() + part.size() || !std::isfinite(value))
            return false;
        values.push_back(value);
        if (end == std::string::npos)
            break;
        start = end + 1;
    }
    return !values.empty();
}

bool ApplyJoints(const SceneInfo& info, const std::vector<double>& values, std::string& error)
{
    if (info.robots.empty()) {
        error = "the scene has no robot to pose";
        return false;
    }
    const RobotInfo& robot = info.robots.front();
    std::vector<unsigned int> movable;
    for (unsigned int i = 0; i < robot.arm->GetJointCount(); ++i) {
        if (robot.arm->GetJoint(i)->GetJointType() != orvcore::ROBOT_JOINT_FIXED)
            movable.push_back(i);
    }
    if (values.size() > movable.size()) {
        error = "robot \"" + robot.name + "\" has " + std::to_string(movable.size()) + " movable joints, not " +
                std::to_string(values.size());
        return false;
    }
    for (std::size_t k = 0; k < values.size(); ++k) {
        const unsigned int i = movable[k];
        const double scale = robot.angular[i] ? orvcore::Math::DegreesToRadians(1.0) : 1.0;
        if (!robot.arm->SetVariable(i, robot.offsets[i] + values[k] * scale)) {
            const auto& dh = *robot.arm->GetJoint(i)->GetParameters();
            const orvcore::ValueRange& range = robot.angular[i] ? dh.GetTheta_VR() : dh.GetD_VR();
            error = "joint " + std::to_string(k + 1) + " of robot \"" + robot.name + "\": " + Format(values[k]) +
                    " is outside its limits [" + Format((range.GetMinimum() - robot.offsets[i]) / scale) + ", " +
                    Format((range.GetMaximum() - robot.offsets[i]) / scale) + "]";
            return false;
        }
    }
    robot.arm->UpdateFrames();
    return true;
}

void SeekMotion(orvcore::RobotAnimation& motion, double seconds)
{
    const auto& arm = motion.GetArm();
    if (!arm)
        return;
    // A new run without `Reset`, which would also make the current pose the
    // links' rest pose again (and let rounding creep in, seek after seek).
    unsigned int queue = 0;
    for (unsigned int j = 0; j < arm->GetJointCount(); ++j) {
        queue = std::max(queue, motion.GetClipCountOfJoint(j));
        for (unsigned int i = 0; i < motion.GetClipCountOfJoint(j); ++i)
            motion.GetClip(j, i)->SetEnabled(true);
    }
    motion.Animation::Reset();
    motion.PlayAt(0.0);
    // A step plays one ramp per joint; ramps that end by `seconds` hand over
    // to the next one on the following step at the same time.
    for (unsigned int step = 0; step <= queue; ++step)
        motion.PlayAt(seconds);
}

bool SeekMotions(const SceneInfo& info, double seconds)
{
    bool any = false;
    for (const RobotInfo& robot : info.robots) {
        if (robot.motion) {
            SeekMotion(*robot.motion, seconds);
            any = true;
        }
    }
    return any;
}

double MotionLength(const orvcore::RobotAnimation& motion)
{
    double length = 0.0;
    const auto& arm = motion.GetArm();
    for (unsigned int j = 0; arm && j < arm->GetJointCount(); ++j) {
        for (unsigned int i = 0; i < motion.GetClipCountOfJoint(j); ++i)
            length = std::max(length, motion.GetClip(j, i)->GetEndTime());
    }
    return length;
}

std::string CollisionReport(const SceneInfo& info, bool mark)
{
    std::shared_ptr<orvcore::MaterialInstance> red;
    if (mark) {
        red = orvcore::MeshPhongMaterial::Create("orvrender.collision");
        red->SetColor(glm::vec3(0.9f, 0.1f, 0.1f));
    }
    nlohmann::json report;
    report["robots"] = nlohmann::json::array();
    for (const RobotInfo& robot : info.robots) {
        nlohmann::json pairs = nlohmann::json::array();
        const std::vector<uint32_t> hits = robot.arm->SelfCollisionTest();
        for (std::size_t k = 0; k + 1 < hits.size(); k += 2) {
            pairs.push_back({{"links", {hits[k], hits[k + 1]}},
                             {"names", {robot.linkNames[hits[k]], robot.linkNames[hits[k + 1]]}}});
            if (red) {
                Mark(*robot.arm->GetLink(hits[k])->GetVisualNode(), red);
                Mark(*robot.arm->GetLink(hits[k + 1])->GetVisualNode(), red);
            }
        }
        report["robots"].push_back({{"name", robot.name}, {"pairs", pairs}});
    }
    report["nodes"] = nlohmann::json::array();
    for (const CollisionPair& pair : info.collisions) {
        orvcore::NodeCollisionDetector detector(pair.first);
        const bool hit = detector.Test(pair.second);
        report["nodes"].push_back({{"names", {pair.firstName, pair.secondName}}, {"collide", hit}});
        if (hit && red) {
            Mark(*pair.first, red);
            Mark(*pair.second, red);
        }
    }
    return report.dump();
}

} // namespace orvrender

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include <orvcommon/Math.h>
#include <orvcommon/ValueRange.h>
#include <orvcore/robot/RobotAnimation.h>
#include <orvcore/robot/RobotArm.h>
#include <orvcore/scene/Scene.h>
#include <orvrender/SceneLoader.h>

// Robot arms of a scene file (nodes of type "robot") and the file's
// "collision" list.

namespace orvrender {

using namespace json;
using orvcore::SceneNode;

namespace {

constexpr std::size_t kMaxJoints = 64;
constexpr std::size_t kMaxClips = 10000;
constexpr double kMaxAngle = 36000.0; // degrees
constexpr double kMaxSeconds = 1.0e6;

struct JointRow {
    orvcore::EnumRobotJointType type = orvcore::ROBOT_JOINT_REVOLUTE;
    double alpha = 0, a = 0, d = 0, theta = 0; // angles in radians
    bool limited = false;
    double minimum = 0, maximum = 0; // in joint-value units (degrees or lengths)
    double value = 0;
};

double Optional(const Json& object, const char* key, const std::string& path, double bound, double fallback)
{
    const Json* value = Find(object, key);
    return value ? Bounded(*value, Child(path, key), -bound, bound, false) : fallback;
}

JointRow ReadJoint(const Json& joint, const std::string& path)
{
    ExpectObject(joint, path);
    CheckKeys(joint, path, {"type", "alpha", "a", "d", "theta", "limits", "value"});
    JointRow row;
    if (const Json* type = Find(joint, "type")) {
        const std::string kind = String(*type, Child(path, "type"));
        if (kind == "prismatic")
            row.type = orvcore::ROBOT_JOINT_PRISMATIC;
        else if (kind == "fixed")
            row.type = orvcore::ROBOT_JOINT_FIXED;
        else if (kind != "revolute")
            Fail(Child(path, "type"), "expected \"revolute\", \"prismatic\" or \"fixed\", found \"" + kind + "\"");
    }
    row.alpha = orvcore::Math::DegreesToRadians(Optional(joint, "alpha", path, kMaxAngle, 0.0));
    row.a = Optional(joint, "a", path, kMaxExtent, 0.0);
    row.d = Optional(joint, "d", path, kMaxExtent, 0.0);
    row.theta = orvcore::Math::DegreesToRadians(Optional(joint, "theta", path, kMaxAngle, 0.0));
    const bool angular = row.type == orvcore::ROBOT_JOINT_REVOLUTE;
    const double bound = angular ? kMaxAngle : kMaxExtent;
    if (const Json* limits = Find(joint, "limits")) {
        const std::string limitsPath = Child(path, "limits");
        if (row.type == orvcore::ROBOT_JOINT_FIXED)
            Fail(limitsPath, "a fixed joint has no value to limit");
        ExpectArray(*limits, limitsPath);
        if (limits->size() != 2)
            Fail(limitsPath, "expected 2 numbers, found " + std::to_string(limits->size()));
        row.limited = true;
        row.minimum = Bounded((*limits)[0], Child(limitsPath, 0), -bound, bound, false);
        row.maximum = Bounded((*limits)[1], Child(limitsPath, 1), -bound, bound, false);
        if (row.minimum > 0.0 || row.maximum < 0.0)
            Fail(limitsPath, "the limits must include 0 (the pose the links are placed in)");
    }
    if (const Json* value = Find(joint, "value")) {
        if (row.type == orvcore::ROBOT_JOINT_FIXED)
            Fail(Child(path, "value"), "a fixed joint has no value");
        row.value = Bounded(*value, Child(path, "value"), -bound, bound, false);
    }
    return row;
}

} // namespace

std::shared_ptr<SceneNode> SceneLoader::BuildRobot(const Json& node, const std::string& path, std::size_t depth,
                                                   const std::string& name)
{
    auto arm = std::make_shared<orvcore::RobotArm>();
    RobotInfo info;
    info.arm = arm;
    info.name = name.empty() ? "robot" + std::to_string(m_Info.robots.size()) : name;
    arm->SetName(info.name);
    if (const Json* size = Find(node, "axisSize"))
        arm->SetAxisSize(Length(*size, Child(path, "axisSize")));

    // The DH table, every joint at the value 0 (its table angle or offset).
    const std::string jointsPath = Child(path, "joints");
    const Json& joints = Require(node, "joints", path);
    ExpectArray(joints, jointsPath);
    if (joints.empty() || joints.size() > kMaxJoints)
        Fail(jointsPath, "an arm needs 1 to " + std::to_string(kMaxJoints) + " joints");
    std::vector<JointRow> rows;
    for (std::size_t i = 0; i < joints.size(); ++i) {
        const JointRow row = ReadJoint(joints[i], Child(jointsPath, i));
        const unsigned int index = arm->AddJoint(row.type, row.alpha, row.a, row.d, row.theta);
        const bool angular = row.type == orvcore::ROBOT_JOINT_REVOLUTE;
        const double offset = angular ? row.theta : row.d;
        const double scale = angular ? orvcore::Math::DegreesToRadians(1.0) : 1.0;
        if (row.limited) {
            orvcore::ValueRange range(offset, offset + row.minimum * scale, offset + row.maximum * scale);
            if (angular)
                arm->GetJoint(index)->GetParameters()->SetTheta_VR(range);
            else
                arm->GetJoint(index)->GetParameters()->SetD_VR(range);
        }
        info.angular.push_back(angular);
        info.offsets.push_back(offset);
        rows.push_back(row);
    }
    if (!Flag(node, "showJoints", path, true))
        arm->ShowJoints(false);
    if (!Flag(node, "showVirtualLinks", path, true))
        arm->ShowVirtualLinks(false);

    // Links: any node, placed in its joint's frame at that pose.
    if (const Json* links = Find(node, "links")) {
        const std::string linksPath = Child(path, "links");
        ExpectArray(*links, linksPath);
        if (links->size() > joints.size())
            Fail(linksPath, "an arm holds at most as many links as joints");
        for (std::size_t k = 0; k < links->size(); ++k) {
            const Json& link = (*links)[k];
            const std::string linkPath = Child(linksPath, k);
            ExpectObject(link, linkPath);
            CheckKeys(link, linkPath, {"joint", "node"});
            const auto joint = static_cast<unsigned int>(
                Integer(Require(link, "joint", linkPath), Child(linkPath, "joint"), 0, int64_t(joints.size()) - 1));
            const Json& visual = Require(link, "node", linkPath);
            auto built = BuildNode(visual, Child(linkPath, "node"), depth + 1, false);
            if (!built)
                Fail(Child(linkPath, "node"), "the link could not be built");
            built->SetTransform(arm->GetJoint(joint)->GetWorldFrame() * built->GetTransform());
            arm->AddLink(joint, built);
            const Json* linkName = visual.is_object() ? Find(visual, "name") : nullptr;
            info.linkNames.push_back(linkName ? linkName->get<std::string>() : info.name + "/link" + std::to_string(k));
        }
    }

    // The pose of the file.
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const std::string valuePath = Child(Child(jointsPath, i), "value");
        if (rows[i].type == orvcore::ROBOT_JOINT_FIXED)
            continue;
        const double scale = info.angular[i] ? orvcore::Math::DegreesToRadians(1.0) : 1.0;
        if (!arm->SetVariable(static_cast<unsigned int>(i), info.offsets[i] + rows[i].value * scale))
            Fail(valuePath, "outside the joint's limits");
    }
    arm->UpdateFrames();

    // The joint-space motion: ramps of joint values over seconds.
    if (const Json* motion = Find(node, "motion")) {
        const std::string motionPath = Child(path, "motion");
        ExpectArray(*motion, motionPath);
        if (motion->size() > kMaxClips)
            Fail(motionPath, "too large (at most " + std::to_string(kMaxClips) + " ramps)");
        info.motion = std::make_shared<orvcore::RobotAnimation>(arm);
        info.motion->SetName(info.name);
        for (std::size_t k = 0; k < motion->size(); ++k) {
            const Json& ramp = (*motion)[k];
            const std::string rampPath = Child(motionPath, k);
            ExpectObject(ramp, rampPath);
            CheckKeys(ramp, rampPath, {"joint", "from", "to", "start", "end"});
            const auto joint = static_cast<std::size_t>(
                Integer(Require(ramp, "joint", rampPath), Child(rampPath, "joint"), 0, int64_t(joints.size()) - 1));
            if (rows[joint].type == orvcore::ROBOT_JOINT_FIXED)
                Fail(Child(rampPath, "joint"), "a fixed joint cannot move");
            const double bound = info.angular[joint] ? kMaxAngle : kMaxExtent;
            const double scale = info.angular[joint] ? orvcore::Math::DegreesToRadians(1.0) : 1.0;
            const double from = Bounded(Require(ramp, "from", rampPath), Child(rampPath, "from"), -bound, bound, false);
            const double to = Bounded(Require(ramp, "to", rampPath), Child(rampPath, "to"), -bound, bound, false);
            const double start =
                Bounded(Require(ramp, "start", rampPath), Child(rampPath, "start"), 0.0, kMaxSeconds, false);
            const double end = Bounded(Require(ramp, "end", rampPath), Child(rampPath, "end"), 0.0, kMaxSeconds, false);
            if (end < start)
                Fail(Child(rampPath, "end"), "a ramp must not end before it starts");
            info.motion->AddClip(std::make_shared<orvcore::RobotAnimationClip>(
                static_cast<unsigned int>(joint), info.offsets[joint] + from * scale, info.offsets[joint] + to * scale,
                start, end));
        }
    }
    m_Info.robots.push_back(std::move(info));
    return arm;
}

void SceneLoader::LoadCollision(const Json& list, const std::string& path)
{
    // Pairs of node names. A node is found with its owner: the scene for
    // top-level nodes, else its parent group.
    auto shared = [this](const SceneNode* node) -> std::shared_ptr<SceneNode> {
        if (auto parent = orvcore::GroupSceneNode::Cast(node->GetParent()))
            return parent->FindNode(node->GetId());
        return m_Manager.GetScene()->FindNode(node->GetId());
    };
    auto find = [&](const Json& value, const std::string& at) {
        const std::string name = String(value, at);
        for (const auto& entry : m_Info.names) {
            if (entry.second == name) {
                if (auto node = shared(entry.first))
                    return std::make_pair(node, name);
                Fail(at, "the node \"" + name + "\" cannot take part in collision tests");
            }
        }
        Fail(at, "no node is named \"" + name + "\"");
    };
    ExpectArray(list, path);
    for (std::size_t i = 0; i < list.size(); ++i) {
        const std::string pairPath = Child(path, i);
        ExpectArray(list[i], pairPath);
        if (list[i].size() != 2)
            Fail(pairPath, "expected 2 node names, found " + std::to_string(list[i].size()));
        const auto first = find(list[i][0], Child(pairPath, 0));
        const auto second = find(list[i][1], Child(pairPath, 1));
        m_Info.collisions.push_back({first.first, second.first, first.second, second.second});
    }
}

} // namespace orvrender

// Robot nodes and the collision list of scene files, and what orvrender
// does with them: posing from the command line, playing a motion to a time,
// and the collision report.
#include <cmath>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <orvcore/robot/RobotArm.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/SceneManager.h>
#include <orvrender/RobotCommands.h>
#include <orvrender/SceneFile.h>

#include "LoadedScene.h"
#include "LogCapture.h"

namespace {

const std::string kRoot = ORVCORE_SOURCE_DIR;
constexpr double kDeg = 3.14159265358979323846 / 180.0;

using Loaded = orvtest::LoadedScene;

std::unique_ptr<Loaded> LoadExample()
{
    auto result = std::make_unique<Loaded>();
    result->ok = orvrender::LoadSceneFile(kRoot + "/examples/robot.json", *result->manager, result->info, result->error);
    return result;
}

nlohmann::json Report(Loaded& scene, bool mark = false)
{
    scene.manager->UpdateWorld();
    return nlohmann::json::parse(orvrender::CollisionReport(scene.info, mark));
}

std::string Robot(const std::string& joints, const std::string& extra = "")
{
    return R"({"nodes": [{"type": "robot", "name": "r", "joints": )" + joints + extra + "}]}";
}

} // namespace

TEST(SceneRobot, ExampleArmPosesAndReportsCollisions)
{
    auto scene = LoadExample();
    ASSERT_TRUE(scene->ok) << scene->error;
    ASSERT_EQ(scene->info.robots.size(), 1u);
    const auto& robot = scene->info.robots[0];
    EXPECT_EQ(robot.arm->GetJointCount(), 6u);
    EXPECT_EQ(robot.linkNames, (std::vector<std::string>{"shoulder", "upper arm", "forearm", "wrist 1", "wrist 2",
                                                         "gripper"}));
    EXPECT_NEAR(robot.arm->GetVariable(2), 80 * kDeg, 1e-12);

    // In the file's pose the forearm passes through the fixture.
    const auto report = Report(*scene);
    EXPECT_EQ(report["robots"][0]["pairs"].size(), 0u);
    EXPECT_EQ(report["nodes"], nlohmann::json::parse(R"([{"names": ["gripper", "fixture"], "collide": false},
                                                         {"names": ["forearm", "fixture"], "collide": true}])"));

    // Folded at the elbow, the forearm runs into the shoulder; both are marked.
    std::string error;
    ASSERT_TRUE(orvrender::ApplyJoints(scene->info, {0, -30, 165, -90, 90, 0}, error)) << error;
    const auto folded = Report(*scene, true);
    EXPECT_EQ(folded["robots"][0]["pairs"],
              nlohmann::json::parse(R"([{"links": [0, 2], "names": ["shoulder", "forearm"]}])"));
    const auto upperArm = robot.arm->GetLink(1)->GetVisualNode();
    const auto forearm = robot.arm->GetLink(2)->GetVisualNode();
    ASSERT_NE(forearm->GetOverrideFaceMaterial(), nullptr);
    EXPECT_EQ(forearm->GetOverrideFaceMaterial()->GetName(), "orvrender.collision");
    EXPECT_EQ(upperArm->GetOverrideFaceMaterial(), nullptr);
}

TEST(SceneRobot, JointValuesOutsideLimitsOrCountAreRefused)
{
    auto scene = LoadExample();
    ASSERT_TRUE(scene->ok) << scene->error;
    std::string error;
    EXPECT_FALSE(orvrender::ApplyJoints(scene->info, {0, 0, 200}, error));
    EXPECT_EQ(error, "joint 3 of robot \"ur5\": 200 is outside its limits [-180, 180]");
    EXPECT_FALSE(orvrender::ApplyJoints(scene->info, std::vector<double>(7, 0.0), error));
    EXPECT_NE(error.find("6 movable joints"), std::string::npos) << error;
    std::vector<double> values;
    EXPECT_TRUE(orvrender::ParseJointValues("-30,45.5,0", values));
    EXPECT_EQ(values, (std::vector<double>{-30, 45.5, 0}));
    EXPECT_FALSE(orvrender::ParseJointValues("1,,2", values));
    EXPECT_FALSE(orvrender::ParseJointValues("1,x", values));
}

// Joint 0 ramps from 30 to -40 over 2 s; joint 1 goes -60 to -100 in the
// first second and back in the next.
TEST(SceneRobot, MotionIsPlayedToAGivenTime)
{
    auto scene = LoadExample();
    ASSERT_TRUE(scene->ok) << scene->error;
    const auto& arm = *scene->info.robots[0].arm;
    const struct {
        double t, q0, q1;
    } times[] = {{0, 30, -60}, {1, -5, -100}, {1.5, -22.5, -80}, {2, -40, -60}, {9, -40, -60}};
    for (const auto& c : times) {
        ASSERT_TRUE(orvrender::SeekMotions(scene->info, c.t));
        EXPECT_NEAR(arm.GetVariable(0), c.q0 * kDeg, 1e-6) << "at " << c.t;
        EXPECT_NEAR(arm.GetVariable(1), c.q1 * kDeg, 1e-6) << "at " << c.t;
    }
}

TEST(SceneRobot, FaultsNameTheJsonPath)
{
    const std::string joint = R"([{"alpha": 90, "d": 1, "limits": [-90, 90]}, {"a": 2}])";
    const struct {
        std::string text;
        const char* path;
        const char* what;
    } cases[] = {
        {Robot(R"([{"type": "spherical"}])"), "/nodes/0/joints/0/type", "\"revolute\""},
        {Robot("[]"), "/nodes/0/joints", "1 to 64 joints"},
        {Robot(R"([{"limits": [10, 90]}])"), "/nodes/0/joints/0/limits", "include 0"},
        {Robot(R"([{"limits": [-90, 90], "value": 100}])"), "/nodes/0/joints/0/value", "outside the joint's limits"},
        {Robot(R"([{"type": "fixed", "value": 1}])"), "/nodes/0/joints/0/value", "no value"},
        {Robot(joint, R"(, "links": [{"joint": 2, "node": {"type": "sphere", "radius": 1}}])"),
         "/nodes/0/links/0/joint", "at most 1"},
        {Robot(joint, R"(, "links": [{"joint": 0, "node": {"type": "sphere"}}])"), "/nodes/0/links/0/node/radius",
         "missing"},
        {Robot(joint, R"(, "links": [{"joint": 0, "node": {"type": "sphere", "radius": 1}},
             {"joint": 1, "node": {"type": "sphere", "radius": 1}}, {"joint": 1, "node": {"type": "sphere", "radius": 1}}])"),
         "/nodes/0/links", "as many links as joints"},
        {Robot(joint, R"(, "motion": [{"joint": 1, "from": 0, "to": 1, "start": 2, "end": 1}])"),
         "/nodes/0/motion/0/end", "before it starts"},
        {R"({"nodes": [{"type": "box", "name": "a", "size": [1,1,1]}], "collision": [["a", "b"]]})",
         "/collision/0/1", "no node is named"},
        {R"({"nodes": [{"type": "box", "name": "a", "size": [1,1,1]}], "collision": [["a"]]})", "/collision/0",
         "expected 2 node names"},
    };
    orvtest::LogCapture quiet;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        Loaded scene;
        EXPECT_FALSE(orvrender::LoadSceneText(c.text, "scene.json", kRoot, *scene.manager, scene.info, scene.error));
        EXPECT_EQ(scene.error.rfind(std::string("scene.json: ") + c.path + ": ", 0), 0u) << scene.error;
        EXPECT_NE(scene.error.find(c.what), std::string::npos) << scene.error;
    }
}

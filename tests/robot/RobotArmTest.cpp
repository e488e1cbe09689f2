#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include <orvcommon/Math.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvcore/robot/RobotArm.h>
#include <orvcore/robot/RobotBody.h>
#include <orvcore/robot/RobotDH.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/widget/AxisWidget.h>

#include "Expect.h"
#include "LogCapture.h"
#include "RobotTestArms.h"

using namespace orvcore;
using namespace orvtest;

namespace {

// Rz(theta) Tz(d) Tx(a) Rx(alpha), each factor written out and multiplied
// in double precision.
glm::dmat4 DhFrame(double alpha, double a, double d, double theta)
{
    const double ct = std::cos(theta), st = std::sin(theta), ca = std::cos(alpha), sa = std::sin(alpha);
    glm::dmat4 rz(1.0), tz(1.0), tx(1.0), rx(1.0);
    rz[0][0] = ct, rz[0][1] = st, rz[1][0] = -st, rz[1][1] = ct;
    tz[3][2] = d;
    tx[3][0] = a;
    rx[1][1] = ca, rx[1][2] = sa, rx[2][1] = -sa, rx[2][2] = ca;
    return rz * tz * tx * rx;
}

void ExpectFrameNear(const glm::mat4& actual, const glm::dmat4& expected, double eps)
{
    for (int c = 0; c < 4; ++c)
        for (int r = 0; r < 4; ++r)
            EXPECT_NEAR(actual[c][r], expected[c][r], eps) << "column " << c << ", row " << r;
}

glm::vec3 Origin(const glm::mat4& m) { return glm::vec3(m[3]); }

} // namespace

// Planar two-link arm (a = 2 and 1): the tip is worked out by hand.
TEST(RobotArm, TwoJointPlanarTip)
{
    auto arm = MakeArm({{0, 2, 0, 0}, {0, 1, 0, 0}});
    struct Case {
        double q1, q2;
        glm::vec3 tip, x;
    };
    const Case cases[] = {{0, 0, {3, 0, 0}, {1, 0, 0}},
                          {90, 0, {0, 3, 0}, {0, 1, 0}},
                          {90, -90, {1, 2, 0}, {1, 0, 0}},
                          {180, 90, {-2, -1, 0}, {0, -1, 0}}};
    for (const Case& c : cases) {
        ASSERT_TRUE(arm->SetVariable(0, c.q1 * kDeg));
        ASSERT_TRUE(arm->SetVariable(1, c.q2 * kDeg));
        arm->UpdateFrames();
        EXPECT_VEC(Origin(arm->GetFinalTransform()), c.tip) << c.q1 << ", " << c.q2;
        EXPECT_VEC(glm::vec3(arm->GetFinalTransform()[0]), c.x) << c.q1 << ", " << c.q2;
        EXPECT_VEC(Origin(arm->GetJoint(0)->GetWorldFrame()),
                   glm::vec3(2 * std::cos(c.q1 * kDeg), 2 * std::sin(c.q1 * kDeg), 0));
    }
}

// Revolute, revolute, prismatic: base joint with a height of 1 and a twist
// of 90 degrees, a 2 long link, then a slide along the last axis.
TEST(RobotArm, ThreeJointWithPrismaticTip)
{
    auto arm = std::make_shared<RobotArm>();
    arm->AddJoint(ROBOT_JOINT_REVOLUTE, 90 * kDeg, 0, 1, 0);
    arm->AddJoint(ROBOT_JOINT_REVOLUTE, 0, 2, 0, 0);
    arm->AddJoint(ROBOT_JOINT_PRISMATIC, 0, 0, 0, 0);
    struct Case {
        double q1, q2, d3;
        glm::vec3 tip, z;
    };
    const Case cases[] = {{0, 0, 0, {2, 0, 1}, {0, -1, 0}},
                          {90, 0, 0.5, {0.5, 2, 1}, {1, 0, 0}},
                          {90, 90, 0.5, {0.5, 0, 3}, {1, 0, 0}},
                          {0, -90, 2, {0, -2, -1}, {0, -1, 0}}};
    for (const Case& c : cases) {
        ASSERT_TRUE(arm->SetVariable(0, c.q1 * kDeg));
        ASSERT_TRUE(arm->SetVariable(1, c.q2 * kDeg));
        ASSERT_TRUE(arm->SetVariable(2, c.d3));
        EXPECT_DOUBLE_EQ(arm->GetVariable(2), c.d3);
        arm->UpdateFrames();
        EXPECT_VEC(Origin(arm->GetFinalTransform()), c.tip) << c.q1 << ", " << c.q2 << ", " << c.d3;
        EXPECT_VEC(glm::vec3(arm->GetFinalTransform()[2]), c.z) << c.q1 << ", " << c.q2 << ", " << c.d3;
    }
}

// Every joint frame of the six-axis arm against the DH chain multiplied
// out here in double precision.
TEST(RobotArm, SixAxisFramesMatchTheDhChain)
{
    auto arm = MakeArm(SixAxisTable());
    const double poses[][6] = {{0, 0, 0, 0, 0, 0},
                               {30, -60, 90, -45, 20, 170},
                               {-120, -100, -30, 60, -90, 10},
                               {179, 45, -150, 90, 135, -179}};
    for (const auto& pose : poses) {
        for (unsigned int j = 0; j < 6; ++j)
            ASSERT_TRUE(arm->SetVariable(j, pose[j] * kDeg));
        arm->UpdateFrames();
        glm::dmat4 expected(1.0);
        for (unsigned int j = 0; j < 6; ++j) {
            const DhRow& row = SixAxisTable()[j];
            expected = expected * DhFrame(row.alpha * kDeg, row.a, row.d, pose[j] * kDeg);
            ExpectFrameNear(arm->GetJoint(j)->GetWorldFrame(), expected, 2e-3);
            // The axis widget sits on the joint frame.
            EXPECT_EQ(arm->GetJoint(j)->GetAxisNode()->GetTransform(), arm->GetJoint(j)->GetWorldFrame());
        }
    }
}

// The joint's frame is the core library's DH frame bit for bit, also when
// only the angle changes between updates.
TEST(RobotDH, FrameIsComputeDHExactly)
{
    RobotDH dh(0.3, 2.5, -1.0, 0.0);
    const double values[][4] = {{0.3, 2.5, -1.0, 1.234}, {0.3, 2.5, -1.0, -3.0}, {-1.5, 2.5, 4.0, -3.0}, {2.0, -7, 0, 0.5}};
    for (const auto& v : values) {
        dh.SetAlpha(v[0]), dh.SetA(v[1]), dh.SetD(v[2]), dh.SetTheta(v[3]);
        dh.Update();
        EXPECT_EQ(dh.GetFrame(), Math::ComputeDH(v[0], v[1], v[2], v[3]));
    }
}

// A revolute joint whose range excludes 3.0: refused, and nothing moves.
TEST(RobotArm, LimitsRefuseWithoutChangingAnything)
{
    auto arm = MakeArm({{0, 2, 0, 0}, {0, 1, 0, 0}});
    arm->GetJoint(0)->GetParameters()->SetTheta_VR(ValueRange(0.5, -2.0, 2.0));
    ASSERT_TRUE(arm->SetVariable(0, 0.5));
    arm->UpdateFrames();
    const glm::mat4 before = arm->GetFinalTransform();
    LogCapture log;
    EXPECT_FALSE(arm->SetVariable(0, 3.0));
    EXPECT_FALSE(arm->SetVariable(0, -2.0001));
    EXPECT_FALSE(arm->SetVariable(1, NAN));
    EXPECT_FALSE(arm->GetJoint(0)->GetNeedUpdate());
    EXPECT_DOUBLE_EQ(arm->GetVariable(0), 0.5);
    EXPECT_TRUE(arm->SetVariable(0, 2.0)); // bounds are inclusive
    EXPECT_EQ(log.warnings, std::vector<std::string>{"Value is not finite!"});
    // A new value is not applied until the frames are updated.
    EXPECT_EQ(arm->GetFinalTransform(), before);
    arm->UpdateFrames();
    EXPECT_VEC(Origin(arm->GetJoint(0)->GetWorldFrame()), glm::vec3(2 * std::cos(2.0), 2 * std::sin(2.0), 0));

    arm->AddJoint(ROBOT_JOINT_FIXED, 0, 0, 1, 0);
    EXPECT_FALSE(arm->SetVariable(2, 1.0));
    EXPECT_EQ(arm->GetVariable(2), 0.0);
}

TEST(RobotArm, BadIndicesWarnAndGiveEmptyResults)
{
    auto arm = MakeArm({{0, 2, 0, 0}, {0, 1, 0, 0}});
    RobotBody body;
    LogCapture log;
    EXPECT_FALSE(arm->SetVariable(2, 0.0));
    EXPECT_EQ(arm->GetVariable(7), 0.0);
    EXPECT_EQ(arm->GetJoint(2), nullptr);
    EXPECT_EQ(arm->GetLink(0), nullptr);
    EXPECT_EQ(arm->AddLink(5, BoxNode(glm::vec3(1), glm::mat4(1))), 0u);
    body.AddArm(nullptr);
    EXPECT_FALSE(body.SetVariable(0, 0, 1.0));
    EXPECT_EQ(body.GetArm(1), nullptr);
    std::vector<std::string> expected(5, "index is out of range!");
    expected.insert(expected.end(), {"Arm is null!", "index is out of range!", "index is out of range!"});
    EXPECT_EQ(log.warnings, expected);
    EXPECT_EQ(arm->GetLinkCount(), 0u);
}

// A link keeps its placement when attached and then rides on its joint.
TEST(RobotArm, LinksRideOnTheirJoints)
{
    auto arm = MakeArm({{0, 2, 0, 0}, {0, 1, 0, 0}});
    arm->SetVariable(0, 90 * kDeg);
    arm->UpdateFrames();
    // A box at the middle of the second link, placed in the arm at this pose.
    const glm::mat4 placed = Translate(0.0f, 2.5f, 0.0f);
    auto box = BoxNode(glm::vec3(1.0f, 0.2f, 0.2f), placed);
    EXPECT_EQ(arm->AddLink(1, box), 0u);
    EXPECT_EQ(box->GetParent(), arm.get());
    arm->UpdateFrames();
    EXPECT_VEC(Origin(box->GetTransform()), glm::vec3(0.0f, 2.5f, 0.0f));

    arm->SetVariable(0, 0.0);
    arm->SetVariable(1, 90 * kDeg);
    arm->UpdateFrames();
    // Joint 1 moved from (0, 3) to (2, 1), its x axis still along +y: the
    // box's centre stays half a link back along that axis.
    EXPECT_VEC(Origin(box->GetTransform()), glm::vec3(2.0f, 0.5f, 0.0f));

    // The current pose becomes the rest pose: nothing moves.
    const glm::mat4 now = box->GetTransform();
    arm->ResetInitialState();
    arm->UpdateFrames();
    EXPECT_VEC(Origin(box->GetTransform()), Origin(now));

    EXPECT_EQ(arm->AddLink(0, BoxNode(glm::vec3(1), glm::mat4(1))), 1u);
    LogCapture log;
    EXPECT_EQ(arm->AddLink(0, BoxNode(glm::vec3(1), glm::mat4(1))), 0u);
    EXPECT_EQ(log.warnings, std::vector<std::string>{"Out of range!"});
    EXPECT_EQ(arm->GetLinkCount(), 2u);
}

// The virtual link shows the offset along the previous joint's axis.
TEST(RobotArm, VirtualLinkAndTailRemoval)
{
    auto arm = MakeArm({{0, 2, 0, 0}, {0, 0, 3, 90}});
    arm->UpdateFrames();
    const auto line = PrimitiveSceneNode::Cast(arm->GetJoint(1)->GetVirtualLink()->GetVisualNode().get());
    ASSERT_NE(line, nullptr);
    const auto& points = *line->GetPrimitive()->GetPositions();
    const glm::mat4 placed = line->GetTransform();
    EXPECT_VEC(Math::transformVec3(placed, points.GetVec3(0)), glm::vec3(2, 0, 0));
    EXPECT_VEC(Math::transformVec3(placed, points.GetVec3(1)), glm::vec3(2, 0, 3));
    EXPECT_EQ(arm->GetLineMaterial()->GetName(), "robot.line");

    const uint32_t children = arm->GetCount();
    arm->RemoveTailJoint();
    EXPECT_EQ(arm->GetJointCount(), 1u);
    EXPECT_EQ(arm->GetCount(), children - 2);
    EXPECT_VEC(Origin(arm->GetFinalTransform()), glm::vec3(2, 0, 0));
}

TEST(RobotArm, BodyFinalTransformAndClones)
{
    auto arm = MakeArm({{0, 2, 0, 0}, {0, 1, 0, 0}});
    arm->SetTransform(Translate(0, 0, 5));
    auto body = std::make_shared<RobotBody>();
    body->AddArm(arm);
    body->SetTransform(Translate(10, 0, 0));
    body->UpdateFrames();
    body->UpdateTransform(glm::mat4(1.0f));
    EXPECT_VEC(Origin(body->GetFinalTransform(0)), glm::vec3(13, 0, 5));
    LogCapture log;
    EXPECT_EQ(body->GetFinalTransform(5), body->GetWorldTransform());
    EXPECT_EQ(log.warnings, std::vector<std::string>{"index is out of range!"});

    const std::shared_ptr<SceneNode> clone = body->Clone();
    auto copy = RobotBody::Cast(clone.get());
    ASSERT_NE(copy, nullptr);
    auto copiedArm = copy->GetArm(0);
    ASSERT_TRUE(copy->SetVariable(0, 1, 90 * kDeg));
    copy->UpdateFrames();
    EXPECT_VEC(Origin(copiedArm->GetFinalTransform()), glm::vec3(2, 1, 0));
    EXPECT_VEC(Origin(arm->GetFinalTransform()), glm::vec3(3, 0, 0));
    EXPECT_EQ(copiedArm->GetCount(), arm->GetCount());
}

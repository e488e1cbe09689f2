#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvcore/collision/NodeCollisionDetector.h>
#include <orvcore/robot/RobotArm.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>

#include "Expect.h"
#include "ShapeFactory.h"
#include "RobotTestArms.h"

using namespace orvcore;
using namespace orvtest;

namespace {

// A planar arm of `n` revolute joints 10 apart; link k is a bar 10 long and
// 1 thick on joint k, reaching back to joint k - 1.
std::shared_ptr<RobotArm> BarArm(unsigned int n)
{
    auto arm = MakeArm(std::vector<DhRow>(n, DhRow{0, 10, 0, 0}));
    arm->UpdateFrames();
    for (unsigned int k = 0; k < n; ++k) {
        const glm::mat4 centre = arm->GetJoint(k)->GetWorldFrame() * Translate(-5, 0, 0);
        arm->AddLink(k, BoxNode(glm::vec3(10, 1, 1), centre));
    }
    return arm;
}

std::vector<uint32_t> Pose(RobotArm& arm, const std::vector<double>& degrees)
{
    for (unsigned int j = 0; j < degrees.size(); ++j)
        arm.SetVariable(j, degrees[j] * kDeg);
    arm.UpdateFrames();
    arm.UpdateTransform(glm::mat4(1.0f));
    return arm.SelfCollisionTest();
}

// Detectors built on the two links' nodes at their world matrices, per pair.
std::vector<uint32_t> Reference(const RobotArm& arm)
{
    std::vector<uint32_t> result;
    const unsigned int n = arm.GetLinkCount();
    for (unsigned int i = 0; i + 2 < n; ++i)
        for (unsigned int j = i + 2; j < n; ++j) {
            const auto& a = arm.GetLinks()[i]->GetVisualNode();
            const auto& b = arm.GetLinks()[j]->GetVisualNode();
            if (!a->GetWorldBBox().intersects(b->GetWorldBBox()))
                continue;
            NodeCollisionDetector da(a), db(b);
            da.Prepare();
            db.Prepare();
            if (da.Test(db))
                result.insert(result.end(), {i, j});
        }
    return result;
}

} // namespace

TEST(RobotSelfCollision, FoldedArm)
{
    auto arm = BarArm(4);
    EXPECT_TRUE(Pose(*arm, {0, 0, 0, 0}).empty());
    // Folded back: the third bar crosses the first one.
    EXPECT_EQ(Pose(*arm, {0, 150, 150, 0}), (std::vector<uint32_t>{0, 2}));
    // Folded less: the third bar's box reaches over the first bar's, its
    // triangles stay clear.
    EXPECT_TRUE(Pose(*arm, {0, 135, 100, 0}).empty());
    const auto& first = arm->GetLink(0)->GetVisualNode()->GetWorldBBox();
    EXPECT_TRUE(first.intersects(arm->GetLink(2)->GetVisualNode()->GetWorldBBox()));
    // Folded flat: the second bar lies on the first (neighbours are never
    // reported), the third meets the first end to end (touching counts).
    EXPECT_EQ(Pose(*arm, {0, 180, 0, 0}), (std::vector<uint32_t>{0, 2}));
}

TEST(RobotSelfCollision, FewerThanThreeLinksTestNothing)
{
    auto arm = BarArm(2);
    EXPECT_TRUE(Pose(*arm, {0, 180}).empty());
}

// Links made of several drawables (a group holding a bar and a moved
// cylinder) at random poses: the same pairs as detectors made per query.
TEST(RobotSelfCollision, MatchesDetectorsMadePerQuery)
{
    auto arm = MakeArm(std::vector<DhRow>(5, DhRow{0, 10, 0, 0}));
    arm->GetJoint(1)->GetParameters()->SetAlpha(60 * kDeg);
    arm->GetJoint(1)->RequstUpdate();
    arm->UpdateFrames();
    for (unsigned int k = 0; k < 5; ++k) {
        auto group = std::make_shared<GroupSceneNode>();
        group->AddNode(BoxNode(glm::vec3(10, 2, 2), Translate(-5, 0, 0)));
        auto pin = std::make_shared<PrimitiveSceneNode>(GeometryBuilder::CreateCylinder(1.5f, 1.5f, 6, 12), nullptr);
        pin->SetTransform(glm::rotate(Translate(-9, 0, 0), 0.7f, glm::vec3(1, 0, 0)));
        group->AddNode(pin);
        group->SetTransform(arm->GetJoint(k)->GetWorldFrame());
        arm->AddLink(k, group);
    }
    std::mt19937 random(7);
    std::uniform_real_distribution<double> angle(-170, 170);
    int colliding = 0;
    for (int pose = 0; pose < 60; ++pose) {
        std::vector<double> q(5);
        for (double& v : q)
            v = angle(random);
        const auto pairs = Pose(*arm, q);
        EXPECT_EQ(pairs, Reference(*arm)) << "pose " << pose;
        colliding += !pairs.empty();
    }
    EXPECT_GT(colliding, 5);
    EXPECT_LT(colliding, 55);
}

// New geometry on a link is seen by the next query.
TEST(RobotSelfCollision, FollowsChangedGeometry)
{
    auto arm = BarArm(3);
    ASSERT_EQ(Pose(*arm, {0, 150, 150}), (std::vector<uint32_t>{0, 2}));
    // A small triangle where the third bar crossed the first one, wholly
    // inside the first bar: the boxes meet, no triangles do.
    auto bar = PrimitiveSceneNode::Cast(arm->GetLink(2)->GetVisualNode().get());
    bar->SetPrimitive(Primitive(PRIMITIVE_TRIANGLES, {{0.6f, -0.1f, 0}, {1.0f, -0.1f, 0}, {0.8f, 0.1f, 0}}));
    bar->RequstUpdate();
    EXPECT_TRUE(Pose(*arm, {0, 150, 150}).empty());
}

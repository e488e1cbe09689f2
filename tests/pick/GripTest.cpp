#include <orvkernel/camera/CameraOperator.h>
#include <orvcore/pick/DefaultGripCollector.h>
#include <orvcore/pick/GripNodeManager.h>

#include <gtest/gtest.h>

#include "TestNodes.h"

using namespace orvcore;

namespace {

glm::vec3 AtWindow(const Camera& camera, float x, float y)
{
    glm::vec3 p = CameraOperator::WindowPointToWorldPoint(camera, glm::vec3(x, y, 0.5f));
    p.z = 0.0f;
    return p;
}

// The squared window distance that Highlight computes for a grip.
float Distance2(const Camera& camera, const glm::vec3& p, int x, int y)
{
    const glm::vec3 w = CameraOperator::WorldPointToWindowPoint(camera, p);
    return (w.x - float(x)) * (w.x - float(x)) + (w.y - float(y)) * (w.y - float(y));
}

GripNode Grip(uint64_t id, const glm::vec3& p) { return GripNode(ElementId(id), 0, GRIP_TYPE_POINT, p); }

} // namespace

TEST(GripNodeManager, EightPixelsInclusiveAndLaterWinsTies)
{
    auto camera = orvtest::TopCamera();
    GripNodeManager grips;
    EXPECT_EQ(grips.Highlight(camera, 100, 100), -1);
    // A grip whose measured distance is exactly 64 (8 px) is taken.
    glm::vec3 edge = AtWindow(*camera, 108.0f, 100.0f);
    for (int i = 0; i < 100 && Distance2(*camera, edge, 100, 100) > 64.0f; ++i)
        edge.x = std::nextafter(edge.x, 0.0f);
    ASSERT_LE(Distance2(*camera, edge, 100, 100), 64.0f);
    ASSERT_GT(Distance2(*camera, edge, 100, 100), 63.99f);
    grips.Add(Grip(1, edge));
    EXPECT_EQ(grips.Highlight(camera, 100, 100), 0);
    GripNodeManager far;
    far.Add(Grip(1, AtWindow(*camera, 108.01f, 100.0f)));
    EXPECT_EQ(far.Highlight(camera, 100, 100), -1);
    EXPECT_EQ(far.GetHighlightIdx(), -1);

    // Nearest wins; on the same pixel the later grip wins.
    GripNodeManager many;
    for (const auto& [id, x, y] : {std::tuple(1, 103, 100), std::tuple(2, 101, 101), std::tuple(3, 101, 101),
                                   std::tuple(4, 140, 100)})
        many.Add(Grip(uint64_t(id), AtWindow(*camera, float(x), float(y))));
    EXPECT_EQ(many.Highlight(camera, 100, 100), 2);
    EXPECT_EQ(many.GetHighlightIdx(), 2);
    EXPECT_EQ(many.GetNode(2)->GetId(), ElementId(3));
    EXPECT_FALSE(many.GetNode(-1).has_value() || many.GetNode(4).has_value());

    // A collector starts afresh.
    DefaultGripCollector collector(&many);
    EXPECT_TRUE(many.GetGrips().empty());
    EXPECT_EQ(many.GetHighlightIdx(), -1);
    collector.Add(GripNode(ElementId(7), 1, GRIP_TYPE_AXIS, glm::vec3(1.0f), glm::mat4(2.0f)));
    ASSERT_EQ(many.GetGrips().size(), 1u);
    EXPECT_EQ(many.GetGrips()[0].GetTransform(), glm::mat4(2.0f));
}

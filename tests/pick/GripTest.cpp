#include <orvcore/pick/DefaultGripCollector.h>
#include <orvcore/pick/GripNodeManager.h>

#include <gtest/gtest.h>
#include <orvkernel/camera/CameraOperator.h>

using namespace orvcore;

namespace {

// An orthographic top view; grips are placed at exact window offsets.
std::shared_ptr<Camera> View()
{
    auto camera = std::make_shared<Camera>(200, 200, glm::vec3(0, 0, 100), glm::vec3(0.0f), glm::vec3(0, 1, 0));
    camera->SetProjectionType(Camera::PROJECTION_ORTHOGRAPHIC);
    return camera;
}

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

} // namespace

TEST(GripNodeManager, EightPixelsInclusiveAndLaterWinsTies)
{
    auto camera = View();
    GripNodeManager grips;
    EXPECT_EQ(grips.Highlight(camera, 100, 100), -1);

    // A grip whose measured distance is exactly 64 (8 px) is taken.
    glm::vec3 edge = AtWindow(*camera, 108.0f, 100.0f);
    for (int i = 0; i < 100 && Distance2(*camera, edge, 100, 100) > 64.0f; ++i)
        edge.x = std::nextafter(edge.x, 0.0f);
    ASSERT_LE(Distance2(*camera, edge, 100, 100), 64.0f);
    ASSERT_GT(Distance2(*camera, edge, 100, 100), 63.99f);
    grips.Add(GripNode(ElementId(1), 0, GRIP_TYPE_POINT, edge));
    EXPECT_EQ(grips.Highlight(camera, 100, 100), 0);

    GripNodeManager far;
    far.Add(GripNode(ElementId(1), 0, GRIP_TYPE_POINT, AtWindow(*camera, 108.01f, 100.0f)));
    EXPECT_EQ(far.Highlight(camera, 100, 100), -1);
    EXPECT_EQ(far.GetHighlightIdx(), -1);

    // Nearest wins; on the same pixel the later grip wins.
    GripNodeManager many;
    many.Add(GripNode(ElementId(1), 0, GRIP_TYPE_POINT, AtWindow(*camera, 103, 100)));
    many.Add(GripNode(ElementId(2), 1, GRIP_TYPE_MIDDLE, AtWindow(*camera, 101, 101)));
    many.Add(GripNode(ElementId(3), 2, GRIP_TYPE_MIDDLE, AtWindow(*camera, 101, 101)));
    many.Add(GripNode(ElementId(4), 3, GRIP_TYPE_CENTER, AtWindow(*camera, 140, 100)));
    EXPECT_EQ(many.Highlight(camera, 100, 100), 2);
    EXPECT_EQ(many.GetHighlightIdx(), 2);
    EXPECT_EQ(many.GetNode(2)->GetId(), ElementId(3));
    EXPECT_FALSE(many.GetNode(-1).has_value());
    EXPECT_FALSE(many.GetNode(4).has_value());
}

TEST(GripNodeManager, CollectorStartsAfresh)
{
    auto camera = View();
    GripNodeManager grips;
    grips.Add(GripNode(ElementId(1), 0, GRIP_TYPE_POINT, glm::vec3(0.0f)));
    grips.Highlight(camera, 100, 100);
    ASSERT_EQ(grips.GetHighlightIdx(), 0);

    DefaultGripCollector collector(&grips);
    EXPECT_TRUE(grips.GetGrips().empty());
    EXPECT_EQ(grips.GetHighlightIdx(), -1);
    collector.Add(GripNode(ElementId(7), 1, GRIP_TYPE_AXIS, glm::vec3(1.0f), glm::mat4(2.0f)));
    ASSERT_EQ(grips.GetGrips().size(), 1u);
    EXPECT_EQ(grips.GetGrips()[0].GetTransform(), glm::mat4(2.0f));
    GripNode defaults;
    EXPECT_EQ(defaults.GetGripId(), 0u);
    EXPECT_EQ(defaults.GetTransform(), glm::mat4(1.0f));
}

// The ray caster (window points) and the frustum caster (window rectangles).
#include <orvcommon/Math.h>
#include <orvkernel/camera/CameraOperator.h>
#include <orvcore/pick/FrustumCaster.h>
#include <orvcore/pick/PickNodeByRayVisitor.h>
#include <orvcore/pick/Raycaster.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/scene/ShapeSceneNode.h>

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include "ShapeFactory.h"
#include "TestNodes.h"

using namespace orvcore;
using orvtest::Primitive;
using orvtest::Root;
using orvtest::Square;

namespace {

constexpr int kCx = 100, kCy = 100; // cursor at the centre of a 200 x 200 view

std::shared_ptr<PrimitiveSceneNode> Node(const std::shared_ptr<PrimitiveShape>& primitive)
{
    return std::make_shared<PrimitiveSceneNode>(primitive);
}

// World point at depth plane z = 0 that appears (dx, dy) viewport pixels
// from the cursor; nudged towards the cursor until the projected offset is
// no larger than asked (projection rounding may overshoot by a few ulps).
glm::vec3 PointAtPixelOffset(const Camera& camera, float dx, float dy)
{
    const glm::vec3 c = CameraOperator::WorldPointToViewportPoint(camera, glm::vec3(0.0f));
    glm::vec3 p = CameraOperator::WindowPointToWorldPoint(camera, glm::vec3(kCx + dx, kCy - dy, 0.5f));
    p.z = 0.0f;
    for (int i = 0; i < 1000; ++i) {
        const glm::vec3 v = CameraOperator::WorldPointToViewportPoint(camera, p);
        const bool overX = std::fabs(v.x - c.x) > std::fabs(dx), overY = std::fabs(v.y - c.y) > std::fabs(dy);
        if (!overX && !overY)
            break;
        p.x = overX ? std::nextafter(p.x, 0.0f) : p.x;
        p.y = overY ? std::nextafter(p.y, 0.0f) : p.y;
    }
    return p;
}

} // namespace

TEST(Raycaster, ScreenThresholdIsAnInclusiveSquare)
{
    auto camera = orvtest::TopCamera();
    // Two far points widen the node's box: the coarse bounding-sphere test
    // must not be what rejects the point under test.
    const auto picks = [&](float dx, float dy) {
        const glm::vec3 p = PointAtPixelOffset(*camera, dx, dy);
        Raycaster caster(camera, 7, kCx, kCy);
        return caster.HitTest(Root({Node(Primitive(PRIMITIVE_POINTS, {{-60, -60, 0}, p, {60, 60, 0}}))}));
    };
    EXPECT_EQ(picks(6.0f, 0.0f), 1u);
    EXPECT_EQ(picks(0.0f, 6.0f), 1u);
    EXPECT_EQ(picks(-6.0f, -6.0f), 1u); // a square, not a circle
    EXPECT_EQ(picks(6.01f, 0.0f), 0u);
    EXPECT_EQ(picks(0.0f, -6.01f), 0u);
    EXPECT_EQ(picks(6.01f, 6.01f), 0u);

    // Inclusive to the exact measured offset.
    const glm::vec3 p = PointAtPixelOffset(*camera, 4.3f, 0.0f);
    Raycaster caster(camera, 7, kCx, kCy);
    const float dx = std::fabs(CameraOperator::WorldPointToViewportPoint(*camera, p).x -
                               CameraOperator::WorldPointToViewportPoint(*camera, glm::vec3(0.0f)).x);
    caster.SetScreenThreshold(dx);
    EXPECT_TRUE(caster.TestDistanceThreshold(p, glm::vec3(0.0f)));
    caster.SetScreenThreshold(std::nextafter(dx, 0.0f));
    EXPECT_FALSE(caster.TestDistanceThreshold(p, glm::vec3(0.0f)));

    // A line 5 pixels right is hit where it passes, with the squared distance.
    caster.SetScreenThreshold(6.0f);
    const glm::vec3 side = PointAtPixelOffset(*camera, 5.0f, 0.0f), far = PointAtPixelOffset(*camera, 9.0f, 0.0f);
    auto line = Node(Primitive(PRIMITIVE_LINES, {{side.x, -50, -20}, {side.x, 50, -20}}));
    ASSERT_EQ(caster.HitTest(Root({line})), 1u);
    const PickedItem& hit = caster.GetTopItem();
    EXPECT_EQ(hit.GetNode(), line.get());
    EXPECT_EQ(hit.GetShapeType(), SHAPE_FILTER_EDGE);
    EXPECT_NEAR(hit.GetPosition().x, side.x, 1e-4f);
    EXPECT_NEAR(hit.GetPosition().z, -20.0f, 1e-4f);
    const glm::vec3 d = hit.GetPosition() - caster.GetRay().getOrigin();
    EXPECT_FLOAT_EQ(hit.GetPoint().GetDistance(), glm::dot(d, d));
    EXPECT_EQ(caster.HitTest(Root({Node(Primitive(PRIMITIVE_LINES, {{far.x, -50, 0}, {far.x, 50, 0}}))})), 0u);
}

TEST(Raycaster, FilterVisibilityAndPickabilityDecideWhatIsHitNearestFirst)
{
    auto camera = orvtest::TopCamera();
    auto point = Node(Primitive(PRIMITIVE_POINTS, {{0, 0, 10}}));
    auto line = Node(Primitive(PRIMITIVE_LINES, {{-5, 0, 5}, {5, 0, 5}}));
    auto face = Node(Square(0, 0, 0, 5));
    auto group = orvtest::Group({face});
    auto root = Root({point, line, group});

    Raycaster all(camera, 7, kCx, kCy);
    ASSERT_EQ(all.HitTest(root), 3u);
    // Nearest first: the point (z 10), the line (z 5), the face (z 0).
    EXPECT_EQ(all.GetIntersects()[0].GetNode(), point.get());
    EXPECT_EQ(all.GetIntersects()[1].GetNode(), line.get());
    EXPECT_EQ(all.GetIntersects()[2].GetNode(), face.get());
    Raycaster faces(camera, 4, kCx, kCy);
    ASSERT_EQ(faces.HitTest(root), 1u);
    EXPECT_EQ(faces.GetTopItem().GetShapeType(), SHAPE_FILTER_FACE);
    EXPECT_EQ(Raycaster(camera, 0, kCx, kCy).HitTest(root), 0u);
    EXPECT_FALSE(all.IsPickable(PRIMITIVE_UNDEFINED));
    {
        // A dropped caster's hits never show in the next caster, which
        // takes over the list's storage; a copy keeps its own hits.
        Raycaster dropped(camera, 7, kCx, kCy);
        ASSERT_EQ(dropped.HitTest(root), 3u);
        const Raycaster copy = dropped;
        EXPECT_EQ(copy.GetIntersects()[2].GetNode(), face.get());
    }
    const Raycaster next(camera, 7, kCx, kCy);
    EXPECT_EQ(next.GetCount(), 0u);
    EXPECT_TRUE(next.GetTopItem().IsNull());
    EXPECT_EQ(all.GetCount(), 3u);

    group->SetPickable(false);
    EXPECT_EQ(faces.HitTest(root), 0u);
    // Tools that must reach non-pickable nodes walk without respecting the flag.
    PickNodeByRayVisitor ignoring(faces, false);
    root->Accept(ignoring);
    EXPECT_EQ(faces.Sort(), 1u);
    group->SetPickable(true);
    group->SetVisible(false); // hidden is never hit, whatever the flag
    EXPECT_EQ(faces.HitTest(root), 0u);
    faces.Clear();
    root->Accept(ignoring);
    EXPECT_EQ(faces.GetCount(), 0u);
}

TEST(Raycaster, WithoutHitsTheTopItemFallsOnTheConstructionPlane)
{
    // World positions of hits on moved nodes are checked against the exact
    // ray by ExactHitTest; a miss gives a null item where the ray meets z = 0.
    auto camera = std::make_shared<Camera>(300, 200, glm::vec3(10, 20, 80), glm::vec3(0.0f), glm::vec3(0, 1, 0));
    Raycaster miss(camera, 7, 37, 150);
    EXPECT_EQ(miss.HitTest(Root({Node(Square(500, 500, 0, 1))})), 0u);
    EXPECT_TRUE(miss.GetTopItem().IsNull());
    EXPECT_NEAR(miss.GetTopItem().GetPosition().z, 0.0f, 1e-3f);
    const glm::vec3 onRay = CameraOperator::WorldPointToWindowPoint(*camera, miss.GetTopItem().GetPosition());
    EXPECT_NEAR(onRay.x, 37.0f, 1e-2f);
    EXPECT_NEAR(onRay.y, 150.0f, 1e-2f);
}

TEST(Raycaster, ShapeNodeReportsItsNearestPickableMember)
{
    auto camera = orvtest::TopCamera();
    // Members 0 and 1 are the same square (equal distance): the lower index wins.
    auto compound = std::make_shared<CompoundShape>(std::vector<std::shared_ptr<PrimitiveShape>>{
        Square(0, 0, 0, 3), Square(0, 0, 0, 3), Primitive(PRIMITIVE_POINTS, {{0, 0, 20}}), Square(0, 0, -5, 3)});
    auto shape = std::make_shared<ShapeSceneNode>(compound);
    shape->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(0, 0, 1)));
    auto root = Root({shape});

    Raycaster faces(camera, 4, kCx, kCy);
    ASSERT_EQ(faces.HitTest(root), 1u); // one item per shape node
    EXPECT_EQ(faces.GetTopItem().GetShapeIndex(), 0u);
    EXPECT_NEAR(faces.GetTopItem().GetPosition().z, 1.0f, 1e-4f);
    Raycaster all(camera, 7, kCx, kCy);
    ASSERT_EQ(all.HitTest(root), 1u);
    EXPECT_EQ(all.GetTopItem().GetShapeIndex(), 2u); // the point, nearest along the ray
    EXPECT_EQ(all.GetTopItem().GetShapeType(), SHAPE_FILTER_VERTEX);
    EXPECT_NEAR(all.GetTopItem().GetPosition().z, 21.0f, 1e-4f);

}

TEST(Raycaster, ScenesOfAManagerMergeIntoOneSortedList)
{
    auto manager = std::make_shared<SceneManager>(200, 200);
    manager->SetCoodinateGrid(nullptr);
    auto low = Node(Square(0, 0, -10, 5)), high = Node(Square(0, 0, 20, 5)), mid = Node(Square(0, 0, 5, 5));
    manager->GetScene()->AddNode(low);
    manager->GetTempScene()->AddNode(high);
    manager->GetScene()->AddNode(mid);
    mid->SetPickable(false);
    manager->UpdateWorld();

    Raycaster caster(manager->GetCamera(), 7, kCx, kCy); // orthographic, looking down -Z from z = 500
    ASSERT_EQ(caster.HitTest(manager), 2u);
    EXPECT_EQ(caster.GetIntersects()[0].GetNode(), high.get()); // from the second scene, nearest
    EXPECT_EQ(caster.GetIntersects()[1].GetNode(), low.get());
    ASSERT_EQ(caster.HitTest(manager, false), 3u);
    EXPECT_EQ(caster.GetIntersects()[1].GetNode(), mid.get());
    EXPECT_EQ(caster.HitTest(manager->GetTempScene()), 1u);
}

TEST(Raycaster, SearchRadiusNeverCutsOffAnAcceptedHit)
{
    // Segments scattered in a box seen at an angle: wherever the nearest
    // segment is within the screen threshold, it lies within the radius.
    auto camera = std::make_shared<Camera>(320, 240, glm::vec3(150, -200, 180), glm::vec3(0.0f), glm::vec3(0, 0, 1));
    std::vector<glm::vec3> points;
    uint32_t seed = 7;
    auto next = [&seed] {
        seed = seed * 1664525u + 1013904223u;
        return float(seed >> 8) / float(1u << 24) * 100.0f - 50.0f;
    };
    for (int i = 0; i < 600; ++i)
        points.emplace_back(next(), next(), next() * 0.3f);
    auto node = Node(Primitive(PRIMITIVE_LINES, points));
    node->SetTransform(glm::scale(glm::rotate(glm::mat4(1.0f), 0.4f, glm::vec3(0, 0, 1)), glm::vec3(1.5f)));
    auto root = Root({node});

    int accepted = 0;
    for (int y = 20; y < 240; y += 11) {
        for (int x = 20; x < 320; x += 13) {
            Raycaster caster(camera, 7, x, y);
            const glm::mat4& world = node->GetWorldTransform();
            Ray local = caster.GetRay();
            local.applyMatrix(glm::inverse(world));
            const IntersectPoint nearest = node->GetPrimitive()->ComputeNearestPoint(local);
            ASSERT_TRUE(nearest.IsHit());
            const glm::vec3 onRay = local.getPoint(nearest.GetDistance());
            if (!caster.TestDistanceThreshold(Math::transformVec3(world, nearest.GetLocalPosition()),
                                              Math::transformVec3(world, onRay)))
                continue;
            ++accepted;
            const float d = glm::distance(nearest.GetLocalPosition(), onRay);
            EXPECT_LE(d, caster.LocalSearchRadius(world, node->GetWorldBBox())) << x << "," << y;
            EXPECT_EQ(caster.HitTest(root), 1u) << x << "," << y;
        }
    }
    EXPECT_GT(accepted, 50);
}

// ---- Rectangles

TEST(FrustumCaster, PicksVisiblePickableBoxesTouchingTheRectangle)
{
    auto camera = orvtest::TopCamera();
    std::vector<std::shared_ptr<PrimitiveSceneNode>> nodes;
    for (const glm::vec3& c : {glm::vec3(0, 0, 0), glm::vec3(20, 0, 0), glm::vec3(-30, 0, 0), glm::vec3(0, 0, 1),
                               glm::vec3(0, 0, 2)})
        nodes.push_back(std::make_shared<PrimitiveSceneNode>(Square(c.x, c.y, c.z, 2)));
    nodes[3]->SetVisible(false);
    nodes[4]->SetPickable(false);
    auto root = Root({nodes[0], nodes[1], nodes[2], nodes[3], nodes[4]});

    // The rectangle around the view centre reaching about 20 units right:
    // the centre square and the one whose box crosses the edge, in either corner order.
    const glm::vec3 left = CameraOperator::WorldPointToWindowPoint(*camera, glm::vec3(-5, 5, 0));
    const glm::vec3 right = CameraOperator::WorldPointToWindowPoint(*camera, glm::vec3(19.5f, -5, 0));
    for (bool reversed : {false, true}) {
        glm::ivec2 a(int(left.x), int(left.y)), b(int(right.x), int(right.y));
        if (reversed)
            std::swap(a, b);
        FrustumCaster caster(camera, 7, a, b);
        EXPECT_EQ(caster.GetPartPicking(), !reversed); // dragged left to right
        ASSERT_EQ(caster.HitTest(root), 2u) << "reversed " << reversed;
        const std::set<SceneNode*> hit = {caster.GetIntersects()[0].GetNode(), caster.GetIntersects()[1].GetNode()};
        EXPECT_EQ(hit, (std::set<SceneNode*>{nodes[0].get(), nodes[1].get()}));
        const PickedItem& item = caster.GetIntersects()[0];
        EXPECT_EQ(item.GetShapeType(), SHAPE_FILTER_FACE);
        EXPECT_EQ(item.GetPrimitiveIndex(), 0);
        EXPECT_EQ(item.GetPoint().GetDistance(), 0.0f);
        EXPECT_EQ(caster.GetScreenThreshold(), 6.0f);
    }
}

TEST(FrustumCaster, ShapeMembersByFilterPrimitiveNodesWhole)
{
    auto camera = orvtest::TopCamera();
    auto shape = std::make_shared<ShapeSceneNode>(std::make_shared<CompoundShape>(
        std::vector<std::shared_ptr<PrimitiveShape>>{Primitive(PRIMITIVE_POINTS, {{0, 0, 0}}),
                                                     Primitive(PRIMITIVE_LINES, {{0, 0, 0}, {1, 0, 0}}),
                                                     Square(0, 0, 0, 1)}));
    auto root = Root({shape});
    FrustumCaster faces(camera, 4, glm::ivec2(0, 0), glm::ivec2(199, 199));
    EXPECT_FALSE(shape->HitTest(faces)); // false even though it appended
    ASSERT_EQ(faces.GetCount(), 1u);
    EXPECT_EQ(faces.GetIntersects()[0].GetShapeIndex(), 2u);
    EXPECT_EQ(faces.GetIntersects()[0].GetShapeType(), SHAPE_FILTER_FACE);
    EXPECT_EQ(faces.HitTest(root), 1u);
    FrustumCaster all(camera, 7, glm::ivec2(0, 0), glm::ivec2(199, 199));
    EXPECT_EQ(all.HitTest(root), 3u);
    EXPECT_EQ(all.GetIntersects()[1].GetShapeType(), SHAPE_FILTER_EDGE);

    // A primitive node is reported whole, whatever the filter.
    auto points = std::make_shared<PrimitiveSceneNode>(Primitive(PRIMITIVE_POINTS, {{2, 2, 0}}));
    EXPECT_EQ(faces.HitTest(Root({points})), 1u);
    EXPECT_EQ(faces.GetIntersects()[0].GetShapeType(), SHAPE_FILTER_VERTEX);
    EXPECT_EQ(FrustumCaster::ToFilter(PRIMITIVE_LINE_LOOP), SHAPE_FILTER_EDGE);
    EXPECT_EQ(FrustumCaster::ToFilter(PRIMITIVE_TRIANGLE_FAN), SHAPE_FILTER_FACE);
    EXPECT_EQ(FrustumCaster::ToFilter(static_cast<EnumPrimitiveType>(9)), SHAPE_FILTER_SHAPE);
}

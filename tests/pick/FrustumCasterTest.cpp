#include <orvcore/pick/FrustumCaster.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>

#include <algorithm>

#include <gtest/gtest.h>
#include <orvkernel/camera/CameraOperator.h>

#include "PickFixture.h"
#include "ShapeFactory.h"

using namespace orvcore;
using orvtest::Primitive;
using orvtest::Root;
using orvtest::Square;


TEST(FrustumCaster, PicksBoxesTouchingTheRectangle)
{
    auto camera = orvtest::TopOrthoCamera();
    auto centre = std::make_shared<PrimitiveSceneNode>(Square(0, 0, 0, 2));
    auto straddling = std::make_shared<PrimitiveSceneNode>(Square(20, 0, 0, 2)); // box crosses the edge
    auto outside = std::make_shared<PrimitiveSceneNode>(Square(-30, 0, 0, 2));
    auto hidden = std::make_shared<PrimitiveSceneNode>(Square(0, 0, 1, 2));
    auto unpickable = std::make_shared<PrimitiveSceneNode>(Square(0, 0, 2, 2));
    hidden->SetVisible(false);
    unpickable->SetPickable(false);
    auto root = Root({centre, straddling, outside, hidden, unpickable});

    // The rectangle around the view centre reaching about 20 units right.
    const glm::vec3 left = CameraOperator::WorldPointToWindowPoint(*camera, glm::vec3(-5, 5, 0));
    const glm::vec3 right = CameraOperator::WorldPointToWindowPoint(*camera, glm::vec3(19.5f, -5, 0));
    for (bool reversed : {false, true}) {
        glm::ivec2 a(int(left.x), int(left.y)), b(int(right.x), int(right.y));
        if (reversed)
            std::swap(a, b);
        FrustumCaster caster(camera, 7, a, b);
        ASSERT_EQ(caster.HitTest(root), 2u) << "reversed " << reversed;
        std::vector<SceneNode*> nodes{caster.GetIntersects()[0].GetNode(), caster.GetIntersects()[1].GetNode()};
        EXPECT_NE(std::find(nodes.begin(), nodes.end(), centre.get()), nodes.end());
        EXPECT_NE(std::find(nodes.begin(), nodes.end(), straddling.get()), nodes.end());
        const PickedItem& item = caster.GetIntersects()[0];
        EXPECT_EQ(item.GetShapeType(), SHAPE_FILTER_FACE);
        EXPECT_EQ(item.GetPrimitiveIndex(), 0);
        EXPECT_EQ(item.GetPoint().GetDistance(), 0.0f);
    }
}

TEST(FrustumCaster, ShapeMembersAndFilters)
{
    auto camera = orvtest::TopOrthoCamera();
    auto shape = std::make_shared<ShapeSceneNode>(std::make_shared<CompoundShape>(
        std::vector<std::shared_ptr<PrimitiveShape>>{Primitive(PRIMITIVE_POINTS, {{0, 0, 0}}),
                                                     Primitive(PRIMITIVE_LINES, {{0, 0, 0}, {1, 0, 0}}),
                                                     Square(0, 0, 0, 1)}));
    auto points = std::make_shared<PrimitiveSceneNode>(Primitive(PRIMITIVE_POINTS, {{2, 2, 0}}));
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
    auto pointRoot = Root({points});
    EXPECT_EQ(faces.HitTest(pointRoot), 1u);
    EXPECT_EQ(faces.GetIntersects()[0].GetShapeType(), SHAPE_FILTER_VERTEX);

    EXPECT_EQ(FrustumCaster::ToFilter(PRIMITIVE_LINE_LOOP), SHAPE_FILTER_EDGE);
    EXPECT_EQ(FrustumCaster::ToFilter(PRIMITIVE_TRIANGLE_FAN), SHAPE_FILTER_FACE);
    EXPECT_EQ(FrustumCaster::ToFilter(static_cast<EnumPrimitiveType>(9)), SHAPE_FILTER_SHAPE);
}

TEST(FrustumCaster, PartPickingFollowsCornerOrder)
{
    auto camera = orvtest::TopOrthoCamera();
    EXPECT_FALSE(FrustumCaster(camera, 7, glm::ivec2(10, 50), glm::ivec2(100, 20)).GetPartPicking());
    EXPECT_TRUE(FrustumCaster(camera, 7, glm::ivec2(10, 20), glm::ivec2(100, 50)).GetPartPicking());
    EXPECT_EQ(FrustumCaster(camera, 7, glm::ivec2(0), glm::ivec2(1)).GetScreenThreshold(), 6.0f);
}

#include <orvkernel/camera/CameraOperator.h>
#include <orvcore/pick/FrustumCaster.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>

#include <gtest/gtest.h>

#include "ShapeFactory.h"
#include "TestNodes.h"

using namespace orvcore;
using orvtest::Primitive;
using orvtest::Root;
using orvtest::Square;

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

#include <orvkernel/camera/CameraOperator.h>
#include <orvcore/pick/DefaultGripCollector.h>
#include <orvcore/pick/SelectionManager.h>
#include <orvcore/scene/Scene.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TestNodes.h"

using namespace orvcore;
using ::testing::_;
using ::testing::AllOf;
using ::testing::InSequence;
using ::testing::Property;
using ::testing::Return;

namespace {

class MockListener : public PickListener {
public:
    MOCK_METHOD(bool, BeforeSelect, (const PickedResult&), (override));
    MOCK_METHOD(void, AfterSelect, (const PickedResult&), (override));
    MOCK_METHOD(bool, BeforeHilight, (const PickedResult&), (override));
    MOCK_METHOD(void, AfterHilight, (const PickedResult&), (override));
};

PickedItem Hit(SceneNode* node, EnumShapeFilter kind, int index, uint32_t shapeIndex = 0)
{
    IntersectPoint ip(kind, index, glm::vec3(0.0f), 1.0f);
    ip.SetShapeIndex(shapeIndex);
    return PickedItem(node, ip);
}

auto ResultOf(unsigned count, bool multi)
{
    return AllOf(Property(&PickedResult::GetCount, count), Property(&PickedResult::GetMulitPick, multi));
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

GripNode Grip(uint64_t id, const glm::vec3& p) { return GripNode(ElementId(id), 0, GRIP_TYPE_POINT, p); }

class SelectionManagerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        listener = std::make_shared<::testing::StrictMock<MockListener>>();
        manager.SetListener(listener);
    }
    SelectionManager manager;
    std::shared_ptr<::testing::StrictMock<MockListener>> listener;
    orvtest::TestLeaf a, b;
};

} // namespace

TEST_F(SelectionManagerTest, SelectReplacesWithOnePairOfCallsEach)
{
    {
        InSequence order;
        EXPECT_CALL(*listener, BeforeSelect(ResultOf(1, false))).WillOnce(Return(true));
        EXPECT_CALL(*listener, AfterSelect(ResultOf(1, false)));
        EXPECT_CALL(*listener, BeforeSelect(ResultOf(1, false))).WillOnce(Return(true));
        EXPECT_CALL(*listener, AfterSelect(Property(&PickedResult::GetSelectionSet, &manager)));
    }
    manager.Select(Hit(&a, SHAPE_FILTER_FACE, 0), false);
    manager.Select(Hit(&b, SHAPE_FILTER_FACE, 0), false);
    EXPECT_EQ(manager.GetSelection()->GetCount(), 1u);
    EXPECT_TRUE(manager.IsSelected(Hit(&b, SHAPE_FILTER_FACE, 0)));
}

TEST_F(SelectionManagerTest, AppendTogglesWithoutAfterSelectAndVetoClearsSelectionOnly)
{
    EXPECT_CALL(*listener, BeforeHilight(_)).WillOnce(Return(true));
    EXPECT_CALL(*listener, AfterHilight(_));
    EXPECT_CALL(*listener, BeforeSelect(_)).Times(4).WillOnce(Return(true)).WillOnce(Return(true))
        .WillOnce(Return(true)).WillOnce(Return(false));
    EXPECT_CALL(*listener, AfterSelect(_)).Times(2);
    manager.Select(Hit(&a, SHAPE_FILTER_EDGE, 3), true);
    manager.Select(Hit(&a, SHAPE_FILTER_EDGE, 9), true); // the same edge: toggled off, not reported
    EXPECT_TRUE(manager.GetSelection()->IsEmpty());
    manager.Select(Hit(&a, SHAPE_FILTER_FACE, 0), false);
    EXPECT_TRUE(manager.Hilight(Hit(&b, SHAPE_FILTER_FACE, 0)));
    manager.Select(Hit(&b, SHAPE_FILTER_FACE, 0), false); // vetoed
    EXPECT_TRUE(manager.GetSelection()->IsEmpty());
    EXPECT_EQ(manager.GetHilight()->GetCount(), 1u);
}

TEST_F(SelectionManagerTest, NullItemAndAllowPickNull)
{
    manager.Select(PickedItem(), false); // nothing happens, nothing is called
    EXPECT_CALL(*listener, BeforeSelect(_)).WillOnce(Return(true));
    EXPECT_CALL(*listener, AfterSelect(ResultOf(1, false)));
    manager.Select(Hit(&a, SHAPE_FILTER_FACE, 0), false);

    manager.SetAllowPickNull(true);
    EXPECT_CALL(*listener, AfterSelect(Property(&PickedResult::IsEmpty, true)));
    manager.Select(PickedItem(), false);
    EXPECT_TRUE(manager.GetSelection()->IsEmpty());
}

TEST_F(SelectionManagerTest, HilightRules)
{
    // Hilighting off: still asks, returns false, leaves the highlight empty.
    manager.SetHilighting(false);
    EXPECT_CALL(*listener, BeforeHilight(ResultOf(1, false))).WillOnce(Return(true));
    EXPECT_FALSE(manager.Hilight(Hit(&a, SHAPE_FILTER_FACE, 0)));
    EXPECT_TRUE(manager.GetHilight()->IsEmpty());

    manager.SetHilighting(true);
    EXPECT_CALL(*listener, BeforeHilight(_)).WillOnce(Return(false)).WillOnce(Return(true));
    EXPECT_CALL(*listener, AfterHilight(_)).Times(1);
    EXPECT_FALSE(manager.Hilight(Hit(&a, SHAPE_FILTER_FACE, 0))); // vetoed
    EXPECT_TRUE(manager.Hilight(Hit(&b, SHAPE_FILTER_FACE, 0)));
    EXPECT_FALSE(manager.Hilight(PickedItem())); // null: cleared, nothing asked
    EXPECT_TRUE(manager.GetHilight()->IsEmpty());

    // The vector form is silent and unfiltered.
    EXPECT_TRUE(manager.Hilight(std::vector<PickedItem>{Hit(&a, SHAPE_FILTER_FACE, 0), Hit(&b, SHAPE_FILTER_FACE, 0)}));
    EXPECT_EQ(manager.GetHilight()->GetCount(), 2u);
}

TEST_F(SelectionManagerTest, PickFilterCollapsesToNodes)
{
    EXPECT_CALL(*listener, BeforeSelect(_)).WillRepeatedly(Return(true));
    EXPECT_CALL(*listener, AfterSelect(_)).Times(3);
    // Two vertices of one node are two items while sub-shapes stay distinct...
    manager.Select(Hit(&a, SHAPE_FILTER_VERTEX, 1), true);
    manager.Select(Hit(&a, SHAPE_FILTER_VERTEX, 2), true);
    EXPECT_EQ(manager.GetSelection()->GetCount(), 2u);

    // ...and one item for the node once the filter asks for whole shapes.
    manager.AddPickFilter(SHAPE_FILTER_SHAPE);
    PickedItem item = Hit(&b, SHAPE_FILTER_VERTEX, 1);
    manager.Select(item, true);
    EXPECT_EQ(item.GetShapeType(), SHAPE_FILTER_NONE); // reduced in place
    manager.Select(Hit(&b, SHAPE_FILTER_VERTEX, 2), true); // the same node item: toggled off
    EXPECT_EQ(manager.GetSelection()->GetCount(), 2u);
    EXPECT_FALSE(manager.IsSelected(Hit(&b, SHAPE_FILTER_NONE, 0)));
    manager.ResetPickFilters();
    EXPECT_EQ(manager.GetPickFilter(), 7u);
}

TEST_F(SelectionManagerTest, SelectHightIdsAndClear)
{
    manager.Hilight(std::vector<PickedItem>{Hit(&a, SHAPE_FILTER_FACE, 0), Hit(&b, SHAPE_FILTER_FACE, 0)});
    {
        InSequence order;
        EXPECT_CALL(*listener, BeforeSelect(ResultOf(2, true))).WillOnce(Return(true));
        EXPECT_CALL(*listener, AfterSelect(ResultOf(2, true)));
        EXPECT_CALL(*listener, AfterSelect(AllOf(ResultOf(0, true), Property(&PickedResult::IsEmpty, true))));
    }
    EXPECT_EQ(manager.SelectHightIds(false), 2u);
    EXPECT_TRUE(manager.GetHilight()->IsEmpty());
    manager.Clear(); // reports once
    manager.Clear(); // empty: no hook
}

TEST_F(SelectionManagerTest, SceneSelectionIsSilentAndDocumentNodesTakeElementIds)
{
    class Document : public GeneralSceneNode {
    public:
        bool IsDocumentNode() const override { return true; }
    };
    Scene scene;
    auto node = orvtest::MakeLeaf(glm::vec3(0.0f), glm::vec3(2.0f));
    scene.AddNode(node);
    EXPECT_TRUE(manager.Select(&scene, node->GetObjectId()));
    EXPECT_FALSE(manager.Select(&scene, 999999u));
    const PickedItem& stored = *manager.GetSelection()->GetPickedItems().begin();
    EXPECT_EQ(stored.GetShapeType(), SHAPE_FILTER_NONE);
    EXPECT_EQ(stored.GetPosition(), glm::vec3(1.0f)); // box centre
    EXPECT_TRUE(manager.SelectSubShape(&scene, node->GetObjectId(), SHAPE_FILTER_FACE, 3));
    EXPECT_EQ(manager.GetSelection()->GetCount(), 2u);
    EXPECT_FALSE(manager.Select(&scene, ElementId(5))); // no document node to take it
    manager.DeSelectById(node->GetObjectId());
    EXPECT_TRUE(manager.GetSelection()->IsEmpty());

    auto doc = std::make_shared<Document>();
    scene.AddNode(doc);
    EXPECT_TRUE(manager.SelectSubShape(&scene, ElementId(42), SHAPE_FILTER_EDGE, 7));
    const PickedItem& item = *manager.GetSelection()->GetPickedItems().begin();
    EXPECT_EQ(std::make_tuple(item.GetNode(), item.GetElementId(), item.GetShapeIndex()),
              std::make_tuple(static_cast<SceneNode*>(doc.get()), ElementId(42), 7u));
}

TEST(SelectionManager, SelectionColourAndDepthTestReachTheStyles)
{
    SelectionManager manager;
    using L = EnumRenderListIndex;
    manager.SetSelectionColor(glm::vec3(1, 0, 0));
    EXPECT_EQ(manager.GetSelectionStyle().GetMaterial(L::TransparentFace)->GetColor(), glm::vec3(1, 0, 0));
    EXPECT_NE(manager.GetHilightStyle().GetMaterial(L::Line)->GetColor(), glm::vec3(1, 0, 0));
    manager.SetDepthTest(false);
    EXPECT_FALSE(manager.GetHilightStyle().GetMaterial(L::Point)->GetDepthTest());
}

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

    // Nearest wins; on the same pixel the later grip wins.
    GripNodeManager many;
    for (const auto& [id, x, y] : {std::tuple(1, 103, 100), std::tuple(2, 101, 101), std::tuple(3, 101, 101),
                                   std::tuple(4, 140, 100)})
        many.Add(Grip(uint64_t(id), AtWindow(*camera, float(x), float(y))));
    EXPECT_EQ(many.Highlight(camera, 100, 100), 2);
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

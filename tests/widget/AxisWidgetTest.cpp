#include <orvcore/widget/AxisWidget.h>

#include <algorithm>
#include <cmath>

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include <orvkernel/camera/CameraOperator.h>
#include <orvcore/pick/Raycaster.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/TextSceneNode.h>

#include "LogCapture.h"
#include "TestNodes.h"

using namespace orvcore;

namespace {

// The sub-nodes of one axis: shaft (lines), head (triangles), label (text).
struct AxisParts {
    PrimitiveSceneNode* shaft = nullptr;
    PrimitiveSceneNode* head = nullptr;
    TextSceneNode* label = nullptr;
};

AxisParts Parts(const CoordinateWidget& widget, uint64_t id)
{
    AxisParts parts;
    for (const auto& entry : widget.GetNodes()->GetChildren()) {
        auto* node = PrimitiveSceneNode::Cast(entry.second.get());
        if (!node || node->GetUserId() != id)
            continue;
        if (auto* text = TextSceneNode::Cast(node))
            parts.label = text;
        else if (node->GetPrimitive()->GetPrimitiveType() == PRIMITIVE_LINES)
            parts.shaft = node;
        else
            parts.head = node;
    }
    return parts;
}

} // namespace

TEST(AxisWidget, ThreeLabelledArrowsReachTheirLengthsAlongTheirAxes)
{
    const glm::vec3 lengths(30, 20, 10);
    auto widget = AxisWidget::Create(4.0f, lengths);
    ASSERT_TRUE(widget);
    // Moved and turned a quarter about Z: everything follows the widget.
    auto root = orvtest::Root({widget});
    widget->SetTransform(glm::rotate(glm::translate(glm::mat4(1.0f), glm::vec3(100, 0, 0)), glm::radians(90.0f),
                                     glm::vec3(0, 0, 1)));
    widget->RequstUpdate();
    root->UpdateTransform(glm::mat4(1.0f));

    EXPECT_EQ(widget->GetNodes()->GetCount(), 9u);
    for (int axis = 0; axis < 3; ++axis) {
        SCOPED_TRACE(axis);
        const AxisParts parts = Parts(*widget, CoordinateWidget::kAxisX + uint64_t(axis));
        ASSERT_TRUE(parts.shaft && parts.head && parts.label);
        glm::vec3 tip(0.0f);
        tip[axis] = lengths[axis];
        const auto& positions = parts.shaft->GetPrimitive()->GetGeometry()->GetPositions();
        EXPECT_EQ(positions->GetVec3(1), tip);
        // The head sits on the shaft's end and points on by the head length.
        const AxisAlignedBox head = parts.head->ComputeBoundingBox();
        EXPECT_NEAR(head.getMinimum()[axis], lengths[axis], 1e-4f);
        EXPECT_NEAR(head.getMaximum()[axis], lengths[axis] + 4.0f, 1e-4f);
        EXPECT_GT(parts.label->GetTransform()[3][axis], lengths[axis] + 4.0f);
        EXPECT_FALSE(parts.label->GetPickable());
        // Red, green, blue.
        EXPECT_EQ(parts.head->GetMaterial()->GetColor(), widget->GetDirection(CoordinateWidget::kAxisX + axis));
    }
    // World box: the x arrow now points along +Y from (100, 0, 0).
    const AxisAlignedBox& world = widget->GetWorldBBox();
    EXPECT_GT(world.getMaximum().y, 34.0f);
    EXPECT_LT(world.getMinimum().x, 76.0f);
    EXPECT_NEAR(widget->GetRadius(), 34.0f, 1e-5f);
}

TEST(AxisWidget, PicksTellTheAxisAndKeepEarlierHits)
{
    auto widget = AxisWidget::Create(4.0f, glm::vec3(30.0f));
    ASSERT_TRUE(widget);
    auto root = orvtest::Root({widget});
    auto camera = orvtest::TopCamera();
    const auto at = [&](const glm::vec3& p) { return CameraOperator::WorldPointToWindowPoint(*camera, p); };

    const struct {
        glm::vec3 point;
        uint64_t id;
    } cases[] = {{{20, 0, 0}, 120}, {{0, 31, 0}, 121}, {{0, 0, 0}, 122}, {{20, 20, 0}, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.id);
        const glm::vec3 window = at(c.point);
        Raycaster caster(camera, 7, int(std::lround(window.x)), int(std::lround(window.y)));
        caster.AddIntersect(PickedItem()); // an earlier hit of the same walk
        EXPECT_EQ(widget->HitTest(caster), c.id != 0);
        EXPECT_EQ(caster.GetIntersects()[0].GetNode(), nullptr);
        if (c.id == 0) {
            EXPECT_EQ(caster.GetCount(), 1u);
            continue;
        }
        // The nearest of the widget's hits (the z head is nearest from above).
        const auto& hits = caster.GetIntersects();
        const PickedItem& hit = *std::min_element(hits.begin() + 1, hits.end());
        EXPECT_EQ(hit.GetNode()->GetUserId(), c.id);
        EXPECT_EQ(hit.GetRootNode(), root.get());
        EXPECT_EQ(hit.GetNode()->GetParent()->GetParent(), widget.get());
    }
}

TEST(AxisWidget, RefusesSizesThatAreNotLengths)
{
    const float nan = std::nanf("");
    const std::pair<float, glm::vec3> bad[] = {
        {0.0f, glm::vec3(1.0f)}, {-1.0f, glm::vec3(1.0f)}, {nan, glm::vec3(1.0f)}, {1.0f, glm::vec3(1, 0, 1)},
        {1.0f, glm::vec3(1, 1, INFINITY)}};
    for (const auto& [size, lengths] : bad) {
        orvtest::LogCapture log;
        EXPECT_FALSE(AxisWidget::Create(size, lengths));
        EXPECT_EQ(log.warnings, std::vector<std::string>{"Widget size is invalid!"});
    }
}

TEST(AxisWidget, RelabellingAndCloningKeepTheArrows)
{
    auto widget = AxisWidget::Create(2.0f, glm::vec3(10.0f));
    ASSERT_TRUE(widget);
    widget->SetLabels(L"E", L"N", L"Up");
    const std::shared_ptr<SceneNode> copy = widget->Clone();
    const AxisWidget* clone = AxisWidget::Cast(copy.get());
    ASSERT_TRUE(clone);
    for (const AxisWidget* w : {static_cast<const AxisWidget*>(widget.get()), clone}) {
        EXPECT_EQ(w->GetNodes()->GetCount(), 9u);
        EXPECT_NE(w->GetLabel(2), nullptr);
        EXPECT_EQ(w->GetLabel(3), nullptr);
    }
    // The longer label is wider than the one-letter ones.
    EXPECT_GT(clone->GetLabel(2)->GetBoundingBox().getSize().x, clone->GetLabel(0)->GetBoundingBox().getSize().x);
}

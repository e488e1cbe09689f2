// The widgets built along three axes: the axis triad and the move, rotate
// and scale manipulators (the view cube has its own file).
#include <orvcore/widget/AxisWidget.h>
#include <orvcore/widget/MoveWidget.h>
#include <orvcore/widget/RotateWidget.h>
#include <orvcore/widget/ScaleWidget.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include <gtest/gtest.h>

#include <orvkernel/camera/CameraOperator.h>
#include <orvcore/pick/Raycaster.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/TextSceneNode.h>

#include "LogCapture.h"
#include "TestNodes.h"

using namespace orvcore;

namespace {

std::vector<PrimitiveSceneNode*> Children(const CoordinateWidget& widget)
{
    std::vector<PrimitiveSceneNode*> parts;
    for (const auto& entry : widget.GetNodes()->GetChildren())
        parts.push_back(PrimitiveSceneNode::Cast(entry.second.get()));
    return parts;
}

// Every kind, 20 units in reach, with a point on each axis's handle (x, y,
// z) away from the other handles.
struct Kind {
    const char* name;
    std::function<std::shared_ptr<CoordinateWidget>(float)> create;
    glm::vec3 onAxis[3];
};

const float kHalf = 20.0f * float(M_SQRT1_2);
const Kind kKinds[] = {
    {"axes", [](float s) { return AxisWidget::Create(2.0f, glm::vec3(s)); }, {{14, 0, 0}, {0, 14, 0}, {0, 0, 14}}},
    {"move", [](float s) { return MoveWidget::Create(glm::vec3(s)); }, {{14, 0, 0}, {0, 14, 0}, {0, 0, 14}}},
    {"rotate",
     [](float s) { return RotateWidget::Create(s); },
     {{0, kHalf, kHalf}, {kHalf, 0, kHalf}, {kHalf, kHalf, 0}}},
    {"scale", [](float s) { return ScaleWidget::Create(glm::vec3(s)); }, {{20, 0, 0}, {0, 20, 0}, {0, 0, 20}}},
};

} // namespace

TEST(AxisWidget, LabelledArrowsOfTheirOwnLengths)
{
    const glm::vec3 lengths(30, 20, 10);
    auto widget = AxisWidget::Create(4.0f, lengths);
    ASSERT_TRUE(widget);
    EXPECT_EQ(widget->GetNodes()->GetCount(), 9u);
    for (int axis = 0; axis < 3; ++axis) {
        SCOPED_TRACE(axis);
        const uint64_t id = CoordinateWidget::kAxisX + uint64_t(axis);
        for (PrimitiveSceneNode* part : Children(*widget)) {
            if (part->GetUserId() != id)
                continue;
            // Shaft to the length, head on to length + 4, label beyond; red, green, blue.
            const float reach = part->ComputeBoundingBox().getMaximum()[axis];
            if (TextSceneNode::Cast(part)) {
                EXPECT_GT(part->GetTransform()[3][axis], lengths[axis] + 4.0f);
                continue;
            }
            const bool shaft = part->GetPrimitive()->GetPrimitiveType() == PRIMITIVE_LINES;
            EXPECT_NEAR(reach, lengths[axis] + (shaft ? 0.0f : 4.0f), 1e-4f);
            EXPECT_EQ(part->GetMaterial()->GetColor(), *widget->GetDirection(id));
        }
    }
    // Relabelled and cloned: the longer label is wider.
    widget->SetLabels(L"E", L"N", L"Up");
    const auto copy = widget->Clone();
    const AxisWidget* clone = AxisWidget::Cast(copy.get());
    ASSERT_TRUE(clone && clone->GetLabel(2) && !clone->GetLabel(3));
    EXPECT_GT(clone->GetLabel(2)->GetBoundingBox().getSize().x, clone->GetLabel(0)->GetBoundingBox().getSize().x);
}

TEST(MoveWidget, ArrowsOfTheirOwnLengthsDrawnOverTheModel)
{
    auto widget = MoveWidget::Create(glm::vec3(2, 1, 1));
    ASSERT_TRUE(widget);
    EXPECT_EQ(widget->GetNodes()->GetCount(), 6u);
    EXPECT_EQ(widget->GetNodes()->GetParent(), widget.get());
    for (PrimitiveSceneNode* part : Children(*widget)) {
        const glm::vec3 axis = *widget->GetDirection(part->GetUserId());
        EXPECT_FALSE(part->GetMaterial()->GetDepthTest());
        if (part->GetPrimitive()->GetPrimitiveType() == PRIMITIVE_LINES)
            continue;
        // The head stands on the end of its shaft (the x head at (2, 0, 0))
        // and points along the axis (the cone's tip is 3 further on).
        EXPECT_EQ(glm::vec3(part->GetTransform()[3]), axis * (axis.x == 1.0f ? 2.0f : 1.0f));
        EXPECT_NEAR(glm::dot(glm::vec3(part->GetTransform() * glm::vec4(0, 0, 3, 0)), axis), 3.0f, 1e-5f);
    }
    EXPECT_EQ(widget->GetBoundingBox().getMaximum(), glm::vec3(5, 4, 4));
}

TEST(MoveWidget, DirectionsAndMarkedArrows)
{
    auto widget = MoveWidget::Create(glm::vec3(10.0f));
    ASSERT_TRUE(widget);
    const std::pair<std::size_t, std::optional<glm::vec3>> directions[] = {
        {120, glm::vec3(1, 0, 0)}, {121, glm::vec3(0, 1, 0)}, {122, glm::vec3(0, 0, 1)}, {0, {}}, {88, {}}};
    for (const auto& [id, axis] : directions)
        EXPECT_EQ(widget->GetDirection(id), axis) << id;

    for (PrimitiveSceneNode* part : Children(*widget))
        part->SetVisible(part->GetUserId() != 120);
    widget->ShowArrow(121);
    for (PrimitiveSceneNode* part : Children(*widget)) {
        EXPECT_EQ(part->GetMaterial()->GetState(), part->GetUserId() == 121 ? 3 : 1);
        EXPECT_EQ(part->GetVisible(), part->GetUserId() != 120); // untouched
    }
    widget->ShowArrow(0);
    for (PrimitiveSceneNode* part : Children(*widget))
        EXPECT_TRUE(part->GetVisible() && part->GetMaterial()->GetState() == 1);
}

TEST(CoordinateWidgets, APickOnAHandleGivesItsAxisKeepsEarlierHitsAndTheGapsGiveNothing)
{
    auto camera = std::make_shared<Camera>(400, 400, glm::vec3(0, 0, 100), glm::vec3(0.0f), glm::vec3(0, 1, 0));
    CameraOperator::SetStandardView(camera, STANDARD_VIEW_ISOMETRIC,
                                    AxisAlignedBox(glm::vec3(-25.0f), glm::vec3(25.0f)), 1.0f);
    const auto cast = [&](const glm::vec3& world) {
        const glm::vec3 w = CameraOperator::WorldPointToWindowPoint(*camera, world);
        Raycaster caster(camera, 7, int(std::lround(w.x)), int(std::lround(w.y)));
        caster.AddIntersect(PickedItem()); // a hit of a node visited before
        return caster;
    };
    for (const Kind& kind : kKinds) {
        SCOPED_TRACE(kind.name);
        auto widget = kind.create(20.0f);
        ASSERT_TRUE(widget);
        auto root = orvtest::Root({widget});
        for (int axis = 0; axis < 3; ++axis) {
            Raycaster caster = cast(kind.onAxis[axis]);
            ASSERT_TRUE(widget->HitTest(caster)) << axis;
            EXPECT_EQ(caster.GetIntersects()[0].GetNode(), nullptr);
            const auto& hits = caster.GetIntersects();
            const PickedItem& hit = *std::min_element(hits.begin() + 1, hits.end());
            EXPECT_EQ(hit.GetRootNode(), root.get());
            EXPECT_EQ(widget->GetDirection(hit.GetNode()->GetUserId()), glm::vec3(axis == 0, axis == 1, axis == 2));
        }
        Raycaster gap = cast(glm::vec3(6, 6, 0));
        EXPECT_FALSE(widget->HitTest(gap));
        EXPECT_EQ(gap.GetCount(), 1u);
    }
}

TEST(CoordinateWidgets, ClonesAreOfTheirKindAndBadSizesGiveNone)
{
    for (const Kind& kind : kKinds) {
        SCOPED_TRACE(kind.name);
        auto widget = kind.create(5.0f);
        ASSERT_TRUE(widget);
        widget->SetUserId(7);
        const auto clone = widget->Clone();
        ASSERT_TRUE(clone);
        EXPECT_EQ(typeid(*clone), typeid(*widget));
        EXPECT_EQ(clone->GetUserId(), 7u);
        EXPECT_EQ(CoordinateWidget::Cast(clone.get())->GetNodes()->GetCount(), widget->GetNodes()->GetCount());

        orvtest::LogCapture log;
        EXPECT_FALSE(kind.create(-1.0f));
        EXPECT_FALSE(kind.create(std::nanf("")));
        EXPECT_EQ(log.warnings, std::vector<std::string>(2, "Widget size is invalid!"));
    }
    auto move = MoveWidget::Create(glm::vec3(1.0f));
    EXPECT_EQ(RotateWidget::Cast(move.get()), nullptr);
    EXPECT_EQ(ScaleWidget::Cast(static_cast<CoordinateWidget*>(move.get())), nullptr);
}

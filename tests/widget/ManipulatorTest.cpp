#include <orvcore/widget/MoveWidget.h>
#include <orvcore/widget/RotateWidget.h>
#include <orvcore/widget/ScaleWidget.h>

#include <cmath>
#include <functional>

#include <gtest/gtest.h>

#include <orvkernel/camera/CameraOperator.h>
#include <orvcore/pick/Raycaster.h>
#include <orvcore/scene/PrimitiveSceneNode.h>

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

// The three manipulators, 20 units in reach, with a point on each axis's
// handle (x, y, z) away from the other handles.
struct Kind {
    const char* name;
    std::function<std::shared_ptr<CoordinateWidget>(float)> create;
    glm::vec3 onAxis[3];
};

const float kHalf = 20.0f * float(M_SQRT1_2);
const Kind kKinds[] = {
    {"move", [](float s) { return MoveWidget::Create(glm::vec3(s)); }, {{14, 0, 0}, {0, 14, 0}, {0, 0, 14}}},
    {"rotate",
     [](float s) { return RotateWidget::Create(s); },
     {{0, kHalf, kHalf}, {kHalf, 0, kHalf}, {kHalf, kHalf, 0}}},
    {"scale", [](float s) { return ScaleWidget::Create(glm::vec3(s)); }, {{20, 0, 0}, {0, 20, 0}, {0, 0, 20}}},
};

} // namespace

TEST(MoveWidget, ArrowsOfTheirOwnLengthsDrawnOverTheModel)
{
    auto widget = MoveWidget::Create(glm::vec3(2, 1, 1));
    ASSERT_TRUE(widget);
    EXPECT_EQ(widget->GetNodes()->GetCount(), 6u);
    EXPECT_EQ(widget->GetNodes()->GetParent(), widget.get());
    int heads = 0;
    for (PrimitiveSceneNode* part : Children(*widget)) {
        ASSERT_TRUE(part);
        const glm::vec3 axis = *widget->GetDirection(part->GetUserId());
        EXPECT_EQ(part->GetMaterial()->GetColor(), axis);
        EXPECT_FALSE(part->GetMaterial()->GetDepthTest());
        if (part->GetPrimitive()->GetPrimitiveType() == PRIMITIVE_LINES)
            continue;
        ++heads;
        // The head stands on the end of its shaft: the x head at (2, 0, 0).
        EXPECT_EQ(glm::vec3(part->GetTransform()[3]), axis * (axis.x == 1.0f ? 2.0f : 1.0f));
        // ... and points along the axis (the cone's tip is 3 further on).
        EXPECT_NEAR(glm::dot(glm::vec3(part->GetTransform() * glm::vec4(0, 0, 3, 0)), axis), 3.0f, 1e-5f);
    }
    EXPECT_EQ(heads, 3);
    EXPECT_EQ(widget->GetBoundingBox().getMaximum(), glm::vec3(5, 4, 4));
    EXPECT_FLOAT_EQ(widget->GetRadius(), 2.0f);
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

TEST(Manipulators, APickOnAHandleGivesItsAxisAndTheGapsGiveNothing)
{
    auto camera = std::make_shared<Camera>(400, 400, glm::vec3(0, 0, 100), glm::vec3(0.0f), glm::vec3(0, 1, 0));
    CameraOperator::SetStandardView(camera, STANDARD_VIEW_ISOMETRIC,
                                    AxisAlignedBox(glm::vec3(-25.0f), glm::vec3(25.0f)), 1.0f);
    const auto cast = [&](const glm::vec3& world) {
        const glm::vec3 w = CameraOperator::WorldPointToWindowPoint(*camera, world);
        return Raycaster(camera, 7, int(std::lround(w.x)), int(std::lround(w.y)));
    };
    for (const Kind& kind : kKinds) {
        SCOPED_TRACE(kind.name);
        auto widget = kind.create(20.0f);
        ASSERT_TRUE(widget);
        auto root = orvtest::Root({widget});
        for (int axis = 0; axis < 3; ++axis) {
            Raycaster caster = cast(kind.onAxis[axis]);
            ASSERT_TRUE(widget->HitTest(caster)) << axis;
            caster.Sort();
            const SceneNode* hit = caster.GetTopItem().GetNode();
            EXPECT_EQ(caster.GetTopItem().GetRootNode(), root.get());
            EXPECT_EQ(widget->GetDirection(hit->GetUserId()), glm::vec3(axis == 0, axis == 1, axis == 2));
        }
        Raycaster gap = cast(glm::vec3(6, 6, 0));
        EXPECT_FALSE(widget->HitTest(gap));
        EXPECT_EQ(gap.GetCount(), 0u);
    }
}

TEST(Manipulators, ClonesAreOfTheirKindAndBadSizesGiveNone)
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
        EXPECT_FLOAT_EQ(CoordinateWidget::Cast(clone.get())->GetRadius(), 5.0f);

        orvtest::LogCapture log;
        EXPECT_FALSE(kind.create(-1.0f));
        EXPECT_FALSE(kind.create(std::nanf("")));
        EXPECT_EQ(log.warnings, std::vector<std::string>(2, "Widget size is invalid!"));
    }
    auto move = MoveWidget::Create(glm::vec3(1.0f));
    EXPECT_EQ(RotateWidget::Cast(move.get()), nullptr);
    EXPECT_EQ(ScaleWidget::Cast(static_cast<CoordinateWidget*>(move.get())), nullptr);
}

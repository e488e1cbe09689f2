// The view cube's elements, views and labels (its picks through the
// overlay: tests/render/OverlayTest.cpp).
#include <orvcore/widget/ViewCube.h>

#include <cmath>
#include <set>

#include <glm/geometric.hpp>
#include <gtest/gtest.h>

#include <orvkernel/camera/CameraOperator.h>
#include <orvcore/scene/PrimitiveSceneNode.h>

#include "LogCapture.h"

using namespace orvcore;

TEST(ViewCube, ElementsMapToTheViewsThatLookFromThem)
{
    const std::pair<glm::ivec3, EnumStandardView> views[] = {
        {{0, -1, 0}, STANDARD_VIEW_FRONT},           {{0, 1, 0}, STANDARD_VIEW_BACK},
        {{-1, 0, 0}, STANDARD_VIEW_LEFT},            {{1, 0, 0}, STANDARD_VIEW_RIGHT},
        {{0, 0, 1}, STANDARD_VIEW_TOP},              {{0, 0, -1}, STANDARD_VIEW_BOTTOM},
        {{1, -1, 1}, STANDARD_VIEW_ISOMETRIC},       {{-1, 1, -1}, STANDARD_VIEW_BACK_BOTTOM_LEFT},
        {{0, -1, 1}, STANDARD_VIEW_FRONT_TOP},       {{1, 0, 1}, STANDARD_VIEW_TOP_RIGHT},
        {{-1, 1, 0}, STANDARD_VIEW_BACK_LEFT},       {{1, -1, -1}, STANDARD_VIEW_FRONT_BOTTOM_RIGHT},
    };
    for (const auto& [direction, view] : views) {
        const unsigned int id = ViewCube::GetElementId(direction);
        EXPECT_EQ(ViewCube::GetStandardView(id), view) << id;
        EXPECT_EQ(ViewCube::GetElementDirection(id), direction);
    }
    // Every element has a view of its own.
    std::set<EnumStandardView> seen;
    for (unsigned int id : ViewCube::GetElementIds())
        seen.insert(ViewCube::GetStandardView(id));
    EXPECT_EQ(seen.size(), 26u);
    EXPECT_EQ(seen.count(STANDARD_VIEW_NONE), 0u);
    for (unsigned int bad : {0u, 14u, 28u, 1000u})
        EXPECT_EQ(ViewCube::GetStandardView(bad), STANDARD_VIEW_NONE) << bad;
    EXPECT_EQ(ViewCube::GetElementId({0, 0, 0}), 0u);
    EXPECT_EQ(ViewCube::GetElementId({2, 0, 0}), 0u);
}

TEST(ViewCube, LabelsLieOnTheirFacesAndReadUprightInTheirViews)
{
    auto cube = ViewCube::Create(5.0f);
    ASSERT_TRUE(cube);
    for (const glm::ivec3 normal : {glm::ivec3(0, -1, 0), glm::ivec3(0, 1, 0), glm::ivec3(1, 0, 0),
                                    glm::ivec3(-1, 0, 0), glm::ivec3(0, 0, 1), glm::ivec3(0, 0, -1)}) {
        const unsigned int id = ViewCube::GetElementId(normal);
        SCOPED_TRACE(id);
        const PrimitiveSceneNode* label = cube->GetLabel(id);
        ASSERT_TRUE(label);
        EXPECT_FALSE(label->GetPickable());
        // Within the face's middle square (|u|, |v| <= 30), just outside it.
        const AxisAlignedBox box = label->ComputeBoundingBox();
        const glm::vec3 n(normal);
        for (int axis = 0; axis < 3; ++axis) {
            if (n[axis] != 0.0f) {
                EXPECT_NEAR(box.getCenter()[axis], n[axis] * 45.25f, 0.01f);
            } else {
                EXPECT_GE(box.getMinimum()[axis], -30.0f);
                EXPECT_LE(box.getMaximum()[axis], 30.0f);
            }
        }
        // The text's +X and +Y are the view's right and up.
        glm::vec3 direction, up;
        ASSERT_TRUE(CameraOperator::GetStandardViewDirection(ViewCube::GetStandardView(id), direction, up));
        const glm::mat4& m = label->GetTransform();
        EXPECT_GT(glm::dot(glm::normalize(glm::vec3(m[0])), glm::cross(direction, up)), 0.999f);
        EXPECT_GT(glm::dot(glm::normalize(glm::vec3(m[1])), up), 0.999f);
    }
    EXPECT_EQ(cube->GetLabel(ViewCube::GetElementId({1, 1, 0})), nullptr);
}

TEST(ViewCube, HoverTakesOnlyElements)
{
    auto cube = ViewCube::Create(1.0f);
    ASSERT_TRUE(cube);
    cube->SetHoverElement(5);
    EXPECT_EQ(cube->GetHoverNode(), cube->GetElementNode(5));
    ASSERT_TRUE(cube->GetHoverNode());
    EXPECT_TRUE(cube->GetHoverMaterial());
    orvtest::LogCapture log;
    cube->SetHoverElement(14);
    EXPECT_EQ(cube->GetHoverElement(), 0u);
    EXPECT_EQ(cube->GetHoverNode(), nullptr);
    EXPECT_EQ(log.warnings, std::vector<std::string>{"View cube element is invalid!"});
    EXPECT_FALSE(ViewCube::Create(0.0f));
    auto copy = cube->Clone();
    ASSERT_TRUE(ViewCube::Cast(copy.get()));
    EXPECT_FLOAT_EQ(ViewCube::Cast(copy.get())->GetSize(), 1.0f);
}

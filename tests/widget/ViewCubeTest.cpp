#include <orvcore/widget/ViewCube.h>

#include <cmath>
#include <set>

#include <glm/geometric.hpp>
#include <gtest/gtest.h>

#include <orvkernel/camera/CameraOperator.h>
#include <orvcore/pick/Raycaster.h>
#include <orvcore/scene/PrimitiveSceneNode.h>

#include "LogCapture.h"
#include "TestNodes.h"

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

TEST(ViewCube, ARayTowardsAnElementPicksThatElement)
{
    auto cube = ViewCube::Create(5.0f); // 90 on a side, bands of 15
    ASSERT_TRUE(cube);
    auto root = orvtest::Root({cube});
    EXPECT_EQ(cube->GetBoundingBox().getMaximum(), glm::vec3(45.25f)); // the labels lie just outside
    for (unsigned int id : ViewCube::GetElementIds()) {
        SCOPED_TRACE(id);
        // Aim at the middle of the element's piece on each face it touches:
        // 37.5 is the middle of a band, 0 the middle of a face.
        const glm::vec3 d(*ViewCube::GetElementDirection(id));
        const glm::vec3 aim = d * 37.5f;
        for (int axis = 0; axis < 3; ++axis) {
            if (d[axis] == 0.0f)
                continue;
            glm::vec3 onFace = aim;
            onFace[axis] = d[axis] * 45.0f;
            glm::vec3 eye = onFace;
            eye[axis] += d[axis] * 200.0f;
            const glm::vec3 up = axis == 2 ? glm::vec3(0, 1, 0) : glm::vec3(0, 0, 1);
            auto camera = std::make_shared<Camera>(100, 100, eye, onFace, up);
            Raycaster caster(camera, 7, 50, 50);
            ASSERT_TRUE(cube->HitTest(caster));
            caster.Sort();
            EXPECT_EQ(caster.GetTopItem().GetNode(), cube->GetElementNode(id));
            EXPECT_EQ(caster.GetTopItem().GetNode()->GetUserId(), id);
        }
    }
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

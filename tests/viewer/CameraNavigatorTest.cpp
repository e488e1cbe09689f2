#include <algorithm>
#include <cmath>

#include <gtest/gtest.h>

#include <glm/geometric.hpp>

#include <orvkernel/camera/CameraOperator.h>
#include <orvview/CameraNavigator.h>

using namespace orvcore;
using orvview::CameraNavigator;

namespace {

// A 1280 x 720 view of a 200 x 100 x 50 box from the front-top-right.
struct Fixture {
    std::shared_ptr<Camera> camera =
        std::make_shared<Camera>(1280u, 720u, glm::vec3(300, -400, 250), glm::vec3(0, 0, 25), glm::vec3(0, 0, 1));
    AxisAlignedBox box{glm::vec3(-100, -50, 0), glm::vec3(100, 50, 50)};
    CameraNavigator navigator{camera};
    Fixture() { navigator.SetWorldBox(box); }

    glm::vec2 Window(const glm::vec3& p) const { return glm::vec2(CameraOperator::WorldPointToWindowPoint(*camera, p)); }
    // Every corner of the box lies between the clip planes.
    void ExpectBoxInClipRange() const
    {
        for (int k = 0; k < 8; ++k) {
            const glm::vec3 lo = box.getMinimum(), hi = box.getMaximum();
            const glm::vec3 corner((k & 1) ? hi.x : lo.x, (k & 2) ? hi.y : lo.y, (k & 4) ? hi.z : lo.z);
            const float depth = CameraOperator::WorldPointToWindowPoint(*camera, corner).z;
            EXPECT_GT(depth, 0.0f) << "corner " << k;
            EXPECT_LT(depth, 1.0f) << "corner " << k;
        }
    }
};

void ExpectNear(const glm::vec2& a, const glm::vec2& b, float tolerance)
{
    EXPECT_NEAR(a.x, b.x, tolerance);
    EXPECT_NEAR(a.y, b.y, tolerance);
}

} // namespace

// Zoom, pan and orbit keep the point they act on where the user holds it,
// in both projections, and never cut the model.
TEST(CameraNavigator, PointsStayUnderTheCursor)
{
    for (uint32_t projection : {Camera::PROJECTION_PERSPECTIVE, Camera::PROJECTION_ORTHOGRAPHIC}) {
        SCOPED_TRACE(projection);
        Fixture f;
        f.camera->SetProjectionType(projection);
        const glm::vec3 focus(60, -50, 40); // on the box's front face
        const glm::vec2 before = f.Window(focus);
        const float distance = f.camera->GetDistance();
        f.navigator.ZoomAt(focus, 3.0f);
        ExpectNear(f.Window(focus), before, 0.05f);
        EXPECT_NEAR(f.camera->GetDistance(), distance * std::pow(0.85f, 3.0f), distance * 1e-4f);
        f.ExpectBoxInClipRange();

        const glm::vec2 to = before + glm::vec2(-150, 80);
        f.navigator.Pan(focus, before, to);
        ExpectNear(f.Window(focus), to, 0.05f);
        f.ExpectBoxInClipRange();

        const glm::vec2 pivotWindow = f.Window(focus);
        f.navigator.Orbit(focus, glm::vec2(120, -70));
        ExpectNear(f.Window(focus), pivotWindow, 0.05f);
        f.ExpectBoxInClipRange();
    }
}

// Orbiting on over the pole keeps a valid camera: no jump, no degenerate up.
TEST(CameraNavigator, OrbitPassesOverThePole)
{
    Fixture f;
    const glm::vec3 pivot = f.box.getCenter();
    const float radius = glm::length(f.camera->GetEye() - pivot);
    for (int step = 0; step < 40; ++step) {
        const glm::vec3 previous = f.camera->GetDirection();
        f.navigator.Orbit(pivot, glm::vec2(3, 25)); // 11 degrees up per step
        EXPECT_NEAR(glm::length(f.camera->GetEye() - pivot), radius, radius * 1e-4f);
        EXPECT_GT(glm::dot(previous, f.camera->GetDirection()), 0.97f) << "step " << step;
        EXPECT_NEAR(glm::dot(f.camera->GetUp(), f.camera->GetDirection()), 0.0f, 1e-4f);
    }
    f.ExpectBoxInClipRange();
}

// A standard view glides and lands exactly on the framed view; an unknown
// view or a zoom past the limits changes nothing.
TEST(CameraNavigator, StandardViewsLandOnTheFramedView)
{
    Fixture f;
    ASSERT_TRUE(f.navigator.SetStandardView(STANDARD_VIEW_TOP, f.box, true));
    EXPECT_TRUE(f.navigator.IsGliding());
    EXPECT_TRUE(f.navigator.Step(0.0)); // starts the clock
    EXPECT_TRUE(f.navigator.Step(CameraNavigator::kGlideSeconds / 2)); // half way
    EXPECT_FALSE(f.navigator.Step(CameraNavigator::kGlideSeconds));
    EXPECT_FALSE(f.navigator.IsGliding());
    glm::vec3 direction, up;
    ASSERT_TRUE(CameraOperator::GetStandardViewDirection(STANDARD_VIEW_TOP, direction, up));
    EXPECT_NEAR(glm::dot(f.camera->GetDirection(), direction), 1.0f, 1e-5f);
    EXPECT_NEAR(glm::dot(f.camera->GetUp(), up), 1.0f, 1e-5f);
    EXPECT_NEAR(f.camera->GetTarget().x, f.box.getCenter().x, 1e-3f);
    EXPECT_NEAR(f.camera->GetTarget().y, f.box.getCenter().y, 1e-3f);
    EXPECT_EQ(f.navigator.GetView(), STANDARD_VIEW_TOP);
    f.ExpectBoxInClipRange();
    // The box fills the view up to the margin in its limiting direction.
    float left = 1e9f, right = -1e9f;
    for (int k = 0; k < 8; ++k) {
        const glm::vec3 lo = f.box.getMinimum(), hi = f.box.getMaximum();
        const float x = f.Window(glm::vec3((k & 1) ? hi.x : lo.x, (k & 2) ? hi.y : lo.y, (k & 4) ? hi.z : lo.z)).x;
        left = std::min(left, x);
        right = std::max(right, x);
    }
    EXPECT_NEAR(left, 1280.0f * 0.04f, 2.0f);
    EXPECT_NEAR(right, 1280.0f * 0.96f, 2.0f);

    const glm::vec3 eye = f.camera->GetEye();
    EXPECT_FALSE(f.navigator.SetStandardView(EnumStandardView(99), f.box, false));
    f.navigator.ZoomAt(f.box.getCenter(), 500.0f); // far past a millionth of the model
    f.navigator.ZoomAt(f.box.getCenter(), -500.0f);
    EXPECT_EQ(f.camera->GetEye(), eye);
}

#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/camera/Frustum.h>

#include <gtest/gtest.h>

#include "Expect.h"
#include "LogCapture.h"

using namespace orvcore;

namespace {
void ExpectXY(const glm::vec3& a, float x, float y, float eps = 1e-2f)
{
    EXPECT_NEAR(a.x, x, eps);
    EXPECT_NEAR(a.y, y, eps);
}

/// An oblique view of the Z-up scene.
Camera Oblique(unsigned w, unsigned h, uint32_t type = Camera::PROJECTION_PERSPECTIVE)
{
    Camera camera(w, h, glm::vec3(3, -8, 5), glm::vec3(1, 2, 0), glm::vec3(0, 0, 1));
    camera.SetClipRange(0.5f, 100.0f);
    camera.SetProjectionType(type);
    return camera;
}

/// A small cube centred on the world point seen at a window point on the target's depth.
AxisAlignedBox BoxAtWindow(const Camera& camera, float x, float y, float half)
{
    const float depth = CameraOperator::WorldPointToWindowPoint(camera, camera.GetTarget()).z;
    const glm::vec3 c = CameraOperator::WindowPointToWorldPoint(camera, glm::vec3(x, y, depth));
    return AxisAlignedBox(c - half, c + half);
}
} // namespace

TEST(Camera, DefaultsAndTypeSwitchKeepTheSizeAtTheTarget)
{
    EXPECT_EQ(Camera().GetProjectionMatrix(), glm::perspective(glm::radians(45.0f), 1.0f, 0.1f, 10000.0f));

    Camera wide = Oblique(800, 400);
    const glm::vec3 side = wide.GetTarget() + glm::cross(wide.GetDirection(), wide.GetUp()) * 1.5f + wide.GetUp();
    const glm::vec3 before = CameraOperator::WorldPointToWindowPoint(wide, side);
    wide.SetProjectionType(Camera::PROJECTION_ORTHOGRAPHIC);
    const float hh = wide.GetDistance() * std::tan(wide.GetFov() / 2);
    EXPECT_EQ(wide.GetProjectionMatrix(), glm::ortho(-2 * hh, 2 * hh, -hh, hh, 0.5f, 100.0f));
    ExpectXY(CameraOperator::WorldPointToWindowPoint(wide, side), before.x, before.y);
    EXPECT_EQ(Camera::CreateOrthographic(640, 480, 2.0f, -5.0f, 5.0f)->GetNear(), -5.0f);
}

TEST(Camera, ZoomAndPlacementMoveTheDrawingArea)
{
    Camera camera(800, 800, glm::vec3(0, 0, 5), glm::vec3(0), glm::vec3(0, 1, 0));
    const float x1 = CameraOperator::WorldPointToViewportPoint(camera, glm::vec3(1, 0, 0)).x - 400.0f;
    EXPECT_TRUE(camera.Contain(0, 0) && camera.Contain(799, 799));
    EXPECT_FALSE(camera.Contain(800, 10) || camera.Contain(10, -1));

    // A 120 x 120 overlay flush with the top-right corner: window x in [680, 800), y in [0, 120).
    camera.SetZoomFactor(0.15f);
    EXPECT_NEAR(CameraOperator::WorldPointToViewportPoint(camera, glm::vec3(1, 0, 0)).x - 400.0f, 0.15f * x1, 1e-3f);
    camera.SetViewPosition(ViewPosition(ViewPosition::VIEW_POSITION_ANCHOR, glm::vec2(1.0f)));
    camera.SetViewPosition(ViewPosition(ViewPosition::VIEW_POSITION_OFFSET, glm::vec2(-60.0f)));
    ExpectXY(CameraOperator::WorldPointToWindowPoint(camera, glm::vec3(0)), 740, 60);
    EXPECT_TRUE(camera.Contain(681, 0) && camera.Contain(799, 118));
    EXPECT_FALSE(camera.Contain(678, 10) || camera.Contain(700, 121) || camera.Contain(400, 400));
}

TEST(Camera, DegenerateInputWarnsAndKeepsState)
{
    orvtest::LogCapture log;
    Camera camera = Oblique(640, 480);
    const glm::mat4 view = camera.GetViewMatrix(), projection = camera.GetProjectionMatrix();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    camera.LookAt(glm::vec3(1, 2, 0), glm::vec3(1, 2, 0), glm::vec3(0, 0, 1)); // eye on target
    camera.LookAt(glm::vec3(0, 0, 5), glm::vec3(0), glm::vec3(0, 0, 2));       // up along sight
    camera.LookAt(glm::vec3(nan), glm::vec3(0), glm::vec3(0, 0, 1));
    camera.SetZoomFactor(0.0f);
    camera.SetFov(0.0f);
    camera.SetFov(nan);
    camera.SetClipRange(0.0f, 10.0f); // perspective needs near > 0
    camera.SetClipRange(5.0f, 5.0f);
    camera.SetProjectionType(2);
    camera.SetViewPosition(ViewPosition(0, glm::vec2(nan)));
    EXPECT_EQ(log.warnings.size(), 10u);
    EXPECT_EQ(camera.GetViewMatrix(), view);
    EXPECT_EQ(camera.GetProjectionMatrix(), projection);

    camera.Resize(0, 300);
    EXPECT_EQ(log.warnings.back(), "Viewport size is invalid!");
    EXPECT_EQ(camera.GetWidth(), 1u);

    // Up is orthonormalised; an orthographic range may start behind the eye
    // and is made valid again when switching back to perspective.
    camera.LookAt(glm::vec3(0, 0, 5), glm::vec3(0), glm::vec3(0, 3, 3));
    EXPECT_VEC(camera.GetUp(), glm::vec3(0, 1, 0), 1e-4f);
    camera.SetProjectionType(Camera::PROJECTION_ORTHOGRAPHIC);
    camera.SetClipRange(-10.0f, 10.0f);
    camera.SetProjectionType(Camera::PROJECTION_PERSPECTIVE);
    EXPECT_GT(camera.GetNear(), 0.0f);
    EXPECT_LT(camera.GetNear(), camera.GetFar());
    EXPECT_EQ(log.warnings.size(), 11u);
}

// Window and world points convert both ways: the rectangle frusta below, the
// casters' and grips' tests depend on it.
TEST(CameraOperator, WindowPointToRayPassesThroughTheProjectedPoint)
{
    for (const Camera& camera : {Oblique(800, 600), Oblique(800, 600, 0)}) {
        for (const glm::vec3 world : {glm::vec3(2, 3, 1), glm::vec3(-1, 0, 0.5f), glm::vec3(1, 2, 0)}) {
            const glm::vec3 window = CameraOperator::WorldPointToWindowPoint(camera, world);
            const Ray ray = CameraOperator::WindowPointToRay(camera, window.x, window.y);
            EXPECT_LT(ray.distanceSqToPoint(world), 1e-6f);
            // The ray starts on the near plane.
            EXPECT_NEAR(glm::dot(ray.getOrigin() - camera.GetEye(), camera.GetDirection()), camera.GetNear(), 1e-4f);
            if (camera.GetProjectionType() == Camera::PROJECTION_ORTHOGRAPHIC)
                EXPECT_VEC(ray.getDirection(), camera.GetDirection(), 1e-5f);
            else
                EXPECT_LT(glm::length(glm::cross(ray.getDirection(), ray.getOrigin() - camera.GetEye())), 1e-4f);
        }
    }
    orvtest::LogCapture log;
    const std::shared_ptr<Camera> none;
    EXPECT_VEC(CameraOperator::WindowPointToRay(none, 1, 2).getDirection(), glm::vec3(0, 0, -1));
    EXPECT_VEC(CameraOperator::WorldPointToWindowPoint(none, glm::vec3(1)), glm::vec3(0));
    CameraOperator::ZoomToBBox(none, AxisAlignedBox(glm::vec3(0), glm::vec3(1)), 1.0f);
    EXPECT_EQ(log.warnings, std::vector<std::string>(3, "Camera is null!"));
    CameraOperator::WindowPointToRay(Oblique(800, 600), std::nanf(""), 10.0f);
    EXPECT_EQ(log.warnings.back(), "Window point is invalid!");
}

TEST(CameraOperator, RaysFollowEveryCameraChange)
{
    // Rays come from the inverse the camera keeps: after every kind of
    // change a ray through a world point's window point still meets it.
    Camera camera = Oblique(800, 600);
    const glm::vec3 world(2, 3, 1);
    const auto expectRayThroughWorld = [&](const char* change) {
        const glm::vec3 window = CameraOperator::WorldPointToWindowPoint(camera, world);
        const Ray ray = CameraOperator::WindowPointToRay(camera, window.x, window.y);
        EXPECT_LT(ray.distanceSqToPoint(world), 1e-5f) << change;
    };
    camera.Resize(640, 640);
    expectRayThroughWorld("resize");
    camera.LookAt(glm::vec3(-6, 4, 3), glm::vec3(0, 1, 0), glm::vec3(0, 0, 1));
    expectRayThroughWorld("look at");
    camera.SetZoomFactor(2.5f);
    expectRayThroughWorld("zoom");
    camera.SetFov(0.4f);
    expectRayThroughWorld("field of view");
    camera.SetClipRange(0.2f, 50.0f);
    expectRayThroughWorld("clip range");
    camera.SetViewPosition(ViewPosition(ViewPosition::VIEW_POSITION_OFFSET, glm::vec2(40.0f, -25.0f)));
    expectRayThroughWorld("placement");
    camera.SetProjectionType(Camera::PROJECTION_ORTHOGRAPHIC);
    expectRayThroughWorld("orthographic");
}

TEST(CameraOperator, ZoomToBBoxFitsTheBoxInEveryAspect)
{
    const AxisAlignedBox box(glm::vec3(1, 2, 3), glm::vec3(4, 9, 5));
    const float r = glm::length(box.getSize()) / 2;
    for (unsigned type : {0u, 1u}) {
        for (const glm::uvec2 size : {glm::uvec2(800, 400), glm::uvec2(400, 800)}) {
            Camera camera = Oblique(size.x, size.y, type);
            const glm::vec3 direction = camera.GetDirection();
            CameraOperator::ZoomToBBox(camera, box, 1.0f);
            EXPECT_VEC(camera.GetDirection(), direction, 1e-4f);
            EXPECT_VEC(camera.GetTarget(), box.getCenter(), 1e-4f);
            EXPECT_EQ(camera.GetZoomFactor(), 1.0f);
            // The box's sphere lies within the clip range and touches the
            // narrower side of the view (the half angle of the narrower cone
            // for perspective).
            const float d = camera.GetDistance();
            EXPECT_TRUE(camera.GetNear() <= d - r && camera.GetFar() >= d + r) << camera.GetNear() << ", " << d;
            const bool tall = size.x < size.y;
            const glm::vec3 across = tall ? glm::cross(camera.GetDirection(), camera.GetUp()) : camera.GetUp();
            const glm::vec3 edge = CameraOperator::WorldPointToViewportPoint(camera, box.getCenter() + across * r);
            const float halfAngle = std::atan(std::tan(camera.GetFov() / 2) * std::min(1.0f, camera.GetAspect()));
            if (type == Camera::PROJECTION_ORTHOGRAPHIC)
                EXPECT_NEAR(tall ? edge.x : edge.y, float(std::min(size.x, size.y)), 0.05f);
            else
                EXPECT_NEAR(r / d, std::sin(halfAngle), 1e-5f);
            CameraOperator::ZoomToBBox(camera, box, 2.0f);
            EXPECT_NEAR(camera.GetDistance(), 2 * d, 1e-3f);
            EXPECT_NEAR(camera.GetFar(), 2 * (d + r), 1e-3f);
        }
    }
}

TEST(CameraOperator, DegenerateBoxesAndStandardViewFraming)
{
    orvtest::LogCapture log;
    Camera camera = Oblique(640, 480);
    const glm::mat4 view = camera.GetViewMatrix();
    CameraOperator::ZoomToBBox(camera, AxisAlignedBox(), 1.0f);
    CameraOperator::ZoomToBBox(camera, AxisAlignedBox(AxisAlignedBox::EXTENT_INFINITE), 1.0f);
    EXPECT_EQ(log.warnings, std::vector<std::string>(2, "Bounding box is not finite!"));
    EXPECT_EQ(camera.GetViewMatrix(), view);

    CameraOperator::ZoomToBBox(camera, AxisAlignedBox(glm::vec3(7), glm::vec3(7)), -1.0f); // a point, bad factor
    EXPECT_EQ(log.warnings.size(), 3u);
    EXPECT_VEC(camera.GetTarget(), glm::vec3(7), 1e-4f);
    EXPECT_GT(camera.GetDistance(), camera.GetNear());
    EXPECT_LT(camera.GetDistance(), camera.GetFar());

    const AxisAlignedBox box(glm::vec3(-1, -2, 0), glm::vec3(3, 2, 1));
    CameraOperator::SetStandardView(camera, STANDARD_VIEW_TOP, box, 1.0f);
    EXPECT_VEC(camera.GetDirection(), glm::vec3(0, 0, -1), 1e-4f);
    EXPECT_VEC(camera.GetTarget(), box.getCenter(), 1e-4f);
    const glm::mat4 top = camera.GetViewMatrix();
    CameraOperator::SetStandardView(camera, EnumStandardView(99), box, 1.0f);
    EXPECT_EQ(log.warnings.back(), "Standard view is invalid!");
    EXPECT_EQ(camera.GetViewMatrix(), top);
}

TEST(CameraOperator, StandardViewDirections)
{
    const float s = 1 / std::sqrt(3.0f);
    struct Case { EnumStandardView view; glm::vec3 direction, up; };
    const Case cases[] = {{STANDARD_VIEW_FRONT, {0, 1, 0}, {0, 0, 1}},  {STANDARD_VIEW_TOP, {0, 0, -1}, {0, 1, 0}},
                          {STANDARD_VIEW_RIGHT, {-1, 0, 0}, {0, 0, 1}}, {STANDARD_VIEW_BOTTOM, {0, 0, 1}, {0, -1, 0}},
                          {STANDARD_VIEW_BACK, {0, -1, 0}, {0, 0, 1}},  {STANDARD_VIEW_LEFT, {1, 0, 0}, {0, 0, 1}},
                          {STANDARD_VIEW_ISOMETRIC, {-s, s, -s}, {-1, 1, 2}},
                          {STANDARD_VIEW_BACK_BOTTOM_LEFT, {s, -s, s}, {-1, 1, 2}}};
    for (const Case& c : cases) {
        glm::vec3 direction, up;
        ASSERT_TRUE(CameraOperator::GetStandardViewDirection(c.view, direction, up));
        EXPECT_VEC(direction, c.direction, 1e-4f);
        EXPECT_VEC(up, glm::normalize(c.up), 1e-4f);
    }
    std::vector<glm::vec3> seen;
    for (uint32_t v = 1; v < STANDARD_VIEW_COUNT; ++v) {
        glm::vec3 direction, up;
        ASSERT_TRUE(CameraOperator::GetStandardViewDirection(EnumStandardView(v), direction, up));
        for (const glm::vec3& other : seen)
            EXPECT_GT(glm::length(other - direction), 0.1f) << "view " << v;
        seen.push_back(direction);
    }
    glm::vec3 direction(9), up(9);
    EXPECT_FALSE(CameraOperator::GetStandardViewDirection(STANDARD_VIEW_NONE, direction, up));
    EXPECT_FALSE(CameraOperator::GetStandardViewDirection(STANDARD_VIEW_COUNT, direction, up));
    EXPECT_EQ(direction, glm::vec3(9));
}

TEST(Frustum, CullsBoxesAgainstTheCameraVolume)
{
    EXPECT_TRUE(Frustum().IsVisible(AxisAlignedBox(glm::vec3(1e6f), glm::vec3(2e6f))));
    EXPECT_FALSE(Frustum().IsVisible(AxisAlignedBox()));
    for (unsigned type : {0u, 1u}) {
        Camera camera(800, 400, glm::vec3(0, 0, 10), glm::vec3(0), glm::vec3(0, 1, 0));
        camera.SetProjectionType(type);
        camera.SetClipRange(1.0f, 50.0f);
        const float hw = 2 * camera.GetOrthoHalfHeight(); // at the target, both types
        const Frustum frustum(camera, 1.0f);
        const auto cube = [](const glm::vec3& c, float h) { return AxisAlignedBox(c - h, c + h); };
        using C = Frustum::Containment;
        // Straddling the right side, above, behind the eye, beyond the far
        // plane, crossing the near plane.
        const std::pair<AxisAlignedBox, C> boxes[] = {
            {cube(glm::vec3(0), 1), C::Inside},          {cube(glm::vec3(hw, 0, 0), 0.5f), C::Intersects},
            {cube(glm::vec3(0, 3 * hw, 0), 1), C::Outside}, {cube(glm::vec3(0, 0, 15), 1), C::Outside},
            {cube(glm::vec3(0, 0, -45), 1), C::Outside},  {cube(glm::vec3(0, 0, 9.5f), 1), C::Intersects},
            {AxisAlignedBox(AxisAlignedBox::EXTENT_INFINITE), C::Intersects}, {AxisAlignedBox(), C::Outside}};
        for (const auto& [box, containment] : boxes) {
            EXPECT_EQ(frustum.Classify(box), containment);
            EXPECT_EQ(frustum.IsVisible(box), containment != C::Outside);
        }
        EXPECT_FALSE(frustum.IsVisible(glm::vec3(0, 0, 9.5f)));
        const AxisAlignedBox justOutside(glm::vec3(1.1f * hw, -0.1f, -0.1f), glm::vec3(1.15f * hw, 0.1f, 0.1f));
        EXPECT_FALSE(frustum.IsVisible(justOutside));
        EXPECT_TRUE(Frustum(camera, 1.2f).IsVisible(justOutside));
    }
    EXPECT_EQ(Frustum().Classify(AxisAlignedBox(glm::vec3(1e6f), glm::vec3(2e6f))), Frustum::Containment::Inside);
    orvtest::LogCapture log;
    Frustum bad(Camera(), 0.0f);
    EXPECT_EQ(log.warnings, std::vector<std::string>{"Frustum factor is invalid!"});
    EXPECT_FALSE(bad.IsVisible(glm::vec3(0, 0, 5)));
}

TEST(Frustum, WindowRectanglePicksBoxes)
{
    std::vector<Camera> cameras{Oblique(800, 600), Oblique(800, 600, 0)};
    cameras[1].SetZoomFactor(2.0f);
    cameras[1].SetViewPosition(ViewPosition(ViewPosition::VIEW_POSITION_ANCHOR, glm::vec2(0.4f, 0.6f)));
    for (const Camera& camera : cameras) {
        const float pixel = 2 * camera.GetOrthoHalfHeight() / 600 / camera.GetZoomFactor(); // world size of a pixel
        const AxisAlignedBox inside = BoxAtWindow(camera, 250, 200, 3 * pixel);
        const AxisAlignedBox straddling = BoxAtWindow(camera, 405, 150, 10 * pixel);
        const AxisAlignedBox right = BoxAtWindow(camera, 440, 200, 10 * pixel);
        const AxisAlignedBox below = BoxAtWindow(camera, 250, 340, 10 * pixel);
        for (const auto& corners : {std::pair(glm::vec2(100, 100), glm::vec2(400, 300)),
                                    std::pair(glm::vec2(400, 300), glm::vec2(100, 100)),
                                    std::pair(glm::vec2(100, 300), glm::vec2(400, 100))}) {
            Frustum frustum;
            frustum.Initialize(corners.first, corners.second, camera);
            EXPECT_TRUE(frustum.IsVisible(inside) && frustum.IsVisible(straddling));
            EXPECT_FALSE(frustum.IsVisible(right) || frustum.IsVisible(below));
        }
        Frustum click; // zero-size rectangle: a pixel around the pick ray
        click.Initialize(glm::vec2(250, 200), glm::vec2(250, 200), camera);
        EXPECT_TRUE(click.IsVisible(inside));
        EXPECT_FALSE(click.IsVisible(BoxAtWindow(camera, 260, 200, 3 * pixel)));

        orvtest::LogCapture log;
        click.Initialize(glm::vec2(std::nanf("")), glm::vec2(0), camera);
        EXPECT_EQ(log.warnings, std::vector<std::string>{"Frustum rectangle is invalid!"});
        EXPECT_TRUE(click.IsVisible(inside));
    }
}

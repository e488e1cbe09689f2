// Framing a model: from every standard view, in both projections and both
// orientations of the viewport, the box's projection fills the view up to
// the margin in its limiting direction, is centred, and lies inside the
// clip range.
#include <algorithm>

#include <gtest/gtest.h>

#include <orvkernel/camera/CameraOperator.h>

#include "LogCapture.h"

namespace orvcore {
namespace {

TEST(CameraFit, BoxFillsTheViewFromEveryStandardView)
{
    const AxisAlignedBox boxes[] = {
        AxisAlignedBox(glm::vec3(-1.0f), glm::vec3(1.0f)),
        AxisAlignedBox(glm::vec3(100.0f, -20.0f, 0.0f), glm::vec3(400.0f, 160.0f, 12.0f)), // a plate, off centre
        AxisAlignedBox(glm::vec3(-0.5f, -0.5f, 0.0f), glm::vec3(0.5f, 0.5f, 30.0f)),       // a mast
    };
    const unsigned int sizes[][2] = {{1280, 720}, {480, 900}};
    for (const unsigned int projection : {Camera::PROJECTION_PERSPECTIVE, Camera::PROJECTION_ORTHOGRAPHIC}) {
        for (const auto& size : sizes) {
            for (const AxisAlignedBox& box : boxes) {
                for (uint32_t view = 1; view < STANDARD_VIEW_COUNT; ++view) {
                    SCOPED_TRACE(::testing::Message() << "projection " << projection << ", " << size[0] << "x"
                                                      << size[1] << ", view " << view << ", box size "
                                                      << box.getSize().x << " " << box.getSize().y << " "
                                                      << box.getSize().z);
                    Camera camera(size[0], size[1], glm::vec3(5, -7, 3), glm::vec3(0.0f), glm::vec3(0, 0, 1));
                    camera.SetProjectionType(projection);
                    glm::vec3 direction, up;
                    ASSERT_TRUE(CameraOperator::GetStandardViewDirection(EnumStandardView(view), direction, up));
                    camera.LookAt(-direction * 10.0f, glm::vec3(0.0f), up);
                    CameraOperator::FitToBox(camera, box, 0.05f);

                    glm::vec3 lo(1e30f), hi(-1e30f);
                    for (int i = 0; i < 8; ++i) {
                        const glm::vec3 c((i & 1) ? box.getMaximum().x : box.getMinimum().x,
                                          (i & 2) ? box.getMaximum().y : box.getMinimum().y,
                                          (i & 4) ? box.getMaximum().z : box.getMinimum().z);
                        const glm::vec3 p = CameraOperator::WorldPointToViewportPoint(camera, c);
                        lo = glm::min(lo, p);
                        hi = glm::max(hi, p);
                    }
                    const float w = float(size[0]), h = float(size[1]);
                    // Inside the view and the clip range, with the margin kept.
                    EXPECT_GE(lo.x, 0.049f * w);
                    EXPECT_LE(hi.x, 0.951f * w);
                    EXPECT_GE(lo.y, 0.049f * h);
                    EXPECT_LE(hi.y, 0.951f * h);
                    EXPECT_GE(lo.z, 0.0f);
                    EXPECT_LE(hi.z, 1.0f);
                    // Tight in the limiting direction, centred in both.
                    EXPECT_GE(std::max((hi.x - lo.x) / w, (hi.y - lo.y) / h), 0.85f);
                    EXPECT_NEAR(lo.x + hi.x, w, 0.02f * w);
                    EXPECT_NEAR(lo.y + hi.y, h, 0.02f * h);
                }
            }
        }
    }
}

TEST(CameraFit, BadBoxesChangeNothing)
{
    Camera camera(100, 100, glm::vec3(0, 0, 10), glm::vec3(0.0f), glm::vec3(0, 1, 0));
    orvtest::LogCapture log;
    CameraOperator::FitToBox(camera, AxisAlignedBox(), 0.05f);
    AxisAlignedBox infinite;
    infinite.setInfinite();
    CameraOperator::FitToBox(camera, infinite, 0.05f);
    EXPECT_EQ(camera.GetEye(), glm::vec3(0, 0, 10));
    EXPECT_EQ(log.warnings, (std::vector<std::string>{"Bounding box is not finite!", "Bounding box is not finite!"}));

    // A ground grid wider than the framed model stays inside the clip range.
    CameraOperator::FitToBox(camera, AxisAlignedBox(glm::vec3(-1.0f), glm::vec3(1.0f)), 0.05f);
    const AxisAlignedBox grid(glm::vec3(-500.0f, -500.0f, 0.0f), glm::vec3(500.0f, 500.0f, 0.0f));
    CameraOperator::EncloseInClipRange(camera, grid);
    for (const glm::vec3 corner : {grid.getMinimum(), grid.getMaximum()})
        EXPECT_LE(CameraOperator::WorldPointToViewportPoint(camera, corner).z, 1.0f);
}

} // namespace
} // namespace orvcore

// The manipulators on a real frame: move, rotate and scale widgets standing
// in a part, drawn whole over it; the move widget's y arrow marked.
#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/gl/EglContext.h>
#include <orvkernel/gl/GlRenderDevice.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvcore/render/BasicPipeline.h>
#include <orvcore/render/ColorBackground.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/widget/MoveWidget.h>
#include <orvcore/widget/RotateWidget.h>
#include <orvcore/widget/ScaleWidget.h>

#include "GoldenImage.h"

namespace orvcore {
namespace {

constexpr unsigned int kSize = 256;

TEST(WidgetFrame, ManipulatorsAreDrawnOverThePartTheyStandIn)
{
    auto context = EglContext::Create(kSize, kSize);
    ASSERT_TRUE(context) << "no headless OpenGL context";
    auto device = std::make_unique<GlRenderDevice>(context->GetFramebuffer(), kSize, kSize);
    auto manager = std::make_shared<SceneManager>(kSize, kSize);
    manager->SetBackground(std::make_shared<ColorBackground>(glm::vec4(1.0f)));
    manager->SetCoodinateGrid(nullptr);
    auto paint = MeshPhongMaterial::Create("widgets.part");
    paint->SetColor(glm::vec3(0.6f, 0.62f, 0.66f));
    manager->GetScene()->AddNode(
        std::make_shared<PrimitiveSceneNode>(GeometryBuilder::CreateBox(glm::vec3(150, 50, 30)), paint));
    // Each widget's origin inside the part: its handles start hidden in it.
    // Scaled up as an application keeps them a size on screen.
    const std::pair<std::shared_ptr<CoordinateWidget>, float> widgets[] = {
        {MoveWidget::Create(glm::vec3(12.0f)), -50.0f},
        {RotateWidget::Create(9.0f), 0.0f},
        {ScaleWidget::Create(glm::vec3(11.0f)), 50.0f}};
    for (const auto& [widget, x] : widgets) {
        ASSERT_TRUE(widget);
        widget->SetTransform(glm::scale(glm::translate(glm::mat4(1.0f), glm::vec3(x, 0, 0)), glm::vec3(2.5f)));
        manager->GetScene()->AddNode(widget);
    }
    widgets[0].first->ShowArrow(CoordinateWidget::kAxisY);
    manager->UpdateWorld();
    CameraOperator::SetStandardView(manager->GetCamera(), STANDARD_VIEW_ISOMETRIC, manager->GetSceneBBox(), 1.05f);

    Renderer renderer(device.get(), 1.0f);
    renderer.Initialize(manager);
    renderer.SetViewCondinateType(NoWidget);
    BasicPipeline pipeline;
    pipeline.Initialize(&renderer);
    pipeline.Prepare(manager, &renderer);
    pipeline.Render(manager, &renderer, 0.0f);
    orvtest::ExpectMatchesGolden(std::string(ORVCORE_GOLDEN_DIR) + "/widgets.png", "widgets", *device->ReadPixels());
    device.reset();
    EXPECT_EQ(context->GetGlErrorCount(), 0u);
}

} // namespace
} // namespace orvcore

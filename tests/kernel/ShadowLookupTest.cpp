// What a lit material is given for its shadow lookup after the light
// manager drew its shadow maps.
#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/light/LightManager.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/MaterialManager.h>
#include <orvkernel/material/MeshPhongMaterial.h>

#include <gtest/gtest.h>

#include "Expect.h"
#include "RecordingDevice.h"

using namespace orvcore;

namespace {

std::shared_ptr<DirectionalLight> Sun(const glm::vec3& direction, bool castShadow)
{
    auto light = std::make_shared<DirectionalLight>();
    light->SetDirection(direction);
    light->SetFollowCamera(false);
    light->SetCastShadow(castShadow);
    return light;
}

} // namespace

TEST(LightManager, LitMaterialsLookUpTheMapsOfTheCastingLightsFromTheDrawingView)
{
    LightManager lights;
    lights.AddLight(Sun({1, 0, 0}, false));
    lights.AddLight(Sun({1, 2, -3}, true));
    auto camera = std::make_shared<Camera>(400, 300, glm::vec3(50, -80, 60), glm::vec3(0, 0, 10), glm::vec3(0, 0, 1));
    orvtest::RecordingDevice device;
    auto phong = MeshPhongMaterial::Create("lookup.lit");
    std::shared_ptr<Camera> lightCamera;
    lights.DrawShadow(&device, camera, MaterialManager::Instance().Create("lookup.depth", "depth"),
                      [&](const std::shared_ptr<Camera>& c) { lightCamera = c; });
    ASSERT_TRUE(lightCamera);

    device.SetCamera(camera);
    device.Clear();
    lights.ActiveMaterial(&device, phong.get());
    const auto& program = device.program;
    EXPECT_EQ(std::get<int>(*program.Find("shadowMask")), 2); // the second light only
    EXPECT_EQ(std::get<TextureUnit>(*program.Find("shadowMap1")).unit, int(LightManager::kShadowMapUnit) + 1);
    EXPECT_FALSE(program.Find("shadowMap0"));
    EXPECT_EQ(device.CallsStartingWith("ActiveTexture"),
              std::vector<std::string>{"ActiveTexture(9,shadow.map.1,0x8D00)"});
    // From the drawing camera's view space to where the light camera sees the
    // point: its viewport position over the map's size, and its depth.
    const glm::mat4 lookup = std::get<glm::mat4>(*program.Find("shadowMatrices[1]"));
    for (const glm::vec3 p : {glm::vec3(0, 0, 10), glm::vec3(30, -20, 0), glm::vec3(-15, 25, 40)}) {
        const glm::vec4 mapped = lookup * camera->GetViewMatrix() * glm::vec4(p, 1.0f);
        const glm::vec3 viewport = CameraOperator::WorldPointToViewportPoint(*lightCamera, p);
        const float size = float(LightManager::kShadowMapSize);
        EXPECT_VEC(glm::vec3(mapped) / mapped.w, viewport / glm::vec3(size, size, 1.0f), 1e-4f);
    }

    // Unlit materials get nothing; without casting lights nothing is bound.
    device.Clear();
    lights.ActiveMaterial(&device, BasicMaterial::Create("lookup.unlit").get());
    EXPECT_EQ(device.Count("ActiveTexture"), 0u);
    lights.GetLights()[1]->SetCastShadow(false);
    lights.DrawShadow(&device, camera, MaterialManager::Instance().Create("lookup.depth", "depth"),
                      [](const std::shared_ptr<Camera>&) {});
    device.Clear();
    lights.ActiveMaterial(&device, phong.get());
    EXPECT_EQ(std::get<int>(*program.Find("shadowMask")), 0);
    EXPECT_EQ(device.Count("ActiveTexture"), 0u);
}

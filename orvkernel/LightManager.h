#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <glm/vec3.hpp>

#include <orvkernel/DirectionalLight.h>

namespace orvcore {

class Camera;
class GpuShaderProgram;
class MaterialInstance;
class RenderDevice;

/// The lights of a view and their GPU side: a uniform block of light data
/// that lit materials read, and the per-light shadow passes.
class LightManager {
public:
    LightManager();
    ~LightManager();

    /// Adds a light (an empty pointer logs "Light is null!"). At most
    /// `kMaxLights` lights are used by the shaders.
    void AddLight(const std::shared_ptr<DirectionalLight>& light);
    bool RemoveLight(const std::shared_ptr<DirectionalLight>& light);
    const std::vector<std::shared_ptr<DirectionalLight>>& GetLights() const { return m_Lights; }
    static constexpr std::size_t kMaxLights = 4;

    const glm::vec3& GetAmbient() const { return m_Ambient; }
    void SetAmbient(const glm::vec3& ambient) { m_Ambient = ambient; }

    /// World-space light directions for a camera: lights that follow the
    /// camera are turned with it.
    std::vector<glm::vec3> GetWorldDirections(const Camera& camera) const;

    /// Creates the light uniform block on the device.
    void CreateUniformBlock(RenderDevice* device);
    /// Writes the light data for a camera into the uniform block.
    void UpdateUniformBlock(RenderDevice* device, const std::shared_ptr<Camera>& camera);
    /// Makes a material current with the lights bound; returns its program.
    GpuShaderProgram* ActiveMaterial(RenderDevice* device, MaterialInstance* material);

    using ShadowCallback = std::function<void(const std::shared_ptr<Camera>& lightCamera)>;
    /// For every shadow-casting light: targets its shadow map with the
    /// light's camera fitted to the scene camera's view, makes the depth
    /// material current and calls `draw`.
    void DrawShadow(RenderDevice* device, const std::shared_ptr<Camera>& camera,
                    const std::shared_ptr<MaterialInstance>& depthMaterial, const ShadowCallback& draw);

private:
    std::vector<std::shared_ptr<DirectionalLight>> m_Lights;
    glm::vec3 m_Ambient{0.35f};
};

} // namespace orvcore

#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include <orvkernel/light/DirectionalLight.h>

namespace orvcore {

class Camera;
class GpuShaderProgram;
class MaterialInstance;
class RenderDevice;
class RenderTarget;

/// The lights of a view and their GPU side: a uniform block of light data
/// that lit materials read, and the per-light shadow passes.
class LightManager {
public:
    LightManager();
    ~LightManager();

    /// Adds a light (an empty pointer logs "Light is null!"; a light already
    /// added is not added again). Only the first `kMaxLights` lights are used
    /// by the shaders and the shadow passes.
    void AddLight(const std::shared_ptr<DirectionalLight>& light);
    bool RemoveLight(const std::shared_ptr<DirectionalLight>& light);
    const std::vector<std::shared_ptr<DirectionalLight>>& GetLights() const { return m_Lights; }
    static constexpr std::size_t kMaxLights = 4;

    const glm::vec3& GetAmbient() const { return m_Ambient; }
    void SetAmbient(const glm::vec3& ambient) { m_Ambient = ambient; }

    /// World-space light directions (the way the light travels), one per
    /// light: a light that follows the camera has its direction given in view
    /// space (x right, y up, -z forward) and is turned into world space with
    /// the camera; the others are returned as they are.
    std::vector<glm::vec3> GetWorldDirections(const Camera& camera) const;

    /// Creates the light uniform block on the device (an empty device logs
    /// "Device is null!").
    void CreateUniformBlock(RenderDevice* device);
    bool HasUniformBlock() const { return m_UniformBlockCreated; }
    /// Computes the light data for a camera (world directions, colours times
    /// intensities, ambient) and keeps it for `ActiveMaterial`. Until the
    /// first update the directions are used as they are.
    void UpdateUniformBlock(RenderDevice* device, const std::shared_ptr<Camera>& camera);
    /// Makes a material current (`RenderDevice::_ActiveMaterial`) and, when
    /// its options include `TEMPLATE_OPTION_LIGHTING`, sets the light
    /// uniforms "lightCount", "lightDirections[i]", "lightColors[i]" and
    /// "ambientLight" on its program. After a `DrawShadow` it also binds
    /// the shadow map of every light that has one (its depth, on texture
    /// unit `kShadowMapUnit` + i, sampler "shadowMap<i>") and sets
    /// "shadowMask" (bit i: light i has a map), "shadowMatrices[i]" (from
    /// the device camera's view space to the map's [0, 1] coordinates and
    /// depth) and "shadowBias" (one map texel of depth), which the shaders
    /// read for percentage-closer filtered shadows. Returns the program
    /// (null when the material cannot be drawn).
    GpuShaderProgram* ActiveMaterial(RenderDevice* device, MaterialInstance* material);

    using ShadowCallback = std::function<void(const std::shared_ptr<Camera>& lightCamera)>;
    /// For every shadow-casting light among the first `kMaxLights`: targets
    /// its shadow map (the device target "shadow.map.<i>", 1024 x 1024, made
    /// on first use; i is the light's index) with an orthographic camera that
    /// looks along the light at the scene camera's target and covers its view,
    /// clears colour and depth, makes the depth material current and calls
    /// `draw` with the light camera. Empty arguments log a warning and draw
    /// nothing.
    void DrawShadow(RenderDevice* device, const std::shared_ptr<Camera>& camera,
                    const std::shared_ptr<MaterialInstance>& depthMaterial, const ShadowCallback& draw);
    /// The light cameras of the last `DrawShadow`, indexed like the lights
    /// (empty for a light that casts no shadow), for the shadow lookup.
    const std::vector<std::shared_ptr<Camera>>& GetShadowCameras() const { return m_ShadowCameras; }

    static constexpr unsigned int kShadowMapSize = 1024;
    /// The first texture unit of the shadow maps (units a material's own
    /// textures do not reach).
    static constexpr uint32_t kShadowMapUnit = 8;

private:
    /// Fills the per-light arrays that `ActiveMaterial` uploads, in place
    /// (no allocation once they have grown): directions in world space
    /// with the camera, or as they are without one.
    void CacheLightData(const Camera* camera);
    /// Binds the shadow maps and sets the shadow uniforms on a lit program.
    void ApplyShadows(RenderDevice* device, GpuShaderProgram* program);

    std::vector<std::shared_ptr<DirectionalLight>> m_Lights;
    glm::vec3 m_Ambient{0.35f};
    bool m_UniformBlockCreated = false;
    bool m_HasLightData = false;
    std::vector<glm::vec3> m_LightDirections;
    std::vector<glm::vec3> m_LightColors;
    glm::vec3 m_LightAmbient{0.35f};
    std::vector<std::shared_ptr<Camera>> m_ShadowCameras;
    /// Per light of the last `DrawShadow`: its map (empty: none) and the
    /// light camera's projection x view.
    std::vector<std::shared_ptr<RenderTarget>> m_ShadowMaps;
    std::vector<glm::mat4> m_ShadowViewProjections;
    /// The shadow lookup matrices for the view matrix they were made for.
    glm::mat4 m_ShadowView{0.0f};
    std::vector<glm::mat4> m_ShadowMatrices;
    int m_ShadowMask = 0;
};

} // namespace orvcore

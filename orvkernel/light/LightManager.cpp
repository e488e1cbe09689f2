#include <orvkernel/light/LightManager.h>

#include <orvcommon/Logger.h>
#include <orvkernel/camera/Camera.h>
#include <orvkernel/device/GpuShaderProgram.h>
#include <orvkernel/device/RenderDevice.h>
#include <orvkernel/device/RenderTarget.h>
#include <orvkernel/material/MaterialInstance.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include <glm/geometric.hpp>
#include <glm/mat3x3.hpp>
#include <glm/matrix.hpp>

namespace orvcore {

namespace {

constexpr uint32_t kDepthAttachment = 0x8D00;
/// Names of the per-light uniforms, made once.
struct LightUniformNames {
    std::string directions[LightManager::kMaxLights];
    std::string colors[LightManager::kMaxLights];
    std::string shadowMatrices[LightManager::kMaxLights];
    std::string shadowMaps[LightManager::kMaxLights];

    LightUniformNames()
    {
        for (std::size_t i = 0; i < LightManager::kMaxLights; ++i) {
            directions[i] = "lightDirections[" + std::to_string(i) + "]";
            colors[i] = "lightColors[" + std::to_string(i) + "]";
            shadowMatrices[i] = "shadowMatrices[" + std::to_string(i) + "]";
            shadowMaps[i] = "shadowMap" + std::to_string(i);
        }
    }
};

/// Clip space to the [0, 1] cube of texture coordinates and window depth.
const glm::mat4 kClipToTexture(glm::vec4(0.5f, 0.0f, 0.0f, 0.0f), glm::vec4(0.0f, 0.5f, 0.0f, 0.0f),
                               glm::vec4(0.0f, 0.0f, 0.5f, 0.0f), glm::vec4(0.5f, 0.5f, 0.5f, 1.0f));

const LightUniformNames& UniformNames()
{
    static const LightUniformNames names;
    return names;
}

// The view matrix maps world to view space; its rotation block is
// orthonormal, so the inverse is the transpose.
glm::mat3 ViewToWorld(const Camera& camera) { return glm::transpose(glm::mat3(camera.GetViewMatrix())); }

// A light's direction in world space: one that follows the camera is given
// in view space.
glm::vec3 WorldDirection(const DirectionalLight& light, const glm::mat3& viewToWorld)
{
    const glm::vec3& direction = light.GetDirection();
    return light.GetFollowCamera() ? glm::normalize(viewToWorld * direction) : direction;
}

} // namespace

LightManager::LightManager() = default;
LightManager::~LightManager() = default;

void LightManager::AddLight(const std::shared_ptr<DirectionalLight>& light)
{
    if (!light) {
        Logger::Instance().Waring("Light is null!");
        return;
    }
    if (std::find(m_Lights.begin(), m_Lights.end(), light) != m_Lights.end())
        return;
    m_Lights.push_back(light);
}

bool LightManager::RemoveLight(const std::shared_ptr<DirectionalLight>& light)
{
    const auto it = std::find(m_Lights.begin(), m_Lights.end(), light);
    if (!light || it == m_Lights.end())
        return false;
    m_Lights.erase(it);
    return true;
}

std::vector<glm::vec3> LightManager::GetWorldDirections(const Camera& camera) const
{
    const glm::mat3 viewToWorld = ViewToWorld(camera);
    std::vector<glm::vec3> directions;
    directions.reserve(m_Lights.size());
    for (const auto& light : m_Lights)
        directions.push_back(WorldDirection(*light, viewToWorld));
    return directions;
}

void LightManager::CreateUniformBlock(RenderDevice* device)
{
    if (!device) {
        Logger::Instance().Waring("Device is null!");
        return;
    }
    m_UniformBlockCreated = true;
}

void LightManager::CacheLightData(const Camera* camera)
{
    const std::size_t count = std::min(m_Lights.size(), kMaxLights);
    const glm::mat3 viewToWorld = camera ? ViewToWorld(*camera) : glm::mat3(1.0f);
    m_LightDirections.resize(count);
    m_LightColors.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        const DirectionalLight& light = *m_Lights[i];
        m_LightDirections[i] = camera ? WorldDirection(light, viewToWorld) : light.GetDirection();
        m_LightColors[i] = light.GetColor() * light.GetIntensity();
    }
    m_LightAmbient = m_Ambient;
    m_HasLightData = true;
}

void LightManager::UpdateUniformBlock(RenderDevice* device, const std::shared_ptr<Camera>& camera)
{
    if (!device) {
        Logger::Instance().Waring("Device is null!");
        return;
    }
    if (!camera) {
        Logger::Instance().Waring("Camera is null!");
        return;
    }
    CacheLightData(camera.get());
}

GpuShaderProgram* LightManager::ActiveMaterial(RenderDevice* device, MaterialInstance* material)
{
    if (!device) {
        Logger::Instance().Waring("Device is null!");
        return nullptr;
    }
    GpuShaderProgram* program = device->_ActiveMaterial(material);
    if (!program || !material || !(material->GetTemplateOptions() & TEMPLATE_OPTION_LIGHTING))
        return program;

    if (!m_HasLightData) {
        // No camera seen yet: the directions are used as they are.
        CacheLightData(nullptr);
    }
    const LightUniformNames& names = UniformNames();
    program->SetUniform("lightCount", int(m_LightDirections.size()));
    for (std::size_t i = 0; i < m_LightDirections.size(); ++i) {
        program->SetUniform(names.directions[i], m_LightDirections[i]);
        program->SetUniform(names.colors[i], m_LightColors[i]);
    }
    program->SetUniform("ambientLight", m_LightAmbient);
    ApplyShadows(device, program);
    return program;
}

void LightManager::ApplyShadows(RenderDevice* device, GpuShaderProgram* program)
{
    if (m_ShadowMask == 0 || !device->GetCamera()) {
        program->SetUniform("shadowMask", 0);
        return;
    }
    // The lookup goes from the view space of the camera drawing now; made
    // again only when that view changes.
    const glm::mat4& view = device->GetCamera()->GetViewMatrix();
    if (m_ShadowMatrices.size() != m_ShadowViewProjections.size() ||
        std::memcmp(&view, &m_ShadowView, sizeof(view)) != 0) {
        m_ShadowView = view;
        const glm::mat4 viewToWorld = glm::inverse(view);
        m_ShadowMatrices.resize(m_ShadowViewProjections.size());
        for (std::size_t i = 0; i < m_ShadowViewProjections.size(); ++i)
            m_ShadowMatrices[i] = kClipToTexture * m_ShadowViewProjections[i] * viewToWorld;
    }
    const LightUniformNames& names = UniformNames();
    for (std::size_t i = 0; i < m_ShadowMaps.size(); ++i) {
        if (!m_ShadowMaps[i])
            continue;
        const uint32_t unit = kShadowMapUnit + uint32_t(i);
        program->SetUniform(names.shadowMaps[i], TextureUnit{int(unit)});
        program->SetUniform(names.shadowMatrices[i], m_ShadowMatrices[i]);
        device->ActiveTexture(unit, m_ShadowMaps[i], kDepthAttachment);
    }
    program->SetUniform("shadowMask", m_ShadowMask);
    // The light cameras cover 2 half sizes across the map and 8 in depth.
    program->SetUniform("shadowBias", 1.0f / (4.0f * float(kShadowMapSize)));
}

void LightManager::DrawShadow(RenderDevice* device, const std::shared_ptr<Camera>& camera,
                              const std::shared_ptr<MaterialInstance>& depthMaterial, const ShadowCallback& draw)
{
    if (!device) {
        Logger::Instance().Waring("Device is null!");
        return;
    }
    if (!camera) {
        Logger::Instance().Waring("Camera is null!");
        return;
    }
    if (!depthMaterial) {
        Logger::Instance().Waring("Material is null!");
        return;
    }
    if (!draw) {
        Logger::Instance().Waring("Shadow callback is null!");
        return;
    }

    // Half the size of the square the light cameras cover: what an
    // orthographic scene camera shows, twice over (the view is wider than
    // high); for a perspective one, its distance to the target.
    const float halfSize = camera->GetProjectionType() == Camera::PROJECTION_ORTHOGRAPHIC
                               ? camera->GetOrthoHalfHeight() * 2.0f
                               : camera->GetDistance();
    const glm::vec3& target = camera->GetTarget();
    const std::vector<glm::vec3> directions = GetWorldDirections(*camera);
    const std::size_t count = std::min(m_Lights.size(), kMaxLights);
    m_ShadowCameras.resize(count);
    m_ShadowMaps.assign(count, nullptr);
    m_ShadowViewProjections.assign(count, glm::mat4(1.0f));
    m_ShadowMatrices.clear();
    m_ShadowMask = 0;

    for (std::size_t i = 0; i < count; ++i) {
        if (!m_Lights[i]->GetCastShadow()) {
            m_ShadowCameras[i].reset();
            continue;
        }
        const std::string name = "shadow.map." + std::to_string(i);
        std::shared_ptr<RenderTarget> shadowMap = device->FindTarget(name);
        if (!shadowMap) {
            shadowMap = std::make_shared<RenderTarget>(kShadowMapSize, kShadowMapSize);
            // Depth maps are compared, not looked at: one sample is enough.
            shadowMap->SetSamples(1);
            device->AddTarget(name, shadowMap);
        }

        std::shared_ptr<Camera>& lightCamera = m_ShadowCameras[i];
        if (!lightCamera)
            lightCamera = Camera::CreateOrthographic(kShadowMapSize, kShadowMapSize, 1.0f, -1.0f, 1.0f);
        // An orthographic camera shows distance * tan(fov / 2) above and below
        // its target: place the eye so that this is the covered half size,
        // and keep four half sizes of depth on either side of the target.
        const float distance = halfSize / std::tan(lightCamera->GetFov() * 0.5f);
        const glm::vec3& direction = directions[i];
        const glm::vec3 up = std::fabs(direction.z) < 0.99f ? glm::vec3(0.0f, 0.0f, 1.0f) : glm::vec3(0.0f, 1.0f, 0.0f);
        lightCamera->LookAt(target - direction * distance, target, up);
        lightCamera->SetClipRange(distance - 4.0f * halfSize, distance + 4.0f * halfSize);

        device->SetTarget(shadowMap, lightCamera);
        device->ClearBuffers(CLEAR_COLOR | CLEAR_DEPTH);
        device->ActiveMaterial(depthMaterial);
        draw(lightCamera);
        m_ShadowMaps[i] = shadowMap;
        m_ShadowViewProjections[i] = lightCamera->GetViewProjectionMatrix();
        m_ShadowMask |= 1 << i;
    }
}

} // namespace orvcore

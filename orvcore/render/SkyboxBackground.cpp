#include <orvcore/render/SkyboxBackground.h>

#include <orvcommon/Logger.h>
#include <orvcommon/TypedBuffer.h>
#include <orvkernel/device/GpuShaderProgram.h>
#include <orvkernel/device/RenderDevice.h>
#include <orvkernel/material/MaterialManager.h>
#include <orvcore/render/Renderer.h>

#include <glm/gtc/matrix_transform.hpp>

namespace orvcore {

namespace {

// The 12 triangles of the cube with corners at +-1, inward and outward
// alike (the sky is seen from inside).
std::shared_ptr<BufferGeometry> SkyCube()
{
    static const float kCorners[8][3] = {{-1, -1, -1}, {1, -1, -1}, {1, 1, -1}, {-1, 1, -1},
                                         {-1, -1, 1},  {1, -1, 1},  {1, 1, 1},  {-1, 1, 1}};
    static const int kTriangles[36] = {0, 1, 2, 0, 2, 3, 4, 6, 5, 4, 7, 6, 0, 4, 5, 0, 5, 1,
                                       3, 2, 6, 3, 6, 7, 0, 3, 7, 0, 7, 4, 1, 5, 6, 1, 6, 2};
    Float32Buffer positions(108);
    for (int i = 0; i < 36; ++i)
        positions.SetValue(std::size_t(i) * 3, glm::vec3(kCorners[kTriangles[i]][0], kCorners[kTriangles[i]][1],
                                                           kCorners[kTriangles[i]][2]));
    auto geometry = std::make_shared<BufferGeometry>(PRIMITIVE_TRIANGLES);
    geometry->SetAttribute(ATTRIBUTE_POSITION, std::make_shared<BufferAttribute>(positions, 3));
    geometry->ComputeBoundingBox();
    return geometry;
}

} // namespace

SkyboxBackground::SkyboxBackground(const std::shared_ptr<ImageTextureCube>& texture) : m_Texture(texture)
{
    auto material = MaterialManager::Instance().Create("sys.bkg.cube", "cube");
    if (m_Texture)
        material->AddTexture("envMap", m_Texture);
    material->SetUniform("flipEnvMap", -1.0f);
    m_Sky = std::make_shared<PrimitiveShape>(SkyCube(), material);
}

std::shared_ptr<SkyboxBackground> SkyboxBackground::Create(const std::string&)
{
    auto texture = std::make_shared<ImageTextureCube>();
    texture->LoadAsync({"skybox/EnvMap_posx.jpg", "skybox/EnvMap_negx.jpg", "skybox/EnvMap_negy.jpg",
                        "skybox/EnvMap_posy.jpg", "skybox/EnvMap_posz.jpg", "skybox/EnvMap_negz.jpg"});
    return std::make_shared<SkyboxBackground>(texture);
}

void SkyboxBackground::SetTexture(const std::shared_ptr<ImageTextureCube>& texture)
{
    m_Texture = texture;
    if (m_Texture)
        m_Sky->GetMaterial()->AddTexture("envMap", m_Texture);
    else
        m_Sky->GetMaterial()->RemoveTexture("envMap");
}

void SkyboxBackground::Render(Renderer* renderer, const std::shared_ptr<Camera>& camera)
{
    RenderDevice* device = renderer ? renderer->GetDevice() : nullptr;
    if (!device || !camera)
        return;
    device->SetClearColor(glm::vec4(glm::vec3(37.0f, 175.0f, 243.0f) / 255.0f, 1.0f));
    device->ClearBuffers(CLEAR_COLOR | CLEAR_DEPTH | CLEAR_STENCIL);
    if (!m_Texture)
        return;

    bool switched = false;
    if (camera->GetProjectionType() == Camera::PROJECTION_ORTHOGRAPHIC) {
        camera->SetProjectionType(Camera::PROJECTION_PERSPECTIVE);
        camera->UpdateProjection();
        device->SetCamera(camera);
        switched = true;
    }
    // A pure rotation: the sky turns with the view and never moves.
    const glm::mat4 modelView = glm::lookAt(glm::vec3(0.0f), camera->GetDirection() * 10.0f, camera->GetUp());
    GpuShaderProgram* program = device->ActiveMaterial(m_Sky->GetMaterial());
    if (!program) {
        Logger::Instance().Waring("SkyBox Shader Program is null!");
        return;
    }
    program->SetUniform("modelMatrix", glm::mat4(1.0f));
    program->SetUniform("modelViewMatrix", modelView);
    device->Draw(m_Sky->GetGeometry().get(), 0, 0);
    if (switched) {
        camera->SetProjectionType(Camera::PROJECTION_ORTHOGRAPHIC);
        camera->UpdateProjection();
        device->SetCamera(camera);
    }
}

const SkyboxBackground* SkyboxBackground::Cast(const Background* background)
{
    return dynamic_cast<const SkyboxBackground*>(background);
}
SkyboxBackground* SkyboxBackground::Cast(Background* background) { return dynamic_cast<SkyboxBackground*>(background); }

} // namespace orvcore

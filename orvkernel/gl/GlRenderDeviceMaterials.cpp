#include <orvkernel/gl/GlRenderDevice.h>

#include <orvcommon/Logger.h>
#include <orvkernel/camera/Camera.h>
#include <orvkernel/gl/GlShaderProgram.h>
#include <orvkernel/gl/GlShaderSources.h>
#include <orvkernel/material/LineDashedMaterial.h>
#include <orvkernel/material/MaterialInstance.h>
#include <orvkernel/material/MaterialTemplate.h>
#include <orvkernel/material/RawShader.h>
#include <orvkernel/text/FontMaterial.h>

#include <algorithm>
#include <cmath>

#include <epoxy/gl.h>
#include <glm/mat3x3.hpp>
#include <glm/matrix.hpp>

// Programs per template, material activation, material state, textures and
// uniforms of the OpenGL device.

namespace orvcore {

glm::mat3 GlRenderDevice::NormalMatrix(const glm::mat4& modelView)
{
    const glm::mat3 linear(modelView);
    const float determinant = glm::determinant(linear);
    if (!std::isfinite(determinant) || std::fabs(determinant) < 1e-20f)
        return linear;
    return glm::transpose(glm::inverse(linear));
}

// --- programs and materials ---

GlShaderProgram* GlRenderDevice::GetProgram(const std::string& templateName)
{
    const auto found = m_Programs.find(templateName);
    if (found != m_Programs.end())
        return found->second->IsAvailable(GlShaderProgram::VARIANT_SURFACE) ? found->second.get() : nullptr;

    auto program = std::make_unique<GlShaderProgram>(templateName, m_State);
    if (const GlTemplateShaders* shaders = FindGlTemplateShaders(templateName)) {
        const std::string vertex = ExpandGlShader(shaders->vertex);
        const std::string fragment = ExpandGlShader(shaders->fragment);
        if (!vertex.empty() && !fragment.empty())
            program->Build(GlShaderProgram::VARIANT_SURFACE, vertex, std::string(), fragment);
    }
    GlShaderProgram* result = program.get();
    m_Programs[templateName] = std::move(program);
    if (!result->IsAvailable(GlShaderProgram::VARIANT_SURFACE))
        return nullptr;

    // Defaults of the template uniforms (materials override what they own).
    result->SetUniform("color", glm::vec3(1.0f));
    result->SetUniform("opacity", 1.0f);
    result->SetUniform("state", int(MATERIAL_STATE_NORMAL));
    result->SetUniform("pointSize", 1.0f);
    result->SetUniform("lineWidth", 1.0f);
    result->SetUniform("shininess", 30.0f);
    result->SetUniform("lightCount", -1);
    result->SetUniform("ambientLight", glm::vec3(0.35f));
    result->SetUniform("shadowMask", 0);
    result->SetUniform("flipEnvMap", 1.0f);
    result->SetUniform("darkness", 1.0f);
    result->SetUniform("h", 1.0f / 512.0f);
    result->SetUniform("v", 1.0f / 512.0f);
    result->SetUniform("dashSize", 1.0f);
    result->SetUniform("gapSize", 0.0f);
    return result;
}

GlShaderProgram* GlRenderDevice::GetRawProgram(const RawShader& shader)
{
    // Programs are shared by the raw shaders of the same sources.
    const std::string key = shader.GetVertexSource() + "\n//fragment\n" + shader.GetFragmentSource();
    const auto found = m_RawPrograms.find(key);
    if (found != m_RawPrograms.end())
        return found->second->IsAvailable(GlShaderProgram::VARIANT_SURFACE) ? found->second.get() : nullptr;
    auto program = std::make_unique<GlShaderProgram>(RawShader::kTemplate, m_State);
    const std::string vertex = ExpandGlShaderText(shader.GetName(), shader.GetVertexSource().c_str());
    const std::string fragment = ExpandGlShaderText(shader.GetName(), shader.GetFragmentSource().c_str());
    if (!vertex.empty() && !fragment.empty())
        program->Build(GlShaderProgram::VARIANT_SURFACE, vertex, std::string(), fragment);
    GlShaderProgram* result = program.get();
    m_RawPrograms[key] = std::move(program);
    return result->IsAvailable(GlShaderProgram::VARIANT_SURFACE) ? result : nullptr;
}

void GlRenderDevice::SetModelUniforms(GlShaderProgram& program, const glm::mat4& model)
{
    const glm::mat4 identity(1.0f);
    const glm::mat4& view = m_Camera ? m_Camera->GetViewMatrix() : identity;
    const glm::mat4 modelView = view * model;
    program.SetUniform(GlShaderProgram::UNIFORM_MODEL_MATRIX, model);
    program.SetUniform(GlShaderProgram::UNIFORM_MODEL_VIEW_MATRIX, modelView);
    program.SetUniform(GlShaderProgram::UNIFORM_NORMAL_MATRIX, NormalMatrix(modelView));
}

void GlRenderDevice::BuildTemplate(const std::shared_ptr<MaterialTemplate>& materialTemplate)
{
    if (!materialTemplate) {
        Logger::Instance().Waring("Material template is null!");
        return;
    }
    // Raw shaders bring their sources with each material.
    if (materialTemplate->GetName() == RawShader::kTemplate)
        return;
    if (!GetProgram(materialTemplate->GetName()))
        WarnOnce(0, "Shader program is not available: " + materialTemplate->GetName() + "!");
}

GpuShaderProgram* GlRenderDevice::ActiveMaterial(const std::shared_ptr<MaterialInstance>& material)
{
    return Activate(material.get(), true);
}

GpuShaderProgram* GlRenderDevice::_ActiveMaterial(MaterialInstance* material) { return Activate(material, true); }

GpuShaderProgram* GlRenderDevice::ActiveShader(MaterialInstance* material)
{
    GpuShaderProgram* program = Activate(material, false);
    // The state of the material was not applied: a later activation of it
    // must not take the shortcut.
    m_MaterialId = 0;
    m_Material = nullptr;
    return program;
}

GpuShaderProgram* GlRenderDevice::Activate(MaterialInstance* material, bool withState)
{
    if (!material) {
        Logger::Instance().Waring("Material is null!");
        m_Program = nullptr;
        m_MaterialId = 0;
        m_Material = nullptr;
        m_ActivationFailed = true;
        return nullptr;
    }
    // The same material, unchanged: its uniforms are in the program already;
    // the fixed state and textures go through the caches (no GL call unless
    // someone changed them in between).
    if (withState && m_Program && m_Material == material && m_MaterialId == material->GetObjectId() &&
        m_MaterialVersion == material->GetUpdateVersion()) {
        ApplyMaterialState(*material);
        if (BindMaterialTextures(*material, *m_Program)) {
            SetModelUniforms(*m_Program, glm::mat4(1.0f));
            return m_Program;
        }
    }

    m_Program = nullptr;
    m_Material = nullptr;
    m_MaterialId = 0;
    m_ActivationFailed = true;
    GlShaderProgram* program = nullptr;
    if (RawShader* raw = RawShader::Cast(material))
        program = GetRawProgram(*raw);
    else if (material->GetTemplate())
        program = GetProgram(material->GetTemplateName());
    if (!program) {
        WarnOnce(material->GetObjectId(), "Shader program is not available: " + material->GetTemplateName() + "!");
        return nullptr;
    }
    if (!BindMaterialTextures(*material, *program))
        return nullptr;
    if (withState)
        ApplyMaterialState(*material);
    ApplyMaterialUniforms(*material, *program);
    SetModelUniforms(*program, glm::mat4(1.0f));

    m_Program = program;
    m_Material = material;
    m_MaterialLineWidth = std::max<uint8_t>(material->LineWidth, 1);
    m_MaterialLinesInPlane = material->GetUniforms().Find("linesInPlane") != nullptr;
    m_MaterialId = material->GetObjectId();
    m_MaterialVersion = material->GetUpdateVersion();
    m_ActivationFailed = false;
    return program;
}

void GlRenderDevice::ApplyMaterialState(const MaterialInstance& material)
{
    m_State.SetDepthTest(material.GetDepthTest());
    m_State.SetDepthMask(material.DepthWrite);
    m_State.SetColorMask(true);
    m_State.SetBlending(material.BlendingMode == BLENDING_NORMAL || material.BlendingMode == BLENDING_TRANSPARENT);
    switch (material.GetFaceSide()) {
    case FACE_BACK:
        m_MaterialCull = GL_FRONT;
        break;
    case FACE_DOUBLE:
        m_MaterialCull = 0;
        break;
    default:
        m_MaterialCull = GL_BACK;
        break;
    }
}

bool GlRenderDevice::BindMaterialTextures(const MaterialInstance& material, GlShaderProgram& program)
{
    const auto& textures = material.GetTextures();
    // Every sampler reads something defined: the material's texture, or the
    // neutral texture of its kind.
    for (const auto& sampler : program.GetSamplers()) {
        if (textures.count(sampler.first))
            continue;
        uint32_t unit = 0;
        unsigned int type = 0;
        program.FindSampler(sampler.first, unit, type);
        if (type == GL_SAMPLER_CUBE)
            m_State.BindTexture(unit, GL_TEXTURE_CUBE_MAP, m_BlackCube);
        else if (type == GL_SAMPLER_2D)
            m_State.BindTexture(unit, GL_TEXTURE_2D, m_WhiteTexture);
    }
    for (const auto& entry : textures) {
        uint32_t unit = 0;
        unsigned int samplerType = 0;
        if (!program.FindSampler(entry.first, unit, samplerType)) {
            WarnOnce(material.GetObjectId(), "Texture sampler is not found: " + entry.first + "!");
            return false;
        }
        const bool fits = (samplerType == GL_SAMPLER_2D && entry.second->GetTextureType() == TEXTURE_2D) ||
                          (samplerType == GL_SAMPLER_CUBE && entry.second->GetTextureType() == TEXTURE_CUBE_MAP);
        if (!fits || unit >= GlStateCache::kTextureUnits) {
            WarnOnce(material.GetObjectId(), "Texture does not fit the sampler: " + entry.first + "!");
            return false;
        }
        const unsigned int name = SyncTexture(entry.second, unit);
        if (name == 0) {
            WarnOnce(material.GetObjectId(), "Texture is not supported: " + entry.first + "!");
            return false;
        }
        m_State.BindTexture(unit, samplerType == GL_SAMPLER_CUBE ? GL_TEXTURE_CUBE_MAP : GL_TEXTURE_2D, name);
    }
    return true;
}

void GlRenderDevice::ApplyMaterialUniforms(const MaterialInstance& material, GlShaderProgram& program)
{
    program.SetUniform("color", material.GetColor());
    program.SetUniform("opacity", material.GetOpacity());
    program.SetUniform("state", int(material.GetState()));
    program.SetUniform("useVertexColors", material.GetVertexColors() ? 1 : 0);
    program.SetUniform("useMap", material.GetTexture("map") ? 1 : 0);
    const float dpi = GetSettings().DpiScaling > 0.0f ? GetSettings().DpiScaling : 1.0f;
    program.SetUniform("pointSize", material.GetPointSize() * dpi);
    program.SetUniform("lineWidth", float(std::max<uint8_t>(material.LineWidth, 1)) * dpi);
    program.SetUniform("shininess", material.GetShininess());
    program.SetUniform("faceSide", int(material.GetFaceSide()));
    if (material.GetTemplateOptions() & TEMPLATE_OPTION_LIGHTING) {
        // Until a light manager sets its lights on this activation, one
        // light from the eye.
        program.SetUniform("lightCount", -1);
        program.SetUniform("ambientLight", glm::vec3(0.35f));
        program.SetUniform("shadowMask", 0);
    }
    MaterialInstance& mutableMaterial = const_cast<MaterialInstance&>(material);
    if (const LineDashedMaterial* dashed = LineDashedMaterial::Cast(&mutableMaterial)) {
        program.SetUniform("dashSize", dashed->GetDashSize());
        program.SetUniform("gapSize", dashed->GetGapSize());
    }
    if (const FontMaterial* font = FontMaterial::Cast(&mutableMaterial)) {
        program.SetUniform("billboard", font->GetBillboard() ? 1 : 0);
        program.SetUniform("hasBackground", font->HasBackground() ? 1 : 0);
        program.SetUniform("background", font->GetBackground());
    }
    // A material that sets no cut-off draws every fragment.
    program.SetUniform("alphaTest", 0.0f);
    for (const auto& uniform : material.GetUniforms().GetValues())
        program.SetUniform(uniform.first, uniform.second);
}

} // namespace orvcore

#include <orvkernel/material/MaterialInstance.h>

#include <orvcommon/Logger.h>
#include <orvkernel/material/MaterialManager.h>

#include <algorithm>
#include <cmath>
#include <typeinfo>

namespace orvcore {

MaterialInstance::MaterialInstance(std::string name, std::string templateName)
    : m_Name(std::move(name)), m_TemplateName(std::move(templateName))
{
    if (!m_TemplateName.empty()) {
        m_Template = MaterialManager::Instance().FindTemplate(m_TemplateName);
        m_TemplateOptions = m_Template ? m_Template->GetOptions() : 0u;
    }
}

MaterialInstance::~MaterialInstance() = default;

std::shared_ptr<MaterialInstance> MaterialInstance::Create(const std::string& name, const std::string& templateName)
{
    auto instance = std::make_shared<MaterialInstance>(name);
    MaterialManager::Instance().Register(instance, templateName);
    return instance;
}

bool MaterialInstance::MatchesExceptColor(const MaterialInstance& other) const
{
    if (&other == this)
        return true;
    return typeid(*this) == typeid(other) && m_Template == other.m_Template &&
           m_TemplateName == other.m_TemplateName && m_TemplateOptions == other.m_TemplateOptions &&
           m_Opacity == other.m_Opacity && m_PointSize == other.m_PointSize && m_Shininess == other.m_Shininess &&
           m_FaceSide == other.m_FaceSide && m_DepthTest == other.m_DepthTest && m_State == other.m_State &&
           m_VertexColors == other.m_VertexColors && LineWidth == other.LineWidth &&
           OrderExempt == other.OrderExempt && DepthWrite == other.DepthWrite &&
           BlendingMode == other.BlendingMode && m_Textures == other.m_Textures &&
           m_Uniforms.GetValues() == other.m_Uniforms.GetValues();
}

void MaterialInstance::SetTemplate(const std::shared_ptr<MaterialTemplate>& materialTemplate)
{
    BindTemplate(materialTemplate ? materialTemplate->GetName() : m_TemplateName, materialTemplate);
}

void MaterialInstance::BindTemplate(const std::string& templateName,
                                    const std::shared_ptr<MaterialTemplate>& materialTemplate)
{
    const uint32_t options = materialTemplate ? materialTemplate->GetOptions() : 0u;
    if (m_Template == materialTemplate && m_TemplateName == templateName && m_TemplateOptions == options)
        return;
    m_TemplateName = templateName;
    m_Template = materialTemplate;
    m_TemplateOptions = options;
    ++m_UpdateVersion;
}

void MaterialInstance::SetTemplateOptions(uint32_t options)
{
    if (m_TemplateOptions == options)
        return;
    m_TemplateOptions = options;
    ++m_UpdateVersion;
}

void MaterialInstance::SetColor(const glm::vec3& color)
{
    if (!std::isfinite(color.x) || !std::isfinite(color.y) || !std::isfinite(color.z)) {
        Logger::Instance().Waring("Material color is invalid!");
        return;
    }
    if (m_Color == color)
        return;
    m_Color = color;
    ++m_UpdateVersion;
}

void MaterialInstance::SetOpacity(float opacity)
{
    if (std::isnan(opacity)) {
        Logger::Instance().Waring("Opacity is invalid!");
        return;
    }
    opacity = std::clamp(opacity, 0.0f, 1.0f);
    if (m_Opacity == opacity)
        return;
    m_Opacity = opacity;
    ++m_UpdateVersion;
}

void MaterialInstance::SetFaceSide(uint32_t side)
{
    if (side > FACE_DOUBLE) {
        Logger::Instance().Waring("Face side is invalid!");
        return;
    }
    if (m_FaceSide == side)
        return;
    m_FaceSide = side;
    ++m_UpdateVersion;
}

void MaterialInstance::SetDepthTest(bool on)
{
    if (m_DepthTest == on)
        return;
    m_DepthTest = on;
    ++m_UpdateVersion;
}

void MaterialInstance::SetState(uint8_t state)
{
    if (m_State == state)
        return;
    m_State = state;
    ++m_UpdateVersion;
}

void MaterialInstance::SetVertexColors(bool on)
{
    if (m_VertexColors == on)
        return;
    m_VertexColors = on;
    ++m_UpdateVersion;
}

void MaterialInstance::SetPointSizeValue(float size)
{
    // `!(size >= 1)` also catches NaN.
    if (!(size >= 1.0f) || !std::isfinite(size))
        size = 1.0f;
    if (m_PointSize == size)
        return;
    m_PointSize = size;
    ++m_UpdateVersion;
}

void MaterialInstance::SetShininessValue(float shininess)
{
    if (!(shininess >= 0.0f))
        shininess = 0.0f;
    if (m_Shininess == shininess)
        return;
    m_Shininess = shininess;
    ++m_UpdateVersion;
}

void MaterialInstance::AddTexture(const std::string& sampler, const std::shared_ptr<Texture>& texture)
{
    if (sampler.empty() || !texture) {
        Logger::Instance().Waring("Material texture is invalid!");
        return;
    }
    auto& slot = m_Textures[sampler];
    if (slot == texture)
        return;
    slot = texture;
    ++m_UpdateVersion;
}

void MaterialInstance::RemoveTexture(const std::string& sampler)
{
    if (m_Textures.erase(sampler) != 0)
        ++m_UpdateVersion;
}

std::shared_ptr<Texture> MaterialInstance::GetTexture(const std::string& sampler) const
{
    const auto it = m_Textures.find(sampler);
    return it == m_Textures.end() ? nullptr : it->second;
}

bool MaterialInstance::SetUniform(const std::string& name, const UniformValue& value)
{
    if (!m_Uniforms.SetValue(name, value))
        return false;
    ++m_UpdateVersion;
    return true;
}

} // namespace orvcore

#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include <glm/vec3.hpp>

#include <orvkernel/device/GfxObject.h>
#include <orvkernel/material/MaterialTemplate.h>
#include <orvkernel/material/UniformSet.h>
#include <orvkernel/texture/Texture.h>

namespace orvcore {

/// How a material's fragments combine with what is drawn.
enum EnumBlendingMode : uint32_t {
    BLENDING_NONE = 0,
    BLENDING_NORMAL = 1,      ///< blended, drawn with the opaque items
    BLENDING_TRANSPARENT = 2, ///< blended and drawn after the opaque items, far to near
};

/// Which faces of triangles are drawn.
enum EnumFaceSide : uint32_t { FACE_FRONT = 0, FACE_BACK = 1, FACE_DOUBLE = 2 };

/// Display state of a material: normal, or marked (highlighted by the
/// shader, e.g. a widget arrow under the cursor).
enum EnumMaterialState : uint8_t { MATERIAL_STATE_NORMAL = 1, MATERIAL_STATE_MARKED = 3 };

/// The parameters one draw call is made with: an instance of a named
/// template with its own colour, opacity, blending, sizes, textures and
/// uniforms. Shared by the shapes and nodes that use it.
///
/// Every setter raises the change counter (`GetUpdateVersion`) when the value
/// changes, so the device re-applies only what moved. The public fields
/// `LineWidth`, `OrderExempt`, `DepthWrite` and `BlendingMode` may also be
/// written directly; call `RequestUpdate` afterwards.
class MaterialInstance : public GfxObject {
public:
    MaterialInstance() = default;
    /// An instance named `name`; a non-empty `templateName` is looked up in
    /// the material manager (silently: the instance is not registered, and an
    /// unknown name leaves it without template).
    explicit MaterialInstance(std::string name, std::string templateName = std::string());
    ~MaterialInstance() override;

    /// A plain instance (no kind) of a template, registered with the material
    /// manager (`MaterialManager::Register`), so that the template resolves.
    /// An empty template name gives an instance without template.
    static std::shared_ptr<MaterialInstance> Create(const std::string& name, const std::string& templateName = {});

    const std::string& GetName() const { return m_Name; }
    void SetName(const std::string& name) { m_Name = name; }
    const std::string& GetTemplateName() const { return m_TemplateName; }
    const std::shared_ptr<MaterialTemplate>& GetTemplate() const { return m_Template; }
    /// Binds the instance to a template and copies the template's name and
    /// options; an empty pointer unbinds it (options 0, name kept).
    void SetTemplate(const std::shared_ptr<MaterialTemplate>& materialTemplate);
    /// The option bits copied from the template (`EnumTemplateOption`).
    uint32_t GetTemplateOptions() const { return m_TemplateOptions; }
    void SetTemplateOptions(uint32_t options);
    void ClearTemplateOption(uint32_t bits) { SetTemplateOptions(m_TemplateOptions & ~bits); }

    const glm::vec3& GetColor() const { return m_Color; }
    /// A non-finite component logs "Material color is invalid!" and is ignored.
    void SetColor(const glm::vec3& color);
    float GetOpacity() const { return m_Opacity; }
    /// Clamped to [0, 1]; NaN logs "Opacity is invalid!" and is ignored.
    void SetOpacity(float opacity);
    uint32_t GetFaceSide() const { return m_FaceSide; }
    /// `EnumFaceSide`; other values log "Face side is invalid!" and are ignored.
    void SetFaceSide(uint32_t side);
    bool GetDepthTest() const { return m_DepthTest; }
    void SetDepthTest(bool on);
    uint8_t GetState() const { return m_State; }
    void SetState(uint8_t state);
    bool GetVertexColors() const { return m_VertexColors; }
    void SetVertexColors(bool on);
    float GetPointSize() const { return m_PointSize; }
    float GetShininess() const { return m_Shininess; }

    bool IsTransparent() const { return BlendingMode == BLENDING_TRANSPARENT; }
    /// Whether `other` draws exactly as this material would with another
    /// colour: the same kind, template and options, opacity, sizes, face
    /// side, depth and blending state, display state, vertex-colour switch,
    /// textures (the same objects) and uniforms. Names are not compared.
    bool MatchesExceptColor(const MaterialInstance& other) const;

    /// Textures by sampler name ("map", "t2D", "envMap", ...). Adding under a
    /// name that is taken replaces the texture; an empty name or an empty
    /// texture logs "Material texture is invalid!" and is ignored.
    void AddTexture(const std::string& sampler, const std::shared_ptr<Texture>& texture);
    void RemoveTexture(const std::string& sampler);
    std::shared_ptr<Texture> GetTexture(const std::string& sampler) const;
    const std::map<std::string, std::shared_ptr<Texture>>& GetTextures() const { return m_Textures; }

    /// Sets a uniform (see `UniformSet::SetValue`); a change raises the counter.
    bool SetUniform(const std::string& name, const UniformValue& value);
    const UniformSet& GetUniforms() const { return m_Uniforms; }

    uint32_t GetUpdateVersion() const { return m_UpdateVersion; }
    /// Marks the material changed (after writing a public field).
    void RequestUpdate() { ++m_UpdateVersion; }

    /// Line width in pixels.
    uint8_t LineWidth = 1;
    /// When set, items of this material keep their depth key unscaled in
    /// the render lists (they do not take part in the opaque/transparent
    /// separation of sort keys).
    bool OrderExempt = false;
    /// Whether drawing writes depth.
    bool DepthWrite = true;
    uint32_t BlendingMode = BLENDING_NONE;

protected:
    /// Sizes below 1 (or not finite) become 1.
    void SetPointSizeValue(float size);
    /// Negative values (and NaN) become 0.
    void SetShininessValue(float shininess);

private:
    friend class MaterialManager;
    /// Binds by name; `materialTemplate` may be empty (unknown template).
    void BindTemplate(const std::string& templateName, const std::shared_ptr<MaterialTemplate>& materialTemplate);

    std::string m_Name;
    std::string m_TemplateName;
    std::shared_ptr<MaterialTemplate> m_Template;
    uint32_t m_TemplateOptions = 0;
    glm::vec3 m_Color{1.0f};
    float m_Opacity = 1.0f;
    float m_PointSize = 1.0f;
    float m_Shininess = 30.0f;
    uint32_t m_FaceSide = FACE_FRONT;
    bool m_DepthTest = true;
    uint8_t m_State = MATERIAL_STATE_NORMAL;
    bool m_VertexColors = false;
    std::map<std::string, std::shared_ptr<Texture>> m_Textures;
    UniformSet m_Uniforms;
    uint32_t m_UpdateVersion = 0;
};

} // namespace orvcore

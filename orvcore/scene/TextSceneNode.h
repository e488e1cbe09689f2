#pragma once

#include <memory>
#include <string>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include <orvkernel/geometry/BufferGeometry.h>
#include <orvkernel/material/MaterialInstance.h>
#include <orvkernel/shape/PrimitiveShape.h>
#include <orvcore/scene/PrimitiveSceneNode.h>

namespace orvcore {

/// Text in the scene, in one of two forms:
/// - texture form: a rectangle in the XY plane, centred at the origin,
///   FontHeight high, its width in the proportions of the rendered string,
///   drawn with a `FontMaterial` of its own (named
///   "sys.font.texture.<ObjectId>"); optionally a billboard, which is never
///   picked;
/// - mesh form: any primitive, normally the glyph triangles of
///   `FontManager::CreateMesh`, optionally scaled in X and Y so that the
///   glyphs are exactly FontHeight high.
///
/// Scale is the extra scale that the 2D tag placement applies after moving
/// the label (identity unless the mesh was fitted to its height).
class TextSceneNode : public PrimitiveSceneNode {
public:
    /// Texture form. A background with a negative x means none (transparent).
    TextSceneNode(const std::wstring& text, float fontHeight, const glm::vec3& color, const glm::vec3& background,
                  bool billboard);
    /// Mesh form over an existing primitive; with `fitHeight` the node's
    /// transform and Scale become diag(s, s, 1, 1), s = fontHeight / the
    /// primitive's Y size.
    TextSceneNode(const std::shared_ptr<PrimitiveShape>& primitive, float fontHeight, bool fitHeight);
    TextSceneNode(const std::shared_ptr<BufferGeometry>& geometry, const std::shared_ptr<MaterialInstance>& material,
                  float fontHeight, bool fitHeight);

    /// Mesh form of the string from the kernel's font manager, drawn with a
    /// new `BasicMaterial` "mesh-font-phong" of the colour.
    static std::shared_ptr<TextSceneNode> Create(const std::wstring& text, const glm::vec3& color, float fontHeight,
                                                 bool fitHeight);

    /// Re-renders the texture form's string into its texture. The rectangle
    /// keeps its size: the new string is stretched into it. A node whose
    /// material is not a `FontMaterial` logs "Material is null!".
    void SetText(const std::wstring& text);

    const float& GetFontHeight() const { return m_FontHeight; }
    const glm::mat4& GetScale() const { return m_Scale; }

    /// A node over the same primitive (shared, not copied: the material and
    /// the texture are shared too), with the same font height and Scale and
    /// the base properties of this one.
    std::shared_ptr<TextSceneNode> CloneTextSceneNode() const;
    std::shared_ptr<SceneNode> Clone() const override;

    static TextSceneNode* Cast(SceneNode* node);
    static const TextSceneNode* Cast(const SceneNode* node);
    static TextSceneNode* Cast(PrimitiveSceneNode* node);
    static const TextSceneNode* Cast(const PrimitiveSceneNode* node);

private:
    void FitHeight();

    float m_FontHeight = 0.0f;
    glm::mat4 m_Scale{1.0f};
};

} // namespace orvcore

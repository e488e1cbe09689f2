#include <orvcore/scene/TextSceneNode.h>

#include <orvcommon/Logger.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/text/FontManager.h>
#include <orvkernel/text/FontMaterial.h>

#include <cmath>

namespace orvcore {

namespace {

// Pixel size the texture form renders its string at; the rectangle takes
// only the width-to-height ratio from it.
constexpr float kTextureFontSize = 32.0f;

} // namespace

TextSceneNode::TextSceneNode(const std::wstring& text, float fontHeight, const glm::vec3& color,
                             const glm::vec3& background, bool billboard)
    : m_FontHeight(fontHeight)
{
    auto material = FontMaterial::Create("sys.font.texture." + std::to_string(GetObjectId()));
    material->SetBillboard(billboard);
    material->SetColor(color);
    SetPickable(!billboard);
    if (background.x < 0.0f)
        material->ClearBackground();
    else
        material->SetBackground(background);
    const auto size = material->SetText(text, kTextureFontSize, std::string());

    auto plane = GeometryBuilder::CreatePlane(fontHeight * float(size.first) / float(size.second), fontHeight, 1, 1);
    if (!plane) // a font height that is not a size (warned by the builder)
        plane = GeometryBuilder::CreatePlane(0.0f, 0.0f, 1, 1);
    SetPrimitive(std::make_shared<PrimitiveShape>(plane, material));
}

TextSceneNode::TextSceneNode(const std::shared_ptr<PrimitiveShape>& primitive, float fontHeight, bool fitHeight)
    : PrimitiveSceneNode(primitive), m_FontHeight(fontHeight)
{
    if (fitHeight)
        FitHeight();
}

TextSceneNode::TextSceneNode(const std::shared_ptr<BufferGeometry>& geometry,
                             const std::shared_ptr<MaterialInstance>& material, float fontHeight, bool fitHeight)
    : TextSceneNode(std::make_shared<PrimitiveShape>(geometry, material), fontHeight, fitHeight)
{
}

void TextSceneNode::FitHeight()
{
    const AxisAlignedBox& box = GetBoundingBox();
    // Nothing to fit for an empty string (or no primitive).
    if (!box.isFinite())
        return;
    const float s = m_FontHeight / box.getSize().y;
    if (!std::isfinite(s) || !(s > 0.0f)) {
        Logger::Instance().Waring("Text cannot be fitted to its font height!");
        return;
    }
    m_Scale = glm::mat4(1.0f);
    m_Scale[0][0] = s;
    m_Scale[1][1] = s;
    SetTransform(m_Scale);
}

std::shared_ptr<TextSceneNode> TextSceneNode::Create(const std::wstring& text, const glm::vec3& color,
                                                     float fontHeight, bool fitHeight)
{
    auto geometry = FontManager::Instance().CreateMesh(text);
    auto material = BasicMaterial::Create("mesh-font-phong");
    material->SetColor(color);
    auto primitive = std::make_shared<PrimitiveShape>(geometry, material);
    return std::make_shared<TextSceneNode>(primitive, fontHeight, fitHeight);
}

void TextSceneNode::SetText(const std::wstring& text)
{
    FontMaterial* material = FontMaterial::Cast(GetMaterial().get());
    if (!material) {
        Logger::Instance().Waring("Material is null!");
        return;
    }
    material->SetText(text, kTextureFontSize, std::string());
    material->RequestUpdate();
}

std::shared_ptr<TextSceneNode> TextSceneNode::CloneTextSceneNode() const
{
    auto copy = std::make_shared<TextSceneNode>(GetPrimitive(), m_FontHeight, false);
    copy->m_Scale = m_Scale;
    copy->CopyBaseProperties(*this);
    return copy;
}

std::shared_ptr<SceneNode> TextSceneNode::Clone() const { return CloneTextSceneNode(); }

TextSceneNode* TextSceneNode::Cast(SceneNode* node) { return dynamic_cast<TextSceneNode*>(node); }
const TextSceneNode* TextSceneNode::Cast(const SceneNode* node) { return dynamic_cast<const TextSceneNode*>(node); }
TextSceneNode* TextSceneNode::Cast(PrimitiveSceneNode* node) { return dynamic_cast<TextSceneNode*>(node); }
const TextSceneNode* TextSceneNode::Cast(const PrimitiveSceneNode* node)
{
    return dynamic_cast<const TextSceneNode*>(node);
}

} // namespace orvcore

#include <orvcore/scene/TagNode2D.h>

#include <orvcommon/Logger.h>
#include <orvcommon/Math.h>
#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvcore/scene/GroupSceneNode.h>

#include <cmath>

#include <glm/gtc/matrix_transform.hpp>

namespace orvcore {

TagNode2D::TagNode2D(const std::shared_ptr<TextSceneNode>& textNode,
                     const std::shared_ptr<PrimitiveSceneNode>& handleNode)
    : m_TextNode(textNode), m_HandleNode(handleNode)
{
    if (!m_TextNode)
        return;
    auto group = std::make_shared<GroupSceneNode>();
    group->AddNode(m_HandleNode);
    group->AddNode(m_TextNode);
    SetNode(group);
}

std::shared_ptr<TagNode2D> TagNode2D::Create(const std::shared_ptr<TextSceneNode>& textNode,
                                             const glm::vec3& position, const glm::vec3& target)
{
    auto material = BasicMaterial::Create("tag-line");
    material->SetColor(glm::vec3(1.0f, 0.0f, 0.0f));
    auto line = GeometryBuilder::CreateLine(glm::vec3(0.0f), glm::vec3(1.0f, 0.0f, 0.0f));
    auto handle = std::make_shared<PrimitiveSceneNode>(line, material);
    handle->SetTransform(Math::makeLineTransformX(target, position));

    auto tag = std::make_shared<TagNode2D>(textNode, handle);
    tag->SetPosition(position, true);
    tag->SetTarget(target);
    return tag;
}

MaterialInstance* TagNode2D::GetLineMaterial() const
{
    MaterialInstance* material = m_HandleNode ? m_HandleNode->GetMaterial().get() : nullptr;
    if (!material)
        Logger::Instance().Waring("Material is null!");
    return material;
}

void TagNode2D::SetLineColor(const glm::vec3& color)
{
    if (MaterialInstance* material = GetLineMaterial())
        material->SetColor(color);
}

void TagNode2D::SetLineWidth(float width)
{
    MaterialInstance* material = GetLineMaterial();
    if (!material)
        return;
    if (!(width >= 0.0f && width < 256.0f)) {
        Logger::Instance().Waring("Line width is out of range!");
        width = width >= 256.0f ? 255.0f : 0.0f;
    }
    material->LineWidth = static_cast<uint8_t>(width);
    material->RequestUpdate();
}

void TagNode2D::UpdatePosition(const std::shared_ptr<Camera>& camera)
{
    if (!camera) {
        Logger::Instance().Waring("Camera is null!");
        return;
    }
    // Viewport coordinates with the origin at the viewport centre.
    const glm::vec3 half(float(camera->GetWidth() / 2), float(camera->GetHeight() / 2), 0.0f);
    const auto project = [&camera, &half](const glm::vec3& point) {
        return CameraOperator::WorldPointToViewportPoint(camera, point) - half;
    };

    m_ViewportPosition = m_WorldPosition ? project(m_Position) : m_Position;
    const glm::vec3 target = project(m_Target);

    if (m_HandleNode && m_HandleNode->GetVisible()) {
        m_HandleNode->SetTransform(Math::makeLineTransformX(target, m_ViewportPosition));
        m_HandleNode->RequstUpdate();
    }
    if (m_TextNode) {
        m_TextNode->SetTransform(glm::translate(glm::mat4(1.0f), m_ViewportPosition) * m_TextNode->GetScale());
        m_TextNode->RequstUpdate();
    }
    if (GetNode())
        GetNode()->UpdateTransform(glm::mat4(1.0f));
}

TagNode2D* TagNode2D::Cast(SceneNode2D* node) { return dynamic_cast<TagNode2D*>(node); }
const TagNode2D* TagNode2D::Cast(const SceneNode2D* node) { return dynamic_cast<const TagNode2D*>(node); }

} // namespace orvcore

#include <orvcore/widget/CoordinateWidget.h>

#include <cmath>

#include <glm/gtc/matrix_transform.hpp>

#include <orvcommon/Logger.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvcore/pick/FrustumCaster.h>
#include <orvcore/pick/PickNodeByFrustumVisitor.h>
#include <orvcore/pick/PickNodeByRayVisitor.h>
#include <orvcore/pick/Raycaster.h>
#include <orvcore/render/PrepareSelectionVisitor.h>
#include <orvcore/scene/PrimitiveSceneNode.h>

namespace orvcore {

CoordinateWidget::CoordinateWidget(const std::shared_ptr<GroupSceneNode>& nodes, float radius)
    : m_Radius(radius), m_Nodes(nodes)
{
    if (!m_Nodes)
        m_Nodes = std::make_shared<GroupSceneNode>();
    m_Nodes->SetParent(this);
    SetBoundingBox(m_Nodes->GetBoundingBox());
}

std::optional<glm::vec3> CoordinateWidget::GetDirection(std::size_t id) const
{
    if (id < kAxisX || id > kAxisZ)
        return std::nullopt;
    return AxisDirection(int(id - kAxisX));
}

void CoordinateWidget::ShowArrow(std::size_t id)
{
    for (const auto& entry : m_Nodes->GetChildren()) {
        PrimitiveSceneNode* part = PrimitiveSceneNode::Cast(entry.second.get());
        if (!part)
            continue;
        if (id == 0)
            part->SetVisible(true);
        const bool marked = id != 0 && part->GetUserId() == id;
        if (const auto& material = part->GetMaterial())
            material->SetState(marked ? MATERIAL_STATE_MARKED : MATERIAL_STATE_NORMAL);
    }
}

bool CoordinateWidget::HitTest(Raycaster& caster)
{
    // Walked in place rather than through `Raycaster::HitTest(node)`, which
    // starts a new pick: a widget met during a scene walk must not drop the
    // hits that nodes visited before it reported.
    const std::size_t before = caster.GetCount();
    PickNodeByRayVisitor visitor(caster, true);
    m_Nodes->Accept(visitor);
    return caster.GetCount() > before;
}

bool CoordinateWidget::HitTest(FrustumCaster& caster)
{
    const std::size_t before = caster.GetCount();
    PickNodeByFrustumVisitor visitor(caster);
    m_Nodes->Accept(visitor);
    return caster.GetCount() > before;
}

void CoordinateWidget::CollectRenderables(RenderContext& context) const { m_Nodes->CollectRenderables(context); }

void CoordinateWidget::CollectSelection(RenderContext& context, const PickedItem&) const
{
    PrepareSelectionVisitor visitor(context);
    m_Nodes->Accept(visitor);
}

void CoordinateWidget::UpdateTransform(const glm::mat4& parentWorld)
{
    const glm::mat4 world = parentWorld * GetTransform();
    m_Nodes->UpdateTransform(world);
    AxisAlignedBox box = m_Nodes->GetBoundingBox();
    box.transform(m_Nodes->GetTransform());
    SetBoundingBox(box);
    AxisAlignedBox worldBox = box;
    worldBox.transform(world);
    SetWorld(world, worldBox);
}

void CoordinateWidget::AdoptGroupBox()
{
    m_Nodes->UpdateTransform(glm::mat4(1.0f));
    AxisAlignedBox box = m_Nodes->GetBoundingBox();
    box.transform(m_Nodes->GetTransform());
    SetBoundingBox(box);
    UpdateTransform(glm::mat4(1.0f));
    // Still to be placed, like any new node: the first world update of the
    // scene it joins reaches it.
    SetUpdateVersion(1);
}

bool CoordinateWidget::IsWidgetSize(const glm::vec3& size)
{
    for (int i = 0; i < 3; ++i) {
        if (!std::isfinite(size[i]) || !(size[i] > 0.0f)) {
            Logger::Instance().Waring("Widget size is invalid!");
            return false;
        }
    }
    return true;
}

glm::vec3 CoordinateWidget::AxisDirection(int axis)
{
    glm::vec3 direction(0.0f);
    direction[axis] = 1.0f;
    return direction;
}

glm::mat4 CoordinateWidget::AxisRotation(int axis)
{
    // +Z onto +X: a quarter turn about +Y; onto +Y: a quarter turn about -X.
    const float quarter = glm::radians(90.0f);
    if (axis == 0)
        return glm::rotate(glm::mat4(1.0f), quarter, glm::vec3(0, 1, 0));
    if (axis == 1)
        return glm::rotate(glm::mat4(1.0f), -quarter, glm::vec3(1, 0, 0));
    return glm::mat4(1.0f);
}

std::shared_ptr<PrimitiveSceneNode> CoordinateWidget::AddPart(GroupSceneNode& group, int axis,
                                                              const std::shared_ptr<BufferGeometry>& geometry,
                                                              const std::shared_ptr<MaterialInstance>& material,
                                                              const glm::mat4& transform)
{
    auto part = std::make_shared<PrimitiveSceneNode>(geometry, material);
    part->SetUserId(AxisId(axis));
    part->SetTransform(transform);
    group.AddNode(part);
    return part;
}

std::shared_ptr<MaterialInstance> CoordinateWidget::AxisMaterial(const char* name, int axis, bool onTop)
{
    auto material = BasicMaterial::Create(name);
    material->SetColor(AxisDirection(axis));
    if (onTop) {
        material->SetDepthTest(false);
        material->BlendingMode = BLENDING_TRANSPARENT;
        material->RequestUpdate();
    }
    return material;
}

CoordinateWidget* CoordinateWidget::Cast(SceneNode* node) { return dynamic_cast<CoordinateWidget*>(node); }
const CoordinateWidget* CoordinateWidget::Cast(const SceneNode* node)
{
    return dynamic_cast<const CoordinateWidget*>(node);
}

} // namespace orvcore

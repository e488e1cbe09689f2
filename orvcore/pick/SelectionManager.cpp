#include <orvcore/pick/SelectionManager.h>

#include <orvcore/scene/GeneralSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SceneNode.h>

namespace orvcore {

namespace {

// Item for a whole node or one of its sub-shapes, placed at the centre of the
// node's world box.
PickedItem NodeItem(SceneNode* node, EnumShapeFilter type, unsigned int shapeIndex)
{
    IntersectPoint ip(type, 0, node->GetWorldBBox().getCenter(), 0.0f);
    ip.SetShapeIndex(shapeIndex);
    return PickedItem(node, ip);
}

} // namespace

SelectionManager::SelectionManager()
    : m_Listener(std::make_shared<PickListener>()), m_Selection(std::make_shared<PickedItemSet>()),
      m_Hilight(std::make_shared<PickedItemSet>()), m_GripNodeManager(std::make_shared<GripNodeManager>())
{
    m_SelectionStyle.InitializeForSelection();
    m_HilightStyle.InitializeForHilight();
}

SelectionManager::~SelectionManager() = default;

void SelectionManager::SetListener(const std::shared_ptr<PickListener>& listener)
{
    m_Listener = listener ? listener : std::make_shared<PickListener>();
}

bool SelectionManager::Hilight(const PickedItem& item)
{
    m_Hilight->Clear();
    if (item.IsNull())
        return false;
    if (!m_Listener->BeforeHilight(PickedResult(item, 1, false, this)))
        return false;
    // The caller's item is reduced in place (it is handed in by constant
    // reference but treated as the pick being processed).
    const_cast<PickedItem&>(item).ResetByFilter(m_PickFilter);
    if (!m_Hilighting)
        return false;
    if (!m_Hilight->Set(item))
        return false;
    m_Listener->AfterHilight(PickedResult(item, 1, false, this));
    return true;
}

bool SelectionManager::Hilight(const std::vector<PickedItem>& items)
{
    m_Hilight->Set(items);
    return true;
}

void SelectionManager::Select(const PickedItem& item, bool append)
{
    if (m_AllowPickNull)
        m_Selection->Clear();
    if (item.IsNull()) {
        if (m_AllowPickNull)
            m_Listener->AfterSelect(PickedResult(item, 0, false, this));
        return;
    }
    if (!append)
        m_Selection->Clear();
    if (!m_Listener->BeforeSelect(PickedResult(item, 1, false, this)))
        return;
    m_Hilight->Clear();
    const_cast<PickedItem&>(item).ResetByFilter(m_PickFilter);
    if (!m_Selection->Add(item, append))
        return;
    m_Listener->AfterSelect(PickedResult(item, 1, false, this));
}

std::size_t SelectionManager::SelectHightIds(bool append)
{
    const auto n = static_cast<unsigned int>(m_Hilight->GetCount());
    if (!m_Listener->BeforeSelect(PickedResult(PickedItem(), n, true, this)))
        return m_Selection->GetCount();
    m_Selection->Emplace(*m_Hilight, !append);
    m_Listener->AfterSelect(PickedResult(PickedItem(), n, true, this));
    return m_Selection->GetCount();
}

bool SelectionManager::SelectNode(Scene* scene, unsigned int nodeId, EnumShapeFilter type, unsigned int shapeIndex)
{
    std::shared_ptr<SceneNode> node = scene->FindNode(nodeId);
    if (!node)
        return false;
    return m_Selection->Add(NodeItem(node.get(), type, shapeIndex), false);
}

bool SelectionManager::SelectDocument(Scene* scene, ElementId id, EnumShapeFilter type, unsigned int shapeIndex)
{
    for (auto it = scene->CreateIterator(); it->More(); it->Next()) {
        std::shared_ptr<SceneNode> node = it->Current();
        const GeneralSceneNode* general = GeneralSceneNode::Cast(node.get());
        if (!general || !general->IsDocumentNode())
            continue;
        PickedItem item = NodeItem(node.get(), type, shapeIndex);
        item.SetElementId(id);
        return m_Selection->Add(item, false);
    }
    return false;
}

bool SelectionManager::Select(Scene* scene, unsigned int nodeId) { return SelectNode(scene, nodeId, SHAPE_FILTER_NONE, 0); }

bool SelectionManager::Select(Scene* scene, ElementId id) { return SelectDocument(scene, id, SHAPE_FILTER_NONE, 0); }

bool SelectionManager::SelectSubShape(Scene* scene, unsigned int nodeId, EnumShapeFilter type, unsigned int shapeIndex)
{
    return SelectNode(scene, nodeId, type, shapeIndex);
}

bool SelectionManager::SelectSubShape(Scene* scene, ElementId id, EnumShapeFilter type, unsigned int shapeIndex)
{
    return SelectDocument(scene, id, type, shapeIndex);
}

void SelectionManager::Clear()
{
    m_Hilight->Clear();
    if (m_Selection->IsEmpty())
        return;
    m_Selection->Clear();
    m_Listener->AfterSelect(PickedResult(PickedItem(), 0, true, this));
}

void SelectionManager::SetSelectionColor(const glm::vec3& color)
{
    using L = EnumRenderListIndex;
    for (L::Enum i : {L::Line, L::Point, L::TransparentFace}) {
        if (const auto& m = m_SelectionStyle.GetMaterial(i))
            m->SetColor(color);
    }
}

void SelectionManager::SetHilightingColor(const glm::vec3& color)
{
    using L = EnumRenderListIndex;
    for (L::Enum i : {L::Line, L::Point, L::TransparentFace}) {
        if (const auto& m = m_HilightStyle.GetMaterial(i))
            m->SetColor(color);
    }
}

void SelectionManager::SetDepthTest(bool on)
{
    using L = EnumRenderListIndex;
    for (const RenderStyle* style : {&m_SelectionStyle, &m_HilightStyle}) {
        for (int i = 0; i < L::Count; ++i) {
            if (const auto& m = style->GetMaterial(static_cast<L::Enum>(i)))
                m->SetDepthTest(on);
        }
    }
}

} // namespace orvcore

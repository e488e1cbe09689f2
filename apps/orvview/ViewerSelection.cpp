#include <orvview/Viewer.h>

#include <algorithm>
#include <cmath>

#include <glm/geometric.hpp>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/mat3x3.hpp>

#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvcore/pick/DefaultGripCollector.h>
#include <orvcore/pick/Raycaster.h>
#include <orvcore/pick/SelectionManager.h>
#include <orvcore/robot/RobotArm.h>
#include <orvcore/robot/RobotLink.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/widget/CoordinateWidget.h>
#include <orvview/ViewerLog.h>

// The selection and what follows it: grips, the move widget and its drag;
// robot joints and their self-collision highlight.

namespace orvview {

using namespace orvcore;

namespace {

// The widget's arrows are this many pixels long whatever the zoom.
constexpr float kWidgetPixels = 90.0f;

// Parameter along the line origin + s * axis of its point nearest to the
// ray; false when the ray runs (almost) along the line.
bool AxisParameter(const Ray& ray, const glm::vec3& origin, const glm::vec3& axis, float& s)
{
    const glm::vec3 w = ray.getOrigin() - origin;
    const float b = glm::dot(ray.getDirection(), axis);
    const float denominator = 1.0f - b * b;
    if (denominator < 1e-4f)
        return false;
    s = (glm::dot(axis, w) - b * glm::dot(ray.getDirection(), w)) / denominator;
    return std::isfinite(s);
}

// Gives every node of a subtree the face override (null removes it).
void MarkFaces(SceneNode& node, const std::shared_ptr<MaterialInstance>& material)
{
    node.SetOverrideFaceMaterial(material);
    if (auto* group = dynamic_cast<GroupSceneNode*>(&node))
        for (const auto& child : group->GetChildren())
            MarkFaces(*child.second, material);
}

} // namespace

std::vector<SceneNode*> Viewer::SelectedNodes() const
{
    std::vector<SceneNode*> nodes;
    if (!m_Manager)
        return nodes;
    for (const PickedItem& item : m_Manager->GetSelection()->GetSelection()->GetPickedItems())
        if (item.GetNode() && std::find(nodes.begin(), nodes.end(), item.GetNode()) == nodes.end())
            nodes.push_back(item.GetNode());
    // A node whose ancestor is selected too moves with it.
    std::vector<SceneNode*> roots;
    for (SceneNode* node : nodes) {
        bool nested = false;
        for (SceneNode* up = node->GetParent(); up && !nested; up = up->GetParent())
            nested = std::find(nodes.begin(), nodes.end(), up) != nodes.end();
        if (!nested)
            roots.push_back(node);
    }
    return roots;
}

bool Viewer::IsNodeSelected(const SceneNode* node) const
{
    for (const PickedItem& item : m_Manager->GetSelection()->GetSelection()->GetPickedItems())
        if (item.GetNode() == node)
            return true;
    return false;
}

void Viewer::SelectNode(SceneNode* node, bool toggle)
{
    if (!node) {
        ClearSelection();
        return;
    }
    PickedItem item(node, IntersectPoint(SHAPE_FILTER_NONE, 0, node->GetWorldBBox().getCenter(), 0.0f));
    m_Manager->GetSelection()->Select(item, toggle);
    SelectionChanged();
}

void Viewer::ClearSelection()
{
    m_Manager->GetSelection()->Clear();
    SelectionChanged();
}

void Viewer::SelectionChanged()
{
    const auto& items = m_Manager->GetSelection()->GetSelection()->GetPickedItems();
    std::vector<std::string> names;
    for (const PickedItem& item : items) {
        std::string entry = ViewerLog::Quote(NameOf(item.GetNode()));
        if (item.GetShapeType() != SHAPE_FILTER_NONE && !(m_Manager->GetSelection()->GetPickFilter() & SHAPE_FILTER_NODE))
            entry += ":" + std::string(item.GetShapeType() == SHAPE_FILTER_FACE   ? "face"
                                       : item.GetShapeType() == SHAPE_FILTER_EDGE ? "edge"
                                                                                   : "vertex") +
                     ":" + std::to_string(std::max(item.GetPrimitiveIndex(), 0));
        names.push_back(entry);
    }
    std::sort(names.begin(), names.end()); // a hash set has no order of its own
    std::string line = "select count=" + std::to_string(names.size());
    for (const std::string& name : names)
        line += " item=" + name;
    ViewerLog::Line(line);
    UpdateGrips();
    m_AnchorsStale = true;
    m_Dirty = true;
}

void Viewer::UpdateGrips()
{
    GripNodeManager* grips = m_Manager->GetSelection()->GetGripNodeManager().get();
    DefaultGripCollector collector(grips); // starts from an empty list
    unsigned int id = 0;
    for (SceneNode* node : SelectedNodes()) {
        const AxisAlignedBox& box = node->GetWorldBBox();
        if (!box.isFinite())
            continue;
        // The box's centre and its eight corners.
        collector.Add(GripNode(ElementId(), id++, GRIP_TYPE_CENTER, box.getCenter()));
        const glm::vec3 lo = box.getMinimum(), hi = box.getMaximum();
        for (int k = 0; k < 8; ++k)
            collector.Add(GripNode(ElementId(), id++, GRIP_TYPE_POINT,
                                   glm::vec3((k & 1) ? hi.x : lo.x, (k & 2) ? hi.y : lo.y, (k & 4) ? hi.z : lo.z)));
    }
}

void Viewer::SetNodeTransform(SceneNode* node, const glm::mat4& transform)
{
    if (!node)
        return;
    node->SetTransform(transform);
    node->RequstUpdate();
    m_AnchorsStale = true;
    m_Dirty = true;
}

void Viewer::SetWidgetMode(const std::string& requested)
{
    const std::string mode = requested; // may be m_WidgetMode itself
    const char* modes[] = {"move", "rotate", "scale"};
    m_WidgetMode = "none";
    CoordinateWidget* shown = nullptr;
    for (int i = 0; i < 3; ++i) {
        if (mode == modes[i]) {
            m_WidgetMode = mode;
            shown = m_Widgets[i].get();
        }
        if (m_Widgets[i] && m_Widgets[i].get() != shown)
            m_Widgets[i]->SetVisible(false);
    }
    if (m_Drag == Drag::Widget)
        return; // the widget being dragged stays until the button is let go
    m_Widget = shown;
    m_AnchorsStale = true;
    m_Dirty = true;
}

void Viewer::PlaceWidget()
{
    if (!m_Widget)
        return;
    AxisAlignedBox box;
    for (SceneNode* node : SelectedNodes())
        box.merge(node->GetWorldBBox());
    const bool show = box.isFinite();
    if (show != m_Widget->GetVisible()) {
        m_Widget->SetVisible(show);
        m_AnchorsStale = true;
    }
    if (!show)
        return;
    // While a drag moves the selection the widget stays where it was grabbed
    // (a move carries it along).
    glm::vec3 centre = box.getCenter();
    if (m_Drag == Drag::Widget)
        centre = m_WidgetMode == "move" ? m_WidgetOrigin + m_DragDelta : m_WidgetOrigin;
    const float size = kWidgetPixels * m_Navigator->PixelSizeAt(centre) / kWidgetLength;
    if (!(size > 0.0f))
        return;
    const glm::mat4 transform = glm::scale(glm::translate(glm::mat4(1.0f), centre), glm::vec3(size));
    if (transform != m_Widget->GetTransform()) {
        m_Widget->SetTransform(transform);
        m_Widget->RequstUpdate();
    }
}

// The point where the cursor ray meets the plane through `origin` normal to
// `axis`; false when the ray runs (almost) in the plane.
static bool PlanePoint(const Ray& ray, const glm::vec3& origin, const glm::vec3& axis, glm::vec3& point)
{
    const float along = glm::dot(ray.getDirection(), axis);
    if (std::abs(along) < 0.05f)
        return false;
    const float t = glm::dot(origin - ray.getOrigin(), axis) / along;
    point = ray.getOrigin() + ray.getDirection() * t;
    return std::isfinite(t);
}

bool Viewer::BeginWidgetDrag(float x, float y)
{
    if (!m_Widget || !m_Widget->GetVisible())
        return false;
    const std::shared_ptr<Camera>& camera = m_Manager->GetCamera();
    Raycaster caster(camera, SHAPE_FILTER_ALL, int(std::floor(x)), int(std::floor(y)));
    if (!m_Widget->HitTest(caster) || !caster.GetTopItem().GetNode())
        return false;
    const uint64_t id = caster.GetTopItem().GetNode()->GetUserId();
    const std::optional<glm::vec3> direction = m_Widget->GetDirection(std::size_t(id));
    if (!direction)
        return false;
    const glm::mat4& world = m_Widget->GetWorldTransform();
    m_WidgetAxis = glm::normalize(glm::mat3(world) * *direction);
    m_WidgetOrigin = glm::vec3(world[3]);
    const Ray ray = CameraOperator::WindowPointToRay(*camera, x, y);
    if (m_WidgetMode == "rotate") {
        // Turning follows the cursor around the ring's centre in its plane.
        glm::vec3 point;
        if (!PlanePoint(ray, m_WidgetOrigin, m_WidgetAxis, point))
            return false; // the ring is seen edge-on
        m_WidgetGrab = point - m_WidgetOrigin;
    } else if (!AxisParameter(ray, m_WidgetOrigin, m_WidgetAxis, m_WidgetStart) ||
               (m_WidgetMode == "scale" && std::abs(m_WidgetStart) < 1e-6f)) {
        return false; // the axis points at the viewer: no motion along it can be read
    }
    m_DragStart.clear();
    for (SceneNode* node : SelectedNodes())
        m_DragStart.emplace_back(node, node->GetTransform());
    m_DragDelta = glm::vec3(0.0f);
    m_DragMatrix = glm::mat4(1.0f);
    m_DragAmount = m_WidgetMode == "scale" ? 1.0f : 0.0f;
    m_Widget->ShowArrow(std::size_t(id));
    return true;
}

void Viewer::DragWidget(float x, float y)
{
    const Ray ray = CameraOperator::WindowPointToRay(*m_Manager->GetCamera(), x, y);
    const glm::mat4 toOrigin = glm::translate(glm::mat4(1.0f), -m_WidgetOrigin);
    const glm::mat4 back = glm::translate(glm::mat4(1.0f), m_WidgetOrigin);
    if (m_WidgetMode == "rotate") {
        glm::vec3 point;
        if (!PlanePoint(ray, m_WidgetOrigin, m_WidgetAxis, point))
            return;
        const glm::vec3 now = point - m_WidgetOrigin;
        m_DragAmount = std::atan2(glm::dot(m_WidgetAxis, glm::cross(m_WidgetGrab, now)), glm::dot(m_WidgetGrab, now));
        m_DragMatrix = back * glm::rotate(glm::mat4(1.0f), m_DragAmount, m_WidgetAxis) * toOrigin;
    } else {
        float s = 0.0f;
        if (!AxisParameter(ray, m_WidgetOrigin, m_WidgetAxis, s))
            return;
        if (m_WidgetMode == "scale") {
            // The grabbed handle follows the cursor: the factor is the ratio
            // of its distances from the origin, never below 1 %.
            m_DragAmount = std::max(s / m_WidgetStart, 0.01f);
            const glm::vec3 factors = glm::vec3(1.0f) + (m_DragAmount - 1.0f) * glm::abs(m_WidgetAxis);
            m_DragMatrix = back * glm::scale(glm::mat4(1.0f), factors) * toOrigin;
        } else {
            m_DragDelta = (s - m_WidgetStart) * m_WidgetAxis;
            m_DragMatrix = glm::translate(glm::mat4(1.0f), m_DragDelta);
        }
    }
    for (const auto& [node, start] : m_DragStart) {
        // The world motion carried into the node's parent coordinates.
        const glm::mat4 parent = node->GetParent() ? node->GetParent()->GetWorldTransform() : glm::mat4(1.0f);
        SetNodeTransform(node, glm::inverse(parent) * m_DragMatrix * parent * start);
    }
}

void Viewer::EndWidgetDrag()
{
    // A press on a handle that never moved changes nothing.
    for (std::size_t i = 0; m_Dragged && i < m_DragStart.size(); ++i) {
        const std::string name = ViewerLog::Quote(NameOf(m_DragStart[i].first));
        if (m_WidgetMode == "rotate")
            ViewerLog::Line("rotated name=" + name + " axis=" + ViewerLog::Vec(m_WidgetAxis) +
                            " degrees=" + ViewerLog::Num(double(m_DragAmount) * 57.29577951308232));
        else if (m_WidgetMode == "scale")
            ViewerLog::Line("scaled name=" + name + " axis=" + ViewerLog::Vec(m_WidgetAxis) +
                            " factor=" + ViewerLog::Num(m_DragAmount, 4));
        else
            ViewerLog::Line("moved name=" + name + " delta=" + ViewerLog::Vec(m_DragDelta));
    }
    m_DragStart.clear();
    if (m_Widget)
        m_Widget->ShowArrow(0);
    SetWidgetMode(m_WidgetMode); // a mode change asked for during the drag
    m_Manager->UpdateWorld();
    UpdateGrips();
    m_AnchorsStale = true;
    m_Dirty = true;
}

bool Viewer::SetJoint(std::size_t robot, unsigned int joint, double value)
{
    if (robot >= m_Info.robots.size() || !m_Info.robots[robot].arm)
        return false;
    RobotArm& arm = *m_Info.robots[robot].arm;
    if (!arm.SetVariable(joint, value))
        return false;
    arm.UpdateFrames();
    UpdateRobotCollisions();
    m_Dirty = true;
    return true;
}

void Viewer::UpdateRobotCollisions()
{
    if (m_Info.robots.empty())
        return;
    m_Manager->UpdateWorld(); // the test answers for the last world update
    if (!m_CollisionMaterial) {
        m_CollisionMaterial = MeshPhongMaterial::Create("orvview.collision");
        m_CollisionMaterial->SetColor(glm::vec3(0.9f, 0.1f, 0.1f));
    }
    for (std::size_t r = 0; r < m_Info.robots.size(); ++r) {
        RobotArm* arm = m_Info.robots[r].arm.get();
        std::vector<bool> colliding(arm ? arm->GetLinkCount() : 0, false);
        if (arm) {
            const std::vector<uint32_t> hits = arm->SelfCollisionTest();
            for (uint32_t link : hits)
                if (link < colliding.size())
                    colliding[link] = true;
            for (unsigned int k = 0; k < arm->GetLinkCount(); ++k)
                if (const auto& node = arm->GetLink(k)->GetVisualNode())
                    MarkFaces(*node, colliding[k] ? m_CollisionMaterial : nullptr);
        }
        if (colliding != m_RobotCollisions[r]) {
            std::string line = "collision robot=" + ViewerLog::Quote(m_Info.robots[r].name) + " links=";
            bool first = true;
            for (std::size_t k = 0; k < colliding.size(); ++k)
                if (colliding[k]) {
                    line += (first ? "" : ",") + std::to_string(k);
                    first = false;
                }
            ViewerLog::Line(first ? line + "none" : line);
        }
        m_RobotCollisions[r] = std::move(colliding);
    }
}

} // namespace orvview

#include <orvview/ViewerPanels.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include <imgui.h>

#include <glm/gtc/type_ptr.hpp>

#include <orvkernel/material/MaterialInstance.h>
#include <orvcore/pick/SelectionManager.h>
#include <orvcore/render/ColorBackground.h>
#include <orvcore/render/CoordinateRenderer.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/robot/RobotArm.h>
#include <orvcore/robot/RobotJoint.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/widget/CoordinateGridWidget.h>
#include <orvkernel/gl/GlRenderDevice.h>
#include <orvview/Viewer.h>

namespace orvview {

using namespace orvcore;

namespace {

constexpr float kSideWidth = 300.0f;
constexpr float kStatusHeight = 26.0f;
constexpr float kRadToDeg = 57.29577951f;

// Children in the order they were made (ids grow), not hash-map order.
std::vector<SceneNode*> Ordered(const SceneNodeMap& map)
{
    std::vector<SceneNode*> nodes;
    for (const auto& entry : map)
        nodes.push_back(entry.second.get());
    std::sort(nodes.begin(), nodes.end(), [](SceneNode* a, SceneNode* b) { return a->GetId() < b->GetId(); });
    return nodes;
}

} // namespace

void ViewerPanels::Draw(Viewer& viewer, float width, float height)
{
    if (!viewer.GetManager())
        return;
    const float column = std::max(height - kStatusHeight, 100.0f);
    ImGui::SetNextWindowPos(ImVec2(0, 0), ImGuiCond_Always);
    ImGui::SetNextWindowSize(ImVec2(kSideWidth, column * 0.55f), ImGuiCond_Always);
    if (ImGui::Begin("Scene", nullptr, ImGuiWindowFlags_NoMove | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoCollapse))
        DrawTree(viewer);
    ImGui::End();
    ImGui::SetNextWindowPos(ImVec2(0, column * 0.55f), ImGuiCond_Always);
    ImGui::SetNextWindowSize(ImVec2(kSideWidth, column * 0.45f), ImGuiCond_Always);
    if (ImGui::Begin("Properties", nullptr, ImGuiWindowFlags_NoMove | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoCollapse))
        DrawProperties(viewer);
    ImGui::End();
    // The right column starts below the view cube's corner.
    const float top = std::min(190.0f, column * 0.3f);
    ImGui::SetNextWindowPos(ImVec2(width - kSideWidth, top), ImGuiCond_Always);
    ImGui::SetNextWindowSize(ImVec2(kSideWidth, column - top), ImGuiCond_Always);
    if (ImGui::Begin("View", nullptr, ImGuiWindowFlags_NoMove | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoCollapse)) {
        DrawDisplay(viewer);
        DrawAnimation(viewer);
        DrawRobots(viewer);
    }
    ImGui::End();
    DrawStatus(viewer, width, height);

    glm::vec2 from, to;
    if (viewer.GetRectangle(from, to)) {
        ImDrawList* draw = ImGui::GetForegroundDrawList();
        draw->AddRectFilled(ImVec2(from.x, from.y), ImVec2(to.x, to.y), IM_COL32(60, 120, 220, 40));
        draw->AddRect(ImVec2(from.x, from.y), ImVec2(to.x, to.y), IM_COL32(60, 120, 220, 200));
    }
}

void ViewerPanels::DrawTree(Viewer& viewer)
{
    ImGui::TextDisabled("%s", viewer.GetFileName().c_str());
    for (SceneNode* node : Ordered(viewer.GetManager()->GetScene()->GetNodes()))
        DrawNode(viewer, *node, 0);
}

void ViewerPanels::DrawNode(Viewer& viewer, SceneNode& node, int depth)
{
    auto* group = dynamic_cast<GroupSceneNode*>(&node);
    std::string name = viewer.NameOf(&node);
    // A child that only inherits its parent's name shows what it is.
    if (node.GetParent() && name == viewer.NameOf(node.GetParent()))
        name = (group ? "group #" : "part #") + std::to_string(node.GetId());
    ImGui::PushID(&node);
    bool visible = node.GetVisible();
    if (ImGui::Checkbox("##visible", &visible)) {
        node.SetVisible(visible);
        viewer.RequestFrame();
    }
    ImGui::SameLine();
    ImGuiTreeNodeFlags flags = ImGuiTreeNodeFlags_OpenOnArrow | ImGuiTreeNodeFlags_SpanAvailWidth;
    if (!group || group->GetCount() == 0)
        flags |= ImGuiTreeNodeFlags_Leaf | ImGuiTreeNodeFlags_NoTreePushOnOpen;
    if (viewer.IsNodeSelected(&node))
        flags |= ImGuiTreeNodeFlags_Selected;
    if (depth == 0)
        flags |= ImGuiTreeNodeFlags_DefaultOpen;
    const bool open = ImGui::TreeNodeEx("node", flags, "%s", name.c_str());
    if (ImGui::IsItemClicked() && !ImGui::IsItemToggledOpen()) {
        viewer.SelectNode(&node, ImGui::GetIO().KeyCtrl);
        m_Focus = &node;
    }
    if (open && group && group->GetCount() > 0) {
        for (SceneNode* child : Ordered(group->GetChildren()))
            DrawNode(viewer, *child, depth + 1);
        ImGui::TreePop();
    }
    ImGui::PopID();
}

void ViewerPanels::DrawProperties(Viewer& viewer)
{
    // The node shown: the one last clicked in the tree while it is
    // selected, else any selected node.
    SceneNode* node = nullptr;
    for (const PickedItem& item : viewer.GetManager()->GetSelection()->GetSelection()->GetPickedItems()) {
        if (item.GetNode() == m_Focus) {
            node = m_Focus;
            break;
        }
        if (!node)
            node = item.GetNode();
    }
    if (!node) {
        ImGui::TextDisabled("Nothing selected");
        return;
    }
    ImGui::Text("%s", viewer.NameOf(node).c_str());
    ImGui::TextDisabled("id %llu  user id %llu", static_cast<unsigned long long>(node->GetId()),
                        static_cast<unsigned long long>(node->GetUserId()));
    glm::mat4 transform = node->GetTransform();
    glm::vec3 position(transform[3]);
    if (ImGui::DragFloat3("position", glm::value_ptr(position), 0.5f)) {
        transform[3] = glm::vec4(position, 1.0f);
        viewer.SetNodeTransform(node, transform);
    }
    const glm::vec3 scale(glm::length(glm::vec3(transform[0])), glm::length(glm::vec3(transform[1])),
                          glm::length(glm::vec3(transform[2])));
    // Z-Y-X angles of the rotation part, for reading.
    const glm::vec3 x = glm::vec3(transform[0]) / std::max(scale.x, 1e-20f);
    const glm::vec3 y = glm::vec3(transform[1]) / std::max(scale.y, 1e-20f);
    const glm::vec3 z = glm::vec3(transform[2]) / std::max(scale.z, 1e-20f);
    ImGui::Text("rotation  %.1f %.1f %.1f deg", std::atan2(y.z, z.z) * kRadToDeg,
                std::asin(std::clamp(-x.z, -1.0f, 1.0f)) * kRadToDeg, std::atan2(x.y, x.x) * kRadToDeg);
    ImGui::Text("scale     %.3g %.3g %.3g", scale.x, scale.y, scale.z);
    if (auto* primitive = dynamic_cast<PrimitiveSceneNode*>(node)) {
        if (const std::shared_ptr<MaterialInstance>& material = primitive->GetMaterial()) {
            glm::vec3 color = material->GetColor();
            if (ImGui::ColorEdit3("colour", glm::value_ptr(color))) {
                material->SetColor(color);
                viewer.RequestFrame();
            }
            float opacity = material->GetOpacity();
            if (ImGui::SliderFloat("opacity", &opacity, 0.0f, 1.0f)) {
                material->BlendingMode = opacity < 1.0f ? BLENDING_TRANSPARENT : BLENDING_NONE;
                material->SetOpacity(opacity); // raises the change counter for both
                viewer.RequestFrame();
            }
        }
    }
    const AxisAlignedBox& box = node->GetWorldBBox();
    if (box.isFinite()) {
        const glm::vec3 lo = box.getMinimum(), hi = box.getMaximum();
        ImGui::Text("box min   %.2f %.2f %.2f", lo.x, lo.y, lo.z);
        ImGui::Text("box max   %.2f %.2f %.2f", hi.x, hi.y, hi.z);
        ImGui::Text("size      %.2f %.2f %.2f", hi.x - lo.x, hi.y - lo.y, hi.z - lo.z);
    }
}

void ViewerPanels::DrawDisplay(Viewer& viewer)
{
    SceneManager& manager = *viewer.GetManager();
    if (!ImGui::CollapsingHeader("Display", ImGuiTreeNodeFlags_DefaultOpen))
        return;
    const uint32_t filter = manager.GetDisplayFilter();
    const struct { const char* label; EnumShapeFilter bit; } kinds[] = {
        {"faces", SHAPE_FILTER_FACE}, {"edges", SHAPE_FILTER_EDGE}, {"points", SHAPE_FILTER_VERTEX}};
    for (const auto& kind : kinds) {
        bool on = (filter & kind.bit) != 0;
        if (ImGui::Checkbox(kind.label, &on)) {
            manager.SetDisplayFilter(on ? (filter | kind.bit) : (filter & ~uint32_t(kind.bit)));
            viewer.RequestFrame();
        }
        if (kind.bit != SHAPE_FILTER_VERTEX)
            ImGui::SameLine();
    }
    const char* modes[] = {"node", "face", "edge", "vertex"};
    int mode = 0;
    for (int i = 0; i < 4; ++i)
        if (viewer.GetPickMode() == modes[i])
            mode = i;
    if (ImGui::Combo("pick", &mode, modes, 4))
        viewer.SetPickMode(modes[mode]);
    const char* widgets[] = {"none", "move", "rotate", "scale"};
    int widget = 0;
    for (int i = 0; i < 4; ++i)
        if (viewer.GetWidgetMode() == widgets[i])
            widget = i;
    if (ImGui::Combo("widget", &widget, widgets, 4))
        viewer.SetWidgetMode(widgets[widget]);
    if (auto* background = dynamic_cast<ColorBackground*>(manager.GetBackground().get())) {
        glm::vec4 color = background->GetColor();
        if (ImGui::ColorEdit3("background", glm::value_ptr(color))) {
            background->SetColor(color);
            viewer.RequestFrame();
        }
    }
    RenderSettings& settings = viewer.GetDevice()->GetSettings();
    if (ImGui::Checkbox("contact shadow", &settings.ContactShadow)) {
        if (settings.ContactShadow)
            settings.Shadow = false;
        viewer.GetRenderer()->Prepare(); // makes the shadow renderer on first use
        viewer.RequestFrame();
    }
    if (CoordinateRenderer* overlay = viewer.GetRenderer()->GetViewWidget()) {
        bool shown = overlay->GetVisible();
        if (ImGui::Checkbox("view cube", &shown)) {
            overlay->SetVisible(shown);
            viewer.RequestFrame();
        }
        ImGui::SameLine();
    }
    if (const auto& grid = manager.GetCoodinateGrid()) {
        bool shown = grid->GetVisible();
        if (ImGui::Checkbox("grid", &shown)) {
            grid->SetVisible(shown);
            viewer.RequestFrame();
        }
    }
    const bool perspective = manager.GetCamera()->GetProjectionType() == Camera::PROJECTION_PERSPECTIVE;
    if (ImGui::Button(perspective ? "Perspective (P)" : "Orthographic (P)"))
        viewer.ToggleProjection();
    ImGui::SameLine();
    if (ImGui::Button("Fit (F)"))
        viewer.FitAll();
    const struct { const char* label; EnumStandardView view; } views[] = {
        {"Front", STANDARD_VIEW_FRONT}, {"Back", STANDARD_VIEW_BACK},   {"Left", STANDARD_VIEW_LEFT},
        {"Right", STANDARD_VIEW_RIGHT}, {"Top", STANDARD_VIEW_TOP},     {"Bottom", STANDARD_VIEW_BOTTOM},
        {"Iso", STANDARD_VIEW_ISOMETRIC}};
    for (std::size_t i = 0; i < std::size(views); ++i) {
        if (i % 4 != 0)
            ImGui::SameLine();
        if (ImGui::SmallButton(views[i].label))
            viewer.ShowView(views[i].view);
    }
}

void ViewerPanels::DrawAnimation(Viewer& viewer)
{
    if (viewer.GetAnimationLength() <= 0.0 || !ImGui::CollapsingHeader("Animation", ImGuiTreeNodeFlags_DefaultOpen))
        return;
    if (ImGui::Button(viewer.IsPlaying() ? "Pause" : "Play"))
        viewer.SetPlaying(!viewer.IsPlaying());
    ImGui::SameLine();
    float time = float(viewer.GetAnimationTime());
    ImGui::SetNextItemWidth(-1.0f);
    if (ImGui::SliderFloat("##time", &time, 0.0f, float(viewer.GetAnimationLength()), "%.2f s"))
        viewer.SeekAnimation(time);
    float speed = viewer.GetAnimationSpeed();
    if (ImGui::SliderFloat("speed", &speed, 0.1f, 4.0f, "%.2fx"))
        viewer.SetAnimationSpeed(speed);
}

void ViewerPanels::DrawRobots(Viewer& viewer)
{
    const auto& robots = viewer.GetInfo().robots;
    if (robots.empty() || !ImGui::CollapsingHeader("Robot", ImGuiTreeNodeFlags_DefaultOpen))
        return;
    for (std::size_t r = 0; r < robots.size(); ++r) {
        RobotArm* arm = robots[r].arm.get();
        if (!arm)
            continue;
        ImGui::PushID(int(r));
        ImGui::Text("%s", robots[r].name.c_str());
        for (unsigned int j = 0; j < arm->GetJointCount(); ++j) {
            const auto& joint = arm->GetJoint(j);
            const bool angular = j < robots[r].angular.size() && robots[r].angular[j];
            const double offset = j < robots[r].offsets.size() ? robots[r].offsets[j] : 0.0;
            const ValueRange& range = angular ? joint->GetParameters()->GetTheta_VR() : joint->GetParameters()->GetD_VR();
            if (!(range.GetMaximum() > range.GetMinimum()))
                continue; // a fixed joint
            // The slider shows the joint value as the file writes it:
            // degrees from the zero pose for revolute joints.
            const double unit = angular ? kRadToDeg : 1.0;
            float value = float((arm->GetVariable(j) - offset) * unit);
            const float lo = float((range.GetMinimum() - offset) * unit);
            const float hi = float((range.GetMaximum() - offset) * unit);
            ImGui::PushID(int(j));
            if (ImGui::SliderFloat(("joint " + std::to_string(j + 1)).c_str(), &value, lo, hi, angular ? "%.1f deg" : "%.1f"))
                viewer.SetJoint(r, j, double(value) / unit + offset);
            ImGui::PopID();
        }
        const auto& colliding = viewer.GetRobotCollisions()[r];
        std::string links;
        for (std::size_t k = 0; k < colliding.size(); ++k)
            if (colliding[k])
                links += (links.empty() ? "" : ", ") + std::to_string(k);
        if (links.empty())
            ImGui::TextDisabled("no self-collision");
        else
            ImGui::TextColored(ImVec4(0.9f, 0.2f, 0.2f, 1.0f), "colliding links: %s", links.c_str());
        ImGui::PopID();
    }
}

void ViewerPanels::DrawStatus(Viewer& viewer, float width, float height)
{
    ImGui::SetNextWindowPos(ImVec2(0, height - kStatusHeight), ImGuiCond_Always);
    ImGui::SetNextWindowSize(ImVec2(width, kStatusHeight), ImGuiCond_Always);
    const ImGuiWindowFlags flags = ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_NoMove |
                                   ImGuiWindowFlags_NoSavedSettings | ImGuiWindowFlags_NoFocusOnAppearing;
    if (ImGui::Begin("##status", nullptr, flags)) {
        const HoverReport& hover = viewer.GetHover();
        if (!hover.hit)
            ImGui::Text("-");
        else if (hover.what == "node")
            ImGui::Text("%s  %s %u  at (%.2f, %.2f, %.2f)  pick %.3f ms", hover.name.c_str(), hover.shape.c_str(),
                        hover.index, hover.position.x, hover.position.y, hover.position.z, hover.pickMs);
        else
            ImGui::Text("%s %s", hover.what.c_str(), hover.name.c_str());
        ImGui::SameLine(width - 330.0f);
        ImGui::Text("pick: %s  |  frame %.1f ms", viewer.GetPickMode().c_str(), viewer.GetFrameMs());
    }
    ImGui::End();
}

} // namespace orvview

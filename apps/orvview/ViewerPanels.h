#pragma once

namespace orvcore {
class SceneNode;
}

namespace orvview {

class Viewer;

/// The Dear ImGui panels over the view: the scene tree (names, visibility,
/// selection both ways), the selected node's properties (transform,
/// material colour and opacity, bounding box), display and view settings,
/// the animation timeline, robot joint sliders with the self-collision
/// state, and the status line (pick result, frame time).
///
/// Call `Draw` between `ImGui::NewFrame` and `ImGui::Render`.
class ViewerPanels {
public:
    void Draw(Viewer& viewer, float width, float height);

private:
    void DrawTree(Viewer& viewer);
    void DrawNode(Viewer& viewer, orvcore::SceneNode& node, int depth);
    void DrawProperties(Viewer& viewer);
    void DrawDisplay(Viewer& viewer);
    void DrawAnimation(Viewer& viewer);
    void DrawRobots(Viewer& viewer);
    void DrawStatus(Viewer& viewer, float width, float height);

    orvcore::SceneNode* m_Focus = nullptr; // the node the properties show
};

} // namespace orvview

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <glm/mat4x4.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include <orvcore/pick/PickedItem.h>
#include <orvrender/SceneFile.h>
#include <orvview/CameraNavigator.h>

namespace orvcore {
class BasicPipeline;
class GlRenderDevice;
class CoordinateWidget;
class Renderer;
class SceneManager;
class SceneNode;
} // namespace orvcore

namespace orvrender {
class AnimationPlayer;
}

namespace orvview {

/// Mouse buttons and modifier bits as the viewer's handlers take them (the
/// window layer translates its toolkit's values; scripts name them).
enum ViewerButton : int { BUTTON_LEFT = 0, BUTTON_RIGHT = 1, BUTTON_MIDDLE = 2 };
enum ViewerModifier : int { MOD_SHIFT = 1, MOD_CTRL = 2, MOD_ALT = 4 };

/// What the cursor is over, refreshed on every hover.
struct HoverReport {
    bool hit = false;
    std::string what;     // "node", "grip", "widget", "cube" or "" (nothing)
    std::string name;     // node name, grip number, widget axis, cube view
    std::string shape;    // "vertex", "edge", "face", "node" for node hits
    unsigned int index = 0;
    glm::vec3 position{0.0f};
    double pickMs = 0.0;
};

/// One view of the interactive viewer: the OpenGL device on the current
/// context (a window's), a scene manager, renderer and basic pipeline, the
/// loaded file's information, and the interaction state: camera navigation,
/// hover, selection (click, toggle, rectangle), grips, the move widget and
/// the animation clock.
///
/// Input arrives in window pixels (origin top-left, y down) through the
/// `On...` handlers, from the window or from a script alike. The viewer
/// never draws on its own: the host asks `NeedsFrame` and calls
/// `RenderScene`. Changes are reported on stdout (`ViewerLog`).
class Viewer {
public:
    /// Draws into framebuffer 0 of the current context, of that size.
    Viewer(unsigned int width, unsigned int height);
    ~Viewer();
    Viewer(const Viewer&) = delete;
    Viewer& operator=(const Viewer&) = delete;

    /// Loads a scene file (.json) or a model file; the previous scene is
    /// dropped only when the new one loads. False with `error` set.
    bool Open(const std::string& path, std::string& error);
    /// The built-in demo scene (examples/demo.json when it is found).
    bool OpenText(const std::string& text, const std::string& name, const std::string& baseDir, std::string& error);
    const std::string& GetFileName() const { return m_FileName; }

    // --- input (window pixels) ---
    void OnMouseMove(float x, float y);
    void OnMouseButton(int button, bool pressed, int mods);
    void OnScroll(float steps);
    /// The cursor left the view (or went over a panel): nothing is hovered.
    void OnMouseLeave();
    /// A key by its character ('F', '1', ...) or one of the KEY_ values.
    void OnKey(int key, int mods);
    void OnResize(unsigned int width, unsigned int height);

    static constexpr int KEY_ESCAPE = 256;
    /// The move widget's arrows in its own units: the kernel's arrow head
    /// is 1 wide and 3 long, so heads are 3/20 of an arrow at any scale.
    static constexpr float kWidgetLength = 20.0f;
    static constexpr int KEY_DELETE = 261;

    // --- per frame ---
    /// Advances glides and animations to `now` (seconds); true when a frame
    /// must be drawn (something changed or moves).
    bool Advance(double now);
    bool NeedsFrame() const { return m_Dirty; }
    /// Ctrl+Q was pressed.
    bool WantsQuit() const { return m_Quit; }
    void RequestFrame() { m_Dirty = true; }
    /// Brings the world up to date and draws the scene; returns its time in ms.
    double RenderScene();
    /// After the frame (panels included) is complete: screenshots asked
    /// for, anchor lines; logs the camera once it has settled.
    void AfterFrame();
    /// Asks for a PNG of the next complete frame ("" picks a new name).
    void RequestScreenshot(const std::string& path);

    // --- state the panels show and change ---
    const std::shared_ptr<orvcore::SceneManager>& GetManager() const { return m_Manager; }
    orvcore::Renderer* GetRenderer() const { return m_Renderer.get(); }
    orvcore::GlRenderDevice* GetDevice() const { return m_Device.get(); }
    const orvrender::SceneInfo& GetInfo() const { return m_Info; }
    CameraNavigator& GetNavigator() { return *m_Navigator; }
    const HoverReport& GetHover() const { return m_Hover; }
    double GetFrameMs() const { return m_FrameMs; }
    /// The name of a node (its own or its nearest named ancestor's path).
    std::string NameOf(const orvcore::SceneNode* node) const;

    /// The part a node belongs to: the nearest ancestor (or itself) that the
    /// file named, else the node. What "node" picks select and move.
    orvcore::SceneNode* PartOf(orvcore::SceneNode* node) const;
    /// Sub-shape filter: "node", "face", "edge" or "vertex".
    void SetPickMode(const std::string& mode);
    const std::string& GetPickMode() const { return m_PickMode; }
    /// Replaces the selection by a whole node (null clears), as a click would.
    void SelectNode(orvcore::SceneNode* node, bool toggle);
    bool IsNodeSelected(const orvcore::SceneNode* node) const;
    /// Call after the selection changed by any route: logs it, refreshes the
    /// grips and the widget.
    void SelectionChanged();
    void ClearSelection();
    /// Moves a node to a new local transform (panels, widget drags).
    void SetNodeTransform(orvcore::SceneNode* node, const glm::mat4& transform);

    /// Standard view (animated), fit, projection.
    void ShowView(orvcore::EnumStandardView view);
    void FitAll();
    void ToggleProjection();

    // Animation clock (keyframe, rigid and robot motions of the file).
    double GetAnimationLength() const { return m_AnimationLength; }
    double GetAnimationTime() const { return m_AnimationTime; }
    bool IsPlaying() const { return m_Playing; }
    void SetPlaying(bool on);
    void SeekAnimation(double seconds);
    float GetAnimationSpeed() const { return m_AnimationSpeed; }
    void SetAnimationSpeed(float speed) { m_AnimationSpeed = speed; }

    /// Robot joints: value within its limits; refreshes the self-collision
    /// highlight. False when refused (out of range, no such joint).
    bool SetJoint(std::size_t robot, unsigned int joint, double value);
    /// Links of each robot that collide with another link now.
    const std::vector<std::vector<bool>>& GetRobotCollisions() const { return m_RobotCollisions; }

    /// The manipulator on the selection: "none", "move", "rotate" or "scale".
    const std::string& GetWidgetMode() const { return m_WidgetMode; }
    void SetWidgetMode(const std::string& mode);

    /// Logs anchor lines (window points of named nodes, widget arrows and
    /// view cube faces) after frames in which they may have moved.
    void SetLogAnchors(bool on) { m_LogAnchors = on; }
    /// Shift-drag rectangle in progress (for the window layer to draw).
    bool GetRectangle(glm::vec2& from, glm::vec2& to) const;

private:
    bool Install(std::shared_ptr<orvcore::SceneManager> manager, orvrender::SceneInfo info, const std::string& name);
    void Hover(float x, float y);
    void Click(float x, float y, int mods);
    void RectangleSelect(const glm::vec2& a, const glm::vec2& b, int mods);
    bool BeginWidgetDrag(float x, float y);
    void DragWidget(float x, float y);
    void EndWidgetDrag();
    void PlaceWidget();
    void UpdateGrips();
    void UpdateRobotCollisions();
    void LogCamera();
    void LogAnchors();
    glm::vec3 Pivot(float x, float y);
    std::vector<orvcore::SceneNode*> SelectedNodes() const;

    unsigned int m_Width, m_Height;
    std::unique_ptr<orvcore::GlRenderDevice> m_Device;
    std::shared_ptr<orvcore::SceneManager> m_Manager;
    std::unique_ptr<orvcore::Renderer> m_Renderer;
    std::unique_ptr<orvcore::BasicPipeline> m_Pipeline;
    std::unique_ptr<CameraNavigator> m_Navigator;
    orvrender::SceneInfo m_Info;
    std::unordered_map<const orvcore::SceneNode*, std::string> m_Names;
    std::string m_FileName;

    // Mouse state.
    glm::vec2 m_Mouse{0.0f};
    glm::vec2 m_Press{0.0f};
    int m_Button = -1;
    int m_PressMods = 0;
    bool m_Dragged = false;
    glm::vec3 m_Pivot{0.0f};
    enum class Drag { None, Orbit, Pan, Rectangle, Widget } m_Drag = Drag::None;

    HoverReport m_Hover;
    std::string m_PickMode = "node";

    // The move widget and its drag.
    // The three manipulators (move, rotate, scale) and the one shown.
    std::shared_ptr<orvcore::CoordinateWidget> m_Widgets[3];
    orvcore::CoordinateWidget* m_Widget = nullptr;
    std::string m_WidgetMode = "move";
    glm::vec3 m_WidgetGrab{0.0f}; // rotate: the grabbed point's offset from the origin
    glm::mat4 m_DragMatrix{1.0f};
    float m_DragAmount = 0.0f; // rotate: radians; scale: factor
    glm::vec3 m_WidgetAxis{0.0f};
    float m_WidgetStart = 0.0f;
    glm::vec3 m_WidgetOrigin{0.0f};
    std::vector<std::pair<orvcore::SceneNode*, glm::mat4>> m_DragStart;
    glm::vec3 m_DragDelta{0.0f};

    // Animations.
    std::unique_ptr<orvrender::AnimationPlayer> m_Player;
    double m_AnimationLength = 0.0;
    double m_AnimationTime = 0.0;
    float m_AnimationSpeed = 1.0f;
    bool m_Playing = false;
    double m_LastNow = -1.0;
    std::vector<std::vector<bool>> m_RobotCollisions;
    std::shared_ptr<orvcore::MaterialInstance> m_CollisionMaterial;

    // Frames.
    bool m_Dirty = true;
    bool m_Quit = false;
    bool m_CameraMoved = true;
    bool m_AnchorsStale = true;
    bool m_LogAnchors = false;
    double m_FrameMs = 0.0;
    std::vector<std::string> m_Screenshots;
    unsigned int m_ScreenshotCount = 0;
};

} // namespace orvview

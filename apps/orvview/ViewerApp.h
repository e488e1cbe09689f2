#pragma once

#include <memory>
#include <string>
#include <vector>

struct GLFWwindow;

namespace orvview {

class Viewer;
class ViewerPanels;
class ViewerScript;

/// What the command line asks of the viewer.
struct ViewerOptions {
    std::vector<std::string> files; // the first one is opened
    unsigned int width = 1280;
    unsigned int height = 720;
    unsigned int samples = 1; // window multisampling (1: none)
    std::string script;
    bool logAnchors = false;
    bool panels = true;
    bool vsync = true;
};

/// The desktop program around a `Viewer`: a GLFW window with an OpenGL 3.3
/// core context, Dear ImGui on it, and the event loop. It translates the
/// window's events into the viewer's handlers (unless a panel takes them)
/// and draws only when something changed: an idle viewer sleeps in
/// `glfwWaitEvents`.
class ViewerApp {
public:
    ViewerApp();
    ~ViewerApp();
    ViewerApp(const ViewerApp&) = delete;
    ViewerApp& operator=(const ViewerApp&) = delete;

    /// Process exit code: 0, or 1 when no window or file could be opened,
    /// 2 when the OpenGL context is missing.
    int Run(const ViewerOptions& options);

private:
    bool OpenWindow(const ViewerOptions& options);
    void Frame();
    void CloseWindow();
    void Touch() { m_PanelFrames = 3; }

    static void OnCursor(GLFWwindow* window, double x, double y);
    static void OnEnter(GLFWwindow* window, int entered);
    static void OnButton(GLFWwindow* window, int button, int action, int mods);
    static void OnScroll(GLFWwindow* window, double dx, double dy);
    static void OnKey(GLFWwindow* window, int key, int scancode, int action, int mods);
    static void OnFramebuffer(GLFWwindow* window, int width, int height);
    static void OnDrop(GLFWwindow* window, int count, const char** paths);
    static void OnRefresh(GLFWwindow* window);

    GLFWwindow* m_Window = nullptr;
    bool m_ImGui = false;
    std::unique_ptr<Viewer> m_Viewer;
    std::unique_ptr<ViewerPanels> m_Panels;
    std::unique_ptr<ViewerScript> m_Script;
    bool m_ShowPanels = true;
    int m_PanelFrames = 3; // ImGui settles over a few frames after input
    std::vector<std::string> m_Dropped;
    // Frame statistics, reported when the viewer closes.
    unsigned long m_Frames = 0;
    double m_SceneMs = 0.0;
    double m_FirstFrame = -1.0, m_LastFrame = -1.0;
};

} // namespace orvview

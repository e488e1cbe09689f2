#include <orvview/ViewerApp.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>
#include <imgui.h>
#include <imgui_impl_glfw.h>
#include <imgui_impl_opengl3.h>

#include <orvcommon/Logger.h>
#include <orvview/Viewer.h>
#include <orvview/ViewerLog.h>
#include <orvview/ViewerPanels.h>
#include <orvview/ViewerScript.h>

namespace orvview {

namespace {

ViewerApp* AppOf(GLFWwindow* window)
{
    return static_cast<ViewerApp*>(glfwGetWindowUserPointer(window));
}

void GlfwError(int code, const char* text)
{
    orvcore::Logger::Instance().Waring("GLFW error " + std::to_string(code) + ": " + (text ? text : ""));
}

// Window coordinates into framebuffer pixels (they differ on dense screens).
void ToPixels(GLFWwindow* window, double& x, double& y)
{
    int ww = 0, wh = 0, fw = 0, fh = 0;
    glfwGetWindowSize(window, &ww, &wh);
    glfwGetFramebufferSize(window, &fw, &fh);
    if (ww > 0 && wh > 0) {
        x *= double(fw) / double(ww);
        y *= double(fh) / double(wh);
    }
}

// GL_RENDERER of the current context ("llvmpipe (...)" on the software
// rasteriser), through the window toolkit's loader.
std::string RendererName()
{
    using GetString = const unsigned char* (*)(unsigned int);
    auto get = reinterpret_cast<GetString>(glfwGetProcAddress("glGetString"));
    const unsigned char* name = get ? get(0x1F01 /* GL_RENDERER */) : nullptr;
    return name ? reinterpret_cast<const char*>(name) : "unknown";
}

} // namespace

ViewerApp::ViewerApp() = default;

ViewerApp::~ViewerApp()
{
    CloseWindow();
}

bool ViewerApp::OpenWindow(const ViewerOptions& options)
{
    glfwSetErrorCallback(GlfwError);
    if (!glfwInit())
        return false;
    glfwWindowHint(GLFW_CONTEXT_VERSION_MAJOR, 3);
    glfwWindowHint(GLFW_CONTEXT_VERSION_MINOR, 3);
    glfwWindowHint(GLFW_OPENGL_PROFILE, GLFW_OPENGL_CORE_PROFILE);
    glfwWindowHint(GLFW_OPENGL_FORWARD_COMPAT, GLFW_TRUE);
    glfwWindowHint(GLFW_SAMPLES, options.samples > 1 ? int(options.samples) : 0);
    glfwWindowHint(GLFW_DEPTH_BITS, 24);
    glfwWindowHint(GLFW_STENCIL_BITS, 8);
    m_Window = glfwCreateWindow(int(options.width), int(options.height), "orvview", nullptr, nullptr);
    if (!m_Window)
        return false;
    glfwMakeContextCurrent(m_Window);
    glfwSwapInterval(options.vsync ? 1 : 0);
    glfwSetWindowUserPointer(m_Window, this);
    // Ours first: ImGui's backend chains to the callbacks it finds.
    glfwSetCursorPosCallback(m_Window, OnCursor);
    glfwSetCursorEnterCallback(m_Window, OnEnter);
    glfwSetMouseButtonCallback(m_Window, OnButton);
    glfwSetScrollCallback(m_Window, OnScroll);
    glfwSetKeyCallback(m_Window, OnKey);
    glfwSetFramebufferSizeCallback(m_Window, OnFramebuffer);
    glfwSetDropCallback(m_Window, OnDrop);
    glfwSetWindowRefreshCallback(m_Window, OnRefresh);
    IMGUI_CHECKVERSION();
    ImGui::CreateContext();
    ImGui::GetIO().IniFilename = nullptr; // the layout is fixed; nothing to keep
    ImGui::StyleColorsLight();
    ImGui::GetStyle().WindowRounding = 0.0f;
    ImGui::GetStyle().Alpha = 0.94f;
    ImGui_ImplGlfw_InitForOpenGL(m_Window, true);
    ImGui_ImplOpenGL3_Init("#version 330 core");
    m_ImGui = true;
    return true;
}

void ViewerApp::CloseWindow()
{
    if (m_Window)
        glfwMakeContextCurrent(m_Window);
    m_Viewer.reset(); // GL objects go while the context lives
    if (m_ImGui) {
        ImGui_ImplOpenGL3_Shutdown();
        ImGui_ImplGlfw_Shutdown();
        ImGui::DestroyContext();
        m_ImGui = false;
    }
    if (m_Window) {
        glfwDestroyWindow(m_Window);
        m_Window = nullptr;
#ifndef ORVVIEW_KEEP_GL_DRIVER
        glfwTerminate();
#endif
    }
}

int ViewerApp::Run(const ViewerOptions& options)
{
    if (!OpenWindow(options)) {
        std::fprintf(stderr, "orvview: no window with an OpenGL 3.3 core context could be opened\n");
        CloseWindow();
        return 2;
    }
    int fw = 0, fh = 0;
    glfwGetFramebufferSize(m_Window, &fw, &fh);
    m_Viewer = std::make_unique<Viewer>(unsigned(std::max(fw, 1)), unsigned(std::max(fh, 1)));
    m_Viewer->SetLogAnchors(options.logAnchors);
    m_Panels = std::make_unique<ViewerPanels>();
    m_ShowPanels = options.panels;
    std::string error;
    if (!options.files.empty()) {
        if (!m_Viewer->Open(options.files.front(), error)) {
            std::fprintf(stderr, "orvview: %s\n", error.c_str());
            CloseWindow();
            return 1;
        }
    }
    if (!options.script.empty()) {
        m_Script = std::make_unique<ViewerScript>();
        if (!m_Script->Load(options.script, error)) {
            std::fprintf(stderr, "orvview: %s\n", error.c_str());
            CloseWindow();
            return 1;
        }
    }
    glfwSetWindowTitle(m_Window, ("orvview - " + m_Viewer->GetFileName()).c_str());
    ViewerLog::Line("ready width=" + std::to_string(fw) + " height=" + std::to_string(fh) +
                    " renderer=" + ViewerLog::Quote(RendererName()));

    bool quit = false;
    while (!glfwWindowShouldClose(m_Window) && !quit) {
        const double now = glfwGetTime();
        if ((m_Script && !m_Script->Dispatch(now, *m_Viewer)) || m_Viewer->WantsQuit())
            quit = true;
        for (const std::string& path : m_Dropped) {
            if (m_Viewer->Open(path, error))
                glfwSetWindowTitle(m_Window, ("orvview - " + path).c_str());
            else
                ViewerLog::Line("error text=" + ViewerLog::Quote(error));
        }
        m_Dropped.clear();
        const bool busy = m_Viewer->Advance(now) || m_PanelFrames > 0;
        if (busy || quit) {
            Frame();
            glfwPollEvents();
            continue;
        }
        // Nothing to draw: sleep until an event (or the script's next one).
        if (m_Script && !m_Script->IsDone())
            glfwWaitEventsTimeout(std::max(m_Script->UntilNext(glfwGetTime()), 0.001));
        else if (m_Viewer->IsPlaying())
            glfwPollEvents();
        else
            glfwWaitEvents();
    }
    if (m_Frames > 1) {
        // Frames per second between the first and the last frame: the frame
        // rate of a run that kept the viewer busy throughout (a scripted orbit).
        const double seconds = m_LastFrame - m_FirstFrame;
        ViewerLog::Line("stats frames=" + std::to_string(m_Frames) + " seconds=" + ViewerLog::Num(seconds) +
                        " fps=" + ViewerLog::Num(seconds > 0.0 ? double(m_Frames - 1) / seconds : 0.0, 1) +
                        " scene_ms=" + ViewerLog::Num(m_SceneMs / double(m_Frames)));
    }
    ViewerLog::Line("quit");
    CloseWindow();
    return 0;
}

void ViewerApp::Frame()
{
    int fw = 0, fh = 0;
    glfwGetFramebufferSize(m_Window, &fw, &fh);
    if (fw <= 0 || fh <= 0)
        return; // minimised
    m_SceneMs += m_Viewer->RenderScene();
    ++m_Frames;
    ImGui_ImplOpenGL3_NewFrame();
    ImGui_ImplGlfw_NewFrame();
    ImGui::NewFrame();
    if (m_ShowPanels)
        m_Panels->Draw(*m_Viewer, float(fw), float(fh));
    ImGui::Render();
    ImGui_ImplOpenGL3_RenderDrawData(ImGui::GetDrawData());
    m_Viewer->AfterFrame();
    glfwSwapBuffers(m_Window);
    m_LastFrame = glfwGetTime();
    if (m_FirstFrame < 0.0)
        m_FirstFrame = m_LastFrame;
    if (m_PanelFrames > 0)
        --m_PanelFrames;
}

void ViewerApp::OnCursor(GLFWwindow* window, double x, double y)
{
    ViewerApp* app = AppOf(window);
    app->Touch();
    if (app->m_ShowPanels && ImGui::GetIO().WantCaptureMouse) {
        app->m_Viewer->OnMouseLeave(); // over a panel
        return;
    }
    ToPixels(window, x, y);
    app->m_Viewer->OnMouseMove(float(x), float(y));
}

void ViewerApp::OnEnter(GLFWwindow* window, int entered)
{
    ViewerApp* app = AppOf(window);
    app->Touch();
    if (!entered)
        app->m_Viewer->OnMouseLeave();
}

void ViewerApp::OnButton(GLFWwindow* window, int button, int action, int mods)
{
    ViewerApp* app = AppOf(window);
    app->Touch();
    // A release always reaches the viewer, so no drag is left hanging.
    if (action == GLFW_PRESS && app->m_ShowPanels && ImGui::GetIO().WantCaptureMouse)
        return;
    const int which = button == GLFW_MOUSE_BUTTON_LEFT    ? BUTTON_LEFT
                      : button == GLFW_MOUSE_BUTTON_RIGHT ? BUTTON_RIGHT
                                                          : BUTTON_MIDDLE;
    app->m_Viewer->OnMouseButton(which, action == GLFW_PRESS, mods & (MOD_SHIFT | MOD_CTRL | MOD_ALT));
}

void ViewerApp::OnScroll(GLFWwindow* window, double, double dy)
{
    ViewerApp* app = AppOf(window);
    app->Touch();
    if (app->m_ShowPanels && ImGui::GetIO().WantCaptureMouse)
        return;
    app->m_Viewer->OnScroll(float(dy));
}

void ViewerApp::OnKey(GLFWwindow* window, int key, int, int action, int mods)
{
    ViewerApp* app = AppOf(window);
    app->Touch();
    if (action == GLFW_RELEASE || (app->m_ShowPanels && ImGui::GetIO().WantCaptureKeyboard))
        return;
    if (key == GLFW_KEY_TAB && action == GLFW_PRESS) {
        app->m_ShowPanels = !app->m_ShowPanels;
        return;
    }
    if (key >= GLFW_KEY_KP_0 && key <= GLFW_KEY_KP_9)
        key = '0' + (key - GLFW_KEY_KP_0);
    else if (key == GLFW_KEY_ESCAPE)
        key = Viewer::KEY_ESCAPE;
    else if (key > 255)
        return;
    app->m_Viewer->OnKey(key, mods & (MOD_SHIFT | MOD_CTRL | MOD_ALT));
}

void ViewerApp::OnFramebuffer(GLFWwindow* window, int width, int height)
{
    ViewerApp* app = AppOf(window);
    app->Touch();
    if (width > 0 && height > 0)
        app->m_Viewer->OnResize(unsigned(width), unsigned(height));
}

void ViewerApp::OnDrop(GLFWwindow* window, int count, const char** paths)
{
    ViewerApp* app = AppOf(window);
    app->Touch();
    if (count > 0 && paths && paths[0])
        app->m_Dropped.emplace_back(paths[0]); // opened from the loop, not inside the callback
}

void ViewerApp::OnRefresh(GLFWwindow* window)
{
    ViewerApp* app = AppOf(window);
    app->Touch();
    app->m_Viewer->RequestFrame();
}

} // namespace orvview

#include <orvview/Viewer.h>

#include <algorithm>
#include <cmath>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include <orvcommon/Logger.h>
#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/gl/GlRenderDevice.h>
#include <orvcore/pick/Raycaster.h>
#include <orvcore/pick/SelectionManager.h>
#include <orvcore/render/BasicPipeline.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/render/ViewCubeRenderer.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/widget/MoveWidget.h>
#include <orvcore/widget/RotateWidget.h>
#include <orvcore/widget/ScaleWidget.h>
#include <orvcore/widget/ViewCube.h>
#include <orvrender/SceneAnimation.h>
#include <orvrender/SceneEffects.h>
#include <orvrender/SceneJson.h>
#include <orvrender/RobotCommands.h>
#include <orvview/ViewerLog.h>

namespace orvview {

using namespace orvcore;

namespace {

// Model files open through the scene loader as a one-node scene.
bool IsSceneFile(const std::string& path)
{
    std::string ext = std::filesystem::path(path).extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return ext == ".json";
}

std::string ModelScene(const std::string& path)
{
    nlohmann::json scene;
    scene["camera"] = {{"fit", "isometric"}};
    scene["grid"] = {{"visible", true}, {"fit", true}};
    scene["shadow"] = {{"type", "contact"}, {"blur", 4}, {"darkness", 0.6}};
    scene["nodes"] = nlohmann::json::array();
    scene["nodes"].push_back({{"type", "model"},
                              {"name", std::filesystem::path(path).stem().string()},
                              {"file", std::filesystem::absolute(path).string()}});
    return scene.dump();
}

} // namespace

Viewer::Viewer(unsigned int width, unsigned int height) : m_Width(std::max(width, 1u)), m_Height(std::max(height, 1u))
{
    // The window's own framebuffer (0); targets single-sampled like the
    // window: on a software rasteriser samples cost more than they show.
    GlRenderDeviceOptions options;
    options.TargetSamples = 1;
    m_Device = std::make_unique<GlRenderDevice>(0u, m_Width, m_Height, options);
}

Viewer::~Viewer()
{
    m_Player.reset();
    m_Pipeline.reset();
    m_Renderer.reset();
    m_Widget = nullptr;
    for (auto& widget : m_Widgets)
        widget.reset();
    m_Manager.reset();
    m_Device.reset();
}

bool Viewer::Open(const std::string& path, std::string& error)
{
    if (IsSceneFile(path)) {
        std::ifstream in(path, std::ios::binary);
        if (!in) {
            error = path + ": cannot be read";
            return false;
        }
        std::ostringstream text;
        text << in.rdbuf();
        return OpenText(text.str(), path, std::filesystem::path(path).parent_path().string(), error);
    }
    return OpenText(ModelScene(path), path, ".", error);
}

bool Viewer::OpenText(const std::string& text, const std::string& name, const std::string& baseDir,
                      std::string& error)
{
    auto manager = std::make_shared<SceneManager>(m_Width, m_Height);
    orvrender::SceneInfo info;
    if (!orvrender::LoadSceneText(text, name, baseDir.empty() ? "." : baseDir, *manager, info, error))
        return false;
    return Install(std::move(manager), std::move(info), name);
}

bool Viewer::Install(std::shared_ptr<SceneManager> manager, orvrender::SceneInfo info, const std::string& name)
{
    m_Player.reset();
    m_Pipeline.reset();
    m_Renderer.reset();
    m_Widget = nullptr;
    m_DragStart.clear();
    m_Manager = std::move(manager);
    m_Info = std::move(info);
    m_FileName = name;
    m_Names.clear();
    for (const auto& entry : m_Info.names)
        m_Names.emplace(entry.first, entry.second);
    // The viewer always shows the view cube; a file's corner choice stands.
    if (m_Info.effects.overlay == "none")
        m_Info.effects.overlay = "cube";
    m_Renderer = std::make_unique<Renderer>(m_Device.get(), 1.0f);
    m_Renderer->Initialize(m_Manager);
    orvrender::ApplySceneEffects(m_Info.effects, *m_Device, *m_Renderer);
    m_Pipeline = std::make_unique<BasicPipeline>();
    m_Pipeline->Initialize(m_Renderer.get());
    m_Pipeline->Prepare(m_Manager, m_Renderer.get());
    m_Manager->UpdateWorld();
    m_Navigator = std::make_unique<CameraNavigator>(m_Manager->GetCamera());
    m_Navigator->SetWorldBox(m_Manager->GetWorldBBox());

    // The move widget lives in the temporary scene, hidden until something
    // is selected; it answers picks only through the viewer's own test.
    m_Widgets[0] = MoveWidget::Create(glm::vec3(kWidgetLength));
    m_Widgets[1] = RotateWidget::Create(kWidgetLength);
    m_Widgets[2] = ScaleWidget::Create(glm::vec3(kWidgetLength));
    for (const auto& widget : m_Widgets) {
        widget->SetVisible(false);
        widget->SetPickable(false);
        widget->SetCastShadow(false);
        m_Manager->GetTempScene()->AddNode(widget);
    }
    SetWidgetMode(m_WidgetMode);

    // Animations: the file's clips and every robot's motion on one clock.
    m_AnimationLength = 0.0;
    m_AnimationTime = 0.0;
    m_Playing = false;
    if (m_Info.animations) {
        m_Player = std::make_unique<orvrender::AnimationPlayer>(m_Info.animations, *m_Manager);
        m_AnimationLength = m_Info.animations->length;
    }
    for (const orvrender::RobotInfo& robot : m_Info.robots)
        if (robot.motion)
            m_AnimationLength = std::max(m_AnimationLength, orvrender::MotionLength(*robot.motion));
    m_RobotCollisions.assign(m_Info.robots.size(), {});
    UpdateRobotCollisions();

    // The file's own selection and highlight, as orvrender draws them.
    for (const std::string& selected : m_Info.select)
        for (const auto& entry : m_Info.names)
            if (entry.second == selected)
                m_Manager->GetSelection()->Select(
                    PickedItem(const_cast<SceneNode*>(entry.first),
                               IntersectPoint(SHAPE_FILTER_NONE, 0, entry.first->GetWorldBBox().getCenter(), 0.0f)),
                    true);
    SetPickMode(m_PickMode);
    // Search trees are built on a shape's first pick: one ray through the
    // middle of the view builds those it meets now, so that the first
    // hover does not pay for a million-triangle tree.
    {
        Raycaster warmUp(m_Manager->GetCamera(), SHAPE_FILTER_ALL, int(m_Width / 2), int(m_Height / 2));
        warmUp.HitTest(m_Manager);
    }
    ViewerLog::Line("open file=" + ViewerLog::Quote(name) + " nodes=" + std::to_string(m_Info.nodes) +
                    " triangles=" + std::to_string(m_Info.triangles) +
                    " animation=" + ViewerLog::Num(m_AnimationLength) +
                    " robots=" + std::to_string(m_Info.robots.size()));
    SelectionChanged();
    m_CameraMoved = true;
    m_Dirty = true;
    return true;
}

SceneNode* Viewer::PartOf(SceneNode* node) const
{
    for (SceneNode* up = node; up; up = up->GetParent())
        if (m_Names.count(up))
            return up;
    return node;
}

std::string Viewer::NameOf(const SceneNode* node) const
{
    std::string name = orvrender::NameOf(m_Info, node);
    if (name.empty() && node)
        name = "#" + std::to_string(node->GetId());
    return name;
}

void Viewer::OnResize(unsigned int width, unsigned int height)
{
    m_Width = std::max(width, 1u);
    m_Height = std::max(height, 1u);
    m_Device->Resize(m_Width, m_Height);
    if (m_Manager)
        m_Manager->GetCamera()->Resize(m_Width, m_Height);
    if (m_Renderer)
        m_Renderer->Resize(m_Width, m_Height);
    m_CameraMoved = true;
    m_Dirty = true;
}

bool Viewer::Advance(double now)
{
    const double dt = m_LastNow < 0.0 ? 0.0 : std::min(now - m_LastNow, 0.25);
    m_LastNow = now;
    if (!m_Manager)
        return m_Dirty;
    if (m_Navigator->IsGliding()) {
        m_Navigator->Step(now);
        m_CameraMoved = true;
        m_Dirty = true;
    }
    if (m_Playing && m_AnimationLength > 0.0) {
        double t = m_AnimationTime + dt * double(m_AnimationSpeed);
        if (t > m_AnimationLength)
            t = std::fmod(t, m_AnimationLength); // the timeline loops
        SeekAnimation(t);
    }
    return m_Dirty;
}

void Viewer::SetPlaying(bool on)
{
    m_Playing = on && m_AnimationLength > 0.0;
    m_Dirty = true;
    ViewerLog::Line(std::string("animation state=") + (m_Playing ? "playing" : "paused") +
                    " time=" + ViewerLog::Num(m_AnimationTime));
}

void Viewer::SeekAnimation(double seconds)
{
    m_AnimationTime = std::clamp(seconds, 0.0, m_AnimationLength);
    if (m_Player)
        m_Player->SeekTo(m_AnimationTime);
    orvrender::SeekMotions(m_Info, m_AnimationTime);
    UpdateRobotCollisions();
    if (!m_DragStart.empty() || !m_Manager->GetSelection()->GetSelection()->IsEmpty())
        m_AnchorsStale = true;
    m_Dirty = true;
}

double Viewer::RenderScene()
{
    if (!m_Manager)
        return 0.0;
    const auto start = std::chrono::steady_clock::now();
    m_Device->GetStateCache().Invalidate(); // the panels drew with GL too
    m_Manager->UpdateWorld();
    PlaceWidget();
    m_Manager->UpdateWorld();
    m_Pipeline->Render(m_Manager, m_Renderer.get(), 0.0f);
    m_FrameMs = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    m_Dirty = false;
    return m_FrameMs;
}

void Viewer::RequestScreenshot(const std::string& path)
{
    std::string name = path;
    if (name.empty()) {
        do {
            char buffer[64];
            std::snprintf(buffer, sizeof buffer, "orvview-%03u.png", ++m_ScreenshotCount);
            name = buffer;
        } while (std::filesystem::exists(name));
    }
    m_Screenshots.push_back(name);
    m_Dirty = true;
}

void Viewer::AfterFrame()
{
    for (const std::string& path : m_Screenshots) {
        auto image = m_Device->ReadPixels();
        const bool ok =
            image && GlRenderDevice::SavePng(path, image->GetWidth(), image->GetHeight(), image->GetPixels().data());
        ViewerLog::Line(std::string("screenshot path=") + ViewerLog::Quote(path) + " ok=" + (ok ? "1" : "0"));
    }
    m_Screenshots.clear();
    if (m_CameraMoved && m_Manager) {
        m_AnchorsStale = true;
        // A camera line once the camera rests: after a glide or a drag.
        if (!m_Navigator->IsGliding() && m_Drag != Drag::Orbit && m_Drag != Drag::Pan) {
            LogCamera();
            m_CameraMoved = false;
        }
    }
    if (m_AnchorsStale && m_LogAnchors && !m_Navigator->IsGliding() && m_Drag == Drag::None) {
        LogAnchors();
        m_AnchorsStale = false;
    }
}

void Viewer::LogCamera()
{
    const Camera& camera = *m_Manager->GetCamera();
    const char* projection = camera.GetProjectionType() == Camera::PROJECTION_PERSPECTIVE ? "perspective" : "orthographic";
    const EnumStandardView view = m_Navigator->GetView();
    ViewerLog::Line(std::string("camera view=") + (view == STANDARD_VIEW_NONE ? "free" : orvrender::json::ViewName(view)) +
                    " projection=" + projection + " eye=" + ViewerLog::Vec(camera.GetEye()) +
                    " target=" + ViewerLog::Vec(camera.GetTarget()) + " up=" + ViewerLog::Vec(camera.GetUp()) +
                    " pixel=" + ViewerLog::Num(m_Navigator->PixelSizeAt(camera.GetTarget()), 6));
}

void Viewer::LogAnchors()
{
    const std::shared_ptr<Camera>& camera = m_Manager->GetCamera();
    auto anchor = [](const std::string& name, const glm::vec3& window) {
        ViewerLog::Line("anchor name=" + ViewerLog::Quote(name) + " x=" + ViewerLog::Num(window.x, 1) +
                        " y=" + ViewerLog::Num(window.y, 1));
    };
    for (const auto& entry : m_Info.names) {
        const AxisAlignedBox& box = entry.first->GetWorldBBox();
        if (box.isFinite())
            anchor(entry.second, CameraOperator::WorldPointToWindowPoint(*camera, box.getCenter()));
    }
    if (m_Widget && m_Widget->GetVisible()) {
        // Points on the shafts at three quarters of their length; on the
        // rings, where the next axis crosses them.
        const glm::mat4& world = m_Widget->GetWorldTransform();
        const char* axes[] = {"widget/x", "widget/y", "widget/z"};
        const bool rings = m_WidgetMode == "rotate";
        for (int i = 0; i < 3; ++i) {
            glm::vec4 local(0.0f, 0.0f, 0.0f, 1.0f);
            local[rings ? (i + 1) % 3 : i] = (rings ? 1.0f : 0.75f) * kWidgetLength;
            anchor(axes[i], CameraOperator::WorldPointToWindowPoint(*camera, glm::vec3(world * local)));
        }
    }
    auto* cube = dynamic_cast<ViewCubeRenderer*>(m_Renderer->GetViewWidget());
    if (cube && cube->GetVisible() && cube->GetViewCube()) {
        // The overlay camera as the last frame drew it.
        const struct { const char* name; unsigned int id; } faces[] = {
            {"cube/front", 1 + 1 + 0 + 9}, {"cube/back", 1 + 1 + 6 + 9}, {"cube/left", 1 + 0 + 3 + 9},
            {"cube/right", 1 + 2 + 3 + 9}, {"cube/bottom", 1 + 1 + 3 + 0}, {"cube/top", 1 + 1 + 3 + 18}};
        for (const auto& face : faces) {
            SceneNode* node = cube->GetViewCube()->GetElementNode(face.id);
            if (!node || !node->GetWorldBBox().isFinite())
                continue;
            const glm::vec3 centre = node->GetWorldBBox().getCenter();
            // Only faces turned towards the viewer can be clicked.
            const glm::vec3 window = CameraOperator::WorldPointToWindowPoint(*cube->GetCamera(), centre);
            const glm::vec3 outward = glm::normalize(centre);
            if (glm::dot(outward, cube->GetCamera()->GetDirection()) < -0.2f)
                anchor(face.name, window);
        }
    }
}

bool Viewer::GetRectangle(glm::vec2& from, glm::vec2& to) const
{
    if (m_Drag != Drag::Rectangle)
        return false;
    from = m_Press;
    to = m_Mouse;
    return true;
}

} // namespace orvview

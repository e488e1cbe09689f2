#include <orvcore/scene/SceneManager.h>

#include <orvcommon/Logger.h>
#include <orvcommon/VEC3.h>
#include <orvkernel/light/DirectionalLight.h>
#include <orvcore/pick/SelectionManager.h>
#include <orvcore/render/ColorBackground.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/Scene2D.h>
#include <orvcore/widget/PlanarGridWidget.h>

namespace orvcore {

SceneManager::SceneManager(uint32_t width, uint32_t height)
{
    m_Background = std::make_shared<ColorBackground>();
    m_Scenes.push_back(std::make_shared<Scene>());
    m_Scenes.push_back(std::make_shared<Scene>());
    m_Scene2D = std::make_shared<Scene2D>();
    m_Camera = std::make_shared<Camera>(width, height, glm::vec3(0.0f, 0.0f, 500.0f), VEC3::ZERO, VEC3::UNIT_Y);
    m_Camera->SetProjectionType(Camera::PROJECTION_ORTHOGRAPHIC);
    m_Selection = std::make_shared<SelectionManager>();
    m_CoodinateGrid = std::make_shared<PlanarGridWidget>(50.0f, 10u, 10u);
    m_LightManager = std::make_unique<LightManager>();
    m_LightManager->AddLight(std::make_shared<DirectionalLight>());
}

SceneManager::~SceneManager() = default;

uint32_t SceneManager::AddScene(const std::shared_ptr<Scene>& scene)
{
    if (!scene) {
        Logger::Instance().Waring("scene is null!");
        return 0;
    }
    m_Scenes.push_back(scene);
    m_SceneBBox.merge(scene->GetWorldBBox());
    m_WorldBBox.merge(scene->GetWorldBBox());
    return scene->GetObjectId();
}

std::shared_ptr<Scene> SceneManager::FindScene(uint32_t id) const
{
    for (const auto& scene : m_Scenes) {
        if (scene && scene->GetObjectId() == id)
            return scene;
    }
    return {};
}

bool SceneManager::RemoveScene(uint32_t id)
{
    for (auto it = m_Scenes.begin(); it != m_Scenes.end(); ++it) {
        if (*it && (*it)->GetObjectId() == id) {
            m_Scenes.erase(it);
            return true;
        }
    }
    return false;
}

void SceneManager::Clear()
{
    m_Scenes.resize(2);
    if (m_Scenes[0])
        m_Scenes[0]->Clear();
    if (m_Scene2D)
        m_Scene2D->Clear();
    if (m_Selection)
        m_Selection->Clear();
    m_WorldBBox.setNull();
    m_SceneBBox.setNull();
}

void SceneManager::UpdateWorld(bool updateScenes)
{
    m_SceneBBox.setNull();
    for (const auto& scene : m_Scenes) {
        if (!scene)
            continue;
        if (updateScenes)
            scene->UpdateWorld();
        m_SceneBBox.merge(scene->GetWorldBBox());
    }
    m_WorldBBox = m_SceneBBox;
    if (m_CoodinateGrid && m_CoodinateGrid->GetVisible()) {
        if (m_CoodinateGrid->GetUpdateVersion() != 0)
            m_CoodinateGrid->UpdateTransform(glm::mat4(1.0f));
        m_WorldBBox.merge(m_CoodinateGrid->GetWorldBBox());
    }
}

bool SceneManager::Select(uint32_t id) { return m_Selection->Select(GetScene().get(), id); }
bool SceneManager::Select(ElementId id) { return m_Selection->Select(GetScene().get(), id); }

bool SceneManager::SelectSubShape(uint32_t id, EnumShapeFilter filter, uint32_t index)
{
    return m_Selection->SelectSubShape(GetScene().get(), id, filter, index);
}

bool SceneManager::SelectSubShape(ElementId id, EnumShapeFilter filter, uint32_t index)
{
    return m_Selection->SelectSubShape(GetScene().get(), id, filter, index);
}

} // namespace orvcore

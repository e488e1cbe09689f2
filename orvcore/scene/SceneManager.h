#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <orvcommon/AxisAlignedBox.h>
#include <orvcommon/ElementId.h>
#include <orvkernel/camera/Camera.h>
#include <orvkernel/light/LightManager.h>
#include <orvkernel/search/EnumShapeFilter.h>

namespace orvcore {

class Background;
class CoordinateGridWidget;
class Scene;
class Scene2D;
class SelectionManager;

/// The model side of one view: camera, scenes (the main scene first, a
/// temporary scene second, then any added ones), the 2D overlay scene, the
/// selection manager, the background, the ground grid, the lights and the
/// display filter. `UpdateWorld` keeps the boxes up to date once per frame.
/// It does not own a renderer.
class SceneManager {
public:
    /// A view of width x height pixels: an orthographic camera looking down
    /// -Z at the origin from (0, 0, 500), a colour background, a 10 x 10 grid
    /// of 50-unit cells and one directional light.
    SceneManager(uint32_t width, uint32_t height);
    ~SceneManager();
    SceneManager(const SceneManager&) = delete;
    SceneManager& operator=(const SceneManager&) = delete;

    const std::shared_ptr<Camera>& GetCamera() const { return m_Camera; }
    const std::shared_ptr<SelectionManager>& GetSelection() const { return m_Selection; }
    void SetSelection(const std::shared_ptr<SelectionManager>& selection) { m_Selection = selection; }
    const std::shared_ptr<Scene2D>& GetScene2D() const { return m_Scene2D; }
    const std::shared_ptr<CoordinateGridWidget>& GetCoodinateGrid() const { return m_CoodinateGrid; }
    void SetCoodinateGrid(const std::shared_ptr<CoordinateGridWidget>& grid) { m_CoodinateGrid = grid; }
    const std::shared_ptr<Background>& GetBackground() const { return m_Background; }
    void SetBackground(const std::shared_ptr<Background>& background) { m_Background = background; }
    LightManager* GetLightManager() const { return m_LightManager.get(); }

    const std::vector<std::shared_ptr<Scene>>& GetScenes() const { return m_Scenes; }
    std::vector<std::shared_ptr<Scene>>::const_iterator begin() const { return m_Scenes.cbegin(); }
    std::vector<std::shared_ptr<Scene>>::const_iterator end() const { return m_Scenes.cend(); }
    /// Element 0 (the main scene) and element 1 (the temporary scene); the
    /// list's length is not checked.
    const std::shared_ptr<Scene>& GetScene() const { return m_Scenes[0]; }
    const std::shared_ptr<Scene>& GetTempScene() const { return m_Scenes[1]; }

    /// Appends a scene and merges its box; 0 with "scene is null!".
    uint32_t AddScene(const std::shared_ptr<Scene>& scene);
    std::shared_ptr<Scene> FindScene(uint32_t id) const;
    bool RemoveScene(uint32_t id);
    /// Back to the main and temporary scenes; the main scene, the 2D scene
    /// and the selection are emptied, the temporary scene keeps its nodes.
    void Clear();

    /// Refreshes the scene box from every scene (recomputing their dirty
    /// nodes when `updateScenes`), then the view box, which also covers the
    /// visible grid.
    void UpdateWorld(bool updateScenes = true);
    const AxisAlignedBox& GetWorldBBox() const { return m_WorldBBox; }
    const AxisAlignedBox& GetSceneBBox() const { return m_SceneBBox; }

    uint32_t GetDisplayFilter() const { return m_DisplayFilter; }
    void SetDisplayFilter(const uint32_t& filter) { m_DisplayFilter = filter; }
    void AddDisplayFilter(EnumShapeFilter filter) { m_DisplayFilter |= filter; }
    void ClearDisplayFilter(EnumShapeFilter filter) { m_DisplayFilter &= ~static_cast<uint32_t>(filter); }
    void ResetDisplayFilters() { m_DisplayFilter = SHAPE_FILTER_ALL; }

    /// Forwarded to the selection manager with the main scene.
    bool Select(uint32_t id);
    bool Select(ElementId id);
    bool SelectSubShape(uint32_t id, EnumShapeFilter filter, uint32_t index);
    bool SelectSubShape(ElementId id, EnumShapeFilter filter, uint32_t index);

private:
    std::shared_ptr<Camera> m_Camera;
    std::shared_ptr<SelectionManager> m_Selection;
    AxisAlignedBox m_WorldBBox;
    AxisAlignedBox m_SceneBBox;
    std::shared_ptr<Scene2D> m_Scene2D;
    std::shared_ptr<CoordinateGridWidget> m_CoodinateGrid;
    std::shared_ptr<Background> m_Background;
    std::vector<std::shared_ptr<Scene>> m_Scenes;
    std::unique_ptr<LightManager> m_LightManager;
    uint32_t m_DisplayFilter = SHAPE_FILTER_ALL;
};

} // namespace orvcore

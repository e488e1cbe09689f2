#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include <orvkernel/geometry/BufferGeometry.h>
#include <orvkernel/material/MaterialInstance.h>
#include <orvkernel/shape/PrimitiveShape.h>
#include <orvcore/scene/SceneManager.h>
#include <orvrender/SceneFile.h>
#include <orvrender/SceneJson.h>

namespace orvrender {

struct ImportedModel;
struct PointCloud;
struct SceneAnimations;

/// Builds the scene of one parsed scene file into a manager. Every fault is
/// thrown as a `json::Fault` with its JSON path; `LoadSceneText` turns it
/// into the message.
class SceneLoader {
public:
    using Json = json::Json;
    using SceneNode = orvcore::SceneNode;

    SceneLoader(const std::string& baseDir, orvcore::SceneManager& manager, SceneInfo& info);
    void Load(const Json& root);

private:
    /// Colours of faces, texts and edges that the file does not give.
    static const glm::vec3 kDefaultColor;
    static const glm::vec3 kDefaultTextColor;
    static const glm::vec3 kDefaultEdgeColor;
    std::string Resolve(const std::string& file) const;
    std::vector<std::string> Names(const Json& root, const char* key);
    void Count(const SceneNode& node);
    void CountTriangles(const orvcore::PrimitiveShape* primitive);
    void AddName(const SceneNode* node, const std::string& name, const std::string& path);
    /// The names of an imported model's parts as paths below `modelName`.
    static std::vector<std::pair<const SceneNode*, std::string>> ModelNames(const ImportedModel& model,
                                                                           const std::string& modelName);
    glm::mat4 Transform(const Json& node, const std::string& path);
    std::shared_ptr<orvcore::MaterialInstance> FaceMaterial(const Json& node, const std::string& path,
                                                             const std::string& name);
    void ApplyColor(orvcore::MaterialInstance& material, const Json& node, const std::string& path,
                    const glm::vec3& fallback);
    float Opacity(const Json& node, const std::string& path);
    glm::vec3 EdgeColor(const Json& node, const std::string& path);
    bool Flag(const Json& node, const char* key, const std::string& path, bool fallback);
    uint32_t Segments(const Json& node, const std::string& path, uint32_t fallback);
    /// A solid: its faces alone, or a group of the faces and their edges.
    std::shared_ptr<SceneNode> Solid(const std::shared_ptr<orvcore::BufferGeometry>& faces,
                                     const std::shared_ptr<orvcore::BufferGeometry>& edges, const Json& node,
                                     const std::string& path, const std::string& name);
    static std::shared_ptr<orvcore::BufferGeometry> Circles(float radius, const std::vector<float>& heights,
                                                           uint32_t segments);
    std::vector<float> PointList(const Json& node, const std::string& path, bool pairs);
    std::shared_ptr<SceneNode> BuildNode(const Json& node, const std::string& path, std::size_t depth, bool topLevel);
    void BuildTag(const Json& node, const std::string& path, const std::string& name);
    /// A "robot" node (SceneLoaderRobot.cpp).
    std::shared_ptr<SceneNode> BuildRobot(const Json& node, const std::string& path, std::size_t depth,
                                          const std::string& name);
    /// A "dimension" node (SceneLoaderDimension.cpp).
    std::shared_ptr<SceneNode> BuildDimension(const Json& node, const std::string& path);
    /// A "plot" node and a "palette" overlay (SceneLoaderPlot.cpp); a plot's
    /// own colour bar goes to the 2D scene.
    std::shared_ptr<SceneNode> BuildPlot(const Json& node, const std::string& path, const std::string& name);
    void BuildPalette(const Json& node, const std::string& path);
    /// A "particles" or "segments" node (SceneLoaderData.cpp).
    std::shared_ptr<SceneNode> BuildStream(const Json& node, const std::string& path, const std::string& type);
    /// Colours of the data from a colour map over one coordinate ("colorBy").
    void ColorByCoordinate(const Json& node, const std::string& path, const Json& axis, PointCloud& data);
    void LoadCollision(const Json& list, const std::string& path);
    void LoadBackground(const Json& background, const std::string& path);
    void LoadDisplayFilter(const Json& filter, const std::string& path);
    void LoadGrid(const Json& grid, const std::string& path);
    void LoadCamera(const Json& camera, const std::string& path);
    /// The "shadow" and "overlay" settings and the widget node kinds
    /// (SceneLoaderWidgets.cpp).
    void LoadShadow(const Json& shadow, const std::string& path);
    void LoadOverlay(const Json& overlay, const std::string& path);
    std::shared_ptr<SceneNode> BuildWidget(const Json& node, const std::string& path, const std::string& type);
    /// The "animations" (SceneLoaderAnimation.cpp): the mixer and rigid clips
    /// go to the info, and the scene is posed at time 0.
    using NodeLookup = std::function<std::shared_ptr<SceneNode>(const Json&, const std::string&, std::string&)>;
    void LoadAnimations(const Json& animations, const std::string& path);
    void LoadClip(const Json& clip, const std::string& path, SceneAnimations& animations, const NodeLookup& nodeOf);
    void LoadRigidClip(const Json& clip, const std::string& path, SceneAnimations& animations,
                       const NodeLookup& nodeOf);

    std::string m_BaseDir;
    orvcore::SceneManager& m_Manager;
    SceneInfo& m_Info;
    std::set<std::string> m_NameSet;
    std::size_t m_NodeCount = 0;
};

} // namespace orvrender

#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <orvcore/scene/SceneManager.h>
#include <orvcore/scene/SceneNode.h>
#include <orvrender/SceneEffects.h>
#include <orvrender/SceneRobot.h>

namespace orvrender {

struct SceneAnimations;

/// What a scene file put into the manager.
struct SceneInfo {
    /// Named nodes: the node the file's `name` was given to (for tags, the
    /// tag's text node), and the parts inside imported models by their path
    /// along the model file's hierarchy, "<model name>/<node>/<child node>"
    /// (docs/scene-format.md).
    std::vector<std::pair<const orvcore::SceneNode*, std::string>> names;
    /// Scene nodes created in the main scene (every node of every subtree,
    /// edge children and the nodes of imported models included).
    std::size_t nodes = 0;
    /// Triangles of the shapes, planes, mesh texts and models of the scene.
    std::size_t triangles = 0;
    /// Names of the nodes the file asks to select (optional "select" array).
    std::vector<std::string> select;
    /// Names of the nodes the file asks to highlight (optional "hover" array).
    std::vector<std::string> hover;
    /// The shadow and the orientation overlay (optional "shadow", "overlay").
    SceneEffects effects;
    /// The file's animations (optional "animations"; SceneAnimation.h).
    std::shared_ptr<SceneAnimations> animations;
    /// The robot arms, in file order.
    std::vector<RobotInfo> robots;
    /// The node pairs of the optional "collision" list.
    std::vector<CollisionPair> collisions;
};

/// Loads a scene file (docs/scene-format.md) into the manager: nodes into its
/// main scene, tags into its 2D scene, then camera, background, display
/// filter and grid. Files named by the scene are found relative to the
/// scene file's folder.
///
/// Returns false with "<file>: <json path>: <what is wrong>" (json path like
/// /nodes/2/size) on any fault; the manager may be partly filled then.
bool LoadSceneFile(const std::string& path, orvcore::SceneManager& manager, SceneInfo& info, std::string& error);

/// As `LoadSceneFile`, from text; `fileName` names the source in messages and
/// `baseDir` is the folder that relative file names start from.
bool LoadSceneText(const std::string& text, const std::string& fileName, const std::string& baseDir,
                   orvcore::SceneManager& manager, SceneInfo& info, std::string& error);

/// The name of a node, or of its nearest named ancestor; "" when none.
std::string NameOf(const SceneInfo& info, const orvcore::SceneNode* node);

} // namespace orvrender

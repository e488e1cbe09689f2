#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <glm/vec3.hpp>

#include <orvcore/scene/GroupSceneNode.h>
#include <orvrender/FeatureEdges.h>

namespace orvrender {

/// How a model file becomes scene nodes.
struct ImportOptions {
    glm::vec3 color{0.75f, 0.78f, 0.82f}; ///< face colour when the file has none
    float opacity = 1.0f;
    bool edges = true;                 ///< add the feature edges of every mesh
    float featureAngleDegrees = 30.0f; ///< dihedral angle above which an edge is a feature edge
    glm::vec3 edgeColor{0.1f, 0.1f, 0.1f};
    /// Limits of the reader process (see `ImportModel`): wall-clock seconds,
    /// and address space in MiB (not applied in sanitizer builds, whose
    /// shadow memory needs the whole address space).
    unsigned timeLimitSeconds = 120;
    std::size_t memoryLimitMb = 8192;
};

/// What `ImportModel` produced.
struct ImportedModel {
    /// The file's node hierarchy: one group per file node (its transform as
    /// the node transform) holding one leaf per mesh it references.
    std::shared_ptr<orvcore::GroupSceneNode> root;
    std::size_t meshes = 0;       ///< mesh leaves created
    std::size_t triangles = 0;    ///< triangles over all leaves
    std::size_t featureEdges = 0; ///< feature edge segments over all leaves
    /// The names the file gives its nodes (groups) and meshes (leaves), for
    /// every created node that has a non-empty one.
    std::vector<std::pair<orvcore::SceneNode*, std::string>> names;
};

/// Reads a model file (STL, OBJ, PLY, glTF 2.0, 3MF: whatever Assimp reads)
/// into scene nodes. Every mesh becomes a `ShapeSceneNode` whose compound
/// shape holds the indexed triangles (member 0, lit material with the file's
/// diffuse colour or `options.color`, both faces drawn) and, with
/// `options.edges` and when there are any, the feature edges as a line list
/// (member 1). Without edges every mesh becomes a `PrimitiveSceneNode`.
/// Geometry and node boxes are set; call `UpdateTransform` on the root for
/// the world boxes.
///
/// Files come from users and Assimp cannot be trusted with every file, so
/// Assimp reads in a child process under the limits of `options`, and hands
/// back plain arrays that are checked again here: a file that crashes the
/// reader, makes it run too long or want too much memory is reported like
/// any other unreadable file. Files the model refers to (materials, buffers)
/// are opened only when they are regular files.
///
/// On failure returns false, leaves `model` empty, puts the reason in
/// `error` ("cannot read <path>: <reason>", "no triangles in <path>") and
/// logs it as a warning.
bool ImportModel(const std::string& path, const ImportOptions& options, ImportedModel& model, std::string& error);

} // namespace orvrender

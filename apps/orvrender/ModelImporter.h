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

/// The axis a model file has pointing up; the scene is Z-up.
enum class UpAxis {
    Auto, ///< the format's own: Y for glTF, Z for the others (STL, OBJ, PLY and 3MF carry none)
    Y,    ///< turned +90 degrees about X on import
    Z,
};

/// How a model file becomes scene nodes.
struct ImportOptions {
    glm::vec3 color{0.75f, 0.78f, 0.82f}; ///< face colour when the file has none
    float opacity = 1.0f;
    bool edges = true;                 ///< add the feature edges of every mesh
    float featureAngleDegrees = 30.0f; ///< dihedral angle above which an edge is a feature edge
    glm::vec3 edgeColor{0.1f, 0.1f, 0.1f};
    UpAxis up = UpAxis::Auto;
    float pointSize = 3.0f; ///< pixels, for point clouds
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
    std::size_t meshes = 0;       ///< mesh leaves created (of every kind)
    std::size_t triangles = 0;    ///< triangles over all leaves
    std::size_t points = 0;       ///< points over all point leaves
    std::size_t segments = 0;     ///< line segments over all line leaves
    std::size_t textures = 0;     ///< textured materials
    std::size_t featureEdges = 0; ///< feature edge segments over all leaves
    /// The names the file gives its nodes (groups) and meshes (leaves), for
    /// every created node that has a non-empty one, as the file gives them
    /// (the scene loader joins them into paths along the hierarchy).
    std::vector<std::pair<orvcore::SceneNode*, std::string>> names;
};

/// Reads a model file (STL, OBJ, PLY, glTF 2.0, 3MF: whatever Assimp reads)
/// into scene nodes. The file's root node becomes `root`, its transform
/// turned to Z-up when the file is Y-up (`options.up`). Every mesh becomes a
/// leaf of the kind of its elements:
/// - triangles: a `ShapeSceneNode` whose compound shape holds the indexed
///   triangles (member 0, lit material, both faces drawn) and, with
///   `options.edges` and when there are any, the feature edges as a line
///   list (member 1); without edges a `PrimitiveSceneNode`;
/// - lines (and line strips, split into segments): a `PrimitiveSceneNode`
///   of a line list with an unlit material;
/// - points: a `PrimitiveSceneNode` of points (`options.pointSize`).
/// Materials take the file's base colour (else `options.color`), opacity
/// and alpha mode (opaque, mask: fragments below the cut-off dropped,
/// blend: drawn transparent), base-colour texture with its UVs, wrap modes
/// and filter, and the vertex colours (times the base colour, white when
/// the file gives none). Geometry and node boxes are set; call
/// `UpdateTransform` on the root for the world boxes.
///
/// Files come from users and Assimp cannot be trusted with every file, so
/// Assimp reads in a child process under the limits of `options`, and hands
/// back plain arrays and decoded images that are checked again here: a file
/// that crashes the reader, makes it run too long or want too much memory is
/// reported like any other unreadable file. Files the model refers to
/// (materials, buffers, images) are opened only when they are regular
/// files; an image that cannot be read is left out with a warning.
///
/// On failure returns false, leaves `model` empty, puts the reason in
/// `error` ("cannot read <path>: <reason>", "no points, lines or triangles
/// in <path>") and logs it as a warning.
bool ImportModel(const std::string& path, const ImportOptions& options, ImportedModel& model, std::string& error);

} // namespace orvrender

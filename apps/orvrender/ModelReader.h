#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

namespace orvrender {

/// A decoded image of a model file (embedded or beside it), RGBA with 8
/// bits per channel, rows from the top.
struct FileImage {
    std::string source; ///< the name the file gives it, for messages
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<uint8_t> pixels; ///< width * height * 4 bytes
};

/// How a material's alpha is used.
enum FileAlphaMode : uint8_t {
    ALPHA_OPAQUE = 0, ///< alpha ignored
    ALPHA_MASK = 1,   ///< fragments below the cut-off dropped, the rest opaque
    ALPHA_BLEND = 2,  ///< blended (drawn transparent)
};

/// Texture wrap modes of a material, per axis.
enum FileWrap : uint8_t { WRAP_REPEAT = 0, WRAP_CLAMP = 1, WRAP_MIRROR = 2 };

/// One material of a model file: its base colour (factor), opacity, alpha
/// mode and base-colour texture.
struct FileMaterial {
    bool hasColor = false; ///< the file gives the colour (else the importer's default)
    glm::vec3 color{1.0f}; ///< in [0, 1]
    float opacity = 1.0f;  ///< in [0, 1]
    uint8_t alphaMode = ALPHA_OPAQUE;
    float alphaCutoff = 0.5f; ///< in [0, 1]
    int32_t image = -1;       ///< number into `FileModel::images`, -1: none
    uint8_t wrapU = WRAP_REPEAT, wrapV = WRAP_REPEAT;
    bool nearest = false; ///< magnify without filtering
};

/// The kinds of mesh, as the primitive type values.
enum FileMeshKind : uint8_t { MESH_POINTS = 0, MESH_LINES = 1, MESH_TRIANGLES = 4 };

/// One mesh of a model file as plain arrays, of one kind.
struct FileMesh {
    std::string name;
    uint8_t kind = MESH_TRIANGLES;
    std::vector<float> positions;  ///< x, y, z per vertex
    std::vector<float> normals;    ///< as many as `positions`, or none
    std::vector<float> uvs;        ///< u, v per vertex (v up: 0 at the image's bottom), or none
    std::vector<float> colors;     ///< r, g, b, a per vertex in [0, 1], or none
    std::vector<uint32_t> indices; ///< 1 per point, 2 per segment, 3 per triangle; each below the vertex count
    uint32_t material = kNoMaterial; ///< number into `FileModel::materials`
    static constexpr uint32_t kNoMaterial = 0xffffffffu;
};

/// One node of a model file's hierarchy.
struct FileNode {
    std::string name;
    glm::mat4 transform{1.0f};
    std::vector<uint32_t> meshes; ///< numbers into `FileModel::meshes` (not checked)
    std::vector<FileNode> children;
};

struct FileModel {
    std::vector<FileMesh> meshes;
    std::vector<FileMaterial> materials;
    std::vector<FileImage> images;
    FileNode root;
    bool yUp = false; ///< the format is Y-up (glTF)
    /// What the reader skipped (images it could not read), one line each.
    std::vector<std::string> warnings;
};

/// Images larger than this on a side, or beyond this many bytes of pixels
/// over the whole model, are left out; image files larger than the last
/// limit are not opened.
constexpr uint32_t kMaxImageSide = 8192;
constexpr std::size_t kMaxImageBytes = std::size_t(256) << 20;
constexpr std::size_t kMaxImageFileBytes = std::size_t(64) << 20;

/// Hierarchies deeper than this are cut off (a malformed file must not
/// exhaust the stack).
constexpr int kMaxModelDepth = 256;

/// Reads a model file through Assimp in a child process, so that a file that
/// crashes Assimp, runs it for longer than `timeLimitSeconds` or makes it
/// want more than `memoryLimitMb` of address space (left unlimited in
/// sanitizer builds) costs the child only. Polygons are triangulated, and
/// normals generated where the file has none (or only zero ones), smooth up
/// to `smoothingAngleDegrees`. Points and lines are kept as meshes of their
/// own kind. Base-colour textures are decoded in the child, from the file's
/// embedded images or from image files named relative to the model (only
/// regular files are opened). Returns false with the reason (one line).
bool ReadModelFile(const std::string& path, float smoothingAngleDegrees, unsigned timeLimitSeconds,
                   std::size_t memoryLimitMb, FileModel& model, std::string& reason);

} // namespace orvrender

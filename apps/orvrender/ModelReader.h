#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

namespace orvrender {

/// One mesh of a model file as plain arrays: its triangles only.
struct FileMesh {
    std::string name;
    std::vector<float> positions; ///< x, y, z per vertex
    std::vector<float> normals;   ///< as many as `positions`, or none
    std::vector<uint32_t> indices; ///< three per triangle, each below the vertex count
    bool hasColor = false;         ///< the file gives the mesh a diffuse colour
    glm::vec3 color{1.0f};         ///< in [0, 1] when `hasColor`
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
    FileNode root;
};

/// Hierarchies deeper than this are cut off (a malformed file must not
/// exhaust the stack).
constexpr int kMaxModelDepth = 256;

/// Reads a model file through Assimp in a child process, so that a file that
/// crashes Assimp, runs it for longer than `timeLimitSeconds` or makes it
/// want more than `memoryLimitMb` of address space (left unlimited in
/// sanitizer builds) costs the child only. Polygons are triangulated, and
/// normals generated where the file has none (or only zero ones), smooth up
/// to `smoothingAngleDegrees`. Returns false with the reason (one line).
bool ReadModelFile(const std::string& path, float smoothingAngleDegrees, unsigned timeLimitSeconds,
                   std::size_t memoryLimitMb, FileModel& model, std::string& reason);

} // namespace orvrender

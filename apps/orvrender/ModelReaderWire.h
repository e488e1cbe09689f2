#pragma once

#include <cstddef>
#include <string>

// The model reader's two halves: a child process reads a file with Assimp
// (ModelReaderChild.cpp) and writes the model to a pipe in the form below
// (native byte order: both ends are this program); the parent
// (ModelReader.cpp) decodes it with every size checked, so that nothing the
// child wrote can take the parent out of bounds.
//
//   'M' model               u8 yUp, u64 count + materials, u64 count + images,
//                           u64 count + meshes, the root node, u64 count + warnings
//   'E' string              the reason the file could not be read
//   material: u8 hasColor, f32 r g b, f32 opacity, u8 alphaMode, f32 cutoff,
//             i32 image, u8 wrapU, u8 wrapV, u8 nearest
//   image:  string source, u32 width, u32 height, u8s pixels
//   mesh:   string name, u8 kind, floats positions, floats normals, floats uvs,
//           floats colors, u32s indices, u32 material
//   node:   string name, f32 x16 transform, u32s meshes, u64 children, nodes
//   string, floats, u8s, u32s:   u64 count, then the elements

namespace orvrender {

/// Exit codes of the child besides 0 (the model was written).
constexpr int kExitFailed = 3;
constexpr int kExitNoMemory = 4;
/// Reader warnings kept per file.
constexpr std::size_t kMaxWarnings = 20;

/// The child's whole life: reads `path` and writes the result to `fd`, then
/// exits. Faults end it by their signal; a memory limit (MiB, 0: none) is
/// set where the build allows it.
[[noreturn]] void RunModelReaderChild(int fd, const std::string& path, float smoothingAngleDegrees,
                                      std::size_t memoryLimitMb);

} // namespace orvrender

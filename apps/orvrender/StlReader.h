#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <orvrender/ModelReader.h>

namespace orvrender {

/// What `ReadBinaryStl` made of a file.
enum class StlResult {
    NotBinary, ///< not a plain binary STL (ASCII, or a colour extension): read it through Assimp
    Read,      ///< `model` holds the file
    Failed,    ///< a binary STL that cannot be read; the reason is set
};

/// Reads a plain binary STL (80-byte header, triangle count, 50 bytes per
/// triangle) directly, without the Assimp child process: it is the common
/// format of large scanned and exported meshes, and a direct read is many
/// times faster. The result matches what the Assimp path gives for the same
/// file: one mesh under a nameless root node, one material without a
/// colour; corners at bitwise-equal positions (+0 and -0 alike) are joined
/// when their normals are equal. When every facet normal of the file is
/// usable (finite, not zero) the corners take their facet's normal;
/// otherwise normals are generated smooth: a corner's normal is the sum of
/// the unit normals of the triangles around its position that lie within
/// `smoothingAngleDegrees` of its own triangle (all of them from 175
/// degrees on), normalised. Positions are grouped with a hash, so the work
/// is linear in the number of triangles (a position shared by more than
/// `kMaxSmoothCorners` corners keeps its facets' own normals).
///
/// Header words "COLOR=" or "MATERIAL=" mark per-facet colours: such files,
/// and files that begin with "solid" without the exact binary size, are
/// left to Assimp (`NotBinary`). A file announcing more triangles than it
/// holds fails; bytes after the announced triangles are ignored, and
/// triangles with coordinates that are not finite numbers are left out,
/// each with a warning in `model.warnings`. A file that would need more
/// than `memoryLimitMb` MiB to read fails.
StlResult ReadBinaryStl(const std::string& path, float smoothingAngleDegrees, std::size_t memoryLimitMb,
                        FileModel& model, std::string& reason);

/// The same on bytes in memory.
StlResult ReadBinaryStl(const uint8_t* bytes, std::size_t size, float smoothingAngleDegrees,
                        std::size_t memoryLimitMb, FileModel& model, std::string& reason);

/// Positions shared by more corners than this (the apex of a fine fan) are
/// not smoothed: comparing every pair of them would cost their square.
constexpr std::size_t kMaxSmoothCorners = 256;

} // namespace orvrender

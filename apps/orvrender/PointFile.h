#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <glm/vec3.hpp>

namespace orvrender {

/// Points read from a point file, with their colours when the file has them
/// (then one per point, components in [0, 1]).
struct PointCloud {
    std::vector<glm::vec3> positions;
    std::vector<glm::vec3> colors;
};

/// Reads a point file, by its extension:
/// - `.xyz`, `.pts`, `.txt`: one point per line, `x y z` then anything
///   (normals `nx ny nz`, intensities) ignored; `#` starts a comment;
/// - `.csv`: comma- or semicolon-separated; a first line that is not numbers
///   names the columns (`x`, `y`, `z`, and `r g b` or `red green blue`),
///   otherwise the first three columns are x, y, z;
/// - `.ply`: ASCII or binary (either byte order), the `vertex` element's
///   `x y z` and `red green blue` (integers scaled by their range, floats as
///   they are), any other elements and properties skipped.
/// Stops with a message naming the line or the element at the first fault:
/// an unreadable file, a malformed or non-finite number, a truncated binary
/// body, more than `maxPoints` points, or no points at all.
bool ReadPointFile(const std::string& path, std::size_t maxPoints, PointCloud& cloud, std::string& error);

} // namespace orvrender

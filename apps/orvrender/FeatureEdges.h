#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace orvrender {

/// Feature edges of an indexed triangle list: edges shared by two triangles
/// whose face normals differ by more than `angleDegrees`, edges of one
/// triangle only (boundary) and edges of three or more (non-manifold).
/// Vertices at bitwise-equal positions (+0 and -0 alike) count as one.
/// Triangles that reference a vertex past the end, repeat a vertex or have no
/// area are left out. Appends two vertex numbers per edge to `edges` (each
/// a representative of its position) and returns the number of edges found.
std::size_t FindFeatureEdges(const float* positions, std::size_t vertexCount, const uint32_t* indices,
                             std::size_t indexCount, float angleDegrees, std::vector<uint32_t>& edges);

} // namespace orvrender

#pragma once

#include <cstddef>

namespace orvcore {

class SceneNode;

/// Collecting a node's drawables reads a chain of objects scattered over
/// the heap: the node, its shape (or primitive), the shape's list of
/// primitives, each primitive and its geometry and material, each load
/// waiting for the one before. Walks over many nodes (a scene's top level,
/// a group's children) call this at each position `i` of `nodes` (of
/// `count`): it fetches that chain in stages for the nodes ahead, so that
/// the misses of successive nodes overlap instead of adding up. Node i+16
/// itself; the shape or primitive of i+12; the shape's primitive list, or
/// the primitive's geometry and material, of i+8; the shape's primitives of
/// i+4; their geometries and materials of i+2. Only hints: nothing is read
/// that the node's own pointers do not already reach.
void PrefetchCollect(SceneNode* const* nodes, std::size_t i, std::size_t count);

} // namespace orvcore

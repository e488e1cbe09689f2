#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>

#include <orvcore/scene/SceneNode2D.h>

namespace orvcore {

/// The 2D overlay scene: the nodes drawn in viewport coordinates over the
/// model, keyed by their object id. Copying copies the table (the nodes are
/// shared).
class Scene2D {
public:
    using NodeMap = std::unordered_map<uint32_t, std::shared_ptr<SceneNode2D>>;

    Scene2D();
    Scene2D(const Scene2D& other) = default;
    Scene2D& operator=(const Scene2D& other) = default;
    virtual ~Scene2D();

    /// Stores the node under its object id (replacing a node of the same
    /// id) and brings its scene node's world transforms up to date; returns
    /// the id. An empty node logs "Node is null!" and returns 0.
    uint32_t AddNode(const std::shared_ptr<SceneNode2D>& node);
    /// False when no node has this id.
    bool RemoveNode(uint32_t id);
    void Clear() { m_Nodes.clear(); }

    const NodeMap& GetNodes() const { return m_Nodes; }

private:
    NodeMap m_Nodes;
};

} // namespace orvcore

#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>

namespace orvcore {

class SceneNode;

/// A node table: nodes keyed by their 64-bit id (group children, scene nodes).
using SceneNodeMap = std::unordered_map<uint64_t, std::shared_ptr<SceneNode>>;

/// Forward cursor over a node table. It does not own the table and is
/// invalidated by any change to it.
class SceneNodeIterator {
public:
    using Position = SceneNodeMap::const_iterator;

    SceneNodeIterator(Position current, Position end) : m_Current(current), m_End(end) {}

    bool More() const { return m_Current != m_End; }
    void Next()
    {
        if (m_Current != m_End)
            ++m_Current;
    }
    /// The node at the cursor; only valid while `More()` is true.
    std::shared_ptr<SceneNode> Current() const { return m_Current->second; }

private:
    Position m_Current;
    Position m_End;
};

} // namespace orvcore

#pragma once

#include <memory>
#include <optional>
#include <vector>

#include <orvkernel/camera/Camera.h>
#include <orvcore/pick/GripNode.h>

namespace orvcore {

/// The current grips of a view and the one under the cursor.
class GripNodeManager {
public:
    void Add(const GripNode& node) { m_Grips.push_back(node); }
    /// Empties the list; no grip is highlighted.
    void Clear();
    std::optional<GripNode> GetNode(int index) const;

    /// Highlights the grip nearest to the window point within 8 pixels
    /// (inclusive; on an exact tie the later grip wins); -1 when none.
    /// Stores and returns the index.
    int Highlight(const std::shared_ptr<Camera>& camera, int x, int y);

    const std::vector<GripNode>& GetGrips() const { return m_Grips; }
    std::vector<GripNode>::const_iterator begin() const { return m_Grips.begin(); }
    std::vector<GripNode>::const_iterator end() const { return m_Grips.end(); }
    int GetHighlightIdx() const { return m_HighlightIdx; }
    void SetHighlightIdx(int index) { m_HighlightIdx = index; }

private:
    std::vector<GripNode> m_Grips;
    int m_HighlightIdx = -1;
};

} // namespace orvcore

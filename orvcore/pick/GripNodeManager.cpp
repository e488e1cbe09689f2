#include <orvcore/pick/GripNodeManager.h>

#include <orvcommon/Logger.h>
#include <orvkernel/camera/CameraOperator.h>

namespace orvcore {

void GripNodeManager::Clear()
{
    m_Grips.clear();
    m_HighlightIdx = -1;
}

std::optional<GripNode> GripNodeManager::GetNode(int index) const
{
    if (index < 0 || std::size_t(index) >= m_Grips.size())
        return std::nullopt;
    return m_Grips[std::size_t(index)];
}

int GripNodeManager::Highlight(const std::shared_ptr<Camera>& camera, int x, int y)
{
    m_HighlightIdx = -1;
    if (!camera) {
        Logger::Instance().Waring("Camera is null!");
        return m_HighlightIdx;
    }
    float best = 0.0f;
    for (std::size_t i = 0; i < m_Grips.size(); ++i) {
        const glm::vec3 w = CameraOperator::WorldPointToWindowPoint(*camera, m_Grips[i].GetPoint());
        const float dx = w.x - float(x), dy = w.y - float(y);
        const float d2 = dx * dx + dy * dy;
        // Later grips win exact ties.
        if (d2 <= 64.0f && (m_HighlightIdx < 0 || d2 <= best)) {
            best = d2;
            m_HighlightIdx = int(i);
        }
    }
    return m_HighlightIdx;
}

} // namespace orvcore

#include <orvcore/pick/DefaultGripCollector.h>

#include <orvcommon/Logger.h>
#include <orvcore/pick/GripNodeManager.h>

namespace orvcore {

DefaultGripCollector::DefaultGripCollector(GripNodeManager* manager) : m_Manager(manager)
{
    if (!m_Manager) {
        Logger::Instance().Waring("GripNodeManager is null!");
        return;
    }
    m_Manager->Clear();
}

void DefaultGripCollector::Add(const GripNode& node)
{
    if (m_Manager)
        m_Manager->Add(node);
}

} // namespace orvcore

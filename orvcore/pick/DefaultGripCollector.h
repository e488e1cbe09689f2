#pragma once

#include <orvcore/pick/GripCollector.h>

namespace orvcore {

class GripNodeManager;

/// Collects grips into a manager, which it empties when made so that every
/// collection starts afresh.
class DefaultGripCollector : public GripCollector {
public:
    explicit DefaultGripCollector(GripNodeManager* manager);
    void Add(const GripNode& node) override;

private:
    GripNodeManager* m_Manager;
};

} // namespace orvcore

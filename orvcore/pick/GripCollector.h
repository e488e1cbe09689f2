#pragma once

#include <orvcore/pick/GripNode.h>

namespace orvcore {

/// Sink to which grip handles are reported.
class GripCollector {
public:
    virtual ~GripCollector();
    virtual void Add(const GripNode& node) = 0;
};

} // namespace orvcore

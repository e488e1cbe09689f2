#include <orvcore/pick/GripCollector.h>

namespace orvcore {

GripCollector::~GripCollector() = default;

} // namespace orvcore

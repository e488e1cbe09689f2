#include <orvcore/pick/PickListener.h>

namespace orvcore {

PickListener::~PickListener() = default;
bool PickListener::BeforeSelect(const PickedResult&) { return true; }
void PickListener::AfterSelect(const PickedResult&) {}
bool PickListener::BeforeHilight(const PickedResult&) { return true; }
void PickListener::AfterHilight(const PickedResult&) {}

} // namespace orvcore

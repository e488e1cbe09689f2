#include <orvkernel/RenderDevice.h>

namespace orvcore {

RenderDevice::~RenderDevice() = default;

} // namespace orvcore

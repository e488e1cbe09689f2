#include <orvkernel/device/RenderDevice.h>

namespace orvcore {

RenderDevice::~RenderDevice() = default;

} // namespace orvcore

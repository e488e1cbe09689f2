#include <orvkernel/device/RenderTarget.h>

namespace orvcore {

RenderTarget::~RenderTarget() = default;

} // namespace orvcore

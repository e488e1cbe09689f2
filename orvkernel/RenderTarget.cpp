#include <orvkernel/RenderTarget.h>

namespace orvcore {

RenderTarget::~RenderTarget() = default;

} // namespace orvcore

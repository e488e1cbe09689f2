#include <orvcore/render/ShadowRender.h>

namespace orvcore {

ShadowRender::~ShadowRender() = default;

} // namespace orvcore

#include <orvcore/render/BasePass.h>

namespace orvcore {

BasePass::~BasePass() = default;
bool BasePass::Initialize(Renderer*) { return true; }
void BasePass::Destroy() {}
void BasePass::Resize(unsigned int, unsigned int) {}

} // namespace orvcore

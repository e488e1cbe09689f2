#include <orvkernel/device/RenderDevice.h>

#include <orvcommon/Logger.h>

namespace orvcore {

RenderDevice::~RenderDevice() = default;

void RenderDevice::DrawInstanced(PrimitiveShape* primitive, const glm::mat4* transforms, uint32_t count)
{
    if (count == 0)
        return;
    if (!transforms) {
        Logger::Instance().Waring("Instance transforms are null!");
        return;
    }
    for (uint32_t i = 0; i < count; ++i)
        Draw(primitive, transforms[i]);
}

} // namespace orvcore

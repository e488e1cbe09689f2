#include <orvcore/render/ColorBackground.h>

#include <orvcommon/Logger.h>
#include <orvkernel/device/RenderDevice.h>

namespace orvcore {

ColorBackground::~ColorBackground() = default;

void ColorBackground::ClearView(RenderDevice* device) const
{
    if (!device) {
        Logger::Instance().Waring("RenderDevice is null!");
        return;
    }
    device->SetClearColor(m_Color);
    device->ClearBuffers(CLEAR_COLOR | CLEAR_DEPTH | CLEAR_STENCIL);
}

ColorBackground* ColorBackground::Cast(Background* background) { return dynamic_cast<ColorBackground*>(background); }
const ColorBackground* ColorBackground::Cast(const Background* background)
{
    return dynamic_cast<const ColorBackground*>(background);
}

} // namespace orvcore

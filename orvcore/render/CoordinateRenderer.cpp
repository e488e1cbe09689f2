#include <orvcore/render/CoordinateRenderer.h>

namespace orvcore {

CoordinateRenderer::~CoordinateRenderer() = default;
bool CoordinateRenderer::Initialize(Renderer*) { return true; }
void CoordinateRenderer::SetCoordinateWidgetText(const std::wstring&, const std::wstring&, const std::wstring&) {}
void CoordinateRenderer::Render(Renderer*, const std::shared_ptr<Camera>&) {}
std::pair<bool, unsigned int> CoordinateRenderer::HitTest(unsigned int, unsigned int) { return {false, 0u}; }
EnumStandardView CoordinateRenderer::SyncCamera(const std::shared_ptr<Camera>&) { return STANDARD_VIEW_NONE; }

} // namespace orvcore

#include <orvcore/render/RenderContext.h>

namespace orvcore {

RenderContext::RenderContext(const std::shared_ptr<Camera>& camera)
{
    if (!camera)
        return;
    m_MVP = camera->GetViewProjectionMatrix();
    m_Frustum = Frustum(*camera, 1.2f);
}

RenderContext::~RenderContext() = default;

float RenderContext::DistanceToEye(const AxisAlignedBox& box) const
{
    const glm::vec3 c = box.getCenter();
    return c.x * m_MVP[0][2] + c.y * m_MVP[1][2] + c.z * m_MVP[2][2] + m_MVP[3][2];
}

} // namespace orvcore

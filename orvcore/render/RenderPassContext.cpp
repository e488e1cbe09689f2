#include <orvcore/render/RenderPassContext.h>

#include <orvcore/scene/SceneManager.h>

namespace orvcore {

std::shared_ptr<Camera> RenderPassContext::GetCamera() const
{
    return m_SceneManager ? m_SceneManager->GetCamera() : std::shared_ptr<Camera>();
}

} // namespace orvcore

#include <orvcore/render/ShadowRender.h>

#include <orvcore/render/PrepareShadowVisitor.h>
#include <orvcore/render/RenderList.h>
#include <orvcore/render/ShadowRenderContext.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SceneManager.h>

namespace orvcore {

ShadowRender::~ShadowRender() = default;
void ShadowRender::Initialize(RenderDevice*) {}
void ShadowRender::DrawPlane(RenderDevice*) {}

void ShadowRender::CollectCasters(const SceneManager& manager, const std::shared_ptr<Camera>& camera,
                                  RenderList& casters)
{
    casters.Reset();
    ShadowRenderContext context(camera, &casters);
    PrepareShadowVisitor visitor(context);
    for (const auto& scene : manager) {
        if (scene)
            scene->Accept(visitor);
    }
    casters.SortTransparentItems();
}

} // namespace orvcore

#pragma once

#include <orvcore/render/RenderPipeline.h>

namespace orvcore {

/// The full frame: camera, shadow map, background (which clears), model and
/// grip points, selection, highlight and grid, overlays and 2D foreground,
/// then the device's garbage collection.
class BasicPipeline : public RenderPipeline {
public:
    using RenderPipeline::Render;
    void Render(const std::shared_ptr<SceneManager>& manager, Renderer* renderer, float time) override;
};

} // namespace orvcore

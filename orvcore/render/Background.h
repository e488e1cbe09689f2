#pragma once

#include <memory>

namespace orvcore {

class Camera;
class Renderer;

/// What a frame is drawn over: the first thing the renderer draws, and the
/// owner of the frame's clear. The scene manager holds at most one.
class Background {
public:
    Background() = default;
    Background(const Background&) = default;
    Background& operator=(const Background&) = default;
    virtual ~Background();

    /// Called by the renderer at the start of every frame with itself and
    /// the view camera.
    virtual void Render(Renderer* renderer, const std::shared_ptr<Camera>& camera) = 0;
};

} // namespace orvcore

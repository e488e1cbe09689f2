#pragma once

#include <glm/vec3.hpp>

#include <orvcore/render/BasePass.h>

namespace orvcore {

/// Draws the model into the write buffer (or the screen), clearing first.
class RenderPass : public BasePass {
public:
    explicit RenderPass(bool needSwap);
    void Render(Renderer* renderer, RenderPassContext& context) override;

    const glm::vec3& GetClearColor() const { return m_ClearColor; }
    void SetClearColor(const glm::vec3& color) { m_ClearColor = color; }
    float GetClearAlpha() const { return m_ClearAlpha; }
    void SetClearAlpha(float alpha) { m_ClearAlpha = alpha; }
    /// Whether the clear covers depth and stencil too (else colour only).
    bool GetClearDepth() const { return m_ClearDepth; }
    void SetClearDepth(bool on) { m_ClearDepth = on; }

private:
    glm::vec3 m_ClearColor{0.0f};
    float m_ClearAlpha = 1.0f;
    bool m_ClearDepth = true;
};

} // namespace orvcore

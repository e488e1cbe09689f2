#pragma once

#include <memory>

#include <glm/vec4.hpp>

#include <orvcore/render/Background.h>

namespace orvcore {

class RenderDevice;

/// A plain colour background: the frame starts by clearing colour, depth and
/// stencil, the colour buffer to this colour.
class ColorBackground : public Background {
public:
    /// The default colour, RGBA (18, 183, 243, 255) / 255.
    ColorBackground() = default;
    explicit ColorBackground(const glm::vec4& color) : m_Color(color) {}
    ColorBackground(const ColorBackground&) = default;
    ColorBackground& operator=(const ColorBackground&) = default;
    ~ColorBackground() override;

    void Render(Renderer* renderer, const std::shared_ptr<Camera>& camera) override;
    /// Sets the device's clear colour to this colour and clears colour, depth
    /// and stencil. A null device logs "RenderDevice is null!".
    void ClearView(RenderDevice* device) const;

    const glm::vec4& GetColor() const { return m_Color; }
    void SetColor(const glm::vec4& color) { m_Color = color; }

    static ColorBackground* Cast(Background* background);
    static const ColorBackground* Cast(const Background* background);

private:
    glm::vec4 m_Color{18.0f / 255.0f, 183.0f / 255.0f, 243.0f / 255.0f, 1.0f};
};

} // namespace orvcore

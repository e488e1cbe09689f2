#pragma once

#include <memory>
#include <string>
#include <utility>

#include <glm/vec3.hpp>

#include <orvkernel/material/MaterialInstance.h>
#include <orvkernel/texture/ImageTexture2D.h>

namespace orvcore {

/// Material of the "font" template: a textured rectangle whose texture is a
/// rendered string (white glyph coverage in alpha, tinted by the colour),
/// optionally over a background colour, optionally turned to face the viewer.
class FontMaterial : public MaterialInstance {
public:
    static constexpr const char* kTemplate = "font";
    FontMaterial();
    explicit FontMaterial(std::string name, std::string templateName = kTemplate);
    static std::shared_ptr<FontMaterial> Create(const std::string& name);

    bool GetBillboard() const { return m_Billboard; }
    void SetBillboard(bool on);
    bool HasBackground() const { return m_HasBackground; }
    const glm::vec3& GetBackground() const { return m_Background; }
    void SetBackground(const glm::vec3& color);
    void ClearBackground();

    /// Renders the string with FreeType at `fontSize` pixels into the
    /// texture (sampler "map") and returns its width and height in pixels.
    /// `font` names a font file or family; empty means the default face.
    /// Glyphs the face lacks are drawn as its missing-glyph box. An empty
    /// string gives a 1 x 1 transparent texture.
    std::pair<unsigned int, unsigned int> SetText(const std::wstring& text, float fontSize, const std::string& font);

    const std::shared_ptr<ImageTexture2D>& GetImage() const { return m_Image; }
    static FontMaterial* Cast(MaterialInstance* material);

private:
    bool m_Billboard = false;
    bool m_HasBackground = false;
    glm::vec3 m_Background{0.0f};
    std::shared_ptr<ImageTexture2D> m_Image;
};

} // namespace orvcore

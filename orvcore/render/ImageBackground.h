#pragma once

#include <memory>

#include <orvkernel/material/MaterialInstance.h>
#include <orvkernel/texture/ImageTexture2D.h>
#include <orvcore/render/Background.h>

namespace orvcore {

/// A full-screen image behind the view ("sys.bkg.t" of the "background"
/// template, sampler "t2D"). Without an image it clears to sky blue.
class ImageBackground : public Background {
public:
    explicit ImageBackground(const std::shared_ptr<ImageTexture2D>& texture);

    void Render(Renderer* renderer, const std::shared_ptr<Camera>& camera) override;

    const std::shared_ptr<ImageTexture2D>& GetTexture() const { return m_Texture; }
    /// Replaces the image (also in the material).
    void SetTexture(const std::shared_ptr<ImageTexture2D>& texture);
    const std::shared_ptr<MaterialInstance>& GetMaterial() const { return m_Material; }

    static const ImageBackground* Cast(const Background* background);
    static ImageBackground* Cast(Background* background);

private:
    std::shared_ptr<ImageTexture2D> m_Texture;
    std::shared_ptr<MaterialInstance> m_Material;
};

} // namespace orvcore

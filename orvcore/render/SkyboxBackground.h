#pragma once

#include <memory>
#include <string>

#include <orvkernel/shape/PrimitiveShape.h>
#include <orvkernel/texture/ImageTextureCube.h>
#include <orvcore/render/Background.h>

namespace orvcore {

/// A cube-map sky around the view ("sys.bkg.cube" of the "cube" template,
/// sampler "envMap", uniform "flipEnvMap" = -1). The sky turns with the
/// camera and never moves with the eye; an orthographic camera is drawn
/// with a perspective projection for the sky only.
class SkyboxBackground : public Background {
public:
    explicit SkyboxBackground(const std::shared_ptr<ImageTextureCube>& texture);

    /// A sky from the six files "skybox/EnvMap_posx.jpg", "..._negx.jpg",
    /// "..._negy.jpg", "..._posy.jpg", "..._posz.jpg", "..._negz.jpg"
    /// relative to the working directory, loaded when first drawn. The path
    /// argument is not used.
    static std::shared_ptr<SkyboxBackground> Create(const std::string& path);

    void Render(Renderer* renderer, const std::shared_ptr<Camera>& camera) override;

    const std::shared_ptr<ImageTextureCube>& GetTexture() const { return m_Texture; }
    void SetTexture(const std::shared_ptr<ImageTextureCube>& texture);
    const std::shared_ptr<PrimitiveShape>& GetSky() const { return m_Sky; }

    static const SkyboxBackground* Cast(const Background* background);
    static SkyboxBackground* Cast(Background* background);

private:
    std::shared_ptr<ImageTextureCube> m_Texture;
    std::shared_ptr<PrimitiveShape> m_Sky;
};

} // namespace orvcore

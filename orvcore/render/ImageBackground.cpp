#include <orvcore/render/ImageBackground.h>

#include <orvkernel/device/RenderDevice.h>
#include <orvkernel/material/MaterialManager.h>
#include <orvcore/render/Renderer.h>

namespace orvcore {

ImageBackground::ImageBackground(const std::shared_ptr<ImageTexture2D>& texture) : m_Texture(texture)
{
    m_Material = MaterialManager::Instance().Create("sys.bkg.t", "background");
    if (m_Texture)
        m_Material->AddTexture("t2D", m_Texture);
    m_Material->OrderExempt = false;
    m_Material->DepthWrite = false;
    m_Material->RequestUpdate();
}

void ImageBackground::SetTexture(const std::shared_ptr<ImageTexture2D>& texture)
{
    m_Texture = texture;
    if (m_Texture)
        m_Material->AddTexture("t2D", m_Texture);
    else
        m_Material->RemoveTexture("t2D");
}

void ImageBackground::Render(Renderer* renderer, const std::shared_ptr<Camera>&)
{
    RenderDevice* device = renderer ? renderer->GetDevice() : nullptr;
    if (!device)
        return;
    if (!m_Texture) {
        device->SetClearColor(glm::vec4(glm::vec3(37.0f, 175.0f, 243.0f) / 255.0f, 1.0f));
        device->ClearBuffers(CLEAR_COLOR | CLEAR_DEPTH | CLEAR_STENCIL);
        return;
    }
    device->ClearBuffers(CLEAR_COLOR | CLEAR_DEPTH | CLEAR_STENCIL);
    device->ActiveMaterial(m_Material);
    device->DrawScreenQuad();
}

const ImageBackground* ImageBackground::Cast(const Background* background)
{
    return dynamic_cast<const ImageBackground*>(background);
}
ImageBackground* ImageBackground::Cast(Background* background) { return dynamic_cast<ImageBackground*>(background); }

} // namespace orvcore

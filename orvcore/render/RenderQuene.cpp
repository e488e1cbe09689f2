#include <orvcore/render/RenderQuene.h>

#include <orvkernel/device/RenderDevice.h>
#include <orvkernel/light/LightManager.h>
#include <orvcore/render/RenderStyle.h>

namespace orvcore {

using L = EnumRenderListIndex;

void RenderQuene::Initialize(const RenderStyle& style)
{
    for (int i = 0; i < L::Count; ++i)
        m_Lists[i].SetMaterial(style.GetMaterial(static_cast<L::Enum>(i)));
}

bool RenderQuene::IsEmpty() const
{
    for (const RenderList& list : m_Lists) {
        if (list.GetItemCount() != 0)
            return false;
    }
    return true;
}

void RenderQuene::Reset()
{
    for (RenderList& list : m_Lists)
        list.Reset();
}

void RenderQuene::Sort()
{
    m_Lists[L::Face].SortOpaqueItems();
    m_Lists[L::TransparentFace].SortTransparentItems();
}

void RenderQuene::Render(RenderDevice* device) const
{
    device->SetPolygonOffset(true, 1.0f, 1.0f);
    m_Lists[L::Face].Render(device);
    device->SetPolygonOffset(false, 0.0f, 0.0f);
    m_Lists[L::Line].Render(device);
    m_Lists[L::Point].Render(device);
    m_Lists[L::TransparentFace].Render(device);
}

void RenderQuene::Render(RenderDevice* device, LightManager* lights) const
{
    device->SetPolygonOffset(true, 1.0f, 1.0f);
    m_Lists[L::Face].Render(device, lights);
    device->SetPolygonOffset(false, 0.0f, 0.0f);
    m_Lists[L::Line].Render(device);
    m_Lists[L::Point].Render(device);
    m_Lists[L::TransparentFace].Render(device, lights);
}

void RenderQuene::Render(RenderDevice* device, LightManager* lights, MaterialInstance* overrideMaterial) const
{
    if (!overrideMaterial) {
        if (lights)
            Render(device, lights);
        else
            Render(device);
        return;
    }
    if (lights)
        lights->ActiveMaterial(device, overrideMaterial);
    else
        device->_ActiveMaterial(overrideMaterial);
    RenderWithoutMaterial(device);
}

void RenderQuene::RenderWithDefaultMaterial(RenderDevice* device) const
{
    for (const RenderList& list : m_Lists)
        list.RenderWithDefaultMaterial(device);
}

void RenderQuene::RenderWithoutMaterial(RenderDevice* device) const
{
    for (const RenderList& list : m_Lists)
        list.RenderWithoutMaterial(device);
}

} // namespace orvcore

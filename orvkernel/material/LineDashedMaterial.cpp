#include <orvkernel/material/LineDashedMaterial.h>

#include <orvkernel/material/MaterialManager.h>

namespace orvcore {

std::shared_ptr<LineDashedMaterial> LineDashedMaterial::Create(const std::string& name)
{
    auto instance = std::make_shared<LineDashedMaterial>(name);
    MaterialManager::Instance().Register(instance, kTemplate);
    return instance;
}

void LineDashedMaterial::SetDash(float dashSize, float gapSize)
{
    // `!(x >= 0)` also turns NaN into 0.
    if (!(dashSize >= 0.0f))
        dashSize = 0.0f;
    if (!(gapSize >= 0.0f))
        gapSize = 0.0f;
    if (m_DashSize == dashSize && m_GapSize == gapSize)
        return;
    m_DashSize = dashSize;
    m_GapSize = gapSize;
    RequestUpdate();
}

LineDashedMaterial* LineDashedMaterial::Cast(MaterialInstance* material)
{
    return dynamic_cast<LineDashedMaterial*>(material);
}

} // namespace orvcore

#include <orvkernel/material/PointsMaterial.h>

#include <orvkernel/material/MaterialManager.h>

namespace orvcore {

std::shared_ptr<PointsMaterial> PointsMaterial::Create(const std::string& name)
{
    auto instance = std::make_shared<PointsMaterial>(name);
    MaterialManager::Instance().Register(instance, kTemplate);
    return instance;
}

PointsMaterial* PointsMaterial::Cast(MaterialInstance* material) { return dynamic_cast<PointsMaterial*>(material); }

} // namespace orvcore

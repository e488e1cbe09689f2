#include <orvkernel/material/BasicMaterial.h>

#include <orvkernel/material/MaterialManager.h>

namespace orvcore {

std::shared_ptr<BasicMaterial> BasicMaterial::Create(const std::string& name)
{
    auto instance = std::make_shared<BasicMaterial>(name);
    MaterialManager::Instance().Register(instance, kTemplate);
    return instance;
}

BasicMaterial* BasicMaterial::Cast(MaterialInstance* material) { return dynamic_cast<BasicMaterial*>(material); }

} // namespace orvcore

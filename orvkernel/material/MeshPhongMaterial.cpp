#include <orvkernel/material/MeshPhongMaterial.h>

#include <orvkernel/material/MaterialManager.h>

namespace orvcore {

std::shared_ptr<MeshPhongMaterial> MeshPhongMaterial::Create(const std::string& name)
{
    auto instance = std::make_shared<MeshPhongMaterial>(name);
    MaterialManager::Instance().Register(instance, kTemplate);
    return instance;
}

MeshPhongMaterial* MeshPhongMaterial::Cast(MaterialInstance* material) { return dynamic_cast<MeshPhongMaterial*>(material); }

} // namespace orvcore

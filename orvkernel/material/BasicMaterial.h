#pragma once

#include <memory>
#include <string>

#include <orvkernel/material/MaterialInstance.h>

namespace orvcore {

/// Unlit material of the "basic" template: colour, vertex colours, a
/// texture under "map", opacity.
class BasicMaterial : public MaterialInstance {
public:
    static constexpr const char* kTemplate = "basic";
    using MaterialInstance::MaterialInstance;
    /// A new instance of the template, registered with the material manager.
    static std::shared_ptr<BasicMaterial> Create(const std::string& name);
    static BasicMaterial* Cast(MaterialInstance* material);
};

} // namespace orvcore
